#include "Reader.h"

#include <algorithm>

namespace MdpCommand {

Mdp::Result<std::vector<Mdp::Module>> ListModulesOf(const Mdp::Client& client, std::uint16_t type) {
    auto modules = client.ListModules();
    if (modules) {
        std::erase_if(*modules, [type](const Mdp::Module& module) { return module.type != type; });
    }
    return modules;
}

std::optional<Mdp::Value> Reader::Read(std::uint16_t index, std::uint8_t subIndex, Mdp::DataType type) {
    if (m_failure) {
        return std::nullopt;
    }
    const auto bytes = m_client.Read(index, subIndex);
    if (bytes) {
        return Mdp::DecodeValue(type, *bytes);
    }
    if (bytes.Error().kind != Mdp::ErrorKind::Object) {
        m_failure = bytes.Error();
    }
    return std::nullopt;
}

std::optional<std::int64_t> Reader::Number(std::uint16_t index, std::uint8_t subIndex, Mdp::DataType type) {
    const auto value = Read(index, subIndex, type);
    if (!value) {
        return std::nullopt;
    }
    switch (value->kind) {
    case Mdp::ValueKind::Signed:
        return value->integer;
    case Mdp::ValueKind::Unsigned:
        return static_cast<std::int64_t>(value->unsignedNumber);
    case Mdp::ValueKind::Boolean:
        return value->boolean ? 1 : 0;
    default:
        return std::nullopt; // bytes that do not fit the type
    }
}

std::optional<std::string> Reader::Text(std::uint16_t index, std::uint8_t subIndex) {
    const auto value = Read(index, subIndex, Mdp::TypeVisibleString);
    return value ? std::optional(value->text) : std::nullopt;
}

Json NumberJson(std::optional<std::int64_t> number) {
    return number ? Json(*number) : Json();
}

std::string NumberText(std::optional<std::int64_t> number) {
    return number ? std::to_string(*number) : "-";
}

} // namespace MdpCommand
