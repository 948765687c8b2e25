#include "NicFixture.h"

#include <chrono>
#include <cstdio>
#include <thread>

#include "host/Programs.h"

namespace {

template <typename Condition>
void WaitUntil(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition() && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

} // namespace

NicFixture::NicFixture() {
    for (const char* path : {"/usr/sbin/sysrc", "/usr/sbin/service", "/sbin/dhcpcd", "/etc/rc.d/netif",
                             "/etc/rc.d/dhclient", "/etc/rc.d/routing", "/sbin/resolvconf"}) {
        m_standIns.Add(path);
    }
    m_standIns.Add("/sbin/route", 1, "echo 'route: route has not been found' >&2");
    static const bool s_once = (Host::ExtendSearchPath(), true);
    EXPECT_TRUE(s_once);
    EXPECT_EQ(NIC::Create(), OBJ_E_NOERR);
}

unsigned short NicFixture::Header(const std::string& adapter) {
    for (unsigned short index = 0x8000; index < 0x8FF0; index = static_cast<unsigned short>(index + 0x10)) {
        const CRef<CObject> object = m_dictionary->GetObjectRef(index);
        if (!object) {
            break;
        }
        std::string name;
        static_cast<CObj0x8nn0&>(*object).GetName(name);
        if (name == adapter) {
            return index;
        }
    }
    return 0;
}

NIC::CObject0x8nn1& NicFixture::Record(const std::string& adapter) {
    return static_cast<NIC::CObject0x8nn1&>(*m_dictionary->GetObjectRef(Settings(adapter)));
}

ObjResult NicFixture::Read(const std::string& adapter, unsigned char subIndex, std::string& value) {
    char buffer[1024];
    unsigned int length = 0;
    const ObjResult result = m_dictionary->ReadObject(Settings(adapter), subIndex, buffer, sizeof buffer, 0, &length);
    value.assign(buffer, length);
    return result;
}

std::string NicFixture::Read(const std::string& adapter, unsigned char subIndex) {
    std::string value;
    const ObjResult result = Read(adapter, subIndex, value);
    if (result == OBJ_E_NOERR) {
        return value;
    }
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08X", result);
    return digits;
}

ObjResult NicFixture::Write(const std::string& adapter, unsigned char subIndex, const std::string& value) {
    std::string data = value;
    return m_dictionary->WriteObject(Settings(adapter), subIndex, data.data(), static_cast<unsigned int>(data.size()),
                                     0);
}

std::string NicFixture::Run(const std::string& adapter, unsigned int k, const std::string& request) {
    const unsigned short index = ServiceIndex(Header(adapter), k);
    std::string data = request;
    EXPECT_EQ(m_dictionary->WriteObject(index, 1, data.data(), static_cast<unsigned int>(data.size()), 0), OBJ_E_NOERR);
    unsigned char status = 0;
    WaitUntil([&] {
        EXPECT_EQ(m_dictionary->ReadObject(index, 2, &status, 1, 0, nullptr), OBJ_E_NOERR);
        return status < 4;
    });
    char response[64];
    unsigned int length = 0;
    EXPECT_EQ(m_dictionary->ReadObject(index, 3, response, sizeof response, 0, &length), OBJ_E_NOERR);
    return {response, length};
}
