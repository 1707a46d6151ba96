// A non-owning view of 64-byte-aligned memory, carved front to back. The one large region of a computation is
// handed around as such views; carving never calls an allocator.
#pragma once

#include "os/types.h"

namespace trel {

// Invariant: the pointer is a multiple of 64. Copied freely; frees nothing. Not synchronised.
class AlignedBufferC {
  public:
    AlignedBufferC() = default;
    // Throws InvalidParametersException "Pointer is misaligned.".
    AlignedBufferC(void* pointer, u64 bytes);

    // Takes `bytes` (a multiple of 64) off the front. Throws BufferTooSmallException (sizes in bytes; this
    // buffer is unchanged) or InvalidParametersException "Size is misaligned.".
    AlignedBufferC spawn(u64 bytes) { return take(bytes, "AlignedBufferC::spawn()"); }
    // The same for `words` 64-bit words (a multiple of 8).
    AlignedBufferC spawn_words(u64 words) {
        const u64 bytes = words > ~u64(0) / sizeof(Word) ? ~u64(0) : words * sizeof(Word);
        return take(bytes, "AlignedBufferC::spawn_words()");
    }
    // Takes `bytes` off the front and returns the part of them that starts at the first multiple of
    // `alignment`.
    AlignedBufferC extract_aligned(u64 bytes, u64 alignment);

    void* get() const { return pointer_; }
    Word* word_pointer() const { return static_cast<Word*>(pointer_); }
    u64 size() const { return bytes_; }
    u64 words() const { return bytes_ / 8; }

  private:
    // In sight of its callers: the small numbers of a series are carved by the ten thousand.
    AlignedBufferC take(u64 bytes, const char* function) {
        if (bytes_ < bytes || bytes % 64 != 0) [[unlikely]]
            refuse(bytes, function);
        AlignedBufferC piece;
        piece.pointer_ = pointer_;
        piece.bytes_ = bytes;
        pointer_ = static_cast<char*>(pointer_) + bytes;
        bytes_ -= bytes;
        return piece;
    }
    [[noreturn]] void refuse(u64 bytes, const char* function) const;

    void* pointer_ = nullptr;
    u64 bytes_ = 0;
};

// n rounded up to a multiple of 64 (bytes) or 8 (words).
constexpr u64 round_up_64(u64 n) {
    return (n + 63) & ~u64(63);
}
constexpr u64 round_up_8(u64 n) {
    return (n + 7) & ~u64(7);
}

}  // namespace trel
