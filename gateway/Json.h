#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Gateway {

// A JSON value: null, a boolean, a number, a string, an array or an object, whose members stay in the order in which
// they were added. An object is written like this, its values being of any kind:
//     Json told{{"index", "0x8011"}, {"bits", 16}, {"entries", Json::Array()}};
class Json {
public:
    struct Member;
    using Elements = std::vector<Json>;
    using Members = std::vector<Member>;
    using Value =
        std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string, Elements, Members>;

    Json() = default; // null

    Json(std::same_as<bool> auto boolean) : m_value(boolean) {}

    Json(std::signed_integral auto number);
    template <std::unsigned_integral Number>
    requires(!std::same_as<Number, bool>) Json(Number number);
    Json(double number);
    Json(std::string text);
    Json(std::string_view text);
    Json(const char* text);
    Json(std::initializer_list<Member> members);

    // Null where there is none.
    template <typename Content>
    Json(const std::optional<Content>& content) {
        if (content) {
            *this = Json(*content);
        }
    }

    static Json Array();
    static Json Object();

    // Nothing where the text is not one JSON value, or is nested deeper than anything that is asked of the gateway.
    static std::optional<Json> Parse(std::string_view text);

    // Of an array.
    void Add(Json element);

    // Of an object: one member more. A name is added once only.
    void Add(std::string name, Json value);

    // The member of an object; null where this is none or has none of that name.
    const Json* Find(std::string_view name) const;

    // Null where this is something else.
    const std::string* Text() const { return std::get_if<std::string>(&m_value); }

    const Members* AsObject() const { return std::get_if<Members>(&m_value); }

    // In one line. Bytes that are not UTF-8 are replaced.
    std::string Written() const;

    const Value& Held() const { return m_value; }

private:
    Value m_value;
};

struct Json::Member {
    std::string name;
    Json value;
};

// Only now a value can be made: it could hold members.
Json::Json(std::signed_integral auto number) : m_value(std::int64_t{number}) {}

template <std::unsigned_integral Number>

requires(!std::same_as<Number, bool>) Json::Json(Number number) : m_value(std::uint64_t{number}) {}

} // namespace Gateway
