#include "Json.h"

#include <algorithm>

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

// "line 3, column 5" of a byte.
std::string PlaceOf(std::string_view text, std::size_t position) {
    const std::string_view before = text.substr(0, position);
    const auto lines = std::count(before.begin(), before.end(), '\n');
    const std::size_t lineStart = lines == 0 ? 0 : before.rfind('\n') + 1;
    return "line " + std::to_string(lines + 1) + ", column " + std::to_string(before.size() - lineStart + 1);
}

// Builds a value up from what the library's parser comes across.
class Builder : public nlohmann::json_sax<Written> {
public:
    bool null() override { return Put(Json()); }

    bool boolean(bool value) override { return Put(value); }

    bool number_integer(number_integer_t value) override { return Put(value); }

    bool number_unsigned(number_unsigned_t value) override { return Put(value); }

    bool number_float(number_float_t value, const string_t& /*text*/) override { return Put(value); }

    bool string(string_t& value) override { return Put(std::move(value)); }

    bool binary(binary_t& /*value*/) override { return false; } // JSON has none

    bool start_object(std::size_t /*size*/) override { return Open(Json(std::initializer_list<Json::Member>())); }

    bool start_array(std::size_t /*size*/) override { return Open(Json::Array()); }

    bool key(string_t& name) override {
        if (m_open.back().value.Find(name) != nullptr) {
            m_wrong = "\"" + name + "\" is there twice";
            return false;
        }
        m_name = std::move(name);
        return true;
    }

    bool end_object() override { return Close(); }

    bool end_array() override { return Close(); }

    bool parse_error(std::size_t position, const std::string& /*token*/,
                     const nlohmann::json::exception& error) override {
        m_position = position > 0 ? position - 1 : 0;
        // "[json.exception.parse_error.101] parse error at line 1, column 2: syntax error while ...": the place is told
        // by us.
        const std::string_view told = error.what();
        const std::size_t cause = told.find(": ");
        m_wrong = told.substr(cause == std::string_view::npos ? 0 : cause + 2);
        return false;
    }

    const std::string& Wrong() const { return m_wrong; }

    std::optional<std::size_t> Position() const { return m_position; }

    Json Take() { return std::move(m_root); }

private:
    struct Unfinished {
        std::string name; // of the member that it becomes
        Json value;
    };

    bool Open(Json value) {
        m_open.push_back({std::move(m_name), std::move(value)});
        return true;
    }

    bool Close() {
        Unfinished done = std::move(m_open.back());
        m_open.pop_back();
        m_name = std::move(done.name);
        return Put(std::move(done.value));
    }

    bool Put(Json value) {
        if (m_open.empty()) {
            m_root = std::move(value);
        } else if (Json& outer = m_open.back().value; std::holds_alternative<Json::Members>(outer.Held())) {
            outer.Add(std::move(m_name), std::move(value));
        } else {
            outer.Add(std::move(value));
        }
        return true;
    }

    Json m_root;
    std::vector<Unfinished> m_open;
    std::string m_name;
    std::string m_wrong;
    std::optional<std::size_t> m_position;
};

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

const Json* Json::Find(std::string_view name) const {
    const Members* members = std::get_if<Members>(&m_value);
    if (members == nullptr) {
        return nullptr;
    }
    const auto found =
        std::find_if(members->begin(), members->end(), [&](const Member& member) { return member.name == name; });
    return found == members->end() ? nullptr : &found->value;
}

std::optional<Json> Json::Parse(std::string_view text, std::string& wrong) {
    Builder builder;
    if (Written::sax_parse(text, &builder)) {
        return builder.Take();
    }
    wrong = (builder.Position() ? PlaceOf(text, *builder.Position()) + ": " : std::string()) + builder.Wrong();
    return std::nullopt;
}

std::string Json::Text(bool inOneLine) const {
    return EscapeControls(
        std::visit(Converter(), m_value).dump(inOneLine ? -1 : 2, ' ', false, Written::error_handler_t::replace));
}

} // namespace MdpCommand
