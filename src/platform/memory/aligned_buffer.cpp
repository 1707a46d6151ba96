#include "platform/memory/aligned_buffer.h"

#include <cstdint>

#include "base/errors/exceptions.h"

namespace trel {

AlignedBufferC::AlignedBufferC(void* pointer, u64 bytes) : pointer_(pointer), bytes_(bytes) {
    if (reinterpret_cast<std::uintptr_t>(pointer) % 64 != 0) {
        throw InvalidParametersException("AlignedBufferC::AlignedBufferC()", "Pointer is misaligned.");
    }
}

void AlignedBufferC::refuse(u64 bytes, const char* function) const {
    if (bytes_ < bytes) throw BufferTooSmallException(function, bytes_, bytes);
    throw InvalidParametersException(function, "Size is misaligned.");
}

AlignedBufferC AlignedBufferC::extract_aligned(u64 bytes, u64 alignment) {
    const AlignedBufferC piece = take(bytes, "AlignedBufferC::spawn()");
    const u64 address = reinterpret_cast<std::uintptr_t>(piece.pointer_);
    const u64 skip = (alignment - address % alignment) % alignment;
    if (skip > bytes) throw BufferTooSmallException("AlignedBufferC::extract_aligned()", bytes, skip);
    return AlignedBufferC(static_cast<char*>(piece.pointer_) + skip, bytes - skip);
}

}  // namespace trel
