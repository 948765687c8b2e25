#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "CommandsTest.h"
#include "ParsedJson.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr std::uint16_t s_em0 = 0x8001;
constexpr std::uint16_t s_em1 = 0x8011;
constexpr std::uint16_t s_time = 0x8021;
constexpr std::uint16_t s_users = 0x8030;

const std::string s_saved = R"({
  "version": 1,
  "name": "IPC-4711",
  "zone": "UTC",
  "ntp": {
    "server": "ntp.example.org",
    "refresh": 64
  },
  "groups": {
    "operators": [],
    "panels": [
      "alice"
    ]
  },
  "dns": [
    "8.8.8.8",
    "1.1.1.1"
  ],
  "gateway": "192.168.10.1",
  "net": {
    "em0": {
      "mac": "00:01:05:12:34:50",
      "dhcp": false,
      "address": "192.168.10.20",
      "mask": "255.255.255.0"
    },
    "em1": {
      "mac": "00:01:05:12:34:51",
      "dhcp": true
    }
  }
}
)";

// All that differs from s_saved, as the machine then has it too.
const std::string s_other = R"({
  "version": 1,
  "name": "press-7",
  "zone": "Europe/Berlin",
  "ntp": {"server": null},
  "groups": {"operators": ["alice", "bob"], "panels": null, "new": []},
  "dns": [],
  "gateway": "10.0.0.1",
  "net": {"em0": {"address": "10.0.0.20", "mask": "255.0.0.0"}, "em1": {"dhcp": false, "address": "192.168.20.20", "mask": "255.255.255.0"}}
}
)";

// A machine that does what it is told, with a directory for documents.
class SettingsCommands : public CommandsTest {
protected:
    void SetUp() override {
        char directory[] = "/tmp/settings-XXXXXX";
        ASSERT_NE(mkdtemp(directory), nullptr);
        m_directory = directory;
        m_machine.objects[0x1008] = {7, "Device name", {{9, "rw", "Device name", Text("IPC-4711")}}};
        m_machine.AddModule(0, 2, "Nic", "em0");
        m_machine.AddModule(1, 2, "Nic", "em1");
        m_machine.AddModule(2, 3, "Time", "Time");
        m_machine.AddModule(3, 4, "User Management", "User Management");
        AddAdapter(s_em0, "00:01:05:12:34:50", "192.168.10.20", 0);
        AddAdapter(s_em1, "00:01:05:12:34:51", "0.0.0.0", 1);
        m_machine.objects[s_time] = {9,
                                     "Time",
                                     {CountEntry(5),
                                      {9, "rw", "Server", Text("ntp.example.org")},
                                      {7, "rw", "Refresh", Number(64, 4)},
                                      {7, "rw", "Seconds", Number(0, 4)},
                                      {9, "rw", "Time", {}},
                                      {6, "rw", "Zone", Number(1, 2)}}};
        m_machine.objects[s_time + 1] = {
            8, "Zones", {CountEntry(2), {9, "r-", "Zone", Text("Europe/Berlin")}, {9, "r-", "Zone", Text("UTC")}}};
        m_machine.objects[s_time + 2] = {8, "Zones", {CountEntry(0)}};
        SetList(1, {"alice", "bob"});
        SetList(3, {"alice;panels", "bob"});
        SetList(4, {"alice", "bob", "panels", "operators"});
        m_machine.written = [this](const FakeDictionary::Written& written) { Store(written); };
        m_machine.serve = [this](std::uint16_t index, const TestBytes& request) { return Serve(index, request); };
    }

    void TearDown() override { std::filesystem::remove_all(m_directory); }

