#include "Reader.h"

#include <utility>

namespace MdpCommand {

Mdp::Result<Mdp::Module> FindModuleOf(const Mdp::Client& client, std::uint16_t type, const std::string& offer) {
    auto modules = client.ListModules(type);
    if (!modules) {
        return modules.Error();
    }
    if (modules->empty()) {
        return Mdp::Error{Mdp::ErrorKind::Argument, 0, 0,
                          "this machine offers no " + offer + "; mdp modules lists what it has"};
    }
    return std::move(modules->front());
}

std::optional<Mdp::Bytes> Reader::Bytes(std::uint16_t index, std::uint8_t subIndex) {
    if (m_failure) {
        return std::nullopt;
    }
    auto bytes = m_client.Read(index, subIndex);
    if (bytes) {
        return std::move(*bytes);
    }
    // An answer of the machine tells that there is no value; anything else, that there is no answer.
    if (bytes.Error().kind != Mdp::ErrorKind::Object) {
        m_failure = bytes.Error();
    }
    return std::nullopt;
}

std::optional<std::int64_t> Reader::Number(std::uint16_t index, std::uint8_t subIndex, Mdp::DataType type) {
    const auto bytes = Bytes(index, subIndex);
    if (!bytes) {
        return std::nullopt;
    }
    const Mdp::Value value = Mdp::DecodeValue(type, *bytes);
    switch (value.kind) {
    case Mdp::ValueKind::Signed:
        return value.integer;
    case Mdp::ValueKind::Unsigned:
        return static_cast<std::int64_t>(value.unsignedNumber);
    case Mdp::ValueKind::Boolean:
        return value.boolean ? 1 : 0;
    default:
        return std::nullopt; // bytes that do not fit the type
    }
}

std::optional<std::string> Reader::Text(std::uint16_t index, std::uint8_t subIndex) {
    const auto bytes = Bytes(index, subIndex);
    return bytes ? std::optional(Mdp::DecodeValue(Mdp::TypeVisibleString, *bytes).text) : std::nullopt;
}

Json NumberJson(std::optional<std::int64_t> number) {
    return number ? Json(*number) : Json();
}

std::string NumberText(std::optional<std::int64_t> number) {
    return number ? std::to_string(*number) : "-";
}

} // namespace MdpCommand
