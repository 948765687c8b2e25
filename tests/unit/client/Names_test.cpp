// Names and forms of the objects that every device has, and which its dictionary leaves unnamed.

#include "CommandsTest.h"
#include "ParsedJson.h"
#include "StandardObjects.h"
#include "mdp/Client.h"

using MdpCommand::StandardName;
using testing::HasSubstr;

namespace {

class Names : public CommandsTest {
protected:
    void SetUp() override {
        m_machine.AddModule(0, 2, "Nic", "em0");
        m_machine.AddModule(0x1A, 28, "MAINBOARD", "MAINBOARD");
        m_machine.objects[0x1000] = {7, "", {{7, "r-", "Device type", Number(0x27101389, 4)}}};
        m_machine.objects[0x1018] = {9,
                                     "",
                                     {CountEntry(4),
                                      {7, "r-", "", Number(2, 4)},
                                      {7, "r-", "", {}, 0xECA61000},
                                      {7, "r-", "", {}, 0xECA61000},
                                      {7, "r-", "", {}, 0xECA61000}}};
        m_machine.objects[0xF000] = {8,
                                     "",
                                     {CountEntry(4),
                                      {7, "r-", "Distance as the machine calls it", Number(16, 4)},
                                      {7, "r-", "", Number(255, 4)},
                                      {7, "r-", "", Number(0, 4)},
                                      {7, "r-", "", Number(15, 4)}}};
    }
};

} // namespace

TEST_F(Names, OfTheIdentityAreTheProfiles) {
    const Ran ran = Run({"read", "1018"});
    EXPECT_EQ(ran.out, "SUB  NAME               TYPE        ACCESS  VALUE\n"
                       "  0  Number of entries  UNSIGNED8   r-      4\n"
                       "  1  Vendor ID          UNSIGNED32  r-      0x00000002\n"
                       "  2  Product code       UNSIGNED32  r-      <OBJ_E_NOTSUPPORTED>\n"
                       "  3  Revision number    UNSIGNED32  r-      <OBJ_E_NOTSUPPORTED>\n"
                       "  4  Serial number      UNSIGNED32  r-      <OBJ_E_NOTSUPPORTED>\n");
}

TEST_F(Names, AreInGermanToo) {
    const std::string out = Run({"describe", "1018", "--lang", "de"}).out;
    EXPECT_THAT(out, HasSubstr("0x1018  Identitätsobjekt (record)\n"));
    EXPECT_THAT(out, HasSubstr("  1  Hersteller-ID  "));
    EXPECT_THAT(out, HasSubstr("  3  Revisionsnummer  "));
}

TEST_F(Names, AreThoseOfTheMachineWhereItHasSome) {
    const std::string out = Run({"read", "F000"}).out;
    EXPECT_THAT(out, HasSubstr("  1  Distance as the machine calls it  "));
    EXPECT_THAT(out, HasSubstr("  2  Maximum number of modules  "));
}

TEST_F(Names, OfAnotherLanguageAreNotMadeUp) {
    EXPECT_EQ(StandardName(0x1018, 1036), "");
    EXPECT_EQ(StandardName(0x1018, 1, 1036), "");
}

TEST_F(Names, OfListsAreNumbered) {
    EXPECT_EQ(StandardName(0xF010, Mdp::LanguageDefault), "Module profile list");
    EXPECT_EQ(StandardName(0xF020, Mdp::LanguageEnglish), "Configured address list");
    EXPECT_EQ(StandardName(0xF030, Mdp::LanguageEnglish), "Configured module ident list");
    EXPECT_EQ(StandardName(0xF050, Mdp::LanguageEnglish), "Detected module ident list");
    EXPECT_EQ(StandardName(0xF060, Mdp::LanguageGerman), "Liste der Modulnamen");
    EXPECT_EQ(StandardName(0xF010, 7, Mdp::LanguageDefault), "Module identification 7");
    EXPECT_EQ(StandardName(0xF020, 254, Mdp::LanguageGerman), "Moduladresse 254");
    EXPECT_EQ(StandardName(0xF020, 0, Mdp::LanguageGerman), "");
    EXPECT_EQ(StandardName(0x8011, 1, Mdp::LanguageDefault), "");
}

TEST_F(Names, OfAnUnnamedVariableIsThatOfItsEntry) {
    EXPECT_THAT(Run({"describe", "1000"}).out, HasSubstr("0x1000  Device type (variable)\n"));
    EXPECT_THAT(RunWords({"__complete", "--", "--socket", m_service.Path(), "read", "0x10"}).out,
                HasSubstr("0x1000\tDevice type\n0x1018\tIdentity object\n"));
}

TEST_F(Names, ComeWithAddressesTypesAndIdentificationsInHexadecimal) {
    EXPECT_THAT(Run({"read", "F020"}).out, HasSubstr("  2  Module address 2   UNSIGNED32  r-      0x001C001A\n"));
    EXPECT_EQ(Run({"read", "F030:2"}).out, "0x001C\n");
    EXPECT_EQ(Run({"read", "81A0:1"}).out, "0x001C001A\n");
    EXPECT_EQ(Run({"read", "81A0:4"}).out, "0x001C2710\n");
    EXPECT_EQ(Run({"read", "F000:4"}).out, "0x0000000F\n");
    EXPECT_EQ(Run({"read", "F020:0"}).out, "2\n");
    EXPECT_EQ(Run({"read", "F000:2"}).out, "255\n");
}

TEST_F(Names, ComeWithNumbersInJson) {
    const auto json = ParsedJson(Run({"--json", "read", "F020:2"}).out);
    EXPECT_EQ(json["name"], "Module address 2");
    EXPECT_EQ(json["value"], 0x001C001A);
}

TEST_F(Names, AreInTheTree) {
    const std::string out = Run({"tree"}).out;
    EXPECT_THAT(out, HasSubstr("  0x1000  Device type "));
    EXPECT_THAT(out, HasSubstr("  0x1018  Identity object "));
    EXPECT_THAT(out, HasSubstr("    :1      Module address 1 "));
}