    void AddAdapter(std::uint16_t index, const std::string& mac, const std::string& address, std::uint8_t dhcp) {
        m_machine.objects[index] = {9,
                                    "Adapter",
                                    {CountEntry(8),
                                     {9, "r-", "MAC", Text(mac)},
                                     {9, "rw", "Address", Text(address)},
                                     {9, "rw", "Mask", Text(dhcp != 0 ? "0.0.0.0" : "255.255.255.0")},
                                     {1, "rw", "DHCP", {dhcp}},
                                     {9, "rw", "Gateway", Text("192.168.10.1")},
                                     {9, "rw", "DNS", Text("8.8.8.8,1.1.1.1")},
                                     {9, "rw", "Reserved", {}, 0xECA61000},
                                     {9, "rw", "Active DNS", {}, 0xECA60105}}};
    }

    FakeEntry& Entry(std::uint16_t index, std::size_t subIndex) { return m_machine.objects[index].entries[subIndex]; }

    void SetList(unsigned list, const std::vector<std::string>& texts) {
        std::vector<FakeEntry> entries{CountEntry(static_cast<std::uint8_t>(texts.size()))};
        for (const std::string& text : texts) {
            entries.push_back({9, "r-", "Name", Text(text)});
        }
        m_machine.objects[static_cast<std::uint16_t>(s_users + list)] = {8, "List", entries};
    }

    void SetMachineWide(std::size_t subIndex, const std::string& text) {
        Entry(s_em0, subIndex).value = Text(text);
        Entry(s_em1, subIndex).value = Text(text);
    }

    void Store(const FakeDictionary::Written& written) {
        if (written.index == s_time && written.subIndex == 1) {
            const bool isOff = written.data == Text("NOSYNC");
            Entry(s_time, 1).value = isOff ? TestBytes() : written.data;
            Entry(s_time, 2).value = Number(isOff ? 0 : 64, 4);
        } else if (written.subIndex == 4 && written.index != s_time) {
            Entry(written.index, 4).value = {1};
            SetMachineWide(5, "0.0.0.0");
        } else if (written.subIndex == 5 && written.index != s_time) {
            SetMachineWide(5, {written.data.begin(), written.data.end() - 1}); // without its NUL
        } else if (written.subIndex == 6) {
            SetMachineWide(6, written.data == Text("NO") ? "" : std::string(written.data.begin(), written.data.end()));
        } else {
            Entry(written.index, written.subIndex).value = written.data;
        }
    }

    static std::string TextAt(const TestBytes& request, std::size_t& at, std::size_t lengthAt) {
        const std::size_t begin = at;
        at += request[lengthAt];
        return {request.begin() + static_cast<std::ptrdiff_t>(begin),
                request.begin() + static_cast<std::ptrdiff_t>(at)};
    }

    FakeResponse Serve(std::uint16_t index, const TestBytes& request) {
        if (index == 0xB001 || index == 0xB011) {
            std::size_t at = 16;
            const std::uint16_t adapter = index == 0xB001 ? s_em0 : s_em1;
            Entry(adapter, 2).value = Text(TextAt(request, at, 4));
            Entry(adapter, 3).value = Text(TextAt(request, at, 8));
            Entry(adapter, 4).value = {0};
            if (const std::string gateway = TextAt(request, at, 12); gateway != "unchanged") {
                SetMachineWide(5, gateway);
            }
        } else if (index == 0xB034 || index == 0xB035) {
            std::size_t at = 12;
            const std::string group = TextAt(request, at, 4);
            std::erase(m_groups, group);
            if (index == 0xB034) {
                m_groups.push_back(group);
            }
            SetList(4, m_groups);
        } else if (index == 0xB033) {
            std::size_t at = 17;
            const std::string user = TextAt(request, at, 4);
            const std::string group = ";" + TextAt(request, at, 8);
            std::string& groups = m_memberships[user == "alice" ? 0 : 1];
            groups = request[16] != 0 ? groups + group : groups.substr(0, groups.find(group));
            SetList(3, m_memberships);
        }
        return {0, {}};
    }

    std::string Document(const std::string& text, const std::string& name = "document.json") const {
        const std::string path = m_directory + "/" + name;
        std::ofstream(path) << text;
        return path;
    }

    static std::string Content(const std::string& path) {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string m_directory;
    std::vector<std::string> m_groups{"alice", "bob", "panels", "operators"};
    std::vector<std::string> m_memberships{"alice;panels", "bob"};
};

} // namespace

