#include "TransferLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <thread>

namespace MdpCommand {
namespace {

constexpr const char* s_root = "/";
constexpr std::chrono::milliseconds s_interval{20};

} // namespace

TransferLock::~TransferLock() {
    if (m_descriptor >= 0) {
        close(m_descriptor);
    }
}

Mdp::Result<void> TransferLock::WaitToGet(const Context& context) {
    const auto directory = std::filesystem::path(context.client.Options().socketPath).parent_path();
    std::error_code error;
    if (std::filesystem::equivalent(directory, s_root, error)) {
        return {}; // that lock is the one of put
    }
    return Wait(directory.empty() ? "." : directory.string(), context.jobTimeout);
}

Mdp::Result<void> TransferLock::WaitToPut(const Context& context) {
    return Wait(s_root, context.jobTimeout);
}

Mdp::Result<void> TransferLock::Wait(const std::string& directory, Mdp::Milliseconds timeout) {
    m_descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool limited = timeout.count() > 0;
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (flock(m_descriptor, limited ? LOCK_EX | LOCK_NB : LOCK_EX) != 0 &&
           (errno == EWOULDBLOCK || errno == EINTR)) {
        if (limited && std::chrono::steady_clock::now() >= end) {
            return Mdp::Error{Mdp::ErrorKind::Timeout, 0, 0, "another mdp moves files for longer than --timeout"};
        }
        std::this_thread::sleep_for(s_interval);
    }
    return {};
}

} // namespace MdpCommand
