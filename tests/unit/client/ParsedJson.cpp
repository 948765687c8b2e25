#include "ParsedJson.h"

#include <ostream>

#include <nlohmann/json.hpp>

struct ParsedJson::Node {
    nlohmann::json json;
};

ParsedJson::ParsedJson(const std::string& text)
    : ParsedJson(std::make_shared<Node>(Node{nlohmann::json::parse(text)})) {}

ParsedJson::ParsedJson(std::shared_ptr<const Node> node) : m_node(std::move(node)) {}

ParsedJson ParsedJson::operator[](const char* name) const {
    return ParsedJson(std::make_shared<Node>(Node{m_node->json.at(name)}));
}

ParsedJson ParsedJson::operator[](int position) const {
    return ParsedJson(std::make_shared<Node>(Node{m_node->json.at(static_cast<std::size_t>(position))}));
}

bool ParsedJson::contains(const char* name) const {
    return m_node->json.contains(name);
}

std::size_t ParsedJson::size() const {
    return m_node->json.size();
}

int ParsedJson::Number() const {
    return m_node->json.get<int>();
}

bool operator==(const ParsedJson& left, const ParsedJson& right) {
    return left.m_node->json == right.m_node->json;
}

bool operator==(const ParsedJson& left, const char* right) {
    return left.m_node->json == right;
}

bool operator==(const ParsedJson& left, int right) {
    return left.m_node->json == right;
}

std::ostream& operator<<(std::ostream& out, const ParsedJson& json) {
    return out << json.m_node->json;
}
