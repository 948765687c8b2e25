#include <fcntl.h>
#include <unistd.h>

#include "CommandsTest.h"
#include "ParsedJson.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class AccountCommands : public CommandsTest {
protected:
    void SetUp() override {
        m_machine.AddModule(0, 4, "User Management", "User Management");
        m_machine.objects[0x8001] = {
            8,
            "User names",
            {CountEntry(2), {9, "r-", "User name", Text("root")}, {9, "r-", "User name", Text("alice")}}};
        m_machine.objects[0x8003] = {8,
                                     "Group memberships",
                                     {CountEntry(2),
                                      {9, "r-", "Groups of the user", {}, 0xECA60105},
                                      {9, "r-", "Groups of the user", Text("alice;panels")}}};
        m_machine.objects[0x8004] = {
            8,
            "Local groups",
            {CountEntry(2), {9, "r-", "Group name", Text("alice")}, {9, "r-", "Group name", Text("panels")}}};
        m_machine.serve = [](std::uint16_t, const TestBytes&) { return FakeResponse{0, {}}; };
    }

    // Runs a command with a descriptor to read these bytes from.
    Ran RunWith(std::vector<std::string> arguments, const std::string& input) {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        EXPECT_EQ(write(ends[1], input.data(), input.size()), static_cast<ssize_t>(input.size()));
        close(ends[1]);
        arguments.insert(arguments.end(), {"--password-fd", std::to_string(ends[0])});
        const Ran ran = Run(arguments);
        close(ends[0]);
        return ran;
    }

    void FailWith(std::uint32_t code) {
        m_machine.serve = [code](std::uint16_t, const TestBytes&) { return FakeResponse{3, Number(code, 8)}; };
    }
};

} // namespace

TEST_F(AccountCommands, UsersAreListedWithTheirGroups) {
    const std::string table = "USER   GROUPS\n"
                              "root   -\n"
                              "alice  alice panels\n";
    EXPECT_EQ(Run({"user"}).out, table);
    EXPECT_EQ(Run({"user", "list"}).out, table);
    EXPECT_EQ(Run({"user", "groups", "alice"}).out, "alice\npanels\n");
    EXPECT_EQ(Run({"group"}).out, "alice\npanels\n");
    EXPECT_EQ(Run({"group", "list"}).out, "alice\npanels\n");
}