TEST_F(SettingsCommands, SaveWritesAllThatIsSetToTheOutput) {
    const Ran ran = Run({"save"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, s_saved);
    EXPECT_EQ(ran.err, "");
    EXPECT_THAT(m_machine.writes, IsEmpty());
}

TEST_F(SettingsCommands, SaveMakesAFileThatIsItsOwnersAlone) {
    const std::string path = m_directory + "/new.json";
    EXPECT_EQ(Run({"save", path}).out, path + ": saved: name, zone, ntp, groups, dns, gateway, net\n");
    EXPECT_EQ(Content(path), s_saved);

    struct stat status {};

    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    EXPECT_EQ(ParsedJson(Run({"--json", "save", path, "--only", "name"}).out)["sections"], ParsedJson(R"(["name"])"));
    const Ran ran = Run({"save", m_directory + "/none/x"});
    EXPECT_EQ(ran.status, 4);
    EXPECT_THAT(ran.err, HasSubstr("mdp: writing the document: "));
}

TEST_F(SettingsCommands, SaveTakesTheSectionsThatAreChosen) {
    EXPECT_EQ(Run({"save", "--only", "zone,net=em1"}).out,
              "{\n  \"version\": 1,\n  \"zone\": \"UTC\",\n  \"net\": {\n    \"em1\": {\n"
              "      \"mac\": \"00:01:05:12:34:51\",\n      \"dhcp\": true\n    }\n  }\n}\n");
    EXPECT_EQ(Run({"save", "--only", "colour"}).err,
              "mdp: --only: there is no section \"colour\"; there are: name, zone, ntp, groups, dns, gateway, net and "
              "net=ADAPTER\n");
    EXPECT_EQ(Run({"save", "--only", "net=em7"}).err, "mdp: --only: there is no adapter em7; mdp net lists them\n");
    EXPECT_EQ(Run({"save", "--only", "zone=UTC"}).status, 2);
}

TEST_F(SettingsCommands, SaveTellsWhatItLeavesOut) {
    Entry(0x1008, 0).value = Text("qr_x");
    Entry(s_time, 5).value = Number(65535, 2);
    Entry(s_time, 2).value = Number(1, 4);
    SetMachineWide(6, "2001:db8::1");
    Entry(s_em0, 3).value = Text("0xffffff00");
    SetList(4, {"alice", "bob", "two words", "ls"});
    SetList(3, {"alice;tools", "bob"});

    const Ran ran = Run({"save"});

    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "{\n  \"version\": 1,\n  \"ntp\": {\n    \"server\": \"ntp.example.org\"\n  },\n"
                       "  \"groups\": {\n    \"ls\": []\n  },\n  \"gateway\": \"192.168.10.1\",\n"
                       "  \"net\": {\n    \"em0\": {\n      \"mac\": \"00:01:05:12:34:50\"\n    },\n"
                       "    \"em1\": {\n      \"mac\": \"00:01:05:12:34:51\",\n      \"dhcp\": true\n    }\n  }\n}\n");
    EXPECT_EQ(ran.err,
              "mdp: left out: name: qr_x is none that a machine can be given\n"
              "mdp: left out: zone: the machine does not know its own by name\n"
              "mdp: left out: ntp.refresh: 1 seconds are fewer than can be set\n"
              "mdp: left out: groups.two words: the name is none that a group can be given\n"
              "mdp: left out: groups.ls: the machine does not tell whether alice is a member, who is one of a group "
              "whose name ends like this\n"
              "mdp: left out: dns: \"2001:db8::1\" is no IPv4 address of a DNS server; others cannot be set\n"
              "mdp: left out: net.em0.mask: \"0xffffff00\" is no subnet mask such as 255.255.255.0\n");
}

