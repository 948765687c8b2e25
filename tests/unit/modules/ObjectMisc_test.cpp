#include "modules/ObjectMisc.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "dictionary/ObjDictionary.h"
#include "log/Logger.h"

namespace {

constexpr unsigned short SETTINGS = 0x8001;
constexpr const char* WIZARD_FILE = "UPNP\\Website\\helper\\secwiz.js";

class ObjectMisc : public ::testing::Test {
protected:
    void SetUp() override {
        static CLogger logger;
        g_pLogger = &logger;
        m_dictionary = CObjDictionary::QueryDictionary();
        ASSERT_EQ(Misc::Create(), OBJ_E_NOERR);
    }

    void TearDown() override {
        CObjDictionary::ReleaseDictionary(m_dictionary);
        EXPECT_TRUE(CObjDictionary::WaitForFinalRelease(10000)); // a worker lives a little longer than its job
    }

    ObjResult Read(unsigned char sub, unsigned char& value) {
        return m_dictionary->ReadObject(SETTINGS, sub, &value, 1, 0, nullptr);
    }

    ObjResult Write(unsigned char sub, std::string data) {
        return m_dictionary->WriteObject(SETTINGS, sub, data.data(), static_cast<unsigned int>(data.size()), 0);
    }

    CObjDictionary* m_dictionary = nullptr;
};

// The helpers name their file relative to the working directory.
class MiscFiles : public ::testing::Test {
protected:
    void SetUp() override {
        char folder[] = "/tmp/misc.XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        m_folder = folder;
        ASSERT_EQ(chdir(folder), 0);
    }

    void TearDown() override {
        unlink(WIZARD_FILE);
        ASSERT_EQ(chdir("/"), 0);
        rmdir(m_folder.c_str());
    }

    std::string m_folder;
};

} // namespace

TEST_F(ObjectMisc, PublishesItsObjectsWithTheirTextIds) {
    const std::pair<unsigned short, std::int64_t> expected[] = {
        {0x8000, 1060}, {0x8001, 1061}, {0xB000, 1062}, {0xB001, 1063}, {0xB002, 1064}};
    for (const auto& [index, nameId] : expected) {
        const CRef<CObject> object = m_dictionary->GetObjectRef(index);
        ASSERT_TRUE(object) << index;
        EXPECT_EQ(object->NameId(), nameId) << index;
    }
    std::uint32_t address = 0;
    EXPECT_EQ(m_dictionary->ReadObject(0x8000, 1, &address, 4, 0, nullptr), OBJ_E_NOERR);
    EXPECT_EQ(address, 0x01000000U);
}

TEST_F(ObjectMisc, SettingsHaveTypeAccessAndTextId) {
    struct TExpected {
        std::uint16_t type;
        std::uint16_t access;
        std::int64_t nameId;
    };

    const TExpected expected[] = {{5, 1, 104},   {1, 3, 20060}, {1, 1, 20061}, {1, 3, 20062},
                                  {1, 3, 20063}, {9, 1, 20064}, {1, 3, 20065}};
    const CRef<CObject> object = m_dictionary->GetObjectRef(SETTINGS);
    ASSERT_EQ(object->GetCoutOfInfoItems(), std::size(expected));
    for (unsigned char sub = 0; sub < std::size(expected); ++sub) {
        const TInfoItem* item = object->GetItem(sub);
        EXPECT_EQ(item->type, expected[sub].type) << int{sub};
        EXPECT_EQ(item->access, expected[sub].access) << int{sub};
        EXPECT_EQ(item->nameId, expected[sub].nameId) << int{sub};
        EXPECT_EQ(item->size, 1U) << int{sub};
    }
}

TEST_F(ObjectMisc, NumLockReadsBackWhatWasWritten) {
    unsigned char value = 9;
    EXPECT_EQ(Read(1, value), OBJ_E_NOERR);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(Write(1, "\x01"), OBJ_E_NOERR);
    EXPECT_EQ(Read(1, value), OBJ_E_NOERR);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(Write(1, ""), OBJ_E_INVALIDDATA);
    EXPECT_EQ(Read(1, value), OBJ_E_NOERR);
    EXPECT_EQ(value, 1);
}

