// Test equipment: a client library of the automation runtime, libZmKorDll.so, whose answers come from the scenario. See
// README.md here.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "../devices/Scenario.h"

#define KOR_EXPORT extern "C" __attribute__((visibility("default")))

#ifdef KOR_MANGLED
// The name under which a library without plain linkage exports it.
#define KOR_EX2_NAME __asm__("_Z35KorMirnRegisterRouterNotificationEx2lPFviPvES_")
#else
#define KOR_EX2_NAME
#endif

namespace {

#pragma pack(push, 1)

struct TAddress {
    std::uint8_t netId[6];
    std::uint16_t port;
};

struct TVersion {
    std::uint8_t version;
    std::uint8_t revision;
    std::uint16_t build;
};

#pragma pack(pop)

using TRouterCallback = void (*)(int, void*);

constexpr long MISSING_SETTING = 1793;
[[maybe_unused]] constexpr long PORT_NOT_CONNECTED = 6;
constexpr long NO_MORE_ROUTES = 1814;
constexpr long ROUTE_UNKNOWN = 1804;
constexpr long ROUTER_DOWN = 7;

struct TRouteEntry {
    std::string name;
    std::string record; // as the router tells it
};

struct TState {
    std::mutex mutex;
    long nextPort = 32768;
    std::map<long, bool> ports; // open ones, true for those of KorPortOpenEx
    std::map<long, std::pair<TRouterCallback, void*>> registrations;
    bool routesRead = false;
    std::string routesText; // of the scenario, when the list was made from it
    std::vector<TRouteEntry> routes;
};

TState& State() {
    static TState state;
    return state;
}

std::string Hex(const void* data, std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        char byte[3];
        std::snprintf(byte, sizeof byte, "%02x", static_cast<const unsigned char*>(data)[i]);
        text += byte;
    }
    return text;
}

std::string FromHex(const std::string& text) {
    std::string bytes;
    unsigned int high = 0;
    bool half = false;
    for (const char digit : text) {
        const char* digits = "0123456789abcdef";
        const char* found = digit == '\0' ? nullptr : std::strchr(digits, digit | 0x20);
        if (found == nullptr) {
            continue; // blanks between the bytes
        }
        const auto value = static_cast<unsigned int>(found - digits);
        if (half) {
            bytes += static_cast<char>(high << 4 | value);
        }
        high = value;
        half = !half;
    }
    return bytes;
}

template <typename T>
void Put(std::string& record, T number) {
    record.append(reinterpret_cast<const char*>(&number), sizeof number);
}

// "1.2.3.4.5.6" into six bytes.
void ParseNetId(const std::string& text, std::uint8_t* netId) {
    std::istringstream numbers(text);
    for (int i = 0; i < 6; ++i) {
        int number = 0;
        char dot = 0;
        numbers >> number >> dot;
        netId[i] = static_cast<std::uint8_t>(number);
    }
}

void Block(const CScenario& scenario, const std::string& what) {
    const std::int64_t delay = scenario.Number("runtime delays", what).value_or(0);
    if (delay > 0) {
        usleep(static_cast<useconds_t>(delay) * 1000);
    }
}

bool IsUp(const CScenario& scenario) {
    return scenario.HasSection("runtime") && scenario.Text("runtime", "router").value_or("up") == "up";
}

// What every call begins with: journal, delay, chosen error. 0 where the call is to be answered.
long Begin(const CScenario& scenario, const std::string& what, const std::string& details = {}) {
    scenario.Record(what + (details.empty() ? "" : " " + details));
    Block(scenario, what);
    return static_cast<long>(scenario.Number("runtime failures", what).value_or(0));
}

// The same for a request, named by its function, and again by "PORT:GROUP".
long BeginRequest(const CScenario& scenario, const std::string& function, const TAddress& address,
                  std::optional<std::uint32_t> group, const std::string& details) {
    std::string where = std::to_string(address.port);
    if (group) {
        where += ":" + std::to_string(*group);
    }
    if (const long error = Begin(scenario, function, where + (details.empty() ? "" : " " + details)); error != 0) {
        return error;
    }
    Block(scenario, where);
    if (const std::int64_t error = scenario.Number("runtime failures", where).value_or(0); error != 0) {
        return static_cast<long>(error);
    }
    return IsUp(scenario) ? 0 : ROUTER_DOWN;
}

std::string SubRoutes(const std::string& text, std::uint32_t& count) {
    std::string records;
    std::istringstream subs(text);
    std::string name;
    std::string netId;
    std::uint32_t flags = 0;
    while (subs >> name >> netId >> flags) {
        std::string record(6, '\0');
        ParseNetId(netId, reinterpret_cast<std::uint8_t*>(record.data()));
        record.append(10, '\0');
        Put(record, flags);
        Put(record, static_cast<std::uint32_t>(name.size() + 1));
        records += record + name + '\0';
        ++count;
    }
    return records;
}

