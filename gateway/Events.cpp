#include "Events.h"

#include <algorithm>

#include "Problem.h"
#include "ViewsJson.h"

namespace Gateway {
namespace {

// How often a waiting stream looks whether its client is still there.
constexpr std::chrono::seconds s_look{5};

std::string Event(const char* name, const Json& data) {
    return std::string("event: ") + name + "\ndata: " + data.Written() + "\n\n";
}

} // namespace

// One client's place in all that it reads.
class Events::Stream {
public:
    struct Seen {
        std::shared_ptr<Topic> topic;
        std::uint64_t version = 0;
    };

    Stream(Events& events, std::vector<Subject> subjects, std::function<bool()> goesOn)
        : m_goesOn(std::move(goesOn)), m_events(events), m_subjects(std::move(subjects)) {
        // The caller holds the mutex.
        ++m_events.m_streams;
        for (const Subject& subject : m_subjects) {
            std::shared_ptr<Topic>& topic = m_events.m_topics[subject];
            if (topic == nullptr) {
                topic = std::make_shared<Topic>();
            }
            ++topic->readers;
            m_seen.push_back({topic, 0});
        }
    }

    ~Stream() {
        const std::lock_guard lock(m_events.m_mutex);
        --m_events.m_streams;
        for (std::size_t i = 0; i < m_subjects.size(); ++i) {
            if (--m_seen[i].topic->readers == 0) {
                m_events.m_topics.erase(m_subjects[i]);
            }
        }
    }

    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    std::vector<Seen>& AllSeen() { return m_seen; }

