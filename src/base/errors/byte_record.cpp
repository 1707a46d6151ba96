#include "base/errors/byte_record.h"

#include "base/errors/exceptions.h"

namespace trel {

void ByteRecord::put_bytes(u64 value, int bytes) {
    for (int i = 0; i < bytes; i++) out_.push_back(static_cast<u8>(value >> (8 * i)));
}

void ByteRecord::put_one(const std::string& text) {
    put_one(u64(text.size()));
    out_.insert(out_.end(), text.begin(), text.end());
}

void ByteRecord::put_one(const std::vector<u64>& numbers) {
    put_one(u64(numbers.size()));
    for (const u64 number : numbers) put_one(number);
}

std::span<const u8> ByteCursor::take_bytes(u64 count, u64 item_bytes) {
    if (count > bytes_.size() / item_bytes) {
        throw EndOfStreamException("deserialize_exception()", "Unexpected end of stream.");
    }
    const auto taken = bytes_.first(count * item_bytes);
    bytes_ = bytes_.subspan(taken.size());
    return taken;
}

u64 ByteCursor::take_number(u64 bytes) {
    u64 value = 0;
    int shift = 0;
    for (const u8 byte : take_bytes(bytes)) {
        value |= u64(byte) << shift;
        shift += 8;
    }
    return value;
}

void ByteCursor::take_one(std::string& text) {
    const auto bytes = take_bytes(take_number(8));
    text.assign(bytes.begin(), bytes.end());
}

void ByteCursor::take_one(std::vector<u64>& numbers) {
    ByteCursor items(take_bytes(take_number(8), 8));
    numbers.resize(items.rest().size() / 8);
    for (u64& number : numbers) items.take(number);
}

}  // namespace trel