std::string RouteRecord(const std::uint8_t* netId, std::uint16_t transport, std::uint32_t flags, std::uint32_t timeout,
                        const std::string& address, const std::string& name, const std::string& subs) {
    std::uint32_t count = 0;
    const std::string subRecords = SubRoutes(subs, count);
    std::string record(reinterpret_cast<const char*>(netId), 6);
    Put(record, transport);
    Put(record, flags);
    Put(record, timeout);
    record.append(16, '\0');
    Put(record, static_cast<std::uint32_t>(address.size() + 1));
    Put(record, static_cast<std::uint32_t>(name.size() + 1));
    Put(record, count);
    return record + address + '\0' + name + '\0' + subRecords;
}

// The routes of the scenario, until it names other ones; then what add and delete make of them.
void ReadRoutes(const CScenario& scenario, TState& state) {
    std::string text;
    std::vector<TRouteEntry> routes;
    for (const std::string& name : scenario.NamesOf("route")) {
        const std::string section = "route " + name;
        const auto number = [&](const char* key) {
            return static_cast<std::uint32_t>(scenario.Number(section, key).value_or(0));
        };
        TRouteEntry route{name, FromHex(scenario.Text(section, "record").value_or(""))};
        if (route.record.empty()) {
            std::uint8_t netId[6];
            ParseNetId(scenario.Text(section, "net_id").value_or(""), netId);
            route.record = RouteRecord(netId, static_cast<std::uint16_t>(number("transport")), number("flags"),
                                       number("timeout"), scenario.Text(section, "address").value_or(""), name,
                                       scenario.Text(section, "sub").value_or(""));
        }
        text += name + '\0' + route.record + '\0';
        routes.push_back(std::move(route));
    }
    if (!state.routesRead || text != state.routesText) {
        state.routesRead = true;
        state.routesText = text;
        state.routes = std::move(routes);
    }
}

long AddRoute(TState& state, const std::string& record) {
    if (record.size() < 44) {
        return MISSING_SETTING;
    }
    std::uint32_t addressLength = 0;
    std::memcpy(&addressLength, record.data() + 32, sizeof addressLength);
    if (44 + std::size_t{addressLength} > record.size()) {
        return MISSING_SETTING;
    }
    const std::string name = record.data() + 44 + addressLength;
    std::erase_if(state.routes, [&](const TRouteEntry& route) { return route.name == name; });
    state.routes.push_back({name, record});
    return 0;
}

long DeleteRoute(TState& state, const std::string& name) {
    return std::erase_if(state.routes, [&](const TRouteEntry& route) { return route.name == name; }) > 0
               ? 0
               : ROUTE_UNKNOWN;
}

// [runtime] event = SERIAL EVENT [COUNT]: each new serial number is an event, told so many times.
void TellEvent(const std::string& text) {
    std::istringstream words(text);
    long serial = 0;
    int event = 0;
    int count = 1;
    words >> serial >> event >> count;
    for (int i = 0; i < (count < 1 ? 1 : count); ++i) {
        std::vector<std::pair<TRouterCallback, void*>> called;
        {
            TState& state = State();
            const std::lock_guard lock(state.mutex);
            for (const auto& [port, registration] : state.registrations) {
                called.push_back(registration);
            }
        }
        for (const auto& [callback, user] : called) {
            callback(event, user);
        }
    }
}

