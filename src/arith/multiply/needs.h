// What an operation takes beside its operands: the one answer that every plan gives.
#pragma once

#include <algorithm>

#include "platform/memory/aligned_buffer.h"

namespace trel {

// Everything is known before anything runs, and a run stays inside it.
struct Needs {
    u64 result_words = 0;   // of the buffer that the result is written to
    u64 bytes = 0;          // of MultiplyContext::scratch, a multiple of 64; temporaries are carved from it
    u64 product_words = 0;  // of the longest product, for the shared transform tables

    // This and then the other in the same memory. The result is this one's.
    void take_maximum(const Needs& other) {
        bytes = std::max(bytes, other.bytes);
        product_words = std::max(product_words, other.product_words);
    }
    Needs maximum(const Needs& other) const {
        Needs both = *this;
        both.take_maximum(other);
        return both;
    }
    // The same when `words` words are carved from the scratch memory first, which moves by whole lines of it.
    Needs above(u64 words) const {
        return {result_words, bytes + round_up_8(words) * sizeof(Word), product_words};
    }
    // Two at once, each in half of the memory.
    Needs twice() const { return {result_words, 2 * bytes, product_words}; }
};

// Room that is never short, in bytes.
inline constexpr u64 kAnyRoom = ~u64(0);
// What is left of a room above that many words.
inline u64 room_above(u64 room, u64 words) {
    if (room == kAnyRoom) return room;
    const u64 bytes = round_up_8(words) * sizeof(Word);
    return room > bytes ? room - bytes : 0;
}

// The halves of a memory, for the two of Needs::twice().
struct MemoryHalves {
    explicit MemoryHalves(AlignedBufferC memory) {
        const u64 bytes = memory.size() / 128 * 64;
        first = memory.spawn(bytes);
        second = memory.spawn(bytes);
    }
    AlignedBufferC first, second;
};

// Words at the front of the view, which moves past them.
inline Word* carve_words(AlignedBufferC& memory, u64 words) {
    return memory.spawn_words(round_up_8(words)).word_pointer();
}
// A number, or whatever is made of words and their count, at the front of the view, which moves past it.
template <class Number>
Number carve(AlignedBufferC& memory, u64 words) {
    return Number(carve_words(memory, words), words);
}

}  // namespace trel
