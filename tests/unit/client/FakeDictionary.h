#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "FakeService.h"

// A machine made up by a test: objects with entries and service objects, behind a FakeService.

struct FakeEntry {
    std::uint16_t type = 0;
    std::string access; // "r-", "rw" or "-w"
    std::string name;
    TestBytes value;
    std::uint32_t code = 0; // of a read or write, instead of the value
};

struct FakeObject {
    std::uint8_t objectCode = 0;
    std::string name;
    std::vector<FakeEntry> entries;
};

// What a service object answers: its status byte and the data of its response.
struct FakeResponse {
    std::uint8_t status = 0;
    TestBytes data;
};

struct FakeDictionary {
    std::map<std::uint16_t, FakeObject> objects;
    std::function<FakeResponse(std::uint16_t index, const TestBytes& request)> serve;
    std::map<std::uint16_t, FakeResponse> responses;
    std::function<void(std::uint16_t index, std::uint8_t subIndex)> beforeRead; // may change the objects

    // Index, sub-index and bytes of each write to something that is no service object, and each request to one.
    struct Written {
        std::uint16_t index;
        std::uint8_t subIndex;
        TestBytes data;

        bool operator==(const Written&) const = default;
    };

    std::vector<Written> writes;
    std::function<void(const Written&)> written; // called behind each write that is not refused
    unsigned losses = 0;                         // so many of the next frames get no answer

    // Adds a module with its header and its places in the lists.
    void AddModule(std::uint8_t slot, std::uint8_t type, const std::string& typeName, const std::string& name);

    FakeReply Answer(const TestBytes& frame);

private:
    FakeReply AnswerRead(const TestBytes& frame);
    FakeReply AnswerWrite(const TestBytes& frame);
    FakeReply AnswerList(const TestBytes& frame);
    FakeReply AnswerObject(const TestBytes& frame);
    FakeReply AnswerEntry(const TestBytes& frame);
};

TestBytes Text(const std::string& text);
// A number of so many bytes, lowest first.
TestBytes Number(std::uint64_t value, std::size_t size);
TestBytes operator+(TestBytes left, const TestBytes& right);
FakeEntry CountEntry(std::uint8_t count);
