#include "Json.h"

#include <nlohmann/json.hpp>

// The one place that knows the JSON library, whose header is heavy.

namespace MdpCommand {
namespace {

using Written = nlohmann::ordered_json;

struct Converter {
    Written operator()(std::monostate) const { return {}; }

    template <typename Scalar>
    Written operator()(const Scalar& scalar) const {
        return scalar;
    }

    Written operator()(const Json::Elements& elements) const {
        Written array = Written::array();
        for (const Json& element : elements) {
            array.push_back(std::visit(*this, element.Held()));
        }
        return array;
    }

    Written operator()(const Json::Members& members) const {
        Written object = Written::object();
        for (const Json::Member& member : members) {
            object[member.name] = std::visit(*this, member.value.Held());
        }
        return object;
    }
};

} // namespace

Json::Json(std::initializer_list<Member> members) : m_value(Members(members)) {}

Json Json::Array() {
    Json array;
    array.m_value = Elements();
    return array;
}

void Json::Add(Json element) {
    std::get<Elements>(m_value).push_back(std::move(element));
}

void Json::Add(std::string name, Json value) {
    std::get<Members>(m_value).push_back({std::move(name), std::move(value)});
}

void Json::AddAll(const Json& object) {
    const Members& added = std::get<Members>(object.m_value);
    Members& members = std::get<Members>(m_value);
    members.insert(members.end(), added.begin(), added.end());
}

std::string Json::Text(bool inOneLine) const {
    return std::visit(Converter(), m_value).dump(inOneLine ? -1 : 2, ' ', false, Written::error_handler_t::replace);
}

} // namespace MdpCommand