TEST_F(AccountCommands, ListThatBecomesShorterWhileItIsReadIsReadAgain) {
    m_machine.beforeRead = [this](std::uint16_t index, std::uint8_t subIndex) {
        if (index == 0x8004 && subIndex == 2) {
            m_machine.objects[0x8004].entries = {CountEntry(1), {9, "r-", "Group name", Text("panels")}};
        }
    };

    const Ran ran = Run({"group"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "panels\n");
}

TEST_F(AccountCommands, NobodyIsShownWithTheGroupsOfAnother) {
    bool isChanged = false;
    m_machine.beforeRead = [&](std::uint16_t index, std::uint8_t) {
        if (index == 0x8003 && !isChanged) { // behind the names
            isChanged = true;
            m_machine.objects[0x8001].entries = {CountEntry(1), {9, "r-", "User name", Text("alice")}};
            m_machine.objects[0x8003].entries = {CountEntry(1), {9, "r-", "Groups of the user", Text("alice;panels")}};
        }
    };

    EXPECT_EQ(Run({"user"}).out, "USER   GROUPS\n"
                                 "alice  alice panels\n");
}

TEST_F(AccountCommands, ListsComeAsJson) {
    EXPECT_EQ(ParsedJson(Run({"--json", "user"}).out),
              ParsedJson(R"([{"name": "root", "groups": []}, {"name": "alice", "groups": ["alice", "panels"]}])"));
    EXPECT_EQ(ParsedJson(Run({"--json", "user", "groups", "alice"}).out),
              ParsedJson(R"({"name": "alice", "groups": ["alice", "panels"]})"));
    EXPECT_EQ(ParsedJson(Run({"--json", "group"}).out), ParsedJson(R"(["alice", "panels"])"));
    EXPECT_EQ(ParsedJson(Run({"--json", "group", "add", "x"}).out), ParsedJson(R"({"name": "x", "done": "added"})"));
}

TEST_F(AccountCommands, UserThatIsNotListedIsTold) {
    const Ran ran = Run({"user", "groups", "bob"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.err, HasSubstr("bob: 0xECAF0402 OBJ_E_NOSUCHUSER"));
}

TEST_F(AccountCommands, AddSendsNameAndPassword) {
    const Ran ran = RunWith({"user", "add", "bob"}, "secret\nfor somebody else\n");
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "bob: added\n");
    EXPECT_THAT(m_machine.writes, ElementsAre(FakeDictionary::Written{
                                      0xB000, 1, Hex("19000000 03000000 00000000 06000000") + Text("bobsecret")}));
}

TEST_F(AccountCommands, PasswordNeedsNoLineEnd) {
    EXPECT_EQ(RunWith({"user", "add", "bob"}, "secret").status, 0);
    EXPECT_EQ(m_machine.writes.at(0).data, Hex("19000000 03000000 00000000 06000000") + Text("bobsecret"));
    EXPECT_EQ(RunWith({"user", "add", "bob"}, "\n").status, 0);
    EXPECT_EQ(m_machine.writes.at(1).data, Hex("13000000 03000000 00000000 00000000") + Text("bob"));
}

TEST_F(AccountCommands, PasswdSendsTheOldAndTheNewOne) {
    const Ran ran = RunWith({"user", "passwd", "alice"}, "old one\nnew\n");
    EXPECT_EQ(ran.out, "alice: password changed\n");
    EXPECT_THAT(m_machine.writes,
                ElementsAre(FakeDictionary::Written{
                    0xB006, 1, Hex("23000000 05000000 00000000 07000000 03000000") + Text("aliceold onenew")}));
}

TEST_F(AccountCommands, PasswordsThatAreNotThereOrTooLongAreRefused) {
    EXPECT_EQ(RunWith({"user", "add", "bob"}, "").status, 2);
    EXPECT_EQ(RunWith({"user", "passwd", "bob"}, "only one\n").status, 2);
    EXPECT_EQ(RunWith({"user", "add", "bob"}, std::string(256, 'x') + "\n").status, 2);
    EXPECT_EQ(Run({"user", "add", "bob", "--password-fd", "987"}).status, 2);
    EXPECT_THAT(m_machine.writes, IsEmpty());
    EXPECT_EQ(RunWith({"user", "add", "bob"}, std::string(255, 'x') + "\n").status, 0);
}

TEST_F(AccountCommands, PasswordIsNoWordOfTheCommandLine) {
    EXPECT_EQ(Run({"user", "add", "bob", "secret"}).status, 2);
    EXPECT_EQ(Run({"user", "del", "alice", "--password-fd", "0"}).status, 2);
    EXPECT_THAT(m_machine.writes, IsEmpty());
}

TEST_F(AccountCommands, OthersSendTheirRecords) {
    EXPECT_EQ(Run({"user", "del", "alice"}).out, "alice: deleted; the home directory stays\n");
    EXPECT_EQ(Run({"group", "add", "x"}).out, "x: added\n");
    EXPECT_EQ(Run({"group", "del", "x"}).out, "x: deleted\n");
    EXPECT_EQ(Run({"group", "join", "panels", "root"}).out, "panels: root is a member\n");
    EXPECT_EQ(Run({"group", "leave", "panels", "root"}).out, "panels: root is no member\n");
    EXPECT_THAT(
        m_machine.writes,
        ElementsAre(
            FakeDictionary::Written{0xB001, 1, Hex("11000000 05000000 00000000") + Text("alice")},
            FakeDictionary::Written{0xB004, 1, Hex("0d000000 01000000 00000000") + Text("x")},
            FakeDictionary::Written{0xB005, 1, Hex("0d000000 01000000 00000000") + Text("x")},
            FakeDictionary::Written{0xB003, 1, Hex("1b000000 04000000 06000000 00000000 01") + Text("rootpanels")},
            FakeDictionary::Written{0xB003, 1, Hex("1b000000 04000000 06000000 00000000 00") + Text("rootpanels")}));
}

TEST_F(AccountCommands, FailuresAreToldWithTheirCodes) {
    FailWith(0xECAF0401);
    const Ran ran = RunWith({"user", "add", "alice"}, "secret\n");
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.err, HasSubstr("alice: 0xECAF0401 OBJ_E_USEREXISTS"));
    EXPECT_THAT(ran.err, Not(HasSubstr("secret")));
    FailWith(0xECAF0404);
    EXPECT_THAT(Run({"group", "del", "nogroup"}).err, HasSubstr("OBJ_E_NOSUCHGROUP"));
}

TEST_F(AccountCommands, WrongCommandLinesAreRefused) {
    for (const std::vector<std::string>& words : {std::vector<std::string>{"user", "add"},
                                                  {"user", "list", "alice"},
                                                  {"user", "frob"},
                                                  {"group", "add"},
                                                  {"group", "add", "x", "y"},
                                                  {"group", "join", "x"},
                                                  {"group", "list", "x"},
                                                  {"user", "groups"}}) {
        EXPECT_EQ(Run(words).status, 2) << words.back();
    }
    EXPECT_THAT(m_machine.writes, IsEmpty());
}

TEST_F(AccountCommands, MachineWithoutUserManagementIsTold) {
    m_machine.objects.clear();
    m_machine.AddModule(0, 2, "Nic", "em0");
    for (const std::vector<std::string>& words : {std::vector<std::string>{"user"}, {"group"}, {"group", "add", "x"}}) {
        const Ran ran = Run(words);
        EXPECT_EQ(ran.status, 2);
        EXPECT_THAT(ran.err, HasSubstr("this machine offers no user management"));
    }
}

TEST_F(AccountCommands, CompletionKnowsUsersAndGroups) {
    const auto complete = [this](std::vector<std::string> words) {
        words.insert(words.begin(), {"__complete", "--", "--socket", m_service.Path()});
        return RunWords(words).out;
    };
    EXPECT_EQ(complete({"user", "passwd", "a"}), "alice\talice\n");
    EXPECT_EQ(complete({"user", "add", ""}), "");
    EXPECT_EQ(complete({"group", "del", "p"}), "panels\t\n");
    EXPECT_EQ(complete({"group", "join", "panels", "r"}), "root\t\n");
    EXPECT_EQ(complete({"group", "add", ""}), "");
    EXPECT_THAT(complete({"user", "p"}), HasSubstr("passwd\t"));
}
