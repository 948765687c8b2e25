#include "log/Logger.h"

namespace {

// The code under test expects the process's logger. It has no route: LogOf adds one for as long as a test looks.
[[maybe_unused]] CLogger* const s_logger = g_pLogger = new CLogger;

} // namespace
