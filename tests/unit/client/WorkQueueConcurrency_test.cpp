// What is asked for some at a time: the queue itself, and the commands that go by it.
#include "WorkQueue.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include "CommandsTest.h"

using MdpCommand::WorkQueue;
using testing::HasSubstr;

namespace {

constexpr std::size_t s_atOnce = 4;

const Mdp::Error s_lost{Mdp::ErrorKind::Transport, 0, 0, "lost"};

// A place where works wait for each other.
class Meeting {
public:
    // Comes, and waits until so many are there. False where they do not come.
    bool WaitFor(std::size_t number) {
        std::unique_lock lock(m_mutex);
        ++m_there;
        m_changed.notify_all();
        return m_changed.wait_for(lock, std::chrono::seconds(60), [&] { return m_there >= number; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::size_t m_there = 0;
};

} // namespace

TEST(WorkQueue, DoesNothingWithoutWork) {
    EXPECT_FALSE(WorkQueue().Run());
}

TEST(WorkQueue, DoesAllWorkOnceAndWhatTheWorkAdds) {
    WorkQueue queue;
    std::array<std::atomic<int>, 300> done{};
    for (std::size_t i = 0; i < 100; ++i) {
        queue.Add(i, [&, i]() -> Mdp::Result<void> {
            ++done[i];
            queue.Add(i, [&, i]() -> Mdp::Result<void> {
                ++done[100 + i];
                queue.Add(i, [&, i]() -> Mdp::Result<void> {
                    ++done[200 + i];
                    return {};
                });
                return {};
            });
            return {};
        });
    }

    EXPECT_FALSE(queue.Run());

    EXPECT_TRUE(std::all_of(done.begin(), done.end(), [](const auto& count) { return count == 1; }));
}

TEST(WorkQueue, DoesFourAtOnceAndNoMore) {
    WorkQueue queue;
    Meeting first;
    std::atomic<std::size_t> running{0};
    std::atomic<std::size_t> most{0};
    std::atomic<bool> met{true};
    for (std::size_t i = 0; i < 50; ++i) {
        queue.Add(i, [&, i]() -> Mdp::Result<void> {
            const std::size_t now = ++running;
            for (std::size_t seen = most; seen < now && !most.compare_exchange_weak(seen, now);) {
            }
            if (i < s_atOnce) {
                met = met && first.WaitFor(s_atOnce);
                std::this_thread::sleep_for(std::chrono::milliseconds(50)); // time for a fifth to begin
            }
            --running;
            return {};
        });
    }

    EXPECT_FALSE(queue.Run());

    EXPECT_TRUE(met);
    EXPECT_EQ(most, s_atOnce);
}

TEST(WorkQueue, WaitsForWorkThatMayAddMore) {
    WorkQueue queue;
    Meeting both;
    std::atomic<int> added{0};
    // The others have nothing to do until the first has added it.
    queue.Add(0, [&]() -> Mdp::Result<void> {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        for (std::size_t i = 0; i < 2; ++i) {
            queue.Add(i, [&]() -> Mdp::Result<void> {
                added += both.WaitFor(2) ? 1 : 0;
                return {};
            });
        }
        return {};
    });
    queue.Add(1, []() -> Mdp::Result<void> { return {}; });

    EXPECT_FALSE(queue.Run());

    EXPECT_EQ(added, 2);
}

TEST(WorkQueue, BeginsNothingAfterAFailure) {
    WorkQueue queue;
    std::atomic<std::size_t> begun{0};
    for (std::size_t i = 0; i < 1000; ++i) {
        queue.Add(i, [&, i]() -> Mdp::Result<void> {
            ++begun;
            if (i == 3) {
                queue.Add(1000, [&]() -> Mdp::Result<void> {
                    begun += 1000;
                    return {};
                });
                return s_lost;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return {};
        });
    }

    const auto failure = queue.Run();

    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->number, 3U);
    EXPECT_EQ(failure->error.detail, "lost");
    EXPECT_LT(begun, 1000U);
}

TEST(WorkQueue, GivesTheFailureOfTheLowestNumber) {
    WorkQueue queue;
    Meeting all;
    for (std::size_t i = 0; i < s_atOnce; ++i) {
        queue.Add(10 - i, [&]() -> Mdp::Result<void> {
            all.WaitFor(s_atOnce);
            return s_lost;
        });
    }

    const auto failure = queue.Run();

    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->number, 7U);
}

TEST(WorkQueue, ThrowsWhatWorkThrows) {
    WorkQueue queue;
    std::atomic<std::size_t> begun{0};
    for (std::size_t i = 0; i < 1000; ++i) {
        queue.Add(i, [&, i]() -> Mdp::Result<void> {
            ++begun;
            if (i == 5) {
                throw std::runtime_error("no way on");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return {};
        });
    }

    EXPECT_THROW(
        {
            try {
                (void)queue.Run();
            } catch (const std::runtime_error& error) {
                EXPECT_STREQ(error.what(), "no way on");
                throw;
            }
        },
        std::runtime_error);
    EXPECT_LT(begun, 1000U);
}

// A machine with some modules, lists of different lengths, and service objects.
class WalkConcurrency : public CommandsTest {
protected:
    void SetUp() override {
        for (std::uint8_t slot = 0; slot < 6; ++slot) {
            const auto header = static_cast<std::uint16_t>(0x8000 + slot * 16);
            m_machine.AddModule(slot, 2, "Nic", "em" + std::to_string(slot));
            FakeObject list{8, "List " + std::to_string(slot), {CountEntry(static_cast<std::uint8_t>(40 * slot))}};
            for (int i = 1; i <= 40 * slot; ++i) {
                list.entries.push_back({9, "r-", "Text", Text("value " + std::to_string(i))});
            }
            m_machine.objects[header + 1] = list;
            m_machine.objects[header + 2] = {
                9, "Odd", {CountEntry(2), {5, "r-", "Missing", {1}, 0xECA60300}, {7, "rw", "There", Number(slot, 4)}}};
            m_machine.objects[0x3000 + header] = {
                9,
                "Do it",
                {CountEntry(3), {9, "-w", "Request", {}}, {55, "r-", "Status", {0}}, {9, "r-", "Response", {0, 0}}}};
        }
    }

    // How many frames asked for the description of that entry.
    long Descriptions(std::uint16_t index, std::uint8_t subIndex) const {
        const TestBytes asked = TestBytes{3, 0} + Number(index, 2) + TestBytes{subIndex};
        const std::vector<TestBytes> frames = m_service.Frames();
        return std::count_if(frames.begin(), frames.end(), [&](const TestBytes& frame) {
            return TestBytes(frame.begin() + 24, frame.begin() + 29) == asked;
        });
    }
};

TEST_F(WalkConcurrency, TreeIsInOrderWhateverComesFirst) {
    const Ran ran = Run({"tree"});

    ASSERT_EQ(ran.status, 0) << ran.err;
    std::size_t at = 0;
    const auto next = [&](const std::string& text) {
        const std::size_t found = ran.out.find(text, at);
        EXPECT_NE(found, std::string::npos) << text << " behind " << ran.out.substr(at, 200);
        at = std::min(found, ran.out.size());
    };
    for (int slot = 0; slot < 6; ++slot) {
        next("\nNic em" + std::to_string(slot) + "\n");
        next("List " + std::to_string(slot));
        for (int i = 1; i <= 40 * slot; ++i) {
            next("    :" + std::to_string(i) + " ");
            next("\"value " + std::to_string(i) + "\"\n");
        }
        for (const char* text : {":1 ", "Missing", "<", ":2 ", "There", "Do it", ":1 ", "Request", "-w\n", ":2 ",
                                 "Status", ":3 ", "Response"}) {
            next(text);
        }
    }
}

TEST_F(WalkConcurrency, TreeIsTheSameEachTime) {
    const Ran first = Run({"tree", "--json"});

    EXPECT_EQ(first.status, 0) << first.err;
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Run({"tree", "--json"}).out, first.out);
    }
}

TEST_F(WalkConcurrency, TreeDescribesOnceWhatIsAlikeInAllObjects) {
    Run({"tree"});

    long ofCounts = 0;
    long ofRequests = 0;
    for (std::uint8_t slot = 0; slot < 6; ++slot) {
        const auto header = static_cast<std::uint16_t>(0x8000 + slot * 16);
        for (const int k : {0, 1, 2, 0x3000}) {
            ofCounts += Descriptions(static_cast<std::uint16_t>(header + k), 0);
        }
        ofRequests += Descriptions(static_cast<std::uint16_t>(0x3000 + header), 1);
        EXPECT_EQ(Descriptions(header, 2), 1) << "a text, whose length is its own";
    }
    // Those that are asked for before the first answer is there are asked for all the same.
    EXPECT_GE(ofCounts, 1);
    EXPECT_LE(ofCounts, static_cast<long>(s_atOnce));
    EXPECT_GE(ofRequests, 1);
    EXPECT_LE(ofRequests, static_cast<long>(s_atOnce));
}

TEST_F(WalkConcurrency, TreeDescribesWhatIsNotOfTheProfile) {
    FakeObject& service = m_machine.objects[0xB050];
    service.entries.push_back({5, "r-", "Progress", {7}});
    service.entries[1].name = "Another request";
    FakeObject& header = m_machine.objects[0x8050];
    header.entries.push_back({5, "r-", "More", {7}});
    header.entries[4].name = "Another identification";

    const Ran ran = Run({"tree"});

    EXPECT_THAT(ran.out, HasSubstr("    :1      Another request"));
    EXPECT_THAT(ran.out, HasSubstr("    :4      Another identification"));
}

TEST_F(WalkConcurrency, TreeLeavesOutWhatVanishesMeanwhile) {
    // After the list of objects, before they are read.
    m_machine.beforeRead = [this](std::uint16_t index, std::uint8_t) {
        if (index == 0x8021) {
            m_machine.objects.erase(0x8021);
            m_machine.objects.erase(0x8052);
        }
    };

    const Ran ran = Run({"tree"});

    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(ran.out, Not(HasSubstr("List 2")));
    EXPECT_THAT(ran.out, HasSubstr("List 1"));
    EXPECT_THAT(ran.out, HasSubstr("List 5"));
}

TEST_F(WalkConcurrency, TreeEndsWithTheServiceAndShowsNothingOfIt) {
    std::atomic<int> frames{0};
    FakeService service([&](const TestBytes& frame) { return ++frames > 100 ? NoReply() : m_machine.Answer(frame); });

    const Ran ran = RunWords({"--socket", service.Path(), "tree"});

    EXPECT_EQ(ran.status, 3);
    EXPECT_EQ(ran.out, "");
    EXPECT_THAT(ran.err,
                testing::MatchesRegex("mdp: 0x[0-9A-F]+: the service closed the connection without an answer.*\n"));
    // Those that were under way; a refused description is followed by a read that finds out why, and asked for again.
    EXPECT_LE(frames, 100 + 4 * static_cast<int>(s_atOnce));
}

TEST_F(WalkConcurrency, TreeEndsWithTheFirstAnswerThatDoesNotCome) {
    std::atomic<int> frames{0};
    FakeService service([&](const TestBytes& frame) {
        return ++frames > 100 ? FakeReply{{}, true} : m_machine.Answer(frame);
    });

    const Ran ran = RunWords({"--socket", service.Path(), "--timeout", "0.5", "tree"});

    EXPECT_EQ(ran.status, 3);
    EXPECT_EQ(ran.out, "");
    EXPECT_THAT(ran.err, HasSubstr(": the service did not answer in time"));
    EXPECT_LE(frames, 100 + static_cast<int>(s_atOnce));
}

TEST_F(WalkConcurrency, ReadOfAnObjectEndsWithTheService) {
    std::atomic<int> frames{0};
    FakeService service([&](const TestBytes& frame) { return ++frames > 20 ? NoReply() : m_machine.Answer(frame); });

    const Ran ran = RunWords({"--socket", service.Path(), "read", "8051"});

    EXPECT_EQ(ran.status, 3);
    EXPECT_EQ(ran.out, "");
    EXPECT_THAT(ran.err, HasSubstr("mdp: 0x8051: the service closed the connection without an answer"));
    EXPECT_LE(frames, 20 + 4 * static_cast<int>(s_atOnce));
}

TEST_F(WalkConcurrency, ReadAndDescribeShowALongObjectInOrder) {
    for (const std::vector<std::string>& words : {std::vector<std::string>{"read", "8051"}, {"describe", "8051"}}) {
        const Ran ran = Run(words);
        ASSERT_EQ(ran.status, 0) << ran.err;
        std::size_t at = 0;
        for (int i = 1; i <= 200; ++i) {
            const std::size_t found = ran.out.find("\n" +
                                                       std::string(i < 10    ? "  "
                                                                   : i < 100 ? " "
                                                                             : "") +
                                                       std::to_string(i) + "  Text",
                                                   at);
            ASSERT_NE(found, std::string::npos) << words[0] << " " << i;
            at = found;
        }
    }
}
