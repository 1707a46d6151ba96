// The file functions of the system as a table. Every access to a disk goes through one, so that tests can put
// a failing disk below everything that reads and writes files.
#pragma once

#include <functional>

#include "os/file.h"
#include "os/volume.h"

namespace trel::FileIO {

// Outlives whatever works with it.
struct FileCalls {
    std::function<os::OpenedFile(const char* path, os::FileAccess access, os::FileFlags flags)> open;
    std::function<os::OsError(i64 handle)> close;
    std::function<os::Transfer(i64 handle, void* buffer, u64 offset, u64 bytes)> read;
    std::function<os::Transfer(i64 handle, const void* buffer, u64 offset, u64 bytes)> write;
    std::function<os::FileSize(i64 handle)> size;
    std::function<os::Resizing(i64 handle, u64 bytes)> set_size;
    std::function<os::OsError(i64 handle, u64 bytes)> reserve;
    std::function<os::OsError(i64 handle)> flush;
    std::function<os::OsError(const char* path)> flush_folder;
    std::function<os::OsError(const char* from, const char* to)> rename;
    std::function<os::OsError(const char* path)> remove;
    std::function<os::OsError(const char* path)> create_folder;
    std::function<os::OsError(const char* path)> remove_folder;
    std::function<os::OsError(i64 handle, const char* from, const char* to)> rename_open;
    std::function<os::OsError(i64 handle, const char* path)> remove_open;
    std::function<bool(const char* path)> is_read_only;
    std::function<os::OsError(const char* path)> allow_replacing;
    std::function<os::VolumeSpace(const char* folder)> volume_space;
    // Between two attempts at something that failed.
    std::function<void(double seconds)> sleep;

    static const FileCalls& of_this_machine();
};

}  // namespace trel::FileIO
