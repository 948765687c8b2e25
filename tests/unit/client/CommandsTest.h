#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeDictionary.h"

struct Ran {
    int status;
    std::string out;
    std::string err;
};

// Runs commands in this process against a machine that a test makes up.
class CommandsTest : public testing::Test {
protected:
    Ran Run(std::vector<std::string> arguments);
    // The same without the path of the socket in front.
    static Ran RunWords(std::vector<std::string> arguments);
    // Run on a terminal.
    Ran RunOnTerminal(std::vector<std::string> arguments);

    FakeDictionary m_machine;
    FakeService m_service{[this](const TestBytes& frame) { return m_machine.Answer(frame); }};
};