TEST_F(SettingsCommands, SaveLeavesTheGatewayOfALeaseOut) {
    Entry(s_em1, 2).value = Text("192.168.10.99");
    Entry(s_em1, 3).value = Text("255.255.255.0");
    EXPECT_THAT(Run({"save"}).out, Not(HasSubstr("gateway")));
    EXPECT_EQ(Run({"diff", Document(R"({"version": 1, "gateway": null})")}).status, 0);
}

TEST_F(SettingsCommands, SaveOfAMachineThatOffersLess) {
    m_machine = FakeDictionary();
    m_machine.AddModule(0, 10, "Software", "Software");
    m_machine.objects[0x1008] = {7, "Device name", {{9, "rw", "Device name", Text("IPC-4711")}}};

    const Ran ran = Run({"save"});

    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "{\n  \"version\": 1,\n  \"name\": \"IPC-4711\"\n}\n");
    EXPECT_THAT(
        ran.err,
        HasSubstr("mdp: left out: zone: this machine offers no clock, zones and time servers; mdp modules lists"));
    EXPECT_THAT(ran.err, HasSubstr("mdp: left out: groups: this machine offers no user management; "));
    EXPECT_THAT(ran.err, HasSubstr("mdp: left out: net: this machine offers no network adapters\n"));
    const std::string path = Document(s_saved);
    EXPECT_THAT(Run({"diff", path}).out, HasSubstr("zone: not offered by this machine -> UTC\n"));
    const Ran applied = Run({"apply", path});
    EXPECT_EQ(applied.status, 2);
    EXPECT_THAT(applied.err, HasSubstr("; leave it out by --only\n"));
}

TEST_F(SettingsCommands, SaveThatCannotReadMakesNoFile) {
    Entry(s_em0, 4).code = 0xECA60106;
    const std::string path = m_directory + "/new.json";

    const Ran ran = Run({"save", path});

    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.err, testing::StartsWith("mdp: reading em0 (--only names the sections to save): 0xECA60106 "));
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(Run({"save", path, "--only", "name,zone"}).status, 0);
    EXPECT_EQ(Run({"diff", path}).status, 0);
    EXPECT_EQ(Run({"diff", Document(s_saved)}).status, 3) << "what is not known is no difference";
}

TEST_F(SettingsCommands, DiffIsSilentWhereNothingDiffers) {
    const Ran ran = Run({"diff", Document(s_saved)});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(ran.err, "");
    EXPECT_EQ(ParsedJson(Run({"--json", "diff", Document(s_saved)}).out),
              ParsedJson(R"({"equal": true, "differences": []})"));
}

TEST_F(SettingsCommands, DiffTellsInWordsWhatDiffers) {
    const Ran ran = Run({"diff", Document(s_other)});
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.out, "name: IPC-4711 -> press-7\n"
                       "zone: UTC -> Europe/Berlin\n"
                       "ntp.server: ntp.example.org -> none\n"
                       "groups.new: no such group -> no members\n"
                       "groups.operators: no members -> alice, bob\n"
                       "groups.panels: alice -> no such group\n"
                       "dns: 8.8.8.8, 1.1.1.1 -> none\n"
                       "gateway: 192.168.10.1 -> 10.0.0.1\n"
                       "net.em0: 192.168.10.20 mask 255.255.255.0 -> 10.0.0.20 mask 255.0.0.0\n"
                       "net.em1: DHCP -> 192.168.20.20 mask 255.255.255.0\n");
    EXPECT_EQ(ran.err, "");
}

TEST_F(SettingsCommands, DiffAsJsonHasTheValuesOfTheDocument) {
    const Ran ran = Run({"--json", "diff", Document(s_other), "--only", "zone,dns,net=em1"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ParsedJson(ran.out), ParsedJson(R"({"equal": false, "differences": [
        {"setting": "zone", "from": "UTC", "to": "Europe/Berlin"},
        {"setting": "dns", "from": ["8.8.8.8", "1.1.1.1"], "to": []},
        {"setting": "net.em1", "from": {"dhcp": true},
         "to": {"dhcp": false, "address": "192.168.20.20", "mask": "255.255.255.0"}}]})"));
}

