#include "TimeFixture.h"

#include <sys/mount.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

constexpr const char* ZONE_FOLDER = "/usr/share/zoneinfo/";

} // namespace

TimeFixture::TimeFixture() {
    m_standIns.Add("/usr/sbin/service");
    m_standIns.Add("/usr/sbin/sysrc", 0,
                   "sed -i '/^ntpd_enable=/d' /etc/rc.conf\n"
                   "printf '%s=\"%s\"\\n' \"${1%%=*}\" \"${1#*=}\" >>/etc/rc.conf");
    m_standIns.Add("/usr/sbin/tzsetup", 0, "mkdir -p /var/db\nprintf '%s\\n' \"$1\" >/var/db/zoneinfo");
    EXPECT_EQ(Time::Create(), OBJ_E_NOERR);
}

TimeFixture::~TimeFixture() {
    FakeClock::now.reset();
    FakeClock::set.clear();
    FakeClock::error = 0;
    unsetenv("TZ");
    tzset();
}

std::optional<std::string> TimeFixture::Read(unsigned short index, unsigned char subIndex) {
    char buffer[1024];
    unsigned int length = 0;
    m_code = m_dictionary->ReadObject(index, subIndex, buffer, sizeof buffer, 0, &length);
    if (m_code != OBJ_E_NOERR) {
        return std::nullopt;
    }
    return std::string(buffer, length);
}

ObjResult TimeFixture::Write(unsigned char subIndex, const std::string& value) {
    std::string data = value;
    return m_dictionary->WriteObject(SETTINGS, subIndex, data.data(), static_cast<unsigned int>(data.size()), 0);
}

void TimeFixture::Sleep() {
    const std::uint32_t limit = m_dictionary->InactivityLimit();
    m_dictionary->SetInactivityLimit(0);
    m_dictionary->CheckCleanup();
    m_dictionary->SetInactivityLimit(limit);
}

void TimeFixture::EmptyZoneFolder() {
    ASSERT_EQ(mount("zones", ZONE_FOLDER, "tmpfs", 0, ""), 0);
}

void TimeFixture::AddZoneFile(const std::string& name) {
    const std::filesystem::path path = ZONE_FOLDER + name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << "TZif";
}

void TimeFixture::DescribeZones(const std::vector<std::string>& names) {
    std::ofstream file(std::string(ZONE_FOLDER) + "zone1970.tab");
    for (const std::string& name : names) {
        AddZoneFile(name);
        file << "XX\t+0000+00000\t" << name << "\tcomment\n";
    }
}

std::vector<std::string> TimeFixture::ZonesOf(unsigned short index) {
    std::vector<std::string> names;
    const std::string count = Read(index, 0).value_or(std::string(1, '\0'));
    for (unsigned int zone = 1; zone <= static_cast<unsigned char>(count[0]); ++zone) {
        names.push_back(Read(index, static_cast<unsigned char>(zone)).value_or("no value"));
    }
    return names;
}

void TimeFixture::WriteText(const std::string& path, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << text;
}

std::string TimeFixture::ReadText(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}
