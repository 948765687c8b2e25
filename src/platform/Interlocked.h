#pragma once

#include <atomic>
#include <concepts>

// Atomic operations on 32-bit counters and flags and on pointers, all sequentially consistent. Increment, Decrement, Or
// and And return the new value; Exchange and CompareExchange return the old one.

template <typename T>
concept InterlockedWord = std::integral<T> && sizeof(T) == 4;

template <InterlockedWord T>
T InterlockedIncrement(std::atomic<T>* target) {
    return target->fetch_add(1) + 1;
}

template <InterlockedWord T>
T InterlockedDecrement(std::atomic<T>* target) {
    return target->fetch_sub(1) - 1;
}

template <InterlockedWord T>
T InterlockedExchange(std::atomic<T>* target, T value) {
    return target->exchange(value);
}

template <InterlockedWord T>
T InterlockedCompareExchange(std::atomic<T>* target, T exchange, T comparand) {
    target->compare_exchange_strong(comparand, exchange);
    return comparand;
}

template <typename T>
T* InterlockedExchangePointer(std::atomic<T*>* target, T* value) {
    return target->exchange(value);
}

template <InterlockedWord T>
T InterlockedOr(std::atomic<T>* target, T mask) {
    T old = target->load();
    while (!target->compare_exchange_weak(old, old | mask)) {
    }
    return old | mask;
}

template <InterlockedWord T>
T InterlockedAnd(std::atomic<T>* target, T mask) {
    T old = target->load();
    while (!target->compare_exchange_weak(old, old & mask)) {
    }
    return old & mask;
}
