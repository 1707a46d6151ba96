// Aligned blocks of the C heap for small and medium buffers, with guards that reveal a write past either end
// when the block is freed.
//
//   P - 24  pointer of the C heap     P - 16  bytes asked for     P - 8  head guard
//   P       the block, P aligned      P + bytes  tail guard (unaligned)
#pragma once

#include <cstddef>

#include "os/types.h"

namespace trel {

// alignment: a power of two (below 8 counts as 8), else InvalidParametersException. Throws
// std::bad_alloc ("bad allocation"). Any thread.
[[nodiscard]] void* aligned_malloc(std::size_t bytes, std::size_t alignment);

// Null is ignored. A damaged guard throws AlgorithmFailedException "Memory buffer has been underrun." or "...
// overrun."; the block is then not freed. Any thread.
void aligned_free(void* pointer);

// Owns one such block. Its destructor cannot throw, so it ends the process with the report of a damaged
// guard; call free() where the exception is wanted.
class GuardedBuffer {
  public:
    GuardedBuffer() = default;
    GuardedBuffer(std::size_t bytes, std::size_t alignment)
        : pointer_(aligned_malloc(bytes, alignment)), bytes_(bytes) {}
    ~GuardedBuffer();
    GuardedBuffer(GuardedBuffer&& other) noexcept : pointer_(other.pointer_), bytes_(other.bytes_) {
        other.pointer_ = nullptr;
        other.bytes_ = 0;
    }
    GuardedBuffer& operator=(GuardedBuffer&& other) noexcept;

    void* get() const { return pointer_; }
    u8* bytes() const { return static_cast<u8*>(pointer_); }
    std::size_t size() const { return bytes_; }
    void free();

  private:
    void* pointer_ = nullptr;
    std::size_t bytes_ = 0;
};

}  // namespace trel
