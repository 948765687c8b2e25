#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "dictionary/ObjDictionary.h"
#include "log/Logger.h"

// A dictionary of its own for each test, and the log on standard output, where CaptureStdout sees it.
class ModuleTest : public ::testing::Test {
protected:
    struct TAnswer {
        ObjResult result;
        std::string bytes;

        bool operator==(const TAnswer&) const = default;
    };

    void SetUp() override {
        // Of the whole process: threads that no test waits for may still log.
        static auto* const s_logger = new CLogger;
        g_pLogger = s_logger;
        m_dictionary = std::make_unique<CDictionaryRef>();
        ASSERT_TRUE(*m_dictionary);
    }

    void TearDown() override {
        m_dictionary.reset();
        EXPECT_TRUE(CObjDictionary::WaitForFinalRelease(10000));
        g_pLogger->ClearRoutes();
    }

    CObjDictionary& Dictionary() { return *m_dictionary->Get(); }

    TAnswer Read(unsigned short index, int subIndex, bool complete = false) {
        std::string bytes(1024, '\0');
        unsigned int length = 0;
        const ObjResult result = Dictionary().ReadObject(index, static_cast<unsigned char>(subIndex), bytes.data(),
                                                         static_cast<unsigned int>(bytes.size()), complete, &length);
        return {result, bytes.substr(0, length)};
    }

    ObjResult Write(unsigned short index, int subIndex, std::string bytes) {
        return Dictionary().WriteObject(index, static_cast<unsigned char>(subIndex), bytes.data(),
                                        static_cast<unsigned int>(bytes.size()), 0);
    }

    std::unique_ptr<CDictionaryRef> m_dictionary;
};

// Bytes written out as hexadecimal digits, with blanks between them at will.
inline std::string Bytes(const std::string& digits) {
    std::string bytes;
    int high = -1;
    for (const char c : digits) {
        if (c == ' ') {
            continue;
        }
        const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
        if (high < 0) {
            high = digit;
        } else {
            bytes += static_cast<char>(high << 4 | digit);
            high = -1;
        }
    }
    return bytes;
}
