#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include "platform/Interlocked.h"

// Intrusive reference count. A new object has count 0; whoever brings the count back to 0 deletes the object.
class CAddRefRelease {
public:
    CAddRefRelease() = default;
    virtual ~CAddRefRelease() = default;
    CAddRefRelease(const CAddRefRelease&) = delete;
    CAddRefRelease& operator=(const CAddRefRelease&) = delete;

    std::atomic<std::uint32_t> m_refCount{0};
};

// Holds one count of an object, or nothing.
template <typename T>
class CRef {
public:
    CRef() = default;

    // Takes a count of its own.
    explicit CRef(T* object) : m_object(object) {
        if (m_object != nullptr) {
            InterlockedIncrement(&m_object->m_refCount);
        }
    }

    // Takes over a count that the caller already holds.
    static CRef Adopt(T* object) {
        CRef ref;
        ref.m_object = object;
        return ref;
    }

    ~CRef() { Reset(); }

    CRef(const CRef& other) : CRef(other.m_object) {}

    CRef(CRef&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}

    CRef& operator=(CRef other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }

    void Reset() {
        T* object = std::exchange(m_object, nullptr);
        if (object != nullptr && InterlockedDecrement(&object->m_refCount) == 0) {
            delete object;
        }
    }

    // The object as one of a class derived from T, with its count; nothing where it is of another class.
    template <typename TDerived>
    CRef<TDerived> As() && {
        auto* derived = dynamic_cast<TDerived*>(m_object);
        if (derived == nullptr) {
            return {};
        }
        m_object = nullptr;
        return CRef<TDerived>::Adopt(derived);
    }

    T* Get() const { return m_object; }

    // clang-tidy takes any decrement of a count for the last one.
    T* operator->() const { return m_object; } // NOLINT(clang-analyzer-cplusplus.NewDelete)

    T& operator*() const { return *m_object; } // NOLINT(clang-analyzer-cplusplus.NewDelete)

    explicit operator bool() const { return m_object != nullptr; }

private:
    T* m_object = nullptr;
};
