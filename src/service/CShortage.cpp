#include "service/CShortage.h"

#include <chrono>

#include "log/Logger.h"

namespace Hesperd {

namespace {

constexpr std::int64_t OVER_AFTER_MS = 2000;

std::int64_t Now() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

void CShortage::Meet(int error) {
    m_lastMet.store(Now());
    if (!m_lasts.exchange(true)) {
        g_pLogger->LogMsg(LOG_SEVERITY_ERROR, "%s failed: %d", m_what, error);
    }
}

bool CShortage::Lasts() {
    if (!m_lasts.load()) {
        return false;
    }
    if (Now() - m_lastMet.load() < OVER_AFTER_MS || !m_lasts.exchange(false)) {
        return true;
    }
    g_pLogger->LogMsg(LOG_SEVERITY_INFO, "%s works again.", m_what);
    return false;
}

} // namespace Hesperd
