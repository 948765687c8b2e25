#include "UserFixture.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "modules/user/ObjectNTLMUser_BSD.h"

namespace {

std::size_t CountThreads() {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator()));
}

} // namespace

UserFixture::UserFixture() {
    m_threads = CountThreads();
    m_standIns.Add("/usr/sbin/pw");
    WriteText("/etc/nsswitch.conf", "passwd: files\ngroup: files\nshadow: files\n");
    WriteText("/etc/passwd", "root:x:0:0:root:/root:/bin/sh\n"
                             "alice:x:1001:1001:User &:/home/alice:/bin/sh\n");
    WriteText("/etc/group", "root:x:0:\n"
                            "alice:x:1001:\n"
                            "machines:x:1002:alice\n");
    // openssl passwd -6 -salt abcdefghABCDEFGH secret
    WriteText("/etc/shadow", "root:*:19000:0:99999:7:::\n"
                             "alice:$6$abcdefghABCDEFGH$eb64vy8EofzQ8Vqug4kluqAE8T7NB6jjB9YaDSAGZywYXQSsYVXHts."
                             "CrsjbIJEn3p0t5shI1GOm..xDilZuI1:19000:0:99999:7:::\n");
}

UserFixture::~UserFixture() {
    while (CountThreads() > m_threads) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void UserFixture::WriteText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::trunc) << text;
}

std::string UserFixture::ReadText(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

void UserFixture::Create() {
    ASSERT_EQ(NTLMUser::Create(), OBJ_E_NOERR);
}

ObjResult UserFixture::Read(unsigned int k, unsigned char subIndex, std::string& value) {
    char buffer[1024];
    unsigned int length = 0;
    const ObjResult result =
        m_dictionary->ReadObject(DataIndex(0x8000, k), subIndex, buffer, sizeof buffer, 0, &length);
    value.assign(buffer, length);
    return result;
}

UserFixture::Lines UserFixture::List(unsigned int k) {
    std::string count;
    EXPECT_EQ(Read(k, 0, count), OBJ_E_NOERR);
    Lines elements;
    for (unsigned int subIndex = 1; subIndex <= static_cast<unsigned char>(count[0]); ++subIndex) {
        std::string value;
        if (const ObjResult result = Read(k, static_cast<unsigned char>(subIndex), value); result != OBJ_E_NOERR) {
            char digits[9];
            std::snprintf(digits, sizeof digits, "%08X", result);
            value = digits;
        }
        elements.push_back(value);
    }
    return elements;
}

std::string UserFixture::Run(unsigned int k, const std::string& request) {
    const unsigned short index = ServiceIndex(0x8000, k);
    std::string data = request;
    ObjResult result = OBJ_E_BUSY; // the worker of the last job lives a little longer than the job
    for (int round = 0; result == OBJ_E_BUSY && round < 10000; ++round) {
        result = m_dictionary->WriteObject(index, 1, data.data(), static_cast<unsigned int>(data.size()), 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(result, OBJ_E_NOERR);
    unsigned char status = 0;
    do {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        EXPECT_EQ(m_dictionary->ReadObject(index, 2, &status, 1, 0, nullptr), OBJ_E_NOERR);
    } while (status >= 4);
    char response[64];
    unsigned int length = 0;
    EXPECT_EQ(m_dictionary->ReadObject(index, 3, response, sizeof response, 0, &length), OBJ_E_NOERR);
    EXPECT_EQ(static_cast<unsigned char>(response[0]), status);
    return {response, length};
}

UserFixture::Lines UserFixture::TakeLines() {
    Lines lines = m_log.TakeLines();
    std::erase_if(lines, [](const std::string& line) {
        return line == "None: cmdArray:" || line.rfind("None:   [", 0) == 0 || line.rfind("None: WEXITSTATUS", 0) == 0;
    });
    return lines;
}
