#include "service/TransactionFrame.h"

#include <string.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>

CFrameMemory::CFrameMemory(std::size_t size) : m_size(size) {
    if (size <= sizeof m_small) {
        m_bytes = m_small;
        return;
    }
    if (size <= LARGEST_ALLOCATED) {
        m_bytes = static_cast<unsigned char*>(std::malloc(size));
        return;
    }
    void* pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages != MAP_FAILED) {
        m_mapped = size;
        m_bytes = static_cast<unsigned char*>(pages);
    }
}

CFrameMemory::~CFrameMemory() {
    if (m_mapped != 0) {
        munmap(m_bytes, m_mapped);
        return;
    }
    if (m_bytes != nullptr) {
        explicit_bzero(m_bytes, std::min(m_size, WIPED));
    }
    if (m_bytes != m_small) {
        std::free(m_bytes);
    }
}
