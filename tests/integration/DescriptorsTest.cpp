// No program that the service starts inherits what a thread of it has just opened.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "ServiceTest.h"

namespace {

constexpr const char* NOTES = "/tmp/inheritable";

class DescriptorsTest : public ServiceTest {
protected:
    void SetUp() override {
        std::filesystem::create_directories("/usr/local/bin");
        std::filesystem::copy_file(SYLVARIN_MESSAGES, "/usr/local/bin/mdpmessage.xml",
                                   std::filesystem::copy_options::overwrite_existing);
        std::filesystem::copy_file(SYLVARIN_BOARD, "/run/machine/scenario");
        ASSERT_EQ(std::system(SYLVARIN_ENTER_DRIVES), 0);
        ServiceTest::SetUp();
    }

    ServiceStart Start() override {
        return {{"-nof", "-v"},
                "sylvarin",
                {"LD_PRELOAD=" SYLVARIN_INHERITABLE_DESCRIPTORS ":" SYLVARIN_SIMULATED_DEVICES,
                 std::string("INHERITABLE_DESCRIPTORS=") + NOTES}};
    }

    static std::set<std::string> Notes() {
        std::ifstream file(NOTES);
        std::set<std::string> notes;
        for (std::string line; std::getline(file, line);) {
            notes.insert(line);
        }
        return notes;
    }
};

} // namespace

TEST_F(DescriptorsTest, WhatTheServiceOpensIsClosedInThePrograms) {
    const char* const commands[] = {
        "tree",
        "net set em1 --address 192.168.20.77 --mask 255.255.255.0 --dns 9.9.9.9",
        "write 0x1008 MACHINE-2",
        "user add anna --password-fd 0 <<END\nsecret\nEND\n",
        "user del anna",
        "group add staff2",
        "ntp set 192.168.10.1",
        "zone set Europe/Berlin",
        "put /etc/passwd /tmp/passwd",
        "get /tmp/passwd -",
        "cp /tmp/passwd /tmp/copy",
        "mkdir /tmp/folder",
        "rm -r /tmp/copy /tmp/folder",
        "sensors",
        "drives",
        "discs",
    };
    for (const std::string command : commands) {
        EXPECT_EQ(std::system(("exec >>/tmp/output 2>&1; " SYLVARIN_MDP " " + command).c_str()), 0)
            << command << "\n"
            << std::ifstream("/tmp/output").rdbuf();
    }
    // The pid file is opened by its library, before the first thread; the scenario is the test equipment's.
    EXPECT_THAT(Notes(), testing::IsSubsetOf({std::string("openat ") + ServiceUnderTest::PidFile,
                                              std::string("fopen /run/machine/scenario")}));
    EXPECT_FALSE(Notes().empty()) << "nobody took notes";
}
