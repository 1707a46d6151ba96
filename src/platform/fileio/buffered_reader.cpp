#include "platform/fileio/buffered_reader.h"

#include "base/errors/exceptions.h"

namespace trel::FileIO {

BufferedReader::BufferedReader(const std::string& path, u64 buffer_bytes)
    : file_(path, OpenMode::read, true), buffer_(buffer_bytes, kSectorBytes) {}

bool BufferedReader::refill() {
    if (fill_ != 0 && fill_ < buffer_.size()) return false;  // the last read met the end
    window_ += fill_;
    position_ = 0;
    fill_ = file_.load_available(buffer_.get(), window_, buffer_.size());
    return fill_ != 0;
}

bool BufferedReader::at_end() {
    return position_ == fill_ && !refill();
}

u8 BufferedReader::read_byte() {
    if (at_end()) throw FileException("BufferedReader()", "Unexpected end of file.", file_.path());
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
