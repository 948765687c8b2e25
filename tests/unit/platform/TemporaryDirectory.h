#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

// A new directory that goes with all that is in it.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string pattern = "/tmp/sylvarin-platform-XXXXXX";
        EXPECT_NE(mkdtemp(pattern.data()), nullptr);
        m_path = pattern;
    }

    ~TemporaryDirectory() { std::filesystem::remove_all(m_path); }

    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& Path() const { return m_path; }

    std::string operator/(const std::string& name) const { return m_path + '/' + name; }

    std::string Write(const std::string& name, const std::string& text, std::filesystem::perms mode) const {
        std::ofstream(*this / name) << text;
        std::filesystem::permissions(*this / name, mode);
        return *this / name;
    }

    std::string Write(const std::string& name, const std::string& text) const {
        return Write(name, text, static_cast<std::filesystem::perms>(0644));
    }

    std::string WriteProgram(const std::string& name, const std::string& script) const {
        return Write(name, "#!/bin/sh\n" + script, static_cast<std::filesystem::perms>(0755));
    }

    std::string Read(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream(*this / name).rdbuf();
        return text.str();
    }

    bool Exists(const std::string& name) const { return std::filesystem::exists(*this / name); }

private:
    std::string m_path;
};
