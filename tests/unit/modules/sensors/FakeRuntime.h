#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// Stands in for the runtime's client library: what the loader opens under its name, so that a test says what it
// answers.
struct FakeRuntime {
    // As without the library.
    static void Reset();

    static bool isInstalled;
    static std::int32_t port;         // what opening gives
    static std::int32_t addressError; // what asking for the local address gives
    static std::int32_t closeError;
    // What a read of a group and an offset gives; anything else is error 1.
    static std::map<std::pair<std::uint32_t, std::uint32_t>, std::string> values;

    // What was called, as "open", "close", "timeout 500", "read 300 5000:2" with the port and the group and the offset
    // in hexadecimal digits.
    static std::vector<std::string> TakeCalls();
};
