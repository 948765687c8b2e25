#include "service/CSilentClient.h"

#include <sys/socket.h>

#include <mutex>

namespace Hesperd {

namespace {

// Of the list below. Connections outlive main, so it is never destroyed.
std::mutex& ListMutex() {
    static auto* mutex = new std::mutex;
    return *mutex;
}

// The youngest one.
CSilentClient* s_first = nullptr;

} // namespace

CSilentClient::CSilentClient(int socket)
    : m_socket(socket), m_since(std::chrono::steady_clock::now()), m_previous(nullptr) {
    const std::lock_guard lock(ListMutex());
    m_next = s_first;
    if (m_next != nullptr) {
        m_next->m_previous = this;
    }
    s_first = this;
}

CSilentClient::~CSilentClient() {
    const std::lock_guard lock(ListMutex());
    if (m_next != nullptr) {
        m_next->m_previous = m_previous;
    }
    (m_previous != nullptr ? m_previous->m_next : s_first) = m_next;
}

void CSilentClient::EndThose(std::chrono::milliseconds patience) {
    const auto since = std::chrono::steady_clock::now() - patience;
    const std::lock_guard lock(ListMutex());
    for (const CSilentClient* client = s_first; client != nullptr; client = client->m_next) {
        if (client->m_since <= since) {
            shutdown(client->m_socket, SHUT_RDWR);
        }
    }
}

} // namespace Hesperd
