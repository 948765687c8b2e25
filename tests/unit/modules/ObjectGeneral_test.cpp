#include "modules/ObjectGeneral.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <thread>

#include "../common/LogOf.h"
#include "../dictionary/DictionaryTest.h"
#include "dictionary/ObjHelper.h"

using namespace std::string_literals;
using testing::ElementsAre;

namespace {

struct TName {
    const char* text;
    bool isValid;
};

class DeviceName : public testing::TestWithParam<TName> {};

struct TSerial {
    std::string text;
    bool isValid;
};

class SerialNumber : public testing::TestWithParam<TSerial> {};

struct TItem {
    unsigned short index;
    unsigned char subIndex;
    std::uint32_t typeAccess;
    std::int64_t nameId;
    TOnRead onRead;
    TOnWrite onWrite;
};

using ObjectGeneralTest = DictionaryTest;

std::string RowName(std::size_t row) {
    return "Row" + std::to_string(row);
}

} // namespace

TEST_P(DeviceName, IsJudged) {
    EXPECT_EQ(IsValidDeviceName(GetParam().text), GetParam().isValid) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(
    Names, DeviceName,
    testing::Values(TName{"a", true}, TName{"7", true}, TName{"a.b_c-d", true}, TName{"IPC-4711", true},
                    TName{"a-", true}, TName{"qr", true}, TName{"qrx_", true}, TName{"aqr_", true}, TName{"qr.x", true},
                    TName{"lm.", true}, TName{"tv_1", true}, TName{"wn_1", true}, TName{"", false},
                    TName{"-abc", false}, TName{".abc", false}, TName{"_abc", false}, TName{" abc", false},
                    TName{"a b", false}, TName{"abc ", false}, TName{"a;b", false}, TName{"a\"b", false},
                    TName{"a$b", false}, TName{"a`b", false}, TName{"a/b", false}, TName{"a\nb", false},
                    TName{"a\x80", false}, TName{"\xC3\xA4", false}, TName{"qr_", false}, TName{"qr_main", false},
                    TName{"QR_main", false}, TName{"qR-main", false}, TName{"lm-1", false}, TName{"LM_1", false},
                    TName{"tv-1", false}, TName{"Tv-1", false}, TName{"wn-1", false}, TName{"WN-1", false}),
    [](const auto& test) { return RowName(test.index); });

TEST(DeviceNameOfNothing, IsNotValid) {
    EXPECT_FALSE(IsValidDeviceName(nullptr));
}

TEST_P(SerialNumber, IsJudged) {
    std::string buffer(128, '\0');
    GetParam().text.copy(buffer.data(), 127);
    EXPECT_EQ(General::IsValidSerialNumber(buffer.data(), 128), GetParam().isValid);
    // And where the buffer ends with the text.
    EXPECT_EQ(General::IsValidSerialNumber(GetParam().text.data(), static_cast<long>(GetParam().text.size())),
              GetParam().isValid);
}

INSTANTIATE_TEST_SUITE_P(Serials, SerialNumber,
                         testing::Values(TSerial{"SN-0815", true}, TSerial{"OEM1", true}, TSerial{"oem", true},
                                         TSerial{"OEM OEM", true}, TSerial{"\t", true}, TSerial{"OEM", false},
                                         TSerial{"  OEM  ", false}, TSerial{"xO.E.M.y", false},
                                         TSerial{"To be filled by O.E.M.", false}, TSerial{"   ", false},
                                         TSerial{"", false}),
                         [](const auto& test) { return RowName(test.index); });

TEST(SerialNumberOfNothing, IsNotValid) {
    EXPECT_FALSE(General::IsValidSerialNumber(nullptr, 10));
    EXPECT_FALSE(General::IsValidSerialNumber("abc", 0));
    EXPECT_FALSE(General::IsValidSerialNumber("abc", -1));
}

TEST(General, FixedAnswers) {
    EXPECT_EQ(General::GetDeviceType(), 655365001U);
    unsigned int productCode = 1;
    unsigned int revision = 2;
    EXPECT_EQ(General::GetProdCodeAndRevNo(productCode, revision), 0xECA60F00U);
    EXPECT_EQ(productCode, 1U);
    EXPECT_EQ(revision, 2U);
    unsigned int serial = 3;
    EXPECT_EQ(General::GetSerialNumber(&serial), 0xECA70105U);
    EXPECT_EQ(serial, 3U);
    EXPECT_EQ(General::GetSerialNumber(nullptr), 0x80004003U);
    EXPECT_EQ(General::GetSerialNumberEx(nullptr, 128), 0x80070057U);
}

TEST(General, DeviceNameIsThatOfTheHost) {
    char host[256] = {};
    ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
    std::string name;
    EXPECT_EQ(General::GetDeviceName(name), 0U);
    EXPECT_EQ(name, host);
}

TEST(General, SetDeviceNameRefusesBeforeItTouchesTheHost) {
    char invalid[] = "-abc";
    const auto lines = LogOf({LOG_SEVERITY_TRACE, LOG_SEVERITY_ERROR}, [&] {
        EXPECT_EQ(General::SetDeviceName(nullptr), 0xECA60106U);
        EXPECT_EQ(General::SetDeviceName(invalid), 0xECA60107U);
    });
    EXPECT_THAT(lines, ElementsAre("None: ==>SetDeviceName()", "None: <==SetDeviceName() ret = [OBJ_E_INVALIDDATA]",
                                   "None: ==>SetDeviceName()", "Error: SetDeviceName: Computername is invalid",
                                   "None: <==SetDeviceName()  ret = [OBJ_E_INVALIDARG]"));
}

TEST(General, WritesOfNoNameAreRefusedWithTheirLines) {
    TInfoItem item;
    std::string name(1025, 'a');
    const auto lines = LogOf({LOG_SEVERITY_TRACE, LOG_SEVERITY_PROGRESS}, [&] {
        EXPECT_EQ(General::OnWrite_DeviceName(&item, 0x1008, 0, nullptr, 5), 0xECA60106U);
        EXPECT_EQ(General::OnWrite_DeviceName(&item, 0x1008, 0, name.data(), 0), 0xECA60106U);
        EXPECT_EQ(General::OnWrite_DeviceName(&item, 0x1008, 0, name.data(), 1025), 0xECA60106U);
    });
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[0], "None: ==>{General}::WrDeviceName(pData=0x00000000, cbData=5)");
    EXPECT_EQ(lines[1], "None: <=={General}::WrDeviceName() ret = 0xeca60106");
    EXPECT_THAT(lines[4],
                testing::MatchesRegex("None: ==>.General.::WrDeviceName\\(pData=0x[0-9a-f]+, cbData=1025\\)"));
}

