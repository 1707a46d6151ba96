// The byte form of an exception's fields: a string is its length (u64) and its bytes, a number its
// little-endian bytes at its own width. Private to this room.
#pragma once

#include <string>
#include <vector>

#include "os/types.h"

namespace trel {

class ByteRecord {
  public:
    explicit ByteRecord(std::vector<u8>& out) : out_(out) {}

    ByteRecord& operator<<(u64 value) { return put(value, 8); }
    ByteRecord& operator<<(u32 value) { return put(value, 4); }
    ByteRecord& operator<<(const std::string& text) {
        put(text.size(), 8);
        out_.insert(out_.end(), text.begin(), text.end());
        return *this;
    }

  private:
    ByteRecord& put(u64 value, int bytes) {
        for (int i = 0; i < bytes; i++) out_.push_back(static_cast<u8>(value >> (8 * i)));
        return *this;
    }

    std::vector<u8>& out_;
};

// Reads what ByteRecord wrote. Unchecked: the record must be complete.
class ByteCursor {
  public:
    explicit ByteCursor(const u8*& position) : position_(position) {}

    u64 number64() { return get(8); }
    u32 number32() { return static_cast<u32>(get(4)); }
    std::string text() {
        const u64 length = get(8);
        std::string out(reinterpret_cast<const char*>(position_), length);
        position_ += length;
        return out;
    }

  private:
    u64 get(int bytes) {
        u64 value = 0;
        for (int i = 0; i < bytes; i++) value |= u64(*position_++) << (8 * i);
        return value;
    }

    const u8*& position_;
};

}  // namespace trel
