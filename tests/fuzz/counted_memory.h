// How much memory of the C++ heap the test program has, and has had at the most. Counted by operator new,
// which this header replaces: one file of a program includes it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace fuzz {

struct CountedMemory {
    static inline std::atomic<std::size_t> now{0}, most{0};

    // The most counts from here on.
    static void begin() { most = now.load(); }
};

// In front of every block, so that what is given back is known. As wide as the strictest alignment of
// malloc().
inline constexpr std::size_t kBlockHead = 2 * sizeof(void*);

}  // namespace fuzz

[[gnu::noinline]] void* operator new(std::size_t bytes) {
    using fuzz::CountedMemory;
    void* const memory =
        bytes > ~std::size_t(0) - fuzz::kBlockHead ? nullptr : std::malloc(bytes + fuzz::kBlockHead);
    if (memory == nullptr) throw std::bad_alloc();
    *static_cast<std::size_t*>(memory) = bytes;
    const std::size_t now = CountedMemory::now += bytes;
    for (std::size_t most = CountedMemory::most; most < now;) {
        if (CountedMemory::most.compare_exchange_weak(most, now)) break;
    }
    return static_cast<char*>(memory) + fuzz::kBlockHead;
}
// The sanitizers' own would not call the one above.
[[gnu::noinline]] void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    try {
        return operator new(bytes);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    if (block == nullptr) return;
    void* const memory = static_cast<char*>(block) - fuzz::kBlockHead;
    fuzz::CountedMemory::now -= *static_cast<std::size_t*>(memory);
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept {
    operator delete(block);
}
[[gnu::noinline]] void operator delete(void* block, const std::nothrow_t&) noexcept {
    operator delete(block);
}
