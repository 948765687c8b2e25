#include "modules/user/ObjectNTLMUser_BSD.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <thread>

#include "../../common/Hex.h"
#include "UserFixture.h"
#include "dictionary/ObjectRecord.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;

namespace {

constexpr unsigned short HEADER = 0x8000;

class UserListTest : public UserFixture {};

// A record of 4100 bytes in a database is more than a walk has room for.
std::string LongName() {
    return std::string(4100, 'x');
}

} // namespace

TEST_F(UserListTest, HeaderTellsTheModule) {
    Create();
    EXPECT_EQ(List(0), Lines({"00 00 04 00"_hex, "User Management", "User Management", "10 27 04 00"_hex}));
    EXPECT_EQ(m_dictionary->GetObjectRef(HEADER)->NameId(), 1080);
}

TEST_F(UserListTest, ObjectsHaveTheirKindsAndNames) {
    Create();

    const struct {
        unsigned short index;
        unsigned int code;
        int elementType;
        std::int64_t nameId;
    } objects[] = {
        {0x8001, 8, 9, 1081},  {0x8002, 8, 9, 1082}, {0x8003, 8, 9, 1087}, {0x8004, 8, 9, 20015},
        {0x8005, 8, 7, 10042}, {0xB000, 9, 0, 1083}, {0xB001, 9, 0, 1084}, {0xB002, 9, 0, 1085},
        {0xB003, 9, 0, 1086},  {0xB004, 9, 0, 1088}, {0xB005, 9, 0, 1089}, {0xB006, 9, 0, 11091},
    };

    for (const auto& expected : objects) {
        const CRef<CObject> object = m_dictionary->GetObjectRef(expected.index);
        ASSERT_TRUE(object) << std::hex << expected.index;
        EXPECT_EQ(object->ObjectCode(), expected.code);
        EXPECT_EQ(object->NameId(), expected.nameId);
        if (expected.code == 8) {
            EXPECT_EQ(static_cast<CObjectArray&>(*object).elementType, expected.elementType);
        }
    }
    EXPECT_FALSE(m_dictionary->GetObjectRef(0x8006));
    EXPECT_FALSE(m_dictionary->GetObjectRef(0xB007));
}

TEST_F(UserListTest, ElementsAreReadOnlyWithTheirTypesAndNames) {
    Create();

    const struct {
        unsigned short index;
        std::uint16_t type;
        std::int64_t nameId;
    } elements[] = {{0x8001, 9, 10012}, {0x8002, 9, 10013}, {0x8003, 9, 20014}, {0x8004, 9, 11090}, {0x8005, 7, 11090}};

    for (const auto& expected : elements) {
        const TInfoItem* item = m_dictionary->GetObjectRef(expected.index)->GetItem(1);
        ASSERT_NE(item, nullptr) << std::hex << expected.index;
        EXPECT_EQ(item->type, expected.type);
        EXPECT_EQ(item->access, ACCESS_READ);
        EXPECT_EQ(item->nameId, expected.nameId);
        char byte = 'x';
        EXPECT_EQ(m_dictionary->WriteObject(expected.index, 1, &byte, 1, 0), OBJ_E_INVALACCESS);
    }
}

TEST_F(UserListTest, ListsMirrorTheDatabasesInTheirOrder) {
    Create();
    EXPECT_THAT(List(1), ElementsAre("root", "alice"));
    EXPECT_THAT(List(2), ElementsAre("ECA61000", "ECA61000"));
    EXPECT_THAT(List(3), ElementsAre("root", "alice;machines"));
    EXPECT_THAT(List(4), ElementsAre("root", "alice", "machines"));
    EXPECT_THAT(List(5), ElementsAre("ECA61000", "ECA61000"));
}

TEST_F(UserListTest, EndOfTheDatabasesIsNoError) {
    Create();
    EXPECT_THAT(m_log.TakeLines(), IsEmpty());
}

TEST_F(UserListTest, PrimaryGroupComesFirstAndOnce) {
    WriteText("/etc/group", "machines:x:1002:alice\nzoo:x:1003:bob,alice\nalice:x:1001:root,alice\n");
    Create();
    EXPECT_THAT(List(3), ElementsAre("alice", "alice;machines;zoo"));
}

TEST_F(UserListTest, PrimaryGroupThatCannotBeFoundIsLeftOut) {
    WriteText("/etc/group", "machines:x:1002:alice\nzoo:x:1003:alice\n");
    Create();
    // A user without any group has no text at all.
    EXPECT_THAT(List(3), ElementsAre("ECA60105", "machines;zoo"));
    EXPECT_THAT(List(1), ElementsAre("root", "alice"));
}

TEST_F(UserListTest, GroupWhoseNameEndsAnEarlierOnesIsTakenForThat) {
    WriteText("/etc/group", "alice:x:1001:\nadmin:x:1002:alice\nmin:x:1003:alice\nadm:x:1004:alice\n");
    Create();
    EXPECT_THAT(List(3), ElementsAre("ECA60105", "alice;admin;adm"));
    WriteText("/etc/group", "alice:x:1001:\nmin:x:1003:alice\nadmin:x:1002:alice\nice:x:1005:alice\n");
    EXPECT_EQ(NTLMUser::LoadAllUsers(HEADER), OBJ_E_NOERR);
    EXPECT_THAT(List(3), ElementsAre("ECA60105", "alice;min;admin"));
}

TEST_F(UserListTest, MemberIsNotOneWhoseNameBeginsAlike) {
    WriteText("/etc/group", "root:x:0:\nalice:x:1001:\nmachines:x:1002:alic,alicea,bob\n");
    Create();
    EXPECT_THAT(List(3), ElementsAre("root", "alice"));
}

