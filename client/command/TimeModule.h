#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "mdp/Client.h"

namespace MdpCommand {

// The module of the clock, the zones and the time servers, as the commands for them see it.
class TimeModule {
public:
    // Entries of the settings.
    static constexpr std::uint8_t SubNtpServer = 1;
    static constexpr std::uint8_t SubNtpRefresh = 2;
    static constexpr std::uint8_t SubUtcSeconds = 3;
    static constexpr std::uint8_t SubTimeText = 4;
    static constexpr std::uint8_t SubZone = 5;
    static constexpr std::uint8_t SubLocalSeconds = 7;

    // What the machine takes for no server.
    static constexpr const char* NoServer = "NOSYNC";

    // The service stops the daemon before it looks at the name, so a wrong one must not reach it.
    static bool IsServerName(const std::string& text);

    // Error kind Argument: this machine has no such module.
    static Mdp::Result<TimeModule> Find(const Mdp::Client& client);

    // An entry of the settings. A text is empty where there is no data.
    Mdp::Result<std::string> ReadText(std::uint8_t subIndex) const;
    Mdp::Result<std::uint64_t> ReadNumber(std::uint8_t subIndex) const;
    Mdp::Result<void> WriteText(std::uint8_t subIndex, const std::string& text) const;
    Mdp::Result<void> WriteNumber(std::uint8_t subIndex, std::uint64_t number, std::size_t size) const;

    // The names of all zones; the position is the index. It is good for as long as the module does not sleep.
    Mdp::Result<std::vector<std::string>> ListZones() const;
    // The name of the active zone, empty for one that the machine does not know by name.
    Mdp::Result<std::string> ReadZone() const;

private:
    TimeModule(const Mdp::Client& client, std::uint16_t header) : m_client(client), m_header(header) {}

    Mdp::Client m_client;
    std::uint16_t m_header;
};

} // namespace MdpCommand
