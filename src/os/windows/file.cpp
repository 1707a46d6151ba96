#include "os/file.h"

#include <windows.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "os/transfer_steps.h"
#include "os/windows/last_error.h"
#include "os/windows/wide_path.h"

namespace trel::os {
namespace {

// Offsets are signed here; larger ones would come out negative.
constexpr u64 kLargestOffset = ~u64(0) >> 1;
static_assert(kNoFile == -1, "the handle that CreateFileW returns for a failure");

HANDLE handle_of(i64 handle) {
    return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(handle));
}

OsError last_error() {
    return error_of(GetLastError());
}

// False leaves the reason in the calling thread's last error.
bool move_to(i64 handle, u64 offset) {
    LARGE_INTEGER position;
    position.QuadPart = static_cast<LONGLONG>(offset);
    return SetFilePointerEx(handle_of(handle), position, nullptr, FILE_BEGIN) != 0;
}

}  // namespace

OpenedFile open_file(const char* path, FileAccess access, FileFlags flags) {
    std::wstring wide;
    DWORD error = 0;
    if (!wide_path(path, wide, error)) return {kNoFile, error_of(error), false};

    const bool reading = access == FileAccess::read;
    const bool taking = access == FileAccess::take_over;
    const bool exclusive = taking || access == FileAccess::create_new;
    const DWORD rights = reading || taking ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE;
    const DWORD share = reading ? FILE_SHARE_READ : 0;
    const DWORD creation = access == FileAccess::create       ? OPEN_ALWAYS
                           : access == FileAccess::create_new ? CREATE_NEW
                                                              : OPEN_EXISTING;
    DWORD attributes = flags.write_through ? FILE_FLAG_WRITE_THROUGH : FILE_ATTRIBUTE_NORMAL;
    // If the name is a link, the link itself is opened.
    if (exclusive) attributes |= FILE_FLAG_OPEN_REPARSE_POINT;
    const auto open = [&](bool unbuffered) {
        const auto call = [&](DWORD wanted) {
            return CreateFileW(wide.c_str(), wanted, share, nullptr, creation,
                               attributes | (unbuffered ? FILE_FLAG_NO_BUFFERING : 0), nullptr);
        };
        if (reading) return call(rights);
        // The right to rename and remove through the handle; a file that grants writing alone is written.
        const HANDLE handle = call(rights | DELETE);
        if (handle != INVALID_HANDLE_VALUE || taking || GetLastError() != ERROR_ACCESS_DENIED) return handle;
        return call(rights);
    };
    bool unbuffered = flags.unbuffered;
    HANDLE handle = open(unbuffered);
    // A file system that has no unbuffered access.
    if (handle == INVALID_HANDLE_VALUE && unbuffered && GetLastError() == ERROR_INVALID_PARAMETER) {
        unbuffered = false;
        handle = open(false);
    }
    if (handle == INVALID_HANDLE_VALUE) return {kNoFile, last_error(), false};
    BY_HANDLE_FILE_INFORMATION about{};
    if (taking &&
        (GetFileInformationByHandle(handle, &about) == 0 ||
         (about.dwFileAttributes & (FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY)) != 0)) {
        CloseHandle(handle);
        return {kNoFile, error_of(ERROR_CANT_ACCESS_FILE), false};
    }
    // Emptied only now: the content of a file that somebody else holds stays.
    if (access == FileAccess::create && SetEndOfFile(handle) == 0) {
        const OsError failure = last_error();
        CloseHandle(handle);
        return {kNoFile, failure, false};
    }
    return {static_cast<i64>(reinterpret_cast<std::intptr_t>(handle)), {}, unbuffered};
}

OsError close_file(i64 handle) {
    return CloseHandle(handle_of(handle)) == 0 ? last_error() : OsError{};
}

Transfer read_file(i64 handle, void* buffer, u64 offset, u64 bytes) {
    if (!move_to(handle, offset)) return {0, last_error(), true};
    return transfer_in_steps(bytes, [&](u64 done, u64 ask) -> TransferStep {
        DWORD got = 0;
        if (ReadFile(handle_of(handle), static_cast<char*>(buffer) + done, static_cast<DWORD>(ask), &got,
                     nullptr) == 0) {
            const DWORD error = GetLastError();
            if (error == ERROR_HANDLE_EOF) return {0, {}};
            return {0, error_of(error)};
        }
        return {got, {}};
    });
}

Transfer write_file(i64 handle, const void* buffer, u64 offset, u64 bytes) {
    if (!move_to(handle, offset)) return {0, last_error(), true};
    return transfer_in_steps(bytes, [&](u64 done, u64 ask) -> TransferStep {
        DWORD put = 0;
        if (WriteFile(handle_of(handle), static_cast<const char*>(buffer) + done, static_cast<DWORD>(ask),
                      &put, nullptr) == 0) {
            return {0, last_error()};
        }
        return {put, {}};
    });
}

FileSize file_size(i64 handle) {
    LARGE_INTEGER size;
    if (GetFileSizeEx(handle_of(handle), &size) == 0) return {0, last_error()};
    return {static_cast<u64>(size.QuadPart), {}};
}

Resizing set_file_size(i64 handle, u64 bytes) {
    if (bytes > kLargestOffset) return {error_of(ERROR_NEGATIVE_SEEK), true};
    // Not by the position, which is bound to whole sectors where the file is unbuffered.
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = static_cast<LONGLONG>(bytes);
    if (SetFileInformationByHandle(handle_of(handle), FileEndOfFileInfo, &end, sizeof end) == 0) {
        return {last_error(), false};
    }
    return {};
}

