#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BackgroundThreads.h"
#include "LogCapture.h"
#include "StandIns.h"
#include "dictionary/ObjDictionary.h"
#include "modules/nic/ObjectNic_BSD.h"

// The adapters of a throw-away machine in a dictionary, with stand-ins for every program that they run. em0 has the
// address 192.168.10.20/24, em1 has none.
class NicFixture : public testing::Test {
protected:
    using Call = std::vector<std::string>;

    NicFixture();

    // The index of an adapter's header, 0 for none.
    unsigned short Header(const std::string& adapter);

    unsigned short Settings(const std::string& adapter) { return DataIndex(Header(adapter), 1); }

    NIC::CObject0x8nn1& Record(const std::string& adapter);

    ObjResult Read(const std::string& adapter, unsigned char subIndex, std::string& value);
    // The value, or the result as hexadecimal digits.
    std::string Read(const std::string& adapter, unsigned char subIndex);
    ObjResult Write(const std::string& adapter, unsigned char subIndex, const std::string& value);
    // Runs service k of an adapter to its end and gives its response.
    std::string Run(const std::string& adapter, unsigned int k, const std::string& request);

    CLogCapture m_log;
    CStandIns m_standIns;
    CDictionaryRef m_dictionary;
    CBackgroundThreads m_threads;
};
