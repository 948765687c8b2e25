#include "Events.h"

#include <condition_variable>
#include <thread>

#include "Machine.h"
#include "Metrics.h"

namespace Gateway {
namespace {

using testing::HasSubstr;
using testing::Not;

// A client that keeps what it is told.
class Reader : public HttpSink {
public:
    bool Write(std::string_view text) override {
        const std::lock_guard lock(m_mutex);
        m_text += text;
        m_changed.notify_all();
        return !m_isGone;
    }

    bool ClientIsThere() const override {
        const std::lock_guard lock(m_mutex);
        return !m_isGone;
    }

    void Go() {
        const std::lock_guard lock(m_mutex);
        m_isGone = true;
    }

    // What was told up to the text and since the last wait; fails if it does not come.
    std::string WaitFor(const std::string& text) {
        std::unique_lock lock(m_mutex);
        std::size_t found = std::string::npos;
        const bool isThere = m_changed.wait_for(lock, std::chrono::seconds(60), [&] {
            found = m_text.find(text, m_seen);
            return found != std::string::npos;
        });
        EXPECT_TRUE(isThere) << text << " in " << m_text.substr(m_seen);
        const std::size_t end = isThere ? found + text.size() : m_text.size();
        const std::string told = m_text.substr(m_seen, end - m_seen);
        m_seen = end;
        return told;
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::string m_text;
    std::size_t m_seen = 0;
    bool m_isGone = false;
};

class EventsTest : public testing::Test {
protected:
    static Events::Options Quick() {
        Events::Options options;
        options.period = std::chrono::milliseconds(10);
        options.heartbeat = std::chrono::milliseconds(50);
        return options;
    }

    // A stream in a thread of its own, until the end of the test.
    Reader& Open(Events& events, std::vector<Events::Subject> subjects) {
        auto write = events.Open(std::move(subjects), [this] { return m_goesOn.load(); });
        EXPECT_TRUE(write);
        auto& reader = *m_readers.emplace_back(std::make_unique<Reader>());
        m_threads.emplace_back([write = std::move(write), &reader]() mutable {
            write(reader);
            write = nullptr;
        });
        return reader;
    }

    void End(Events& events) {
        events.Stop();
        for (std::thread& thread : m_threads) {
            thread.join();
        }
        m_threads.clear();
        EXPECT_EQ(events.Streams(), 0U);
        EXPECT_EQ(events.Subjects(), 0U);
    }

