#pragma once

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>

// JSON that a command has written, as a test looks into it. The library's header, which is heavy, stays in one file.
class ParsedJson {
public:
    struct Node;

    // What is no JSON fails the test with an exception.
    explicit ParsedJson(const std::string& text);

    ParsedJson operator[](const char* name) const;
    ParsedJson operator[](int position) const;
    bool contains(const char* name) const;
    std::size_t size() const;
    int Number() const;

    friend bool operator==(const ParsedJson& left, const ParsedJson& right);
    friend bool operator==(const ParsedJson& left, const char* right);
    friend bool operator==(const ParsedJson& left, int right);
    friend std::ostream& operator<<(std::ostream& out, const ParsedJson& json);

private:
    explicit ParsedJson(std::shared_ptr<const Node> node);

    std::shared_ptr<const Node> m_node;
};