OsError reserve_file_space(i64 handle, u64 bytes) {
    if (bytes == 0) return {};
    const FileSize size = file_size(handle);
    if (size.error) return size.error;
    if (size.bytes < bytes) {
        const Resizing grown = set_file_size(handle, bytes);
        if (grown.error) return grown.error;
    }
    // Without this the system clears the space between the last byte written and the next one.
    return SetFileValidData(handle_of(handle), static_cast<LONGLONG>(bytes)) == 0 ? last_error() : OsError{};
}

OsError flush_file(i64 handle) {
    return FlushFileBuffers(handle_of(handle)) == 0 ? last_error() : OsError{};
}

// The file system keeps a journal of its folders, and renaming waits for the device.
OsError flush_folder_of(const char*) {
    return {};
}

OsError rename_file(const char* from, const char* to) {
    std::wstring source, target;
    DWORD error = 0;
    if (!wide_path(from, source, error) || !wide_path(to, target, error)) return c_error_of(error);
    if (MoveFileExW(source.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) !=
        0) {
        return {};
    }
    error = GetLastError();
    // A second try that replaces nothing tells whose fault it was: the target is in the way only when the
    // source could be moved.
    if (error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION) {
        if (MoveFileExW(source.c_str(), target.c_str(), MOVEFILE_WRITE_THROUGH) != 0) return {};
        error = GetLastError();
    }
    return c_error_of(error);
}

OsError remove_file(const char* path) {
    std::wstring wide;
    DWORD error = 0;
    if (!wide_path(path, wide, error)) return c_error_of(error);
    return DeleteFileW(wide.c_str()) == 0 ? c_error_of(GetLastError()) : OsError{};
}

// The handle shares nothing, so that the names lead to its file as long as it is open.
OsError rename_open_file(i64 handle, const char*, const char* to) {
    std::wstring target;
    DWORD error = 0;
    if (!wide_path(to, target, error)) return c_error_of(error);
    const DWORD needed = GetFullPathNameW(target.c_str(), 0, nullptr, nullptr);
    std::wstring full(needed, L'\0');
    const DWORD got = needed == 0 ? 0 : GetFullPathNameW(target.c_str(), needed, full.data(), nullptr);
    if (got == 0 || got >= needed) return c_error_of(GetLastError());
    full.resize(got);

    const std::size_t name_bytes = full.size() * sizeof(wchar_t);
    std::vector<u64> memory((sizeof(FILE_RENAME_INFO) + name_bytes) / sizeof(u64) + 1);
    const auto call = [&](bool replace) {
        auto* const info = reinterpret_cast<FILE_RENAME_INFO*>(memory.data());
        info->ReplaceIfExists = replace ? TRUE : FALSE;
        info->RootDirectory = nullptr;
        info->FileNameLength = static_cast<DWORD>(name_bytes);
        std::memcpy(info->FileName, full.c_str(), name_bytes + sizeof(wchar_t));
        return SetFileInformationByHandle(handle_of(handle), FileRenameInfo, info,
                                          static_cast<DWORD>(sizeof(FILE_RENAME_INFO) + name_bytes)) != 0;
    };
    const auto durably = [&]() -> OsError {
        (void)FlushFileBuffers(handle_of(handle));
        return {};
    };
    if (call(true)) return durably();
    error = GetLastError();
    // As in rename_file.
    if (error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION) {
        if (call(false)) return durably();
        error = GetLastError();
    }
    return c_error_of(error);
}

OsError remove_open_file(i64 handle, const char*) {
    FILE_DISPOSITION_INFO info{};
    info.DeleteFile = TRUE;
    return SetFileInformationByHandle(handle_of(handle), FileDispositionInfo, &info, sizeof info) == 0
               ? c_error_of(GetLastError())
               : OsError{};
}

bool space_may_come(OsError error) {
    return error.category == ErrorCategory::disk_full;
}

bool is_read_only(const char* path) {
    std::wstring wide;
    DWORD error = 0;
    if (!wide_path(path, wide, error)) return false;
    const DWORD attributes = GetFileAttributesW(wide.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0;
}

OsError allow_replacing(const char* path) {
    std::wstring wide;
    DWORD error = 0;
    if (!wide_path(path, wide, error)) return c_error_of(error);
    const DWORD attributes = GetFileAttributesW(wide.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_READONLY) == 0) return {};
    return SetFileAttributesW(wide.c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY)) == 0
               ? c_error_of(GetLastError())
               : OsError{};
}

bool is_folder(const char* path) {
    std::wstring wide;
    DWORD error = 0;
    if (!wide_path(path, wide, error)) return false;
    const DWORD attributes = GetFileAttributesW(wide.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

OsError create_folder(const char* path) {
    std::wstring wide;
    DWORD error = 0;
    if (!wide_path(path, wide, error)) return error_of(error);
    return CreateDirectoryW(wide.c_str(), nullptr) == 0 ? last_error() : OsError{};
}

OsError remove_folder(const char* path) {
    std::wstring wide;
    DWORD error = 0;
    if (!wide_path(path, wide, error)) return error_of(error);
    return RemoveDirectoryW(wide.c_str()) == 0 ? last_error() : OsError{};
}

bool is_path_separator(char c) {
    return c == '/' || c == '\\';
}

}  // namespace trel::os
