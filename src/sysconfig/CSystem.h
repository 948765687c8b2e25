#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ZMBSD {

// How the modules run programs and read or rewrite whole text files. Any thread may call. Who changes a file
// by reading and writing it holds CSettingsLock round both. A status of 0 is success; otherwise it is a program's exit
// code or raw wait status, an errno value, or 0x8007000E for a lack of memory, and callers must not take one for
// another.
class CSystem {
public:
    static constexpr const char* TZSETUP_PATH = "/usr/sbin/tzsetup";
    static constexpr const char* SERVICE_PATH = "/usr/sbin/service";
    static constexpr const char* PW_PATH = "/usr/sbin/pw";
    static constexpr const char* NETSTAT_PATH = "/usr/bin/netstat";
    static constexpr const char* ROUTING_PATH = "/etc/rc.d/routing";
    static constexpr const char* RESOLVCONF_PATH = "/sbin/resolvconf";
    static constexpr const char* PGREP_PATH = "/bin/pgrep";
    static constexpr const char* SYSLOG_PATH = "/var/log/messages";
    static constexpr const char* SERVICE_NTPD = "ntpd";
    static constexpr const char* RC_PROPERTY_NOT_EXISTS = "NO";

    // Whether a name that the system gave, of an adapter for instance, may stand in a command of the shell: letters of
    // ASCII, digits and "._@-". With any other name the command is not run.
    static bool IsShellSafe(const std::string& name);

    // Through the shell. The command's text is fixed or holds a name that IsShellSafe accepts: what comes from a client
    // goes through ExecuteSecure.
    static void Execute(const std::string& command);
    // With standard output captured: all lines, the first line, or the first line as a decimal number. The two latter
    // give -1 and leave output alone when nothing was printed. A line that does not begin with a number throws
    // std::invalid_argument.
    static std::uint32_t Execute(const std::string& command, std::vector<std::string>& output);
    static std::uint32_t Execute(const std::string& command, std::string& output);
    static std::uint32_t Execute(const std::string& command, unsigned long& output);

    // At the end of the process: deletes what the shells that nobody waits for any more write to. A command whose
    // output is wanted fails from here on.
    static void DeleteOutputFiles();

    // Without a shell and with an empty environment. The first argument is the program's absolute path; further ones
    // are const char*, ended by a null pointer. Blocks until the program ends, with no time limit.
    static std::uint32_t ExecuteSecure(const char* path, ...);
    static std::uint32_t ExecuteSecureInternal(const std::vector<std::string>& arguments);

    // 0 or errno, EIO also for a file that cannot be read to its end. Lines come without their line feed; the text has
    // one behind each line.
    static std::uint32_t ReadFile(const std::string& path, std::vector<std::string>& lines);
    static std::uint32_t ReadFile(const std::string& path, std::string& text);
    static std::uint32_t ReadSystemLog(std::vector<std::string>& lines);
    // ReplaceFile with a line feed behind each line. Always 0, also when nothing could be written: who needs to know
    // calls that.
    static std::uint32_t WriteFile(const std::string& path, const std::vector<std::string>& lines);
    // The lines as one text, a line feed behind each.
    static std::string JoinLines(const std::vector<std::string>& lines);

    // What follows the first occurrence of the key, anywhere in the text, without leading white space.
    static std::string ParseValue(const std::string& text, const std::string& key);

    static int CreateDirectories(const std::string& path);
    static std::uint32_t SetTimeZone(const std::string& zone);
    static void ServiceStart(const std::string& service);
    static void ServiceStop(const std::string& service);
    static std::uint32_t ServiceRestart(const std::string& service);
    static std::uint32_t ServiceRoutingRestart();
    static std::uint32_t PwUserAdd(const std::string& user);
    // The home directory stays.
    static std::uint32_t PwUserDelete(const std::string& user);
    static std::uint32_t PwUserGroupAdd(const std::string& user, const std::string& group);
    static std::uint32_t PwUserGroupRemove(const std::string& user, const std::string& group);
    static std::uint32_t PwGroupAdd(const std::string& group);
    static std::uint32_t PwGroupDelete(const std::string& group);
    // The default gateway reached through an interface, as text; empty when there is none, or the interface's name is
    // not safe.
    static std::string NetstatGetDefaultGateway(const std::string& interface);
    static void UpdateResolver();
};

} // namespace ZMBSD
