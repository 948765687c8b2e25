#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LogCapture.h"
#include "StandIns.h"
#include "dictionary/ObjDictionary.h"

// The user management in a dictionary, over a small account database of a throw-away machine, with a stand-in for pw.
class UserFixture : public testing::Test {
protected:
    using Call = std::vector<std::string>;
    using Lines = std::vector<std::string>;

    // Two accounts, root and alice, and the groups root, alice and machines. alice's password is "secret".
    UserFixture();
    // Waits for the workers, which live a little longer than their jobs.
    ~UserFixture() override;

    static void WriteText(const std::string& path, const std::string& text);
    static std::string ReadText(const std::string& path);

    // Makes the module; once in a test.
    void Create();

    // The elements of list k: texts, or codes as hexadecimal digits.
    Lines List(unsigned int k);
    ObjResult Read(unsigned int k, unsigned char subIndex, std::string& value);

    // Runs service k to its end and gives its response. The lines of the log stay to be taken.
    std::string Run(unsigned int k, const std::string& request);

    // The lines since the last call but those that tell how programs are run.
    Lines TakeLines();

    CLogCapture m_log;
    CStandIns m_standIns;
    CDictionaryRef m_dictionary;
    std::size_t m_threads = 0;
};
