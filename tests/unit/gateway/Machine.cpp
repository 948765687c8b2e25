#include "Machine.h"

#include <sstream>

namespace {

constexpr std::uint16_t BOOLEAN = 1;
constexpr std::uint16_t INTEGER16 = 3;
constexpr std::uint16_t INTEGER32 = 4;
constexpr std::uint16_t UNSIGNED8 = 5;
constexpr std::uint16_t UNSIGNED16 = 6;
constexpr std::uint16_t UNSIGNED32 = 7;
constexpr std::uint16_t TEXT = 9;
constexpr std::uint16_t UNSIGNED64 = 27;

constexpr std::uint8_t VARIABLE = 7;
constexpr std::uint8_t ARRAY = 8;
constexpr std::uint8_t RECORD = 9;

FakeEntry TextEntry(const std::string& name, const std::string& value, const std::string& access = "r-") {
    return {TEXT, access, name, Text(value)};
}

FakeEntry NumberEntry(std::uint16_t type, const std::string& name, std::uint64_t value, std::size_t size) {
    return {type, "r-", name, Number(value, size)};
}

FakeEntry Missing(std::uint16_t type, std::uint32_t code) {
    return {type, "r-", "Missing", {}, code};
}

FakeObject Of(std::uint8_t objectCode, const std::string& name, std::vector<FakeEntry> entries) {
    const auto count = static_cast<std::uint8_t>(entries.size());
    entries.insert(entries.begin(), CountEntry(count));
    return {objectCode, name, std::move(entries)};
}

} // namespace

Machine::Machine() : m_service([this](const TestBytes& frame) { return Answer(frame); }) {
    auto& objects = m_dictionary.objects;
    objects[0x1000] = {VARIABLE, "", {NumberEntry(UNSIGNED32, "Device type", 1, 4)}};
    objects[0x1008] = {VARIABLE, "", {TextEntry("Device name", "IPC-1", "rw")}};
    objects[0x1009] = {VARIABLE, "", {TextEntry("Hardware version", "v1.4")}};
    objects[0x100A] = {VARIABLE, "", {TextEntry("Software version", "13.2")}};
    objects[0xF9F0] = {VARIABLE, "", {TextEntry("Serial number", "SN-1")}};
    m_dictionary.AddModule(0, 2, "Nic", "em0");
    objects[0x8001] = Of(RECORD, "Network settings",
                         {TextEntry("MAC address", "02:00:00:00:10:20"),
                          TextEntry("IPv4 address", "192.168.10.20", "rw"),
                          TextEntry("IPv4 subnet mask", "255.255.255.0", "rw"),
                          {BOOLEAN, "rw", "DHCP enabled", {0}},
                          TextEntry("IPv4 default gateway", "192.168.10.1", "rw"),
                          TextEntry("Configured DNS servers", "", "rw"),
                          Missing(TEXT, NOT_SUPPORTED),
                          TextEntry("Active DNS servers", "192.168.10.1")});
    m_dictionary.AddModule(1, 11, "CPU", "CPU0");
    objects[0x8011] = Of(RECORD, "Processor values",
                         {NumberEntry(UNSIGNED32, "Frequency (MHz)", 2596, 4),
                          NumberEntry(UNSIGNED16, "Load (%)", 25, 2), NumberEntry(INTEGER16, "Temperature", 47, 2)});
    m_dictionary.AddModule(2, 27, "FAN", "Fan");
    objects[0x8021] = Of(RECORD, "Fan values", {NumberEntry(INTEGER16, "Fan speed", 1200, 2)});
    m_dictionary.AddModule(3, 27, "FAN", "Fan");
    objects[0x8031] = Of(RECORD, "Fan values", {NumberEntry(INTEGER16, "Fan speed", 900, 2)});
    m_dictionary.AddModule(4, 12, "Memory", "Memory");
    objects[0x8041] =
        Of(RECORD, "Memory usage",
           {Missing(UNSIGNED32, NOT_SUPPORTED), Missing(UNSIGNED32, NOT_SUPPORTED), Missing(UNSIGNED32, NOT_SUPPORTED),
            Missing(UNSIGNED32, NOT_SUPPORTED), Missing(UNSIGNED32, NOT_SUPPORTED),
            NumberEntry(UNSIGNED64, "Total", 1000, 8), NumberEntry(UNSIGNED64, "Available", 600, 8)});
    m_dictionary.AddModule(5, 32, "MassStorageMonitoring", "MassStorageMonitoring");
    const auto column = [&](unsigned k, const FakeEntry& first, const FakeEntry& second) {
        objects[static_cast<std::uint16_t>(0x8050 + k)] = Of(ARRAY, "Column", {first, second});
    };
    column(1, TextEntry("Serial", "S1"), TextEntry("Serial", "S2"));
    column(4, TextEntry("Name", "Disk A"), TextEntry("Name", "Flash \"B\"\n"));
    column(5, NumberEntry(UNSIGNED8, "Kind", 1, 1), NumberEntry(UNSIGNED8, "Kind", 2, 1));
    column(8, Missing(INTEGER16, 0xECAF0701), NumberEntry(INTEGER16, "Life left", 3, 2));
    column(11, Missing(INTEGER16, 0xECAF0701), NumberEntry(INTEGER16, "Spare left", 90, 2));
    for (const unsigned k : {12U, 13U, 14U, 15U}) {
        column(k, NumberEntry(UNSIGNED64, "Count", 0, 8), Missing(UNSIGNED64, 0xECAF0702));
    }
    m_dictionary.AddModule(6, 8, "Zelmora", "Zelmora");
    objects[0x8061] = Of(RECORD, "Runtime information",
                         {NumberEntry(UNSIGNED16, "Version", 3, 2), NumberEntry(UNSIGNED16, "Revision", 1, 2),
                          NumberEntry(UNSIGNED16, "Build", 4024, 2), TextEntry("Net id", "5.8.15.47.1.1", "rw"),
                          Missing(UNSIGNED32, NOT_SUPPORTED), NumberEntry(UNSIGNED16, "State", 5, 2)});
    objects[0x8069] = Of(RECORD, "Router status", {NumberEntry(UNSIGNED64, "Router value 1", 16777216, 8)});
    for (const unsigned k : {2U, 3U, 4U}) {
        objects[static_cast<std::uint16_t>(0x8060 + k)] =
            Of(ARRAY, "Routes", {TextEntry("Route", "route-" + std::to_string(k))});
    }
    for (const unsigned k : {5U, 6U}) {
        objects[static_cast<std::uint16_t>(0x8060 + k)] = Of(ARRAY, "Routes", {NumberEntry(UNSIGNED32, "Route", k, 4)});
    }
    // A number of two bytes, though its type has four.
    objects[0x8067] = Of(ARRAY, "Transports", {NumberEntry(UNSIGNED32, "Transport", 1, 2)});
    m_dictionary.AddModule(7, 28, "MAINBOARD", "MAINBOARD");
    objects[0x8071] =
        Of(RECORD, "Mainboard information",
           {TextEntry("Name", "CB"), TextEntry("Serial", "1"), TextEntry("Date", "2021"),
            NumberEntry(UNSIGNED32, "Boots", 7, 4), NumberEntry(UNSIGNED32, "Time", 9, 4),
            NumberEntry(INTEGER32, "Lowest", 0xFFFFFFFC, 4), NumberEntry(INTEGER32, "Highest", 71, 4),
            NumberEntry(INTEGER32, "Lowest voltage", 0, 4), NumberEntry(INTEGER32, "Highest voltage", 0, 4),
            NumberEntry(INTEGER16, "Temperature", 38, 2)});
    objects[0x8072] = Of(RECORD, "Mainboard versions",
                         {NumberEntry(UNSIGNED8, "Revision", 2, 1), NumberEntry(UNSIGNED8, "Major", 1, 1),
                          NumberEntry(UNSIGNED8, "Minor", 2, 1), TextEntry("BIOS", "1.2")});
    objects[0x8073] = Of(RECORD, "Voltages", {TextEntry("Name", "5V"), TextEntry("Name", "5V")});
    objects[0x8075] = Of(RECORD, "Voltages",
                         {NumberEntry(INTEGER16, "Voltage", 5030, 2), NumberEntry(INTEGER16, "Voltage", 3900, 2)});
    objects[0x8076] = Of(RECORD, "Voltages",
                         {NumberEntry(INTEGER16, "Reference", 5000, 2), NumberEntry(INTEGER16, "Reference", 5000, 2)});
    objects[0xB000] = Of(RECORD, "Renew IPv4 address",
                         {{TEXT, "-w", "Request", {}}, NumberEntry(55, "Status", 0, 1), TextEntry("Response", "")});
    m_dictionary.AddModule(8, 16, "FSO", "FSO");
    m_dictionary.serve = [](std::uint16_t, const TestBytes& request) { return FakeResponse{1, request}; };
}

