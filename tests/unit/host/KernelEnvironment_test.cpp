#include "host/KernelEnvironment.h"

#include <gtest/gtest.h>

#include <fstream>

namespace {

TEST(KernelEnvironment, AnUnknownNameIsEmpty) {
    EXPECT_EQ(Host::GetKernelEnvironment("sylvarin.no.such.variable"), "");
    EXPECT_EQ(Host::GetKernelEnvironment(""), "");
}

TEST(KernelEnvironment, BiosVersionIsWhatTheFirmwareTells) {
    std::string expected;
    std::ifstream file("/sys/class/dmi/id/bios_version");
    std::getline(file, expected);
    EXPECT_EQ(Host::GetKernelEnvironment("smbios.bios.version"), expected);
}

} // namespace
