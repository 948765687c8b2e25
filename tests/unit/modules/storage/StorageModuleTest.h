#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <vector>

#include "../../common/LogOf.h"
#include "../ModuleTest.h"
#include "FakeTimers.h"

// A storage module, alone in a dictionary, with timers that fire when the test says.
class StorageModuleTest : public ModuleTest {
protected:
    static constexpr unsigned short HEADER = 0x8000;

    static constexpr ObjResult INVALID_INDEX = 0xECA60100;
    static constexpr ObjResult NO_DATA = 0xECA60105;
    static constexpr ObjResult NOT_SUPPORTED = 0xECA61000;
    static constexpr ObjResult UNEXPECTED = 0xECA60FFF;

    void SetUp() override {
        ASSERT_TRUE(std::filesystem::exists("/run/machine")) << "for the throw-away machine only";
        FakeTimers::Reset();
        ModuleTest::SetUp();
    }

    void TearDown() override {
        SleepAll();
        EXPECT_TRUE(FakeTimers::timers.empty());
        ModuleTest::TearDown();
    }

    // Puts modules to sleep that were not asked for, as after half a minute.
    void SleepAll() {
        Dictionary().SetInactivityLimit(0);
        Dictionary().CheckCleanup();
        Dictionary().SetInactivityLimit(31000);
    }

    TAnswer Element(unsigned int k, int row) { return Read(static_cast<unsigned short>(HEADER + k), row); }

    int Count(unsigned int k) {
        const TAnswer answer = Element(k, 0);
        EXPECT_EQ(answer.result, 0U);
        return answer.bytes.size() == 2 ? static_cast<unsigned char>(answer.bytes[0]) : -1;
    }

    std::vector<TAnswer> Elements(unsigned int k) {
        std::vector<TAnswer> answers;
        for (int row = 1; row <= Count(k); ++row) {
            answers.push_back(Element(k, row));
        }
        return answers;
    }

    static TAnswer None(ObjResult code) { return {code, ""}; }

    static TAnswer Value(const std::string& digits) { return {0, Bytes(digits)}; }

    static TAnswer Text(const std::string& text) { return {0, text}; }

    static TAnswer Wide(std::uint64_t number) {
        return {0, std::string(reinterpret_cast<const char*>(&number), sizeof number)};
    }
};