Mdp::ClientOptions Machine::Options() const {
    Mdp::ClientOptions options;
    options.socketPath = Socket();
    return options;
}

void Machine::GoDown(bool down) {
    const std::lock_guard lock(m_mutex);
    m_isDown = down;
}

FakeReply Machine::Answer(const TestBytes& frame) {
    const std::lock_guard lock(m_mutex);
    return m_isDown ? NoReply() : m_dictionary.Answer(frame);
}

std::size_t Machine::Reads(std::uint16_t index, std::uint8_t flags) const {
    std::size_t count = 0;
    for (const TestBytes& frame : m_service.Frames()) {
        // Command 0 at the start of the record, then index and flags.
        const bool isOfIndex = frame[24] == 0 && (frame[26] | frame[27] << 8) == index;
        count += isOfIndex && frame[28] == flags ? 1U : 0U;
    }
    return count;
}

bool Machine::IsAsleep(std::uint8_t slot) const {
    for (const TestBytes& frame : m_service.Frames()) {
        const int index = frame[26] | frame[27] << 8;
        if (frame[24] != 1 && index >> 12 == 8 && (index >> 4 & 0xFF) == slot) {
            return false;
        }
    }
    return true;
}

Gateway::Json At(const Gateway::Json& json, const std::string& path) {
    std::istringstream words(path);
    Gateway::Json at = json;
    for (std::string word; std::getline(words, word, '/');) {
        if (const auto* elements = std::get_if<Gateway::Json::Elements>(&at.Held())) {
            const std::size_t place = std::stoul(word);
            EXPECT_LT(place, elements->size()) << path;
            at = place < elements->size() ? Gateway::Json((*elements)[place]) : Gateway::Json();
            continue;
        }
        const Gateway::Json* member = at.Find(word);
        EXPECT_NE(member, nullptr) << path << " in " << json.Written();
        at = member != nullptr ? Gateway::Json(*member) : Gateway::Json();
    }
    return at;
}

std::string TextAt(const Gateway::Json& json, const std::string& path) {
    const Gateway::Json at = At(json, path);
    return at.Text() != nullptr ? *at.Text() : at.Written();
}
