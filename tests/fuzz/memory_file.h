// A file that lies in memory, for readers that take their file from FileCalls.
#pragma once

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/fileio/file_calls.h"

namespace fuzz {

// Every path is this one file, which can only be read. The bytes outlive it.
inline trel::FileIO::FileCalls memory_file(std::string_view bytes) {
    using namespace trel;
    FileIO::FileCalls calls;
    calls.open = [](const char*, os::FileAccess, os::FileFlags) {
        os::OpenedFile file{};
        file.handle = 1;
        return file;
    };
    calls.close = [](i64) { return os::OsError{}; };
    calls.size = [bytes](i64) {
        os::FileSize size{};
        size.bytes = bytes.size();
        return size;
    };
    calls.read = [bytes](i64, void* buffer, u64 offset, u64 n) {
        os::Transfer done{};
        done.bytes = offset >= bytes.size() ? 0 : std::min<u64>(n, bytes.size() - offset);
        if (done.bytes != 0) std::memcpy(buffer, bytes.data() + offset, done.bytes);
        return done;
    };
    return calls;
}

}  // namespace fuzz
