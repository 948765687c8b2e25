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

namespace MdpCommand {

// A JSON value that is built up and written, or read: null, a boolean, a number, a string, an array or an object, whose
// members stay in the order in which they were added. An object is written like this, its values being of any kind:
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
    Json(const char* text);
    Json(std::initializer_list<Member> members);

    static Json Array();

    // Of an array.
    void Add(Json element);

    // Of an object: one member more, or all of another object. A name is added once only.
    void Add(std::string name, Json value);
    void AddAll(const Json& object);

    bool IsObject() const { return std::holds_alternative<Members>(m_value); }

    // As text: in one line, or a value a line, two blanks deeper at each level. What could change a terminal or a
    // line is escaped, and bytes that are not UTF-8 are replaced.
    std::string Text(bool inOneLine) const;

    const Value& Held() const { return m_value; }

    // The member of an object, or null for none.
    const Json* Find(std::string_view name) const;

    // Reads a text. Where it is no JSON, or names a member twice, `wrong` tells line, column and cause.
    static std::optional<Json> Parse(std::string_view text, std::string& wrong);

    bool operator==(const Json& other) const = default;

private:
    Value m_value;
};

struct Json::Member {
    std::string name;
    Json value;

    bool operator==(const Member& other) const = default;
};

// Only now a value can be made: it could hold members.
Json::Json(std::signed_integral auto number) : m_value(std::int64_t{number}) {}

template <std::unsigned_integral Number>

requires(!std::same_as<Number, bool>) Json::Json(Number number) : m_value(std::uint64_t{number}) {}

} // namespace MdpCommand
