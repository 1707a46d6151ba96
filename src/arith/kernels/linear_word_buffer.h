// A plain (pointer, words) view that hands out consecutive ranges for temporaries. Passed by value: what a callee
// cuts is free again when it returns.
#pragma once

#include "base/errors/exceptions.h"
#include "os/types.h"

namespace trel {

class LinearWordBuffer {
  public:
    LinearWordBuffer() = default;
    LinearWordBuffer(Word* words, u64 size) : words_(words), size_(size) {}

    // The first n words; this buffer advances past them. Throws BufferTooSmallException (sizes in words).
    LinearWordBuffer cut_from_bottom(u64 n) {
        if (size_ < n) throw BufferTooSmallException("LinearWordBuffer::cut_from_bottom()", size_, n);
        LinearWordBuffer piece(words_, n);
        words_ += n;
        size_ -= n;
        return piece;
    }
    Word* get() const { return words_; }
    u64 size() const { return size_; }

  private:
    Word* words_ = nullptr;
    u64 size_ = 0;
};

}  // namespace trel
