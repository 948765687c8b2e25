#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Json.h"
#include "mdp/Client.h"
#include "mdp/Value.h"

// Values of modules, some of which a machine may not have.

namespace MdpCommand {

// The one module of a type. Error kind Argument tells that this machine has none, and so does not offer what is named.
Mdp::Result<Mdp::Module> FindModuleOf(const Mdp::Client& client, std::uint16_t type, const std::string& offer);

// Reads entries one after the other. An entry that the machine answers with a code has no value; any other failure is
// kept, and from then on nothing has one.
class Reader {
public:
    explicit Reader(const Mdp::Client& client) : m_client(client) {}

    std::optional<std::int64_t> Number(std::uint16_t index, std::uint8_t subIndex, Mdp::DataType type);
    std::optional<std::string> Text(std::uint16_t index, std::uint8_t subIndex);
    std::optional<Mdp::Bytes> Bytes(std::uint16_t index, std::uint8_t subIndex);

    const std::optional<Mdp::Error>& Failure() const { return m_failure; }

private:
    const Mdp::Client& m_client;
    std::optional<Mdp::Error> m_failure;
};

// A number that may be missing: null, or "-".
Json NumberJson(std::optional<std::int64_t> number);
std::string NumberText(std::optional<std::int64_t> number);

} // namespace MdpCommand
