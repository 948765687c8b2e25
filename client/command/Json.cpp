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

// The library leaves DEL and the control characters U+0080 to U+009F, which terminals obey, as they are. Outside of
// strings, where they would have no escape, JSON has no such bytes.
std::string EscapeControls(const std::string& text) {
    constexpr char digits[] = "0123456789abcdef";
    std::string escaped;
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto character = static_cast<unsigned char>(text[i]);
        const bool isC1 = character == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        if (isC1) {
            ++i;
            character = static_cast<unsigned char>(text[i]);
        }
        if (isC1 || character == 0x7F) {
            escaped += {'\\', 'u', '0', '0', digits[character >> 4], digits[character & 0xF]};
        } else {
            escaped += text[i];
        }
    }
    return escaped;
}

} // namespace

Json::Json(double number) : m_value(number) {}

Json::Json(std::string text) : m_value(std::move(text)) {}

Json::Json(const char* text) : m_value(std::string(text)) {}

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
    return EscapeControls(
        std::visit(Converter(), m_value).dump(inOneLine ? -1 : 2, ' ', false, Written::error_handler_t::replace));
}

} // namespace MdpCommand
