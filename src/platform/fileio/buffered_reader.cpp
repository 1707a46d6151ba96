#include "platform/fileio/buffered_reader.h"

#include <algorithm>

#include "base/errors/exceptions.h"

namespace trel::FileIO {

BufferedReader::BufferedReader(const std::string& path, u64 buffer_bytes, const FileCalls& calls)
    : file_(path, OpenMode::read, true, false, calls),
      size_(file_.size()),
      buffer_(buffer_bytes, kSectorBytes) {}

void BufferedReader::fail() const {
    throw FileException("BufferedReader()", "Unexpected end of file.", file_.path());
}

void BufferedReader::refill() {
    window_ += fill_;
    position_ = fill_ = 0;
    const u64 got = file_.load_available(buffer_.get(), window_, buffer_.size());
    const u64 want = std::min<u64>(buffer_.size(), size_ - window_);
    // The file was cut meanwhile.
    if (got < want) fail();
    fill_ = want;
}

u8 BufferedReader::read_byte() {
    if (at_end()) fail();
    if (position_ == fill_) refill();
    return buffer_.bytes()[position_++];
}

std::string BufferedReader::read_line() {
    std::string line;
    u8 byte = read_byte();
    for (;;) {
        if (byte == '\n') return line;
        if (byte != '\r') line += static_cast<char>(byte);
        if (at_end()) return line;
        byte = read_byte();
    }
}

}  // namespace trel::FileIO
