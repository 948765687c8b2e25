#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "../../common/Hex.h"
#include "BackgroundThreads.h"
#include "FakeClock.h"
#include "LogCapture.h"
#include "StandIns.h"
#include "dictionary/ObjDictionary.h"
#include "modules/time/ObjectTime_BSD.h"

// The module in a dictionary of a throw-away machine, with stand-ins for the programs that it runs: sysrc keeps
// ntpd_enable in rc.conf, tzsetup notes the zone, service does nothing.
class TimeFixture : public testing::Test {
protected:
    using Call = std::vector<std::string>;

    static constexpr unsigned short HEADER = 0x8000;
    static constexpr unsigned short SETTINGS = 0x8001;
    static constexpr unsigned short ZONES = 0x8002;
    static constexpr unsigned short FURTHER_ZONES = 0x8003;

    static constexpr const char* NOTE = "/var/db/zoneinfo";
    static constexpr const char* LOCALTIME = "/etc/localtime";
    static constexpr const char* NTP_CONF = "/etc/ntp.conf";

    TimeFixture();
    ~TimeFixture() override;

    // The value; no value, and the code in m_code, for a failure.
    std::optional<std::string> Read(unsigned short index, unsigned char subIndex);
    ObjResult Write(unsigned char subIndex, const std::string& value);

    // Takes the objects back, as after half a minute without a request. The next request makes them anew.
    void Sleep();

    // An empty folder of zones in place of the machine's.
    static void EmptyZoneFolder();
    static void AddZoneFile(const std::string& name);
    // Lines of the description file for these zones, and the files.
    static void DescribeZones(const std::vector<std::string>& names);
    // All names of an array.
    std::vector<std::string> ZonesOf(unsigned short index);

    static void WriteText(const std::string& path, const std::string& text);
    static std::string ReadText(const std::string& path);

    CLogCapture m_log;
    CStandIns m_standIns;
    CDictionaryRef m_dictionary;
    CBackgroundThreads m_threads;
    ObjResult m_code = OBJ_E_NOERR;
};