TEST_F(ObjectMisc, WhatHasNoFunctionHereIsNotSupported) {
    unsigned char value = 9;
    for (unsigned char sub = 2; sub <= 5; ++sub) {
        EXPECT_EQ(Read(sub, value), OBJ_E_NOTSUPPORTED) << int{sub};
    }
    EXPECT_EQ(Write(2, "\x01"), OBJ_E_INVALACCESS);
    EXPECT_EQ(Write(3, "\x01"), OBJ_E_NOTSUPPORTED);
    EXPECT_EQ(Write(4, "\x01"), OBJ_E_NOTSUPPORTED);
    EXPECT_EQ(Write(5, "\x01"), OBJ_E_INVALACCESS);
}

TEST_F(ObjectMisc, NoCertificateIsMade) {
    unsigned char value = 9;
    EXPECT_EQ(Read(6, value), OBJ_E_NOERR);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(Write(6, "\x01"), OBJ_E_NOTSUPPORTED);
    EXPECT_EQ(Write(6, ""), OBJ_E_INVALIDDATA);
    EXPECT_EQ(m_dictionary->WriteObject(SETTINGS, 6, nullptr, 1, 0), OBJ_E_INVALIDDATA);
}

TEST_F(ObjectMisc, EachServiceEndsAtOnceWithACodeOfEightBytes) {
    for (unsigned short index = 0xB000; index <= 0xB002; ++index) {
        ASSERT_EQ(m_dictionary->WriteObject(index, 1, nullptr, 0, 0), OBJ_E_NOERR);
        unsigned char status = 255;
        while (status > 3) {
            ASSERT_EQ(m_dictionary->ReadObject(index, 2, &status, 1, 0, nullptr), OBJ_E_NOERR);
        }
        char response[16];
        unsigned int count = 0;
        ASSERT_EQ(m_dictionary->ReadObject(index, 3, response, sizeof response, 0, &count), OBJ_E_NOERR);
        EXPECT_EQ(std::string(response, count), std::string("\x03\x00\x00\x10\xA6\xEC\x00\x00\x00\x00", 10)) << index;
    }
}

TEST_F(MiscFiles, TheWizardFileKeepsItsBackslashes) {
    std::string name = "prefix:";
    Misc::GetSecurityWizardFilename(name);
    EXPECT_EQ(name, std::string("prefix:") + WIZARD_FILE);
}

TEST_F(MiscFiles, TheWizardIsEnabledWhenItsFileSaysSo) {
    int enabled = 7;
    EXPECT_EQ(Misc::GetSecurityWizardEnabled(enabled), OBJ_E_NOERR);
    EXPECT_EQ(enabled, 0);
    EXPECT_EQ(Misc::SetSecurityWizardEnabled(1), OBJ_E_NOTSUPPORTED);
    EXPECT_EQ(Misc::GetFileContent(WIZARD_FILE), "var secwiz = true;");
    EXPECT_EQ(Misc::GetSecurityWizardEnabled(enabled), OBJ_E_NOERR);
    EXPECT_EQ(enabled, 1);
    EXPECT_EQ(Misc::SetSecurityWizardEnabled(0), OBJ_E_NOTSUPPORTED);
    EXPECT_EQ(Misc::GetFileContent(WIZARD_FILE), "var secwiz = false;");
}

TEST_F(MiscFiles, ContentIsCutAt255BytesAndAtAZeroByte) {
    std::ofstream("long") << std::string(300, 'x');
    EXPECT_EQ(Misc::GetFileContent("long"), std::string(255, 'x'));
    std::ofstream("zero") << std::string("ab\0cd", 5);
    EXPECT_EQ(Misc::GetFileContent("zero"), "ab");
    EXPECT_EQ(Misc::GetFileContent("missing"), "");
    unlink("long");
    unlink("zero");
}

TEST_F(MiscFiles, AFileThatCannotBeOpenedIsAFailure) {
    EXPECT_EQ(Misc::WriteFile("no/such/file", "x"), OBJ_E_FAILED);
}

TEST(Misc, FunctionsWithoutAMeaningHereSaySo) {
    EXPECT_EQ(Misc::GetNumLockState(), 0);
    Misc::SetNumlockState(1);
    EXPECT_EQ(Misc::GetNumLockState(), 0);
    EXPECT_EQ(Misc::CreateSecurityWizardRegKey(), OBJ_E_NOTSUPPORTED);
    EXPECT_EQ(Misc::DeleteSecurityWizardRegKey(), OBJ_E_NOTSUPPORTED);
    EXPECT_EQ(Misc::UpdateDefaultPassword(L"x"), OBJ_E_NOTSUPPORTED);
}
