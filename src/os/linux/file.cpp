#include "os/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "os/linux/errno_error.h"
#include "os/transfer_steps.h"

namespace trel::os {
namespace {

// Offsets are signed here; larger ones would come out negative.
constexpr u64 kLargestOffset = ~u64(0) >> 1;

template <class Call>
auto retry_interrupted(Call call) {
    decltype(call()) result;
    do {
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

// What cannot be positioned at all says so at the first transfer.
Transfer with_position(Transfer done) {
    done.position_refused = done.error.code == ESPIPE;
    return done;
}

}  // namespace

OpenedFile open_file(const char* path, FileAccess access, FileFlags flags) {
    int mode = O_CLOEXEC;
    mode |= access == FileAccess::read ? O_RDONLY : O_RDWR;
    if (access == FileAccess::create) mode |= O_CREAT;
    if (flags.write_through) mode |= O_DSYNC;
    bool unbuffered = flags.unbuffered;
    int handle = retry_interrupted([&] { return open(path, mode | (unbuffered ? O_DIRECT : 0), 0666); });
    if (handle < 0 && errno == EINVAL && unbuffered) {
        unbuffered = false;
        handle = retry_interrupted([&] { return open(path, mode, 0666); });
    }
    if (handle < 0) return {kNoFile, error_of(errno), false};
    // Reading may open a folder, which fails no earlier than at the first byte.
    struct stat status {};
    if (fstat(handle, &status) == 0 && S_ISDIR(status.st_mode)) {
        close(handle);
        return {kNoFile, error_of(EISDIR), false};
    }

    const int lock = (access == FileAccess::read ? LOCK_SH : LOCK_EX) | LOCK_NB;
    if (retry_interrupted([&] { return flock(handle, lock); }) != 0) {
        const int error = errno;
        // A file system without locks (some network ones) is used unlocked; a held lock is a refusal.
        if (error == EWOULDBLOCK) {
            close(handle);
            return {kNoFile, {static_cast<u32>(error), ErrorCategory::sharing}, false};
        }
    }
    // Emptied only now: the content of a file that somebody else holds stays.
    if (access == FileAccess::create && ftruncate(handle, 0) != 0) {
        const int error = errno;
        close(handle);
        return {kNoFile, error_of(error, Direction::writing), false};
    }
    return {handle, {}, unbuffered};
}

OsError close_file(i64 handle) {
    // Never retried: after EINTR the handle is gone all the same, and may already be another thread's.
    if (close(static_cast<int>(handle)) != 0 && errno != EINTR) return error_of(errno, Direction::writing);
    return {};
}

Transfer read_file(i64 handle, void* buffer, u64 offset, u64 bytes) {
    if (offset > kLargestOffset) return {0, error_of(EINVAL), true};
    return with_position(transfer_in_steps(bytes, [&](u64 done, u64 ask) -> TransferStep {
        const ssize_t got = pread(static_cast<int>(handle), static_cast<char*>(buffer) + done, ask,
                                  static_cast<off_t>(offset + done));
        if (got < 0) return {0, error_of(errno, Direction::reading)};
        return {static_cast<u64>(got), {}};
    }));
}

Transfer write_file(i64 handle, const void* buffer, u64 offset, u64 bytes) {
    if (offset > kLargestOffset) return {0, error_of(EINVAL), true};
    return with_position(transfer_in_steps(bytes, [&](u64 done, u64 ask) -> TransferStep {
        const ssize_t put = pwrite(static_cast<int>(handle), static_cast<const char*>(buffer) + done, ask,
                                   static_cast<off_t>(offset + done));
        if (put < 0) return {0, error_of(errno, Direction::writing)};
        return {static_cast<u64>(put), {}};
    }));
}

FileSize file_size(i64 handle) {
    struct stat status {};
    if (fstat(static_cast<int>(handle), &status) != 0) return {0, error_of(errno)};
    return {static_cast<u64>(status.st_size), {}};
}

Resizing set_file_size(i64 handle, u64 bytes) {
    if (bytes > kLargestOffset) return {error_of(EINVAL), true};
    if (retry_interrupted([&] { return ftruncate(static_cast<int>(handle), static_cast<off_t>(bytes)); }) !=
        0) {
        return {error_of(errno, Direction::writing), false};
    }
    return {};
}

OsError reserve_file_space(i64 handle, u64 bytes) {
    if (bytes == 0) return {};
    if (bytes > kLargestOffset) return error_of(EINVAL);
    const int result = retry_interrupted(
        [&] { return fallocate(static_cast<int>(handle), 0, 0, static_cast<off_t>(bytes)); });
    return result != 0 ? error_of(errno, Direction::writing) : OsError{};
}

OsError flush_file(i64 handle) {
    if (retry_interrupted([&] { return fsync(static_cast<int>(handle)); }) != 0) {
        return error_of(errno, Direction::writing);
    }
    return {};
}

OsError flush_folder_of(const char* path) {
    std::string folder(path);
    const std::size_t slash = folder.rfind('/');
    folder = slash == std::string::npos ? "." : slash == 0 ? "/" : folder.substr(0, slash);
    const int handle =
        retry_interrupted([&] { return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
    if (handle < 0) return error_of(errno);
    OsError error;
    // EINVAL: a file system that cannot flush folders.
    if (fsync(handle) != 0 && errno != EINVAL) error = error_of(errno, Direction::writing);
    close(handle);
    return error;
}

OsError rename_file(const char* from, const char* to) {
    if (std::rename(from, to) == 0) return {};
    OsError error = error_of(errno, Direction::writing);
    // A folder is never replaced by a file.
    if (errno == EISDIR || errno == ENOTEMPTY) error.category = ErrorCategory::exists;
    return error;
}

OsError remove_file(const char* path) {
    if (unlink(path) != 0) return error_of(errno, Direction::writing);
    return {};
}

bool file_exists(const char* path) {
    struct stat status {};
    return stat(path, &status) == 0;
}

OsError create_folder(const char* path) {
    if (mkdir(path, 0777) != 0) return error_of(errno, Direction::writing);
    return {};
}

bool is_path_separator(char c) {
    return c == '/';
}

}  // namespace trel::os
