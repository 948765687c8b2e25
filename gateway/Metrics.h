#pragma once

#include <atomic>
#include <cstdint>
#include <set>
#include <string>

#include "Dictionary.h"

namespace Gateway {

/// The machine in the Prometheus text format.
class Metrics {
public:
    /// Of the modules of these types alone, which a scrape wakes; of all if there are none.
    Metrics(Dictionary& dictionary, std::set<std::uint16_t> modules, Dictionary::Milliseconds maxAge)
        : m_dictionary(dictionary), m_modules(std::move(modules)), m_maxAge(maxAge) {}

    /// One look at the machine. A value that is not there has no line. For use by several threads.
    std::string Scrape();

    static constexpr const char* ContentType = "text/plain; version=0.0.4; charset=utf-8";

    /// The type of a module by its name, such as "CPU", without case; 0 for none.
    static std::uint16_t ModuleTypeOf(const std::string& name);

private:
    Dictionary& m_dictionary;
    const std::set<std::uint16_t> m_modules;
    const Dictionary::Milliseconds m_maxAge;
    std::atomic<std::uint64_t> m_errors = 0;
};

} // namespace Gateway
