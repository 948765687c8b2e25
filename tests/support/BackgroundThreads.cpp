#include "BackgroundThreads.h"

#include <chrono>
#include <filesystem>
#include <iterator>
#include <thread>

namespace {

std::size_t CountThreads() {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator()));
}

} // namespace

CBackgroundThreads::CBackgroundThreads() : m_atBegin(CountThreads()) {}

CBackgroundThreads::~CBackgroundThreads() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (CountThreads() > m_atBegin && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}
