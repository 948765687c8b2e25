#include "Json.h"

#include <algorithm>

#include <nlohmann/json.hpp>

// The one place that knows the JSON library, whose header is heavy.

namespace Gateway {
namespace {

using Library = nlohmann::ordered_json;

constexpr int s_deepest = 8;

struct ToLibrary {
    Library operator()(std::monostate) const { return {}; }

    template <typename Scalar>
    Library operator()(const Scalar& scalar) const {
        return scalar;
    }

    Library operator()(const Json::Elements& elements) const {
        Library array = Library::array();
        for (const Json& element : elements) {
            array.push_back(std::visit(*this, element.Held()));
        }
        return array;
    }

    Library operator()(const Json::Members& members) const {
        Library object = Library::object();
        for (const Json::Member& member : members) {
            object[member.name] = std::visit(*this, member.value.Held());
        }
        return object;
    }
};

Json FromLibrary(const Library& value) {
    switch (value.type()) {
    case Library::value_t::boolean:
        return value.get<bool>();
    case Library::value_t::number_integer:
        return value.get<std::int64_t>();
    case Library::value_t::number_unsigned:
        return value.get<std::uint64_t>();
    case Library::value_t::number_float:
        return value.get<double>();
    case Library::value_t::string:
        return value.get<std::string>();
    case Library::value_t::array: {
        Json array = Json::Array();
        for (const Library& element : value) {
            array.Add(FromLibrary(element));
        }
        return array;
    }
    case Library::value_t::object: {
        Json object = Json::Object();
        for (const auto& [name, member] : value.items()) {
            object.Add(name, FromLibrary(member));
        }
        return object;
    }
    default:
        return {};
    }
}

} // namespace

Json::Json(double number) : m_value(number) {}

Json::Json(std::string text) : m_value(std::move(text)) {}

Json::Json(std::string_view text) : m_value(std::string(text)) {}

Json::Json(const char* text) : m_value(std::string(text)) {}

Json::Json(std::initializer_list<Member> members) : m_value(Members(members)) {}

Json Json::Array() {
    Json array;
    array.m_value = Elements();
    return array;
}

Json Json::Object() {
    Json object;
    object.m_value = Members();
    return object;
}

std::optional<Json> Json::Parse(std::string_view text) {
    bool isTooDeep = false;
    const auto look = [&](int depth, Library::parse_event_t, Library&) {
        isTooDeep = isTooDeep || depth > s_deepest;
        return !isTooDeep;
    };
    const Library parsed = Library::parse(text.begin(), text.end(), look, false);
    if (isTooDeep || parsed.is_discarded()) {
        return std::nullopt;
    }
    return FromLibrary(parsed);
}

void Json::Add(Json element) {
    std::get<Elements>(m_value).push_back(std::move(element));
}

void Json::Add(std::string name, Json value) {
    std::get<Members>(m_value).push_back({std::move(name), std::move(value)});
}

const Json* Json::Find(std::string_view name) const {
    const Members* members = AsObject();
    if (members == nullptr) {
        return nullptr;
    }
    const auto found =
        std::find_if(members->begin(), members->end(), [&](const Member& member) { return member.name == name; });
    return found != members->end() ? &found->value : nullptr;
}

std::string Json::Written() const {
    return std::visit(ToLibrary(), m_value).dump(-1, ' ', false, Library::error_handler_t::replace);
}

} // namespace Gateway
