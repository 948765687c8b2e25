#include "service/TransactionFrame.h"

#include <string.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

bool CFrameMemory::Grow(std::size_t size, std::size_t used) {
    if (size <= m_room) {
        return true;
    }
    unsigned char* bytes = nullptr;
    if (size <= LARGEST_ALLOCATED) {
        bytes = static_cast<unsigned char*>(std::malloc(size));
    } else if (void* pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
               pages != MAP_FAILED) {
        bytes = static_cast<unsigned char*>(pages);
        m_mapped = size;
    }
    if (bytes == nullptr) {
        return false;
    }
    std::memcpy(bytes, m_small, used);
    m_bytes = bytes;
    m_room = size;
    return true;
}

CFrameMemory::~CFrameMemory() {
    explicit_bzero(m_small, sizeof m_small);
    if (m_mapped != 0) {
        munmap(m_bytes, m_mapped);
    } else if (m_bytes != m_small) {
        explicit_bzero(m_bytes, std::min(m_room, WIPED));
        std::free(m_bytes);
    }
}
