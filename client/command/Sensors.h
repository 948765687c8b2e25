#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Json.h"
#include "mdp/Client.h"
#include "mdp/Value.h"

// What the modules of the board tell, as sensors, gpio and ups show it.

namespace MdpCommand {

inline constexpr std::uint16_t s_moduleTypeCpu = 11;
inline constexpr std::uint16_t s_moduleTypeFan = 27;
inline constexpr std::uint16_t s_moduleTypeMainboard = 28;
inline constexpr std::uint16_t s_moduleTypeUps = 30;

// The modules of one type.
Mdp::Result<std::vector<Mdp::Module>> ListModulesOf(const Mdp::Client& client, std::uint16_t type);

// Reads entries one after the other. An entry that the machine answers with a code has no value; any other failure is
// kept, and from then on nothing has one.
class Reader {
public:
    explicit Reader(const Mdp::Client& client) : m_client(client) {}

    std::optional<std::int64_t> Number(std::uint16_t index, std::uint8_t subIndex, Mdp::DataType type);
    std::optional<std::string> Text(std::uint16_t index, std::uint8_t subIndex);

    const std::optional<Mdp::Error>& Failure() const { return m_failure; }

private:
    std::optional<Mdp::Value> Read(std::uint16_t index, std::uint8_t subIndex, Mdp::DataType type);

    const Mdp::Client& m_client;
    std::optional<Mdp::Error> m_failure;
};

// "[####      ]" for a value in a range; nothing for one without.
std::string Bar(std::optional<std::int64_t> value, std::int64_t low, std::int64_t high);

// What the power status of a supply is called.
std::string PowerStatusText(std::optional<std::int64_t> status);

Json NumberJson(std::optional<std::int64_t> number);
std::string NumberText(std::optional<std::int64_t> number);

} // namespace MdpCommand