TEST(General, WritesPassTheNameOnWithItsLine) {
    TInfoItem item;
    char name[] = {'-', 'a', 'b', 'x'}; // no end mark: three bytes are the client's
    const auto lines = LogOf({LOG_SEVERITY_PROGRESS},
                             [&] { EXPECT_EQ(General::OnWrite_DeviceName(&item, 0x1008, 0, name, 3), 0xECA60107U); });
    EXPECT_THAT(lines, ElementsAre("None: {General}::WrDeviceName() new name = -ab"));
}

TEST_F(ObjectGeneralTest, CreateMakesTheObjectsWithTheirItems) {
    const auto lines = LogOf({LOG_SEVERITY_TRACE}, [] { EXPECT_EQ(General::Create(), 0U); });
    EXPECT_EQ(lines.front(), "None: ==>Namespace General::Create()");
    EXPECT_EQ(lines.back(), "None: <==Namespace General::Create()");

    const TItem items[] = {
        {0x1000, 0, 0x50007, 500, nullptr, nullptr},
        {0x1008, 0, 0x30009, 501, General::OnRead_DeviceName, General::OnWrite_DeviceName},
        {0x1009, 0, 0x50009, 502, nullptr, nullptr},
        {0x100A, 0, 0x50009, 503, nullptr, nullptr},
        {0x1018, 0, 0x10005, 104, nullptr, nullptr},
        {0x1018, 1, 0x50007, 0, nullptr, nullptr},
        {0x1018, 2, 0x50007, 0, RdNotSupported, nullptr},
        {0x1018, 3, 0x50007, 0, RdNotSupported, nullptr},
        {0x1018, 4, 0x50007, 0, RdNotSupported, nullptr},
        {0xF9F0, 0, 0x50009, 504, nullptr, nullptr},
    };
    for (const TItem& row : items) {
        SCOPED_TRACE(testing::Message() << std::hex << row.index << ":" << int{row.subIndex});
        const CRef<CObject> object = Dictionary().GetObjectRef(row.index);
        ASSERT_TRUE(object);
        EXPECT_EQ(object->ObjectCode(), row.index == 0x1018 ? 9U : 7U);
        EXPECT_EQ(object->NameId(), 0);
        EXPECT_EQ(object->GetCoutOfInfoItems(), row.index == 0x1018 ? 5U : 1U);
        const TInfoItem* item = object->GetItem(row.subIndex);
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(TypeAccess(item->type, item->access), row.typeAccess);
        EXPECT_EQ(item->nameId, row.nameId);
        EXPECT_EQ(item->onRead, row.onRead);
        EXPECT_EQ(item->onWrite, row.onWrite);
        EXPECT_EQ(item->context, nullptr);
    }
    const CRef<CObject> identity = Dictionary().GetObjectRef(0x1018);
    EXPECT_NE(dynamic_cast<General::CObj0x1018*>(identity.Get()), nullptr);
    EXPECT_EQ(Dictionary().GetNextFree0x8nn0Slot(), 0x8000); // no slot is taken
}