TEST_F(SettingsCommands, ApplyMakesTheMachineEqualAndThenChangesNothing) {
    const std::string path = Document(s_other);
    const Ran ran = Run({"apply", path});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(
        ran.out,
        "name: IPC-4711 -> press-7 ... done\n"
        "zone: UTC -> Europe/Berlin ... done\n"
        "ntp.server: ntp.example.org -> none ... done\n"
        "groups.new: no such group -> no members ... done\n"
        "groups.operators: no members -> alice, bob ... done\n"
        "groups.panels: alice -> no such group ... done\n"
        "dns: 8.8.8.8, 1.1.1.1 -> none ... done\n"
        "net.em1: DHCP -> 192.168.20.20 mask 255.255.255.0 ... done\n"
        "net.em0: 192.168.10.20 mask 255.255.255.0 -> 10.0.0.20 mask 255.0.0.0, gateway: 192.168.10.1 -> 10.0.0.1 "
        "... done\n"
        "9 changes made: the machine has the settings of " +
            path + "\n");
    EXPECT_EQ(Run({"diff", path}).out, "");

    m_machine.writes.clear();
    const Ran again = Run({"apply", path});
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.out, "nothing to change: the machine has the settings of " + path + "\n");
    EXPECT_THAT(m_machine.writes, IsEmpty());
}

TEST_F(SettingsCommands, ApplySetsTheGatewayBehindAnAdapterThatTurnsToDhcp) {
    ASSERT_EQ(Run({"apply", Document(s_other)}).status, 0);
    m_machine.writes.clear();
    const std::string path = Document(s_saved);
    EXPECT_EQ(Run({"apply", path, "--only", "gateway,net"}).status, 0);

    using Written = FakeDictionary::Written;
    // em0 carries the route, but its gateway must come behind the DHCP of em1: both in one edit.
    EXPECT_THAT(m_machine.writes, ElementsAre(Written{s_em1, 4, {1}}, testing::Field(&Written::index, 0xB001)));
    m_machine.writes.clear();
    EXPECT_EQ(Run({"diff", path, "--only", "gateway,net"}).out, "");
}

TEST_F(SettingsCommands, ApplyInJsonIsALineForEachChange) {
    const Ran ran = Run({"--json", "apply", Document(s_other), "--only", "name"});
    EXPECT_EQ(ran.out, R"({"setting":"name","from":"IPC-4711","to":"press-7","done":true})"
                       "\n{\"changes\":1,\"equal\":true}\n");
    EXPECT_EQ(Run({"--json", "apply", Document(s_other), "--only", "name"}).out, "{\"changes\":0,\"equal\":true}\n");
}

TEST_F(SettingsCommands, DryRunTellsTheOrderAndChangesNothing) {
    const std::string path = Document(s_other);
    const Ran ran = Run({"apply", "--dry-run", path, "--only", "net,gateway,name"});
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "these would be changed, in this order:\n"
                       "name: IPC-4711 -> press-7\n"
                       "net.em1: DHCP -> 192.168.20.20 mask 255.255.255.0\n"
                       "net.em0: 192.168.10.20 mask 255.255.255.0 -> 10.0.0.20 mask 255.0.0.0\n"
                       "gateway: 192.168.10.1 -> 10.0.0.1\n");
    EXPECT_EQ(Run({"--json", "apply", "--dry-run", path, "--only", "name"}).out,
              R"({"setting":"name","from":"IPC-4711","to":"press-7","done":false})"
              "\n");
    EXPECT_THAT(m_machine.writes, IsEmpty());
}

