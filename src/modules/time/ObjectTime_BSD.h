#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "dictionary/ModuleActivator.h"
#include "dictionary/ObjectRecord.h"

// The clock, the zone and the time servers of the machine. Nothing but the list of zones is kept: every read asks the
// machine.
//
//   0x8nn1:1  NTP server                 read, write; an empty text or "NOSYNC" ends the synchronisation
//   0x8nn1:2  NTP refresh in seconds     read, write; a power of two from 16 on
//   0x8nn1:3  seconds since 1970, UTC    read, write
//   0x8nn1:4  local time and offset      read, write; "2026-11-22T14:05:09.250+01:00"
//   0x8nn1:5  index of the active zone   read, write; 65535 for one that is not in the list
//   0x8nn1:6  reserved                   not supported
//   0x8nn1:7  local time as seconds      read
//   0x8nn2    zones 0 to 253             read; the list is sorted and lasts as long as the module is awake
//   0x8nn3    zones from 254 on          read
namespace Time {

inline constexpr const char* TIMEZONE_CURRENT_CONFIG = "/etc/localtime";
inline constexpr const char* TIMEZONE_CURRENT_CONFIG_INFO = "/var/db/zoneinfo";
inline constexpr const char* TIMEZONE_FILES_LOCATION = "/usr/share/zoneinfo/";
inline constexpr const char* TIMEZONE_DESCRIPTION_FILE = "zone1970";
inline constexpr const char* TIMEZONE_DESCRIPTION_FILE_EXTENSION = ".tab";
inline constexpr const char* NTP_CONFIG = "/etc/ntp.conf";
inline constexpr const char* NTP_CONFIG_POOL_CMD = "pool";
inline constexpr const char* NTP_CONFIG_MINPOLL_CMD = "minpoll";
inline constexpr const char* NTP_CONFIG_POOL_CMD_TEMPLATE = "pool %s iburst minpoll %u maxpoll %u";
// For whoever delivers a machine; nothing here reads it.
inline constexpr const char* NTP_CONFIG_VTH_POOL = "pool.ntp.vorthane.example";

// Makes the header and the activator. Always 0.
ObjResult Create();

// Makes the three objects when a client asks and takes them back later.
class CTimeActivator : public CModuleActivator {
public:
    // `header`: the index of the module's header.
    explicit CTimeActivator(unsigned short header) : m_header(header) {}

    ObjResult DoActivate() override;
    ObjResult DoDeactivate() override;

private:
    unsigned short m_header;
};

// The settings. The list of zones is the module's, not the object's: it is made and dropped while the module wakes and
// sleeps, and otherwise used under the section of the one object.
class CObj0x8nn1 : public CObjectRecord {
public:
    // No zone of the list.
    static constexpr std::uint16_t UNKNOWN_ZONE = 65535;
    // What the two arrays hold.
    static constexpr std::size_t MAX_ZONES = 508;

    ObjResult Init(unsigned short index);

    // Builds the list unless it is there: the zones of the description file that exist, and the files of the zone
    // folder itself. What cannot be read adds nothing.
    static void LoadTimezones();
    static void FreeTimeZoneInfo();
    static void ReadTimezoneDescriptionFile();
    static void IterateTimezoneRootDir();
    // A file, or a link to one.
    static bool FileExists(const std::string& path);

    // An empty text means no synchronisation. The daemon stops in any case, and starts again on success. Gives 0,
    // OBJ_E_INVALIDARG for a text that is no host name, OBJ_E_INVALIDDATA where the refresh cannot be kept, or the
    // failure of the edit of a file.
    static ObjResult SetNtpServer(const std::string& server);
    // Seconds. OBJ_E_OUTOFRANGE below 16, OBJ_E_UNEXPECTED without a server, or the failure of the edit of a file.
    static ObjResult SetNtpRefresh(unsigned int seconds);
    // Of the first pool line of the configuration; empty for none.
    static std::string GetNtpServer();
    // Seconds: 1 where the line tells none, 0xFFFFFFFF for more than 32 bits hold, 0 for less than a second.
    static std::uint32_t GetNtpRefresh();
    // What follows "pool" in that line.
    static std::string ReadNtpConfigServerValue();
    // Replaces that line, and does nothing where there is none. 0, or the status of the reading or writing.
    static std::uint32_t WriteNtpConfig(const std::string& server, unsigned int minPoll);
    // The whole part of the logarithm to base 2; 0 for 0.
    static unsigned int CalculateMinPoll(unsigned int seconds);
    // Whether all characters may stand in a host name or an address.
    static bool IsValidNtpServer(const std::string& server);

    // The triggers of the items.
    static ObjResult ReadNTPServer(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult WriteNTPServer(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                                    unsigned int size);
    static ObjResult ReadNTPRefresh(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult WriteNTPRefresh(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                                     unsigned int size);
    static ObjResult ReadTimeUtc(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult WriteTimeUtc(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                                  unsigned int size);
    static ObjResult ReadTimeFormat(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult WriteTimeFormat(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                                     unsigned int size);
    static ObjResult ReadTZ(TInfoItem* item, unsigned short index, unsigned char subIndex);
    static ObjResult WriteTZ(TInfoItem* item, unsigned short index, unsigned char subIndex, void* data,
                             unsigned int size);
    static ObjResult ReadTimeLocal(TInfoItem* item, unsigned short index, unsigned char subIndex);

    // Sorted; the position is the zone's index. Never destroyed: a client's thread may outlive main.
    static std::vector<std::string>& m_arrTimezones;
    static bool m_bTimeZonesLoaded;
    static std::uint16_t m_nActiveTz;
};

// The zones from 0 on, as many as fit.
class CObj0x8nn2 : public CObjectArray {
public:
    ObjResult Init(unsigned short index);
};

// The zones that do not fit the first array.
class CObj0x8nn3 : public CObjectArray {
public:
    ObjResult Init(unsigned short index);
};

// Each starts its thread routine below and does not wait for it. The routines run in the order of these calls: each
// waits for the one before it, but no longer than 30 seconds.
void StartNtpServerAsync();
void StopNtpServerAsync();

// Thread routines; both give 0. They take the handle of the thread to wait for, which may be null, and close it.
std::uint32_t StartNtpServer(void* earlier);
std::uint32_t StopNtpServer(void* earlier);

} // namespace Time
