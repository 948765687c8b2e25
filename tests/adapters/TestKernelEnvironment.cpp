// kenv: the firmware's strings under the names of FreeBSD's kernel environment.
#include <cstdlib>
#include <map>

#include <gtest/gtest.h>

#include "AdapterRun.h"

namespace {

// Puts strings of the test's own in the place of the machine's.
void SetFirmwareStrings(const std::map<std::string, std::string>& texts) {
    ASSERT_EQ(0, std::system("mount -t tmpfs test /sys/class/dmi/id"));
    for (const auto& [file, text] : texts) {
        WriteText("/sys/class/dmi/id/" + file, text + "\n");
    }
}

} // namespace

TEST(Kenv, TellsAStringOfTheMachine) {
    const TRun run = RunAdapter({"/bin/kenv", "smbios.system.product"});

    EXPECT_EQ("IPC-4711\n", run.output);
    EXPECT_EQ("", run.error);
    EXPECT_EQ(0, run.status);
}

TEST(Kenv, TakesEachNameFromItsOwnFile) {
    const std::map<std::string, std::string> fileOfName = {
        {"smbios.bios.reldate", "bios_date"},        {"smbios.bios.revision", "bios_release"},
        {"smbios.bios.vendor", "bios_vendor"},       {"smbios.bios.version", "bios_version"},
        {"smbios.chassis.maker", "chassis_vendor"},  {"smbios.chassis.serial", "chassis_serial"},
        {"smbios.chassis.tag", "chassis_asset_tag"}, {"smbios.chassis.version", "chassis_version"},
        {"smbios.planar.maker", "board_vendor"},     {"smbios.planar.product", "board_name"},
        {"smbios.planar.serial", "board_serial"},    {"smbios.planar.tag", "board_asset_tag"},
        {"smbios.planar.version", "board_version"},  {"smbios.system.family", "product_family"},
        {"smbios.system.maker", "sys_vendor"},       {"smbios.system.product", "product_name"},
        {"smbios.system.serial", "product_serial"},  {"smbios.system.sku", "product_sku"},
        {"smbios.system.uuid", "product_uuid"},      {"smbios.system.version", "product_version"},
    };
    std::map<std::string, std::string> texts;
    for (const auto& [name, file] : fileOfName) {
        texts[file] = "text of " + file;
    }
    SetFirmwareStrings(texts);

    std::string all;
    for (const auto& [name, file] : fileOfName) {
        EXPECT_EQ("text of " + file + "\n", RunAdapter({"/bin/kenv", name}).output) << name;
        all += name + "=\"text of " + file + "\"\n";
    }
    EXPECT_EQ(all, RunAdapter({"/bin/kenv"}).output);
}

TEST(Kenv, DoesNotKnowOtherNames) {
    const TRun run = RunAdapter({"/bin/kenv", "nosuch.name"});

    EXPECT_EQ("", run.output);
    EXPECT_EQ("kenv: unable to get nosuch.name\n", run.error);
    EXPECT_EQ(255, run.status);
}

TEST(Kenv, DoesNotKnowStringsThatTheFirmwareLeftOutOrEmpty) {
    SetFirmwareStrings({{"product_version", ""}});

    for (const std::string name : {"smbios.system.version", "smbios.planar.serial"}) {
        const TRun run = RunAdapter({"/bin/kenv", name});
        EXPECT_EQ("kenv: unable to get " + name + "\n", run.error);
        EXPECT_EQ(255, run.status);
    }
}

TEST(Kenv, TakesANameForNothingElse) {
    for (const std::string name : {"../../../../etc/hostname", "smbios.*", "$(touch /tmp/called)", "a b"}) {
        EXPECT_EQ(255, RunAdapter({"/bin/kenv", name}).status) << name;
    }
    EXPECT_EQ("", Shell("ls /tmp/called 2>/dev/null"));
}

TEST(Kenv, OptionsAreFreeBSDs) {
    const TRun quiet = RunAdapter({"/bin/kenv", "-q", "nosuch.name"});
    EXPECT_EQ("", quiet.error);
    EXPECT_EQ(255, quiet.status);

    EXPECT_EQ("smbios.system.product=\"IPC-4711\"\n", RunAdapter({"/bin/kenv", "-v", "smbios.system.product"}).output);
    EXPECT_NE(std::string::npos, RunAdapter({"/bin/kenv", "-N"}).output.find("smbios.system.product\n"));

    const TRun set = RunAdapter({"/bin/kenv", "smbios.system.product=x"});
    EXPECT_EQ("kenv: unable to set smbios.system.product to x\n", set.error);
    EXPECT_EQ(255, set.status);

    const TRun usage = RunAdapter({"/bin/kenv", "a", "b"});
    EXPECT_EQ("usage: kenv [-hNq]\n       kenv [-qv] variable[=value]\n       kenv [-q] -u variable\n", usage.error);
    EXPECT_EQ(1, usage.status);
}
