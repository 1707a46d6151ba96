// The byte form of an exception's fields: a string is its length (u64) and its bytes, a list of numbers its
// count (u64) and the numbers, a number its little-endian bytes at its own width. Private to this room.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "os/types.h"

namespace trel {

class ByteRecord {
  public:
    explicit ByteRecord(std::vector<u8>& out) : out_(out) {}

    template <class... Fields>
    void put(const Fields&... fields) {
        (put_one(fields), ...);
    }

  private:
    void put_one(u64 value) { put_bytes(value, 8); }
    void put_one(i64 value) { put_bytes(static_cast<u64>(value), 8); }
    void put_one(u32 value) { put_bytes(value, 4); }
    void put_one(const std::string& text);
    void put_one(const std::vector<u64>& numbers);
    void put_bytes(u64 value, int bytes);

    std::vector<u8>& out_;
};

// Reads what ByteRecord wrote. The bytes may come from anybody: a record that ends too early, or says that it
// is longer than the bytes that are there, throws EndOfStreamException before any memory is taken for it.
class ByteCursor {
  public:
    explicit ByteCursor(std::span<const u8> bytes) : bytes_(bytes) {}

    template <class... Fields>
    void take(Fields&... fields) {
        (take_one(fields), ...);
    }

    // What has not been read.
    std::span<const u8> rest() const { return bytes_; }

  private:
    void take_one(u64& value) { value = take_number(8); }
    void take_one(i64& value) { value = static_cast<i64>(take_number(8)); }
    void take_one(u32& value) { value = static_cast<u32>(take_number(4)); }
    void take_one(std::string& text);
    void take_one(std::vector<u64>& numbers);
    u64 take_number(u64 bytes);
    // The next `count` items of this size.
    std::span<const u8> take_bytes(u64 count, u64 item_bytes = 1);

    std::span<const u8> bytes_;
};

}  // namespace trel
