#pragma once

#include <mutex>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Dictionary.h"
#include "FakeDictionary.h"
#include "FakeService.h"
#include "Json.h"

// A machine with one of each module, made up for the gateway.
class Machine {
public:
    static constexpr std::uint32_t NOT_SUPPORTED = 0xECA61000;
    static constexpr std::uint32_t NO_DATA = 0xECA60105;

    Machine();

    const std::string& Socket() const { return m_service.Path(); }

    Mdp::ClientOptions Options() const;

    FakeEntry& Entry(std::uint16_t index, std::size_t sub) { return m_dictionary.objects[index].entries[sub]; }

    // Changes something while the service is being asked.
    template <typename Change>
    void Do(const Change& change) {
        const std::lock_guard lock(m_mutex);
        change(m_dictionary);
    }

    // From now on every connection is closed without an answer.
    void GoDown(bool down);

    std::size_t Transactions() const { return m_service.Frames().size(); }

    // How often the object was read whole, and how often one of its entries alone.
    std::size_t CompleteReads(std::uint16_t index) const { return Reads(index, 1); }

    std::size_t SingleReads(std::uint16_t index) const { return Reads(index, 0); }

    // Whether anything was asked of the module in the slot.
    bool IsAsleep(std::uint8_t slot) const;

    FakeDictionary m_dictionary;

private:
    std::size_t Reads(std::uint16_t index, std::uint8_t flags) const;
    FakeReply Answer(const TestBytes& frame);

    std::mutex m_mutex;
    bool m_isDown = false;
    FakeService m_service;
};

// The member of an object, or the element of an array, at the end of the path: "adapters/0/name". Fails where it is not
// there.
Gateway::Json At(const Gateway::Json& json, const std::string& path);

std::string TextAt(const Gateway::Json& json, const std::string& path);
