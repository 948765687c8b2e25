// mdp tree, which asks for many things at once and for some but once, against the real service.

#include <algorithm>
#include <atomic>
#include <csignal>
#include <iterator>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

#include "ServiceTest.h"
#include "ShellCommands.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class TreeTest : public LogTest {
protected:
    void SetUp() override { Start(); }

    void Start() {
        m_service = std::make_unique<ServiceUnderTest>(ServiceStart{{"-nof", "-v"}, "sylvarin", {}});
        ASSERT_TRUE(m_service->WaitUntilAnswering()) << m_service->Output();
    }

    std::unique_ptr<ServiceUnderTest> m_service;
};

std::vector<std::string> WordsOf(const std::string& line) {
    std::istringstream text(line);
    return {std::istream_iterator<std::string>(text), {}};
}

std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += word + " ";
    }
    return text;
}

// The lines of each object, with one blank behind each word.
std::map<std::string, std::vector<std::string>> LinesOfObjects(const std::string& tree) {
    std::map<std::string, std::vector<std::string>> objects;
    std::istringstream lines(tree);
    std::string index;
    for (std::string line; std::getline(lines, line);) {
        index = line.starts_with("  0x") ? line.substr(2, 6) : index;
        if (line.starts_with("  ")) {
            objects[index].push_back(Joined(WordsOf(line)));
        }
    }
    return objects;
}

// Without what changes from one moment to the next.
std::string WithoutFigures(const std::string& tree) {
    std::istringstream lines(tree);
    std::string rest;
    for (std::string line; std::getline(lines, line);) {
        const bool isText = line.find("VISIBLE_STRING") != std::string::npos && line.find(" rw ") == std::string::npos;
        rest += (isText ? line : line.substr(0, line.find_last_of(' '))) + "\n";
    }
    return rest;
}

} // namespace

TEST_F(TreeTest, ShowsEachEntryAsItIsDescribed) {
    const auto shown = LinesOfObjects(Mdp("tree").output);
    ASSERT_GT(shown.size(), 50U);
    std::size_t entries = 0;
    for (const auto& [index, lines] : shown) {
        SCOPED_TRACE(index);
        std::istringstream description(Mdp("describe " + index).output);
        std::string line;
        std::getline(description, line); // the object
        const bool isVariable = line.ends_with("(variable)");
        std::getline(description, line); // the header of the table
        std::size_t at = isVariable ? 0 : 1;
        for (; std::getline(description, line); ++at, ++entries) {
            // SUB, NAME of any number of words, TYPE, BITS, ACCESS; the tree has no lengths, and one name for a
            // variable and its entry.
            std::vector<std::string> words = WordsOf(line);
            ASSERT_GE(words.size(), 4U) << line;
            words.erase(words.end() - 2);
            words[0] = isVariable ? index : ":" + words[0];
            ASSERT_LT(at, lines.size());
            EXPECT_THAT(lines[at], StartsWith(isVariable ? index : Joined(words)));
            EXPECT_THAT(lines[at], HasSubstr(Joined({words.end() - 2, words.end()})));
        }
        EXPECT_EQ(at, lines.size());
    }
    EXPECT_GT(entries, 500U);
}

TEST_F(TreeTest, IsTheSameWhereNoThreadCanBeHad) {
    const std::string usual = Mdp("tree").output;

    const Outcome alone = Shell("ASAN_OPTIONS=$ASAN_OPTIONS:verify_asan_link_order=0 LD_PRELOAD=" SYLVARIN_FAILING_CALLS
                                " FAILING_CALL=thread:0:11 " SYLVARIN_MDP " tree");

    EXPECT_EQ(alone.status, 0) << alone.output;
    EXPECT_GT(std::count(usual.begin(), usual.end(), '\n'), 500);
    EXPECT_EQ(WithoutFigures(alone.output), WithoutFigures(usual));
}

TEST_F(TreeTest, IsWholeOrOneLineWhenTheServiceEndsInTheMiddle) {
    const std::string whole = Mdp("tree").output;
    const auto lines = std::count(whole.begin(), whole.end(), '\n');
    int failed = 0;
    for (const int signal : {SIGKILL, SIGTERM, SIGKILL}) {
        SCOPED_TRACE(signal);
        std::atomic<bool> ended{false};
        Outcome last{0, {}};
        std::thread client([&] {
            // Trees until one meets the end of the service, so that it comes somewhere in the middle.
            while (last.status == 0 && !ended) {
                last = Mdp("tree");
                if (last.status == 0) {
                    EXPECT_EQ(std::count(last.output.begin(), last.output.end(), '\n'), lines);
                }
            }
        });
        usleep(150000);
        m_service->Signal(signal);
        EXPECT_TRUE(m_service->WaitForEnd().ended);
        usleep(50000);
        ended = true;
        client.join();
        if (last.status != 0) {
            ++failed;
            EXPECT_EQ(last.status, 3) << last.output;
            EXPECT_THAT(last.output, StartsWith("mdp: "));
            EXPECT_EQ(std::count(last.output.begin(), last.output.end(), '\n'), 1) << last.output;
        }
        Start();
    }
    EXPECT_GT(failed, 0) << "no tree met an end";
}
