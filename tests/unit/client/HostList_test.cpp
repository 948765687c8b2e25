#include "HostList.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace MdpCommand;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// User, name and port with bars between, or "none".
std::string Parts(std::string_view text) {
    const auto host = ParseHost(text);
    return host ? host->user + "|" + host->name + "|" + host->port : "none";
}

std::vector<std::string> Labels(const HostList& list) {
    std::vector<std::string> labels;
    for (const Host& host : list.hosts) {
        labels.push_back(host.label);
    }
    return labels;
}

// A file that is gone with the object.
class TextFile {
public:
    explicit TextFile(const std::string& text) {
        const int descriptor = mkstemp(m_path);
        close(descriptor);
        std::ofstream(m_path, std::ios::binary) << text;
    }

    ~TextFile() { unlink(m_path); }

    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;

    std::string Path() const { return m_path; }

private:
    char m_path[32] = "/tmp/mdp-hosts-XXXXXX";
};

} // namespace

TEST(HostTest, HasUserAndPort) {
    EXPECT_EQ(Parts("press1"), "|press1|");
    EXPECT_EQ(Parts("root@press-1.example"), "root|press-1.example|");
    EXPECT_EQ(Parts("root@press_1:2222"), "root|press_1|2222");
    EXPECT_EQ(Parts("10.9.0.11:22"), "|10.9.0.11|22");
    EXPECT_EQ(Parts("ssh://root@press1:2222"), "root|press1|2222");
    EXPECT_EQ(Parts("ssh://press1/"), "|press1|");
    EXPECT_EQ(Parts("op@plant@press1"), "op@plant|press1|");
}

TEST(HostTest, MayBeAnAddressWithColons) {
    EXPECT_EQ(Parts("::1"), "|::1|");
    EXPECT_EQ(Parts("root@fe80::1%em0"), "root|fe80::1%em0|");
    EXPECT_EQ(Parts("[::1]"), "|::1|");
    EXPECT_EQ(Parts("root@[fe80::1%em0]:2222"), "root|fe80::1%em0|2222");
}

TEST(HostTest, IsNeverAnOptionOrMoreThanAWord) {
    for (const char* text : {"",
                             "-oProxyCommand=x",
                             "-l",
                             "root@-x",
                             "-root@press1",
                             "@press1",
                             "press1;ls",
                             "press 1",
                             "press1 ",
                             "$(x)",
                             "press'1",
                             "press1/x",
                             "a\nb",
                             "press1:",
                             "press1:0",
                             "press1:65536",
                             "press1:0x16",
                             "press1:-1",
                             "press1:22x",
                             "[press1",
                             "[::1]x",
                             "[]",
                             "[-x]",
                             "[::1]:",
                             "%h",
                             "ssh://",
                             "ssh://press1/x",
                             "r\"t@press1"}) {
        EXPECT_EQ(Parts(text), "none") << text;
    }
}

TEST(HostTest, IsWrittenAsItIsRead) {
    for (const char* text : {"press1", "root@press1:22", "root@[::1]:22", "root@::1", "::1"}) {
        EXPECT_EQ(ParseHost(text)->Text(), text);
    }
    EXPECT_EQ(ParseHost("ssh://root@[::1]")->Text(), "root@::1");
}

TEST(HostListTest, NamesEachMachineOnceInOrder) {
    const HostList list = ParseHosts({"press2,press1", "press2", "press3,press1"});

    EXPECT_EQ(list.wrong, "");
    EXPECT_EQ(Labels(list), (std::vector<std::string>{"press2", "press1", "press3"}));
}

TEST(HostListTest, LabelsTellMachinesApart) {
    const HostList list = ParseHosts({"root@press1,op@press1,press2:2222"});

    EXPECT_EQ(Labels(list), (std::vector<std::string>{"root@press1", "op@press1", "press2"}));
}

TEST(HostListTest, ReadsFilesWithCommentsAndBlanks) {
    const TextFile file("# the hall\npress1\n\n  root@press2:2222  # the old one\r\npress3,press4\npress1");
    const HostList list = ParseHosts({"@" + file.Path(), "press5"});

    EXPECT_EQ(list.wrong, "");
    EXPECT_EQ(Labels(list), (std::vector<std::string>{"press1", "press2", "press3", "press4", "press5"}));
    EXPECT_EQ(list.hosts[1].Text(), "root@press2:2222");
}

TEST(HostListTest, TellsWhereSomethingIsWrong) {
    const TextFile file("press1\n-oProxyCommand=x\n");

    EXPECT_EQ(ParseHosts({"press1,,press2"}).wrong,
              "--host: \"\" is no machine's name; the form is [USER@]HOST[:PORT], several with commas between, or "
              "@FILE with one a line");
    EXPECT_THAT(ParseHosts({"@" + file.Path()}).wrong,
                StartsWith(file.Path() + ":2: \"-oProxyCommand=x\" is no machine's name"));
    EXPECT_THAT(ParseHosts({"@/nowhere/hosts"}).wrong,
                StartsWith("/nowhere/hosts: No such file or directory; --host @FILE takes a file"));
    EXPECT_THAT(ParseHosts({"@/tmp"}).wrong, HasSubstr("Is a directory"));
}

TEST(HostListTest, AFileWithoutMachinesIsNone) {
    const TextFile file("# nothing yet\n");

    EXPECT_THAT(ParseHosts({"@" + file.Path()}).wrong, StartsWith("--host: no machine is named"));
}

TEST(HostPathTest, SplitsAtTheColonBeforeTheRoot) {
    using Parts = std::pair<std::string, std::string>;

    EXPECT_EQ(SplitHostPath("press1:/etc/rc.conf"), Parts("press1", "/etc/rc.conf"));
    EXPECT_EQ(SplitHostPath("root@press1:2222:/x"), Parts("root@press1:2222", "/x"));
    EXPECT_EQ(SplitHostPath("[::1]:/x:/y"), Parts("[::1]", "/x:/y"));
    for (const char* text : {"/a:/b", "a/b:/c", ":/x", "press1", "press1:x", ""}) {
        EXPECT_EQ(SplitHostPath(text), std::nullopt) << text;
    }
}
