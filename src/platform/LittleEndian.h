#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>

// Records on the wire are packed and little-endian, which is also the byte order of the machines that the service runs
// on; numbers in them lie at any alignment.

template <typename T>

requires std::is_integral_v<T> T LoadLe(const void* from) {
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <typename T>
requires std::is_integral_v<T>

void StoreLe(void* to, T value) {
    std::memcpy(to, &value, sizeof value);
}

// Reads a record from its start. A read past the end gives zero or an empty text and marks the reader as failed, so
// that a caller may take all fields and ask once.
class CRecordReader {
public:
    explicit CRecordReader(std::span<const unsigned char> bytes) : m_bytes(bytes) {}

    template <typename T>
    T Take() {
        const std::span<const unsigned char> field = TakeBytes(sizeof(T));
        return field.size() == sizeof(T) ? LoadLe<T>(field.data()) : T{0};
    }

    std::span<const unsigned char> TakeBytes(std::size_t count) {
        if (m_failed || count > m_bytes.size()) {
            m_failed = true;
            return {};
        }
        const std::span<const unsigned char> taken = m_bytes.first(count);
        m_bytes = m_bytes.subspan(count);
        return taken;
    }

    std::string TakeText(std::size_t count) {
        const std::span<const unsigned char> taken = TakeBytes(count);
        return {reinterpret_cast<const char*>(taken.data()), taken.size()};
    }

    // The same up to its first NUL.
    std::string TakeTextToNul(std::size_t count) {
        std::string text = TakeText(count);
        text.resize(std::min(text.find('\0'), text.size()));
        return text;
    }

    std::size_t Left() const { return m_bytes.size(); }

    bool Failed() const { return m_failed; }

private:
    std::span<const unsigned char> m_bytes;
    bool m_failed = false;
};

// Builds a record.
class CRecordWriter {
public:
    template <typename T>
    void Put(T value) {
        char bytes[sizeof value];
        StoreLe(bytes, value);
        m_bytes.append(bytes, sizeof bytes);
    }

    void PutBytes(const void* from, std::size_t count) { m_bytes.append(static_cast<const char*>(from), count); }

    // Overwrites what was put at an earlier offset, such as a total that is known at the end.
    template <typename T>
    void PutAt(std::size_t offset, T value) {
        StoreLe(m_bytes.data() + offset, value);
    }

    std::string& Bytes() { return m_bytes; }

private:
    std::string m_bytes;
};