    Machine m_machine;
    Dictionary m_dictionary{m_machine.Options()};
    std::atomic<bool> m_goesOn = true;
    std::vector<std::unique_ptr<Reader>> m_readers;
    std::vector<std::thread> m_threads;
};

TEST_F(EventsTest, TellEverythingFirstAndThenWhatHasChanged) {
    Events events(m_dictionary, Quick());
    Reader& reader = Open(events, {{0x8011, {}, Language::English}});
    EXPECT_THAT(reader.WaitFor("\n\n"), HasSubstr("event: state\ndata: {\"service\":\"up\"}\n\n"));
    EXPECT_EQ(reader.WaitFor("\n\n"),
              "event: object\ndata: {\"index\":\"0x8011\",\"entries\":[{\"sub\":0,\"value\":3},"
              "{\"sub\":1,\"value\":2596},{\"sub\":2,\"value\":25},{\"sub\":3,\"value\":47}]}\n\n");
    m_machine.Do([](FakeDictionary& dictionary) { dictionary.objects[0x8011].entries[2].value = ::Number(26, 2); });
    reader.WaitFor("event: object\n");
    EXPECT_EQ(reader.WaitFor("\n\n"), "data: {\"index\":\"0x8011\",\"entries\":[{\"sub\":2,\"value\":26}]}\n\n");
    End(events);
}

TEST_F(EventsTest, AViewIsToldWholeAtEachChange) {
    Events events(m_dictionary, Quick());
    Reader& reader = Open(events, {{0, "sensors", Language::English}});
    EXPECT_THAT(reader.WaitFor("\"rpm\":900}]}}\n\n"),
                HasSubstr("event: view\ndata: {\"view\":\"sensors\",\"data\":{"));
    m_machine.Do([](FakeDictionary& dictionary) { dictionary.objects[0x8031].entries[1].value = ::Number(901, 2); });
    EXPECT_THAT(reader.WaitFor("\"rpm\":901}]}}\n\n"), HasSubstr("\"temperatures\":["));
    End(events);
}

TEST_F(EventsTest, WhatTurnsOutToBeSlowStaysLive) {
    Events::Options options = Quick();
    options.slow = std::chrono::milliseconds(0);
    Events events(m_dictionary, options);
    Reader& reader = Open(events, {{0x8021, {}, Language::English}});
    reader.WaitFor("\"value\":1200}]}");
    m_machine.Do([](FakeDictionary& dictionary) { dictionary.objects[0x8021].entries[1].value = ::Number(1300, 2); });
    reader.WaitFor("{\"sub\":1,\"value\":1300}]}");
    End(events);
}

TEST_F(EventsTest, SilenceIsTold) {
    Events events(m_dictionary, Quick());
    Reader& reader = Open(events, {});
    reader.WaitFor("event: state");
    reader.WaitFor(": nothing new\n\n");
    End(events);
}

TEST_F(EventsTest, AServiceThatGoesAndComesIsToldAndThenEverythingAnew) {
    Events events(m_dictionary, Quick());
    Reader& reader = Open(events, {{0x8021, {}, Language::English}});
    reader.WaitFor("\"value\":1200}]}");
    m_machine.GoDown(true);
    reader.WaitFor("event: state\ndata: {\"service\":\"down\",\"text\":\"");
    m_machine.Do([](FakeDictionary& dictionary) { dictionary.objects[0x8021].entries[1].value = ::Number(1300, 2); });
    m_machine.GoDown(false);
    EXPECT_THAT(reader.WaitFor("{\"sub\":1,\"value\":1300}]}"), HasSubstr("\"service\":\"up\""));
    End(events);
}

TEST_F(EventsTest, ManyReadersOfOneSubjectCostNoMoreThanOne) {
    Events::Options options = Quick();
    options.period = std::chrono::hours(1);
    Events events(m_dictionary, options);
    Reader& first = Open(events, {{0x8011, {}, Language::English}});
    first.WaitFor("\"value\":47}]}");
    const std::size_t reads = m_machine.CompleteReads(0x8011) + m_machine.SingleReads(0x8011);
    for (int i = 0; i < 50; ++i) {
        Open(events, {{0x8011, {}, Language::English}}).WaitFor("\"value\":47}]}");
    }
    EXPECT_EQ(m_machine.CompleteReads(0x8011) + m_machine.SingleReads(0x8011), reads);
    EXPECT_EQ(events.Subjects(), 1U);
    EXPECT_EQ(events.Streams(), 51U);
    End(events);
}

TEST_F(EventsTest, NobodyReadsNothingIsAsked) {
    Events events(m_dictionary, Quick());
    {
        Reader& reader = Open(events, {{0x8011, {}, Language::English}});
        reader.WaitFor("\"value\":47}]}");
        reader.Go();
        m_threads.back().join();
        m_threads.pop_back();
    }
    EXPECT_EQ(events.Streams(), 0U);
    EXPECT_EQ(events.Subjects(), 0U);
    End(events);
}

TEST_F(EventsTest, StreamsAndSubjectsAreBounded) {
    Events::Options options = Quick();
    options.streams = 2;
    options.subjects = 2;
    Events events(m_dictionary, options);
    EXPECT_FALSE(
        events.Open({{0x8001, {}, Language::English}, {0x8011, {}, Language::English}, {0x8021, {}, Language::English}},
                    [] { return true; }));
    Open(events, {{0x8011, {}, Language::English}});
    Open(events, {{0x8021, {}, Language::English}});
    EXPECT_FALSE(events.Open({}, [] { return true; }));
    End(events);
}

TEST_F(EventsTest, AStreamEndsWithItsSession) {
    Events events(m_dictionary, Quick());
    Open(events, {{0x8011, {}, Language::English}}).WaitFor("\"value\":47}]}");
    m_goesOn = false;
    m_threads.back().join();
    m_threads.pop_back();
    End(events);
}

TEST_F(EventsTest, AnObjectThatDoesNotExistIsToldOnce) {
    Events events(m_dictionary, Quick());
    Reader& reader = Open(events, {{0x9999, {}, Language::English}});
    EXPECT_THAT(reader.WaitFor("OBJ_E_INVALIDIDX"), HasSubstr("\"entries\":[]"));
    EXPECT_THAT(reader.WaitFor(": nothing new"), Not(HasSubstr("event: object")));
    End(events);
}

TEST_F(EventsTest, PagesScrapesAndChangesDoNotDisturbEachOther) {
    Events events(m_dictionary, Quick());
    Metrics metrics(m_dictionary, {}, std::chrono::milliseconds(5));
    for (int i = 0; i < 8; ++i) {
        Open(events, {{0x8011, {}, Language::English}, {0, i % 2 == 0 ? "machine" : "drives", Language::German}});
    }
    std::vector<std::thread> others;
    for (int i = 0; i < 3; ++i) {
        others.emplace_back([&] {
            for (int round = 0; round < 20; ++round) {
                EXPECT_THAT(metrics.Scrape(), HasSubstr("sylvarin_drive_life_left_ratio{drive=\"2\""));
            }
        });
    }
    others.emplace_back([&] {
        for (int round = 0; round < 20; ++round) {
            EXPECT_TRUE(m_dictionary.Write(0x8001, 4, Mdp::Bytes{1}));
            m_dictionary.Forget();
        }
    });
    for (std::thread& other : others) {
        other.join();
    }
    for (const auto& reader : m_readers) {
        reader->WaitFor("event: view");
    }
    End(events);
}

} // namespace
} // namespace Gateway