    std::uint64_t m_life = 0; // of the service, that the client knows of; 0 for none
    bool m_isToldDown = false;
    std::function<bool()> m_goesOn;

private:
    Events& m_events;
    std::vector<Subject> m_subjects;
    std::vector<Seen> m_seen;
};

Events::Events(Dictionary& dictionary, Options options) : m_dictionary(dictionary), m_options(options) {
    m_pollers[0] = std::thread([this] { Poll(false); });
    m_pollers[1] = std::thread([this] { Poll(true); });
}

Events::~Events() {
    Stop();
    for (std::thread& poller : m_pollers) {
        poller.join();
    }
}

void Events::Stop() {
    const std::lock_guard lock(m_mutex);
    m_stops = true;
    m_changed.notify_all();
    m_wanted.notify_all();
}

std::size_t Events::Streams() const {
    const std::lock_guard lock(m_mutex);
    return m_streams;
}

std::size_t Events::Subjects() const {
    const std::lock_guard lock(m_mutex);
    return m_topics.size();
}

std::function<void(HttpSink&)> Events::Open(std::vector<Subject> subjects, std::function<bool()> goesOn) {
    std::sort(subjects.begin(), subjects.end());
    subjects.erase(std::unique(subjects.begin(), subjects.end()), subjects.end());
    const std::lock_guard lock(m_mutex);
    const auto more = std::count_if(subjects.begin(), subjects.end(),
                                    [&](const Subject& subject) { return m_topics.count(subject) == 0; });
    if (m_stops || m_streams >= m_options.streams ||
        m_topics.size() + static_cast<std::size_t>(more) > m_options.subjects) {
        return nullptr;
    }
    auto stream = std::make_shared<Stream>(*this, std::move(subjects), std::move(goesOn));
    m_wanted.notify_all();
    return [this, stream](HttpSink& sink) { Write(*stream, sink); };
}

void Events::Poll(bool slow) {
    std::unique_lock lock(m_mutex);
    auto next = Clock::now();
    while (!m_stops) {
        const auto isWanted = [&] {
            return m_stops ||
                   std::any_of(m_topics.begin(), m_topics.end(),
                               [&](const auto& pair) { return pair.second->isSlow == slow; }) ||
                   (!slow && m_streams > 0);
        };
        if (!isWanted()) {
            m_wanted.wait(lock, isWanted);
            next = Clock::now();
            continue;
        }
        const auto topics = m_topics;
        lock.unlock();
        if (!slow) {
            Probe();
        }
        for (const auto& [subject, topic] : topics) {
            lock.lock();
            const bool isDue = topic->isSlow == slow && topic->readers > 0 && m_isUp && !m_stops;
            lock.unlock();
            if (isDue) {
                Update(subject, topic);
            }
        }
        lock.lock();
        m_changed.notify_all();
        // A new subject is looked at without waiting for the others' turn; what was missed is not made up for.
        next = std::max(next + m_options.period, Clock::now());
        m_wanted.wait_until(lock, next, [&] {
            return m_stops || (m_isUp && std::any_of(m_topics.begin(), m_topics.end(), [&](const auto& pair) {
                                   return pair.second->isSlow == slow && pair.second->version == 0;
                               }));
        });
    }
}

void Events::Probe() {
    const auto probed = m_dictionary.Probe();
    const std::lock_guard lock(m_mutex);
    const bool isUp = static_cast<bool>(probed);
    m_isProbed = true;
    if (isUp == m_isUp) {
        return;
    }
    m_isUp = isUp;
    if (isUp) {
        // It may be another one: everything is asked, and told, anew.
        ++m_life;
        m_dictionary.Forget();
        for (auto& [subject, topic] : m_topics) {
            topic->whole = topic->changes = nullptr;
            topic->values = nullptr;
        }
    } else {
        m_whyDown = probed.Error().Message();
    }
}

std::string Events::ObjectEvent(const ObjectValues& now, const ObjectValues* before) {
    Json entries = Json::Array();
    for (std::size_t sub = 0; sub < now.entries.size(); ++sub) {
        const EntryValue& entry = now.entries[sub];
        const bool isTold = entry.value || entry.code != Mdp::OBJ_E_NOERR;
        if (!isTold || (before != nullptr && sub < before->entries.size() && before->entries[sub] == entry)) {
            continue;
        }
        Json json{{"sub", sub}};
        if (entry.value) {
            json.Add("value", ValueJson(now.shape->entries[sub].type, *entry.value));
        } else {
            json.Add("error", CodeJson(entry.code));
        }
        entries.Add(std::move(json));
    }
    return Event("object", {{"index", IndexText(now.shape->index)}, {"entries", std::move(entries)}});
}

void Events::Update(const Subject& subject, const std::shared_ptr<Topic>& topic) {
    const auto begin = Clock::now();
    // A little less than the period: what somebody else has just read will do.
    const auto maxAge = m_options.period / 2;
    std::string whole;
    Dictionary::Values values;
    if (subject.index != 0) {
        const auto read = m_dictionary.Read(subject.index, maxAge);
        if (read) {
            values = *read;
        } else if (IsTold(read.Error())) {
            // An object that does not exist now has one thing to tell.
            whole = Event("object", {{"index", IndexText(subject.index)},
                                     {"entries", Json::Array()},
                                     {"error", CodeJson(read.Error().code)}});
        } else {
            return;
        }
    } else {
        Look look(m_dictionary, maxAge, subject.language);
        const Json data = ViewJson(subject.view, look, subject.language);
        if (look.Failure()) {
            return;
        }
        whole = Event("view", {{"view", subject.view}, {"data", data}});
    }
    const std::lock_guard lock(m_mutex);
    if (const bool isSlow = Clock::now() - begin > m_options.slow; isSlow != topic->isSlow) {
        topic->isSlow = isSlow;
        m_wanted.notify_all(); // it is the other thread's from now on, which may sleep
    }
    if (values != nullptr) {
        if (topic->values != nullptr && (topic->values == values || (topic->values->shape == values->shape &&
                                                                     topic->values->entries == values->entries))) {
            return;
        }
        whole = ObjectEvent(*values, nullptr);
        const bool isSame = topic->values != nullptr && topic->values->shape == values->shape;
        topic->changes =
            isSame ? std::make_shared<const std::string>(ObjectEvent(*values, topic->values.get())) : nullptr;
        topic->values = values;
    } else if (topic->whole != nullptr && *topic->whole == whole) {
        return;
    } else {
        topic->changes = nullptr;
        topic->values = nullptr;
    }
    topic->whole = std::make_shared<const std::string>(std::move(whole));
    topic->changedFrom = topic->version++;
}

void Events::Write(Stream& stream, HttpSink& sink) {
    auto spoke = Clock::now();
    std::unique_lock lock(m_mutex);
    while (!m_stops) {
        std::vector<std::shared_ptr<const std::string>> texts;
        if (m_isProbed && !m_isUp && !stream.m_isToldDown) {
            texts.push_back(
                std::make_shared<const std::string>(Event("state", {{"service", "down"}, {"text", m_whyDown}})));
            stream.m_isToldDown = true;
            stream.m_life = 0;
        }
        if (m_isProbed && m_isUp && stream.m_life != m_life) {
            texts.push_back(std::make_shared<const std::string>(Event("state", {{"service", "up"}})));
            stream.m_isToldDown = false;
            stream.m_life = m_life;
            for (Stream::Seen& seen : stream.AllSeen()) {
                seen.version = 0;
            }
        }
        if (m_isProbed && m_isUp) {
            for (Stream::Seen& seen : stream.AllSeen()) {
                const Topic& topic = *seen.topic;
                if (topic.whole == nullptr || topic.version == seen.version) {
                    continue;
                }
                const bool isNext = seen.version != 0 && seen.version == topic.changedFrom && topic.changes != nullptr;
                texts.push_back(isNext ? topic.changes : topic.whole);
                seen.version = topic.version;
            }
        }
        if (texts.empty() && Clock::now() - spoke >= m_options.heartbeat) {
            texts.push_back(std::make_shared<const std::string>(": nothing new\n\n"));
        }
        if (texts.empty()) {
            m_changed.wait_for(lock, std::min<Clock::duration>(s_look, m_options.heartbeat));
            lock.unlock();
            const bool isThere = sink.ClientIsThere() && stream.m_goesOn();
            lock.lock();
            if (!isThere) {
                return;
            }
            continue;
        }
        lock.unlock();
        std::string text;
        for (const auto& part : texts) {
            text += *part;
        }
        const bool isWritten = sink.Write(text);
        spoke = Clock::now();
        lock.lock();
        if (!isWritten) {
            return;
        }
    }
}

} // namespace Gateway
