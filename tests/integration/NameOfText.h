#pragma once

#include <gtest/gtest.h>

#include <string>

// The name of a test whose parameter is a text: "-nof" is Dash_nof, "" Nothing.
inline std::string NameOfText(const testing::TestParamInfo<const char*>& test) {
    std::string name;
    for (const char character : std::string(test.param)) {
        name += character == '-'   ? "Dash_"
                : character == '/' ? "Slash_"
                : character == ' ' ? "_Blank"
                                   : std::string(1, character);
    }
    return name.empty() ? "Nothing" : name;
}