TEST_F(SettingsCommands, ApplyRefusesEverythingBeforeItChangesAnything) {
    const std::pair<const char*, const char*> documents[] = {
        {R"({"version": 1, "name": "a", "net": {"em7": {"dhcp": true}}})",
         "net.em7: this machine has no such adapter; there are: em0, em1; choose those that are to be set by --only, "
         "as "
         "in net=em0\n"},
        {R"({"version": 1, "name": "a", "zone": "Europe/Nowhere"})",
         "zone: this machine has no zone Europe/Nowhere; mdp zone list shows them\n"},
        {R"({"version": 1, "name": "a", "groups": {"panels": ["carol"]}})",
         "groups.panels: this machine has no user carol"},
        {R"({"version": 1, "name": "a", "colour": 1})", "colour: there is no such setting"},
        {R"({"version": 1, "name": "a", "net": {"em0": {"address": "10.0.0.1", "mask": "255.0.255.0"}}})",
         "net.em0.mask: \"255.0.255.0\" is no subnet mask such as 255.255.255.0\n"},
        {R"({"version": 2, "name": "a"})", "version: "},
        {R"({"version": 1, "name": "a")", "this is no JSON: line 1, "},
    };
    for (const auto& [text, told] : documents) {
        const std::string path = Document(text);
        const Ran ran = Run({"apply", path});
        EXPECT_EQ(ran.status, 2) << text;
        EXPECT_THAT(ran.err, testing::StartsWith("mdp: " + path + ": " + told));
        EXPECT_EQ(ran.out, "");
    }
    EXPECT_EQ(Run({"apply", Document(s_other), "--only", "net=em7"}).err,
              "mdp: --only: " + m_directory + "/document.json holds no net.em7\n");
    EXPECT_EQ(Run({"apply", m_directory + "/none"}).status, 4);
    EXPECT_EQ(Run({"apply"}).status, 2);
    EXPECT_THAT(m_machine.writes, IsEmpty());
}

TEST_F(SettingsCommands, ApplyStopsAtTheFirstFailureAndGoesOnFromThere) {
    const std::string path = Document(s_other);
    m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{3, Number(0xECA70001, 8)}; };

    const Ran ran = Run({"apply", path});

    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.out, testing::EndsWith("groups.new: no such group -> no members ...\n"));
    EXPECT_THAT(ran.err, testing::StartsWith("mdp: groups.new: 0xECA70001"));
    EXPECT_THAT(ran.err,
                HasSubstr("\nmdp: 3 changes of 9 done, which stay; the same command again goes on from here\n"));

    m_machine.serve = [this](std::uint16_t index, const TestBytes& request) { return Serve(index, request); };
    const Ran again = Run({"apply", path});
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_THAT(again.out, testing::StartsWith("groups.new: "));
    EXPECT_EQ(Run({"diff", path}).out, "");
}

// The service reads the accounts when it starts and after its own changes.
TEST_F(SettingsCommands, ApplyTellsWhatHelpsWhereOthersHaveChangedTheAccounts) {
    m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{3, Number(0xECAF0403, 8)}; };
    const Ran ran = Run({"apply", Document(s_other), "--only", "groups"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.err, testing::StartsWith("mdp: groups.new: others have changed the accounts since the service read "
                                             "them; start the service anew: 0xECAF0403 OBJ_E_GROUPEXISTS"));
}

TEST_F(SettingsCommands, ApplyTellsOfAChangeThatTheMachineDoesNotShow) {
    m_machine.written = nullptr;
    const Ran ran = Run({"apply", Document(s_other), "--only", "name"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.err, "mdp: name: the machine took it, but shows IPC-4711; look at the log of the machine\n"
                       "mdp: 0 changes of 1 done, which stay; the same command again goes on from here\n");
    m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{0, {}}; };
    const Ran net = Run({"--timeout", "0.05", "apply", Document(s_other), "--only", "net=em0"});
    EXPECT_EQ(net.status, 1);
    EXPECT_THAT(net.err,
                HasSubstr("net.em0: the machine took it, but shows 192.168.10.20 mask 255.255.255.0; look at"));
}