// The thread on which events are told, from the first registration until the library is unloaded.
class CEventThread {
public:
    ~CEventThread() {
        m_stop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

    // Under the state's mutex.
    void Start() {
        if (!m_thread.joinable()) {
            m_thread = std::thread([this, before = Event()] { Watch(before); });
        }
    }

private:
    static std::string Event() { return CScenario::Now()->Text("runtime", "event").value_or(""); }

    void Watch(std::string before) {
        while (!m_stop) {
            usleep(20000);
            const std::string now = Event();
            if (now != before) {
                before = now;
                TellEvent(now);
            }
        }
    }

    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

[[maybe_unused]] CEventThread& EventThread() {
    CScenario::Now(); // what is made first is destroyed last
    State();
    static CEventThread thread;
    return thread;
}

long OpenPort(const char* function, bool isExtra) {
    const auto scenario = CScenario::Now();
    if (Begin(*scenario, function) != 0) {
        return 0;
    }
    TState& state = State();
    const std::lock_guard lock(state.mutex);
    const long port = state.nextPort++;
    state.ports[port] = isExtra;
    return port;
}

long LocalAddress(const char* function, long port, TAddress* address) {
    const auto scenario = CScenario::Now();
    if (const long error = Begin(*scenario, function); error != 0) {
        return error;
    }
    ParseNetId(scenario->Text("runtime", "net_id").value_or("5.8.15.47.1.1"), address->netId);
    address->port = static_cast<std::uint16_t>(port);
    return 0;
}

// Fills the answer as far as the client has room.
void Answer(const std::string& bytes, std::uint32_t length, void* data) {
    std::memcpy(data, bytes.data(), std::min<std::size_t>(bytes.size(), length));
}

std::string FullVersion(const CScenario& scenario) {
    std::string bytes(4, '\0');
    Put(bytes, static_cast<std::uint16_t>(scenario.Number("runtime", "full_revision").value_or(0)));
    bytes.append(2, '\0');
    return bytes;
}

std::string Figures(const CScenario& scenario) {
    std::istringstream numbers(scenario.Text("runtime", "figures").value_or(""));
    std::string bytes;
    for (int i = 0; i < 8; ++i) {
        std::uint32_t number = 0;
        numbers >> number;
        Put(bytes, number);
    }
    return bytes;
}

} // namespace

KOR_EXPORT long KorGetDllVersion() {
    return 0x00010203;
}

KOR_EXPORT long KorPortOpen() {
    return OpenPort("KorPortOpen", false);
}

KOR_EXPORT long KorPortClose() {
    const auto scenario = CScenario::Now();
    TState& state = State();
    {
        const std::lock_guard lock(state.mutex);
        std::erase_if(state.ports, [](const auto& port) { return !port.second; });
    }
    return Begin(*scenario, "KorPortClose");
}

KOR_EXPORT long KorGetLocalAddress(TAddress* address) {
    return LocalAddress("KorGetLocalAddress", 0, address);
}

KOR_EXPORT long KorSyncWriteReq(TAddress* address, unsigned int group, unsigned int offset, unsigned int length,
                                const void* data) {
    const auto scenario = CScenario::Now();
    if (const long error = BeginRequest(*scenario, "KorSyncWriteReq", *address, group,
                                        std::to_string(offset) + " " + Hex(data, length));
        error != 0) {
        return error;
    }
    TState& state = State();
    const std::lock_guard lock(state.mutex);
    ReadRoutes(*scenario, state);
    switch (group) {
    case 200:
        return 0;
    case 801:
        return AddRoute(state, std::string(static_cast<const char*>(data), length));
    case 802:
        return DeleteRoute(state, static_cast<const char*>(data));
    default:
        return MISSING_SETTING;
    }
}

KOR_EXPORT long KorSyncReadReq(TAddress* address, unsigned int group, unsigned int offset, unsigned int length,
                               void* data) {
    const auto scenario = CScenario::Now();
    if (const long error = BeginRequest(*scenario, "KorSyncReadReq", *address, group,
                                        std::to_string(offset) + " " + std::to_string(length));
        error != 0) {
        return error;
    }
    switch (group) {
    case 1:
        Answer(Figures(*scenario), length, data);
        return 0;
    case 160:
        Answer(FullVersion(*scenario), length, data);
        return 0;
    case 803: {
        TState& state = State();
        const std::lock_guard lock(state.mutex);
        ReadRoutes(*scenario, state);
        if (scenario->Text("runtime", "endless_routes").value_or("no") == "yes" && !state.routes.empty()) {
            Answer(state.routes[offset % state.routes.size()].record, length, data);
            return 0;
        }
        if (offset >= state.routes.size()) {
            return NO_MORE_ROUTES;
        }
        Answer(state.routes[offset].record, length, data);
        return 0;
    }
    case 0x1010004: {
        const std::string id = FromHex(scenario->Text("runtime", "system_id").value_or(""));
        if (id.size() != 16) {
            return MISSING_SETTING;
        }
        Answer(id, length, data);
        return 0;
    }
    default:
        return MISSING_SETTING;
    }
}

KOR_EXPORT long KorSyncReadDeviceInfoReq(TAddress* address, char* name, TVersion* version) {
    const auto scenario = CScenario::Now();
    if (const long error = BeginRequest(*scenario, "KorSyncReadDeviceInfoReq", *address, std::nullopt, "");
        error != 0) {
        return error;
    }
    std::strncpy(name, "Runtime", 16);
    int numbers[3] = {};
    std::sscanf(scenario->Text("runtime", "version").value_or("").c_str(), "%d.%d.%d", &numbers[0], &numbers[1],
                &numbers[2]);
    *version = {static_cast<std::uint8_t>(numbers[0]), static_cast<std::uint8_t>(numbers[1]),
                static_cast<std::uint16_t>(numbers[2])};
    return 0;
}

KOR_EXPORT long KorSyncReadStateReq(TAddress* address, std::uint16_t* korState, std::uint16_t* deviceState) {
    const auto scenario = CScenario::Now();
    const long error = BeginRequest(*scenario, "KorSyncReadStateReq", *address, std::nullopt, "");
    *korState = static_cast<std::uint16_t>(scenario->Number("runtime", "state").value_or(0));
    *deviceState = 0;
    return error == ROUTER_DOWN && !IsUp(*scenario) ? 18 : error;
}

KOR_EXPORT long KorSyncSetTimeout(int milliseconds) {
    return Begin(*CScenario::Now(), "KorSyncSetTimeout", std::to_string(milliseconds));
}

KOR_EXPORT long KorGetLastError() {
    return 0;
}

#ifndef KOR_PARTIAL // the variant lacks all that follows

KOR_EXPORT long KorSyncReadReqEx(TAddress* address, unsigned int group, unsigned int offset, unsigned int length,
                                 void* data, unsigned int* bytesRead) {
    *bytesRead = length;
    return KorSyncReadReq(address, group, offset, length, data);
}

KOR_EXPORT long KorSyncReadWriteReq(TAddress* address, unsigned int group, unsigned int offset, unsigned int readLength,
                                    void* readData, unsigned int writeLength, const void* writeData) {
    const long error = KorSyncWriteReq(address, group, offset, writeLength, writeData);
    return error != 0 ? error : KorSyncReadReq(address, group, offset, readLength, readData);
}

KOR_EXPORT long KorSyncReadWriteReqEx(TAddress* address, unsigned int group, unsigned int offset,
                                      unsigned int readLength, void* readData, unsigned int writeLength,
                                      const void* writeData, unsigned int* bytesRead) {
    *bytesRead = readLength;
    return KorSyncReadWriteReq(address, group, offset, readLength, readData, writeLength, writeData);
}

KOR_EXPORT long KorSyncWriteControlReq(TAddress* address, std::uint16_t korState, std::uint16_t deviceState,
                                       unsigned int length, const void* data) {
    return BeginRequest(*CScenario::Now(), "KorSyncWriteControlReq", *address, std::nullopt,
                        std::to_string(korState) + " " + std::to_string(deviceState) + " " + Hex(data, length));
}

KOR_EXPORT long KorSyncAddDeviceNotificationReq(TAddress*, unsigned int, unsigned int, void*, void*, unsigned int,
                                                unsigned int* notification) {
    *notification = 1;
    return 0;
}

KOR_EXPORT long KorSyncDelDeviceNotificationReq(TAddress*, unsigned int) {
    return 0;
}

KOR_EXPORT long KorMirnRegisterRouterNotification(void (*)(int)) {
    return 0;
}

KOR_EXPORT long KorMirnUnregisterRouterNotification() {
    return 0;
}

KOR_EXPORT long KorPortOpenEx() {
    return OpenPort("KorPortOpenEx", true);
}

KOR_EXPORT long KorPortCloseEx(long port) {
    const auto scenario = CScenario::Now();
    {
        TState& state = State();
        const std::lock_guard lock(state.mutex);
        if (state.ports.erase(port) == 0) {
            return PORT_NOT_CONNECTED;
        }
    }
    return Begin(*scenario, "KorPortCloseEx", std::to_string(port));
}

KOR_EXPORT long KorGetLocalAddressEx(long port, TAddress* address) {
    return LocalAddress("KorGetLocalAddressEx", port, address);
}

// Exported, but nobody looks it up.
KOR_EXPORT long KorMirnRegisterRouterNotificationEx(long, void (*)(int, unsigned int), unsigned int) {
    return 0;
}

KOR_EXPORT long KorMirnRegisterRouterNotificationEx2(long port, TRouterCallback callback, void* user) KOR_EX2_NAME;

KOR_EXPORT long KorMirnRegisterRouterNotificationEx2(long port, TRouterCallback callback, void* user) {
    const auto scenario = CScenario::Now();
    if (const long error = Begin(*scenario, "KorMirnRegisterRouterNotificationEx2", std::to_string(port)); error != 0) {
        return error;
    }
    if (!IsUp(*scenario)) {
        return ROUTER_DOWN;
    }
    TState& state = State();
    const std::lock_guard lock(state.mutex);
    state.registrations[port] = {callback, user};
    EventThread().Start();
    return 0;
}

KOR_EXPORT long KorMirnUnRegisterRouterNotificationEx(long port) {
    const auto scenario = CScenario::Now();
    {
        TState& state = State();
        const std::lock_guard lock(state.mutex);
        state.registrations.erase(port);
    }
    return Begin(*scenario, "KorMirnUnRegisterRouterNotificationEx", std::to_string(port));
}

#endif
