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

bool is_same_file(int handle, const char* path) {
    struct stat open {
    }, named{};
    return fstat(handle, &open) == 0 && lstat(path, &named) == 0 && open.st_dev == named.st_dev &&
           open.st_ino == named.st_ino;
}

// The calls that make a file with O_EXCL leave it behind when they refuse O_DIRECT, so that it is asked for
// afterwards.
bool make_unbuffered(int handle) {
    const int flags = fcntl(handle, F_GETFL);
    return flags >= 0 && fcntl(handle, F_SETFL, flags | O_DIRECT) == 0;
}

int open_for(const char* path, FileAccess access, int mode, bool& unbuffered, bool private_file) {
    const mode_t rights = private_file ? 0600 : 0666;
    if (access == FileAccess::create_new) {
        const int handle = retry_interrupted([&] { return open(path, mode | O_CREAT | O_EXCL, rights); });
        if (handle >= 0 && unbuffered) unbuffered = make_unbuffered(handle);
        return handle;
    }
    if (access == FileAccess::take_over) {
        // O_NONBLOCK: opening a pipe does not wait for its other end. A process without the right to write
        // may still hold the file.
        mode |= O_NOFOLLOW | O_NONBLOCK;
        unbuffered = false;
        const int handle = retry_interrupted([&] { return open(path, mode); });
        if (handle >= 0 || errno != EACCES) return handle;
        return retry_interrupted([&] { return open(path, (mode & ~O_ACCMODE) | O_RDONLY); });
    }
    if (access == FileAccess::create) mode |= O_CREAT;
    if (access == FileAccess::read) mode |= O_NONBLOCK;  // nor does a reader wait for a pipe's writer
    const int handle =
        retry_interrupted([&] { return open(path, mode | (unbuffered ? O_DIRECT : 0), rights); });
    if (handle >= 0 || errno != EINVAL || !unbuffered) return handle;
    unbuffered = false;
    return retry_interrupted([&] { return open(path, mode, rights); });
}

}  // namespace

OpenedFile open_file(const char* path, FileAccess access, FileFlags flags) {
    int mode = O_CLOEXEC;
    mode |= access == FileAccess::read ? O_RDONLY : O_RDWR;
    if (flags.write_through) mode |= O_DSYNC;
    bool unbuffered = flags.unbuffered;
    const int handle = open_for(path, access, mode, unbuffered, flags.private_file);
    if (handle < 0) return {kNoFile, error_of(errno), false};
    // Reading may open a folder, which fails no earlier than at the first byte.
    struct stat status {};
    if (fstat(handle, &status) == 0 && S_ISDIR(status.st_mode)) {
        close(handle);
        return {kNoFile, error_of(EISDIR), false};
    }
    if (access == FileAccess::take_over && !S_ISREG(status.st_mode)) {
        close(handle);
        return {kNoFile, error_of(ELOOP), false};
    }
    if (access == FileAccess::read && S_ISFIFO(status.st_mode)) {
        close(handle);
        return {kNoFile, error_of(ESPIPE), false};
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
    // Between its creation and its lock somebody may have taken the file for a forgotten one.
    if ((access == FileAccess::create_new || access == FileAccess::take_over) &&
        !is_same_file(handle, path)) {
        close(handle);
        return {kNoFile, {EWOULDBLOCK, ErrorCategory::sharing}, false};
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
    // Never retried: after EINTR the handle is gone anyway, and may already be another thread's.
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

OsError rename_open_file(i64 handle, const char* from, const char* to) {
    if (!is_same_file(static_cast<int>(handle), from)) return error_of(ENOENT);
    if (const OsError error = rename_file(from, to)) return error;
    return is_same_file(static_cast<int>(handle), to) ? OsError{} : error_of(ENOENT);
}

OsError remove_open_file(i64 handle, const char* path) {
    return is_same_file(static_cast<int>(handle), path) ? remove_file(path) : error_of(ENOENT);
}

bool space_may_come(OsError error) {
    return error.category == ErrorCategory::disk_full && error.code != EFBIG;
}

bool is_read_only(const char* path) {
    struct stat status {};
    if (stat(path, &status) != 0) return false;
    // A privileged user may write everywhere, but the mark was meant for somebody.
    return (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0 || access(path, W_OK) != 0;
}

OsError allow_replacing(const char*) {
    return {};
}

bool is_folder(const char* path) {
    struct stat status {};
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

OsError create_folder(const char* path) {
    if (mkdir(path, 0777) != 0) return error_of(errno, Direction::writing);
    return {};
}

OsError remove_folder(const char* path) {
    if (rmdir(path) != 0) return error_of(errno, Direction::writing);
    return {};
}

bool is_path_separator(char c) {
    return c == '/';
}

}  // namespace trel::os