TEST_F(ObjectGeneralTest, ASecondCreateLeavesTheObjectsThatAreThere) {
    General::Create();
    const CObject* first = Dictionary().GetObjectRef(0x1018).Get();
    EXPECT_EQ(General::Create(), 0U);
    EXPECT_EQ(Dictionary().GetObjectRef(0x1018).Get(), first);
}

TEST_F(ObjectGeneralTest, IdentityReadsStopAtWhatIsNotSupported) {
    General::Create();
    EXPECT_EQ(ReadObject(0x1018, 0, 2), (TReadAnswer{0, 2, "\x04\x00"s}));
    EXPECT_EQ(ReadObject(0x1018, 1, 4), (TReadAnswer{0, 4, "\x02\x00\x00\x00"s}));
    for (unsigned char sub = 2; sub < 5; ++sub) {
        EXPECT_EQ(ReadObject(0x1018, sub, 4), (TReadAnswer{0xECA61000, 0, "####"}));
    }
    EXPECT_EQ(ReadObject(0x1018, 0, 8, true), (TReadAnswer{0xECA61000, 6, "\x04\x00\x02\x00\x00\x00##"s}));
    EXPECT_EQ(ReadObject(0x1000, 0, 4, true), (TReadAnswer{0, 4, "\x89\x13\x10\x27"}));
}

TEST(GeneralWithoutADictionary, ReadingTheNameIsUnexpected) {
    // While a dictionary ends, other threads find none.
    class CReader : public CModuleActivator {
    public:
        ObjResult DoActivate() override { return OBJ_E_NOERR; }

        ObjResult DoDeactivate() override {
            std::thread([this] {
                TInfoItem item;
                item.type = TYPE_VISIBLE_STRING;
                m_result = General::OnRead_DeviceName(&item, 0x1008, 0);
                DeallocateBuffer(&item);
            }).join();
            return OBJ_E_NOERR;
        }

        ObjResult m_result = 0;
    };

    const CRef<CReader> reader(new CReader);
    {
        const CDictionaryRef use;
        use.Get()->SetModuleActivator(0, reader.Get());
        reader->Activate();
    }
    EXPECT_EQ(reader->m_result, 0xECA60FFFU);
}
