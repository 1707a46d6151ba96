// Files by handle: open, read and write at an offset, sizes, renaming. A handle is used by one thread at a
// time unless a function says otherwise; different handles are independent. Paths are UTF-8.
#pragma once

#include "os/error.h"
#include "os/types.h"

namespace trel::os {

enum class FileAccess {
    create,      // read and write; made if missing, emptied if not; nobody else may have it open
    create_new,  // read and write; category exists where anything has that name, be it a link; nobody else
    read,        // must exist and not be a pipe; other readers are allowed, a writer is not
    read_write,  // must exist; nobody else may have it open
    take_over,   // must exist and be a plain file, not a link; nobody else may have it open. To remove it.
};

struct FileFlags {
    bool unbuffered = false;     // past the system's cache: offsets, lengths and addresses in whole sectors
    bool write_through = false;  // a write returns when the device has the data
    bool private_file = false;   // a new file is for this user alone
};

inline constexpr i64 kNoFile = -1;

struct [[nodiscard]] OpenedFile {
    i64 handle = kNoFile;
    OsError error;
    bool unbuffered = false;  // false where the file system refused unbuffered access: the file works, cached
};

// A file that another handle holds against the access asked for fails at once with category sharing.
OpenedFile open_file(const char* path, FileAccess access, FileFlags flags);
OsError close_file(i64 handle);

// bytes < asked without an error: the end of the file (reading), or a device that took no more (writing).
struct [[nodiscard]] Transfer {
    u64 bytes = 0;
    OsError error;
    bool position_refused = false;  // the error is about the offset; nothing was moved
};

// Partial transfers are continued and interrupted ones repeated, at most 1 GiB a system call. Both move the
// position of the handle, so that a handle serves one thread.
Transfer read_file(i64 handle, void* buffer, u64 offset, u64 bytes);
Transfer write_file(i64 handle, const void* buffer, u64 offset, u64 bytes);

struct [[nodiscard]] FileSize {
    u64 bytes = 0;
    OsError error;
};
FileSize file_size(i64 handle);
struct [[nodiscard]] Resizing {
    OsError error;
    bool position_refused = false;  // the error is about the size as an offset
};
// Cuts the file or extends it with zeros.
Resizing set_file_size(i64 handle, u64 bytes);
// Reserves the space of the first `bytes` bytes (the file grows to them if it is shorter) so that writing
// them later neither fails for want of space nor has to clear it first.
OsError reserve_file_space(i64 handle, u64 bytes);
// Returns when the device has everything that was written.
OsError flush_file(i64 handle);
// The same for the folder that holds `path`: its entry survives a loss of power.
OsError flush_folder_of(const char* path);

// Replaces an existing target file. Category exists: the target is in the way and could not be replaced,
// while `from` itself could be moved. After a failure both are what they were. The codes of these and of the
// next two are the C library's on every system.
OsError rename_file(const char* from, const char* to);
OsError remove_file(const char* path);
// The same for the file that a handle of a writer holds; it stays open and held. Category not_found, and
// nothing done: `from` or `path` leads to another file by now. A removed file is gone when its handle is
// closed at the latest.
OsError rename_open_file(i64 handle, const char* from, const char* to);
OsError remove_open_file(i64 handle, const char* path);
// Whether waiting may help: another process may free space on the device, but a limit stays.
bool space_may_come(OsError error);
bool is_folder(const char* path);
// Whether the file is marked as not to be written, or its folder's volume is.
bool is_read_only(const char* path);
// Where the system does not replace files that are so marked: takes the mark off.
OsError allow_replacing(const char* path);
// Category exists when there is something of that name already.
OsError create_folder(const char* path);
// An empty one; what holds anything stays.
OsError remove_folder(const char* path);
// "/" everywhere, "\\" too where the system's calls take it.
bool is_path_separator(char c);

}  // namespace trel::os