TEST_F(SettingsCommands, ApplyWaitsForAServiceThatGoesAwayMeanwhile) {
    unsigned left = 2;
    m_machine.written = [this, &left](const FakeDictionary::Written& written) {
        if (left > 0) {
            --left; // the service forgets it
            m_machine.losses = 2;
            return;
        }
        Store(written);
    };
    const std::string path = Document(s_other);
    const Ran ran = Run({"apply", path, "--only", "name,zone"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(Run({"diff", path, "--only", "name,zone"}).out, "");
}

TEST_F(SettingsCommands, ApplyEndsWhenTheServiceStaysAway) {
    m_machine.written = [this](const FakeDictionary::Written& /*written*/) { m_machine.losses = 1000; };
    const Ran ran = Run({"--timeout", "0.3", "apply", Document(s_other), "--only", "dns"});
    EXPECT_EQ(ran.status, 3);
    EXPECT_THAT(ran.err, HasSubstr("mdp: 0 changes of 1 done, which stay; the same command again goes on from here\n"));
}

TEST_F(SettingsCommands, ValuesOfTheCommandLineAndOfATableStandInForTheDocuments) {
    const std::string path = Document(s_saved);
    const std::string table = Document("machine,name,net.em0.address,dns\n"
                                       "press-7,press-7,192.168.10.27,\"9.9.9.9,8.8.8.8\"\n"
                                       "press-8,press-8,192.168.10.28,\n",
                                       "table.csv");
    EXPECT_EQ(Run({"diff", path, "--set", "name=a", "--set", "net.em0.address=192.168.10.21"}).out,
              "name: IPC-4711 -> a\n"
              "net.em0: 192.168.10.20 mask 255.255.255.0 -> 192.168.10.21 mask 255.255.255.0\n");
    EXPECT_EQ(Run({"diff", "--values", table, "--machine", "press-7", "--set", "name=a", path}).out,
              "name: IPC-4711 -> a\n"
              "dns: 8.8.8.8, 1.1.1.1 -> 9.9.9.9, 8.8.8.8\n"
              "net.em0: 192.168.10.20 mask 255.255.255.0 -> 192.168.10.27 mask 255.255.255.0\n");
    EXPECT_EQ(Run({"apply", path, "--values", table, "--machine", "press-8"}).status, 0);
    EXPECT_EQ(Run({"read", "1008"}).out, "\"press-8\"\n");
}

TEST_F(SettingsCommands, WrongValuesAreRefusedWithTheirPlace) {
    const std::string path = Document(s_saved);
    const std::string table = Document("machine,colour\na,red\n", "table.csv");
    EXPECT_THAT(Run({"diff", path, "--set", "colour=red"}).err, HasSubstr("--set: colour: there is no such setting"));
    EXPECT_EQ(Run({"diff", path, "--set", "name"}).err, "mdp: --set: write SETTING=VALUE, such as name=press-7\n");
    EXPECT_THAT(Run({"diff", path, "--set", "net.em0.address=10.0.0"}).err,
                HasSubstr("net.em0.address: \"10.0.0\" is no"));
    EXPECT_THAT(Run({"diff", path, "--values", table, "--machine", "a"}).err,
                testing::StartsWith("mdp: " + table + ": a: colour: there is no such setting"));
    EXPECT_EQ(Run({"diff", path, "--values", table, "--machine", "b"}).err,
              "mdp: " + table + ": there is no machine b; there are: a\n");
    EXPECT_EQ(Run({"diff", path, "--values", table}).err, "mdp: --values: name the row with --machine\n");
    EXPECT_EQ(Run({"diff", path, "--machine", "a"}).status, 2);
    EXPECT_THAT(m_machine.writes, IsEmpty());
}

TEST_F(SettingsCommands, DocumentsAndSectionsAreCompleted) {
    for (const char* command : {"save", "diff", "apply"}) {
        EXPECT_EQ(RunWords({"__complete", "--", command, ""}).out, ":files\t\n");
        EXPECT_EQ(RunWords({"__complete", "--", command, "--only", "g"}).out, "groups\t\ngateway\t\n");
    }
    EXPECT_EQ(RunWords({"__complete", "--", "apply", "x", "--values", ""}).out, ":files\t\n");
    EXPECT_THAT(RunWords({"__complete", "--", "apply", "--d"}).out, testing::StartsWith("--dry-run\t"));
}
