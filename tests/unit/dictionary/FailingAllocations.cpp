#include "FailingAllocations.h"

#include <new>

namespace {

thread_local bool t_failing = false;

template <typename Allocate>
void* OrNull(Allocate allocate) noexcept {
    if (t_failing) {
        return nullptr;
    }
    try {
        return allocate();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace

FailingAllocations::FailingAllocations() {
    t_failing = true;
}

FailingAllocations::~FailingAllocations() {
    t_failing = false;
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return OrNull([size] { return ::operator new(size); });
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return OrNull([size] { return ::operator new[](size); });
}
