#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "Dictionary.h"
#include "Http.h"

namespace Gateway {

/// Values that change, for any number of readers. What several want is read once: there are as many reads as different
/// subjects, and none while nobody reads. For use by several threads.
class Events {
public:
    using Milliseconds = std::chrono::milliseconds;

    struct Options {
        Milliseconds period{1000};     ///< between two looks at the same subject
        Milliseconds slow{250};        ///< what takes longer has a thread of its own, and holds nothing else up
        Milliseconds heartbeat{15000}; ///< what is silent for so long says so
        std::size_t streams = 256;     ///< at once
        std::size_t subjects = 512;    ///< different ones at once
    };

    /// An object, or a view in a language.
    struct Subject {
        std::uint16_t index = 0; ///< 0 for a view
        std::string view;
        Language language = Language::English;

        bool operator==(const Subject& other) const { return Key() == other.Key(); }

        bool operator<(const Subject& other) const { return Key() < other.Key(); }

    private:
        std::tuple<const std::uint16_t&, const std::string&, const Language&> Key() const {
            return std::tie(index, view, language);
        }
    };

    Events(Dictionary& dictionary, Options options);
    /// All streams must have ended.
    ~Events();
    Events(const Events&) = delete;
    Events& operator=(const Events&) = delete;

    /// A place among the streams for these subjects; none where there is no more room. Its function writes events until
    /// the client has gone, until Stop, or until `goesOn` says no, which is asked from time to time.
    std::function<void(HttpSink&)> Open(std::vector<Subject> subjects, std::function<bool()> goesOn);

    /// Ends all streams.
    void Stop();

    /// Streams that are open, and different subjects that they look at.
    std::size_t Streams() const;
    std::size_t Subjects() const;

private:
    using Clock = std::chrono::steady_clock;

    // A subject with what is known of it. Everything in it belongs to the mutex of Events.
    struct Topic {
        std::size_t readers = 0;
        bool isSlow = false;
        std::uint64_t version = 0;                  // 0: nothing known yet
        std::uint64_t changedFrom = 0;              // the version that `changes` leads on from
        std::shared_ptr<const std::string> whole;   // the event with everything
        std::shared_ptr<const std::string> changes; // the event from the version before on
        Dictionary::Values values;                  // of an object
    };

    class Stream;

    void Poll(bool slow);
    void Probe();
    void Update(const Subject& subject, const std::shared_ptr<Topic>& topic);
    static std::string ObjectEvent(const ObjectValues& now, const ObjectValues* before);
    void Write(Stream& stream, HttpSink& sink);

    Dictionary& m_dictionary;
    const Options m_options;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::condition_variable m_wanted;
    bool m_stops = false;
    bool m_isUp = true;
    bool m_isProbed = false;
    std::string m_whyDown;
    std::uint64_t m_life = 1; // counts the times that the service came up
    std::size_t m_streams = 0;
    std::map<Subject, std::shared_ptr<Topic>> m_topics;
    std::thread m_pollers[2];
};

} // namespace Gateway
