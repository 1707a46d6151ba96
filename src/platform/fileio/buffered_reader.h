// Sequential reading of a small text file, byte by byte and line by line.
#pragma once

#include <string>

#include "platform/fileio/raw_file.h"
#include "platform/memory/guarded_heap.h"

namespace trel::FileIO {

class BufferedReader {
  public:
    // bytes of the buffer: whole sectors
    explicit BufferedReader(const std::string& path, u64 buffer_bytes = 16 * kSectorBytes,
                            const FileCalls& calls = FileCalls::of_this_machine());

    // Throws FileException "Unexpected end of file.".
    u8 read_byte();
    // Up to the next line feed, which is consumed; carriage returns are dropped. At the end of the file a
    // last line without a line feed counts as a line; after it: "Unexpected end of file.".
    std::string read_line();
    bool at_end() const { return position() == size_; }
    // Bytes consumed so far.
    u64 position() const { return window_ + position_; }

  private:
    void refill();
    [[noreturn]] void fail() const;

    RawFile file_;
    const u64 size_;  // when it was opened
    GuardedBuffer buffer_;
    u64 window_ = 0;    // file offset of the buffer's first byte
    u64 position_ = 0;  // within the buffer
    u64 fill_ = 0;
};

}  // namespace trel::FileIO