TEST_F(UserListTest, TwoAccountsOfOneNumberAreTwo) {
    WriteText("/etc/passwd", "root:x:0:0::/root:/bin/sh\ntoor:x:0:0::/root:/bin/sh\n");
    Create();
    EXPECT_THAT(List(1), ElementsAre("root", "toor"));
    EXPECT_THAT(List(3), ElementsAre("root", "root"));
}

TEST_F(UserListTest, ChangeFromOutsideShowsAfterTheNextRebuildOnly) {
    Create();
    WriteText("/etc/passwd", "bob:x:1005:1002::/home/bob:/bin/sh\n");
    WriteText("/etc/group", "machines:x:1002:\n");
    EXPECT_THAT(List(1), ElementsAre("root", "alice"));

    EXPECT_EQ(NTLMUser::LoadAllUsers(HEADER), OBJ_E_NOERR);
    EXPECT_THAT(List(1), ElementsAre("bob"));
    EXPECT_THAT(List(2), ElementsAre("ECA61000"));
    EXPECT_THAT(List(3), ElementsAre("machines"));
    EXPECT_THAT(List(5), ElementsAre("ECA61000"));
    EXPECT_THAT(List(4), ElementsAre("root", "alice", "machines"));

    EXPECT_EQ(NTLMUser::UpdateLocalGroups(HEADER), OBJ_E_NOERR);
    EXPECT_THAT(List(4), ElementsAre("machines"));
}

TEST_F(UserListTest, ListsEndAfter254Elements) {
    std::string users;
    std::string groups;
    for (int number = 1; number <= 300; ++number) {
        const std::string id = std::to_string(2000 + number);
        users += "user" + std::to_string(number) + ":x:" + id + ":" + id + "::/:/bin/sh\n";
        groups += "group" + std::to_string(number) + ":x:" + id + ":\n";
    }
    WriteText("/etc/passwd", users);
    WriteText("/etc/group", groups);
    Create();
    for (const unsigned int k : {1U, 2U, 3U, 4U, 5U}) {
        EXPECT_EQ(List(k).size(), 254U) << k;
    }
    EXPECT_EQ(List(1).back(), "user254");
    EXPECT_EQ(List(3).back(), "group254");
    EXPECT_EQ(List(4).back(), "group254");
    std::string value;
    EXPECT_EQ(Read(1, 255, value), OBJ_E_INVALIDIDX);
    EXPECT_THAT(m_log.TakeLines(), IsEmpty());
}

TEST_F(UserListTest, AccountThatIsTooLongEndsTheWalk) {
    WriteText("/etc/passwd", "root:x:0:0::/root:/bin/sh\nbob:x:1:1:" + LongName() + ":/:\nalice:x:1001:1001::/:\n");
    Create();
    EXPECT_THAT(List(1), ElementsAre("root"));
    EXPECT_THAT(List(5), ElementsAre("ECA61000"));
    EXPECT_THAT(m_log.TakeLines(), ElementsAre("None: getpwent_r error: 34"));
}

TEST_F(UserListTest, GroupThatIsTooLongEndsTheWalks) {
    WriteText("/etc/group", "root:x:0:\nmany:x:1001:" + LongName() + "\nmachines:x:1002:alice\n");
    Create();
    EXPECT_THAT(List(4), ElementsAre("root"));
    // The primary group has no such limit.
    EXPECT_THAT(List(3), ElementsAre("root", "many"));
    // For the list of the groups, and for each account.
    EXPECT_THAT(m_log.TakeLines(),
                ElementsAre("None: getgrent_r error: 34", "None: getgrent_r error: 34", "None: getgrent_r error: 34"));
}

TEST_F(UserListTest, MissingDatabasesGiveEmptyLists) {
    std::filesystem::remove("/etc/passwd");
    std::filesystem::remove("/etc/group");
    Create();
    for (const unsigned int k : {1U, 2U, 3U, 4U, 5U}) {
        EXPECT_THAT(List(k), IsEmpty());
    }
    EXPECT_THAT(m_log.TakeLines(), IsEmpty());
}

TEST_F(UserListTest, MissingListIsUnexpected) {
    for (const unsigned int k : {1U, 2U, 3U, 5U}) {
        EXPECT_EQ(NTLMUser::LoadAllUsers(HEADER), OBJ_E_UNEXPECTED) << k;
        const CRef<CObjectArray> list(new CObjectArray);
        list->Init(DataIndex(HEADER, k), OBJCODE_ARRAY, 0);
        m_dictionary->AddObject(list.Get());
    }
    EXPECT_EQ(NTLMUser::LoadAllUsers(HEADER), OBJ_E_NOERR);
    EXPECT_EQ(NTLMUser::UpdateLocalGroups(HEADER), OBJ_E_UNEXPECTED);
}

TEST_F(UserListTest, ReadersNeverSeeHalfAList) {
    Create();
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        for (int round = 0; round < 200; ++round) {
            EXPECT_EQ(NTLMUser::LoadAllUsers(HEADER), OBJ_E_NOERR);
            EXPECT_EQ(NTLMUser::UpdateLocalGroups(HEADER), OBJ_E_NOERR);
        }
        stop = true;
    });
    while (!stop) {
        char buffer[64];
        unsigned int length = 0;
        EXPECT_EQ(m_dictionary->ReadObject(0x8001, 0, buffer, sizeof buffer, 1, &length), OBJ_E_NOERR);
        EXPECT_EQ(std::string(buffer, length), "02 00"_hex + "rootalice");
        EXPECT_EQ(m_dictionary->ReadObject(0x8004, 0, buffer, sizeof buffer, 1, &length), OBJ_E_NOERR);
        EXPECT_EQ(std::string(buffer, length), "03 00"_hex + "rootalicemachines");
    }
    writer.join();
}
