#pragma once

#include <atomic>
#include <cstdint>

namespace Hesperd {

// Something that the service has run out of. It is told when it begins, however often it is then met, and when it is
// over. Any thread may call it.
class CShortage {
public:
    // `what` fails while it lasts; it must live as long as this.
    explicit CShortage(const char* what) : m_what(what) {}

    // Met once more; `error` is the errno of what failed.
    void Meet(int error);

    // Whether it has been told that it begins, and not yet that it is over.
    bool IsTold() const { return m_lasts.load(); }

    // Whether it lasts. It is over, and told so, when it has not been met for two seconds.
    bool Lasts();

private:
    const char* m_what;
    std::atomic<bool> m_lasts{false};
    std::atomic<std::int64_t> m_lastMet{0}; // milliseconds of the steady clock
};

} // namespace Hesperd
