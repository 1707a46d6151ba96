#include "platform/memory/guarded_heap.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "base/console/console.h"
#include "base/console/error_output.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

constexpr u64 kHeadGuard = 0xEA097BE64BD0187DULL;
constexpr u64 kTailGuard = 0xC72BF73F0559CFE4ULL;
constexpr std::size_t kHeaderBytes = 24;
constexpr std::size_t kOverheadBytes = kHeaderBytes + 8;
constexpr std::size_t kMinAlignment = 8;

// With the same text whatever the C++ library calls it.
struct HeapExhausted final : std::bad_alloc {
    const char* what() const noexcept override { return "bad allocation"; }
};

u64 read_word(const void* p) {
    u64 value;
    std::memcpy(&value, p, sizeof value);
    return value;
}
void write_word(void* p, u64 value) {
    std::memcpy(p, &value, sizeof value);
}

}  // namespace

void* aligned_malloc(std::size_t bytes, std::size_t alignment) {
    // Checked as asked: 3 is an error although anything below 8 counts as 8.
    if ((alignment & (alignment - 1)) != 0) {
        throw InvalidParametersException("aligned_malloc()", "Alignment must be a power of two.");
    }
    alignment = std::max(alignment, kMinAlignment);
    if (bytes > SIZE_MAX - kOverheadBytes - alignment) throw HeapExhausted();
    char* raw = static_cast<char*>(std::malloc(bytes + alignment + kOverheadBytes));
    if (!raw) throw HeapExhausted();
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(raw) + kHeaderBytes;
    // Rounded down, then one step up: at least the header lies below, and the tail guard ends within the raw
    // block.
    char* block = raw + ((address & ~(alignment - 1)) + alignment - reinterpret_cast<std::uintptr_t>(raw));
    std::memcpy(block - 24, &raw, sizeof raw);
    write_word(block - 16, bytes);
    write_word(block - 8, kHeadGuard);
    write_word(block + bytes, kTailGuard);
    return block;
}

void aligned_free(void* pointer) {
    if (!pointer) return;
    char* block = static_cast<char*>(pointer);
    if (read_word(block - 8) != kHeadGuard) {
        throw AlgorithmFailedException("aligned_free()", "Memory buffer has been underrun.");
    }
    if (read_word(block + read_word(block - 16)) != kTailGuard) {
        throw AlgorithmFailedException("aligned_free()", "Memory buffer has been overrun.");
    }
    void* raw;
    std::memcpy(&raw, block - 24, sizeof raw);
    std::free(raw);
}

void GuardedBuffer::free() {
    aligned_free(std::exchange(pointer_, nullptr));
    bytes_ = 0;
}

GuardedBuffer::~GuardedBuffer() {
    try {
        free();
    } catch (const Exception& damage) {
        {
            const Console::ErrorOutput errors;
            damage.print();
        }
        Console::fatal_exit(1);
    }
}

GuardedBuffer& GuardedBuffer::operator=(GuardedBuffer&& other) noexcept {
    std::swap(pointer_, other.pointer_);
    std::swap(bytes_, other.bytes_);
    return *this;
}

}  // namespace trel
