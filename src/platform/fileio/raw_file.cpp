#include "platform/fileio/raw_file.h"

#include <algorithm>
#include <cstdint>

#include "base/command_line/shown_text.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "platform/fileio/error_text.h"

namespace trel::FileIO {
namespace {

os::FileAccess access_of(OpenMode mode) {
    switch (mode) {
        case OpenMode::create:
            return os::FileAccess::create;
        case OpenMode::create_new:
            return os::FileAccess::create_new;
        case OpenMode::read:
            return os::FileAccess::read;
        case OpenMode::read_write:
            break;
    }
    return os::FileAccess::read_write;
}

constexpr const char* kPositionRefused = "SetFilePointerEx() failed.";

void warn_about_reservation(const std::string& path, Warnings& warnings) {
    if (!reservation_warning.first_time()) return;
    warnings.add({{"SetFileValidData() has failed. Expect performance degradation.", 'R'},
                  {"Try re-running as administrator.", 'R'},
                  {"Path: " + CommandLine::shown_path(path), 'R'},
                  {"Further messages for this warning will be suppressed.", 'R'}});
}

// No right to reserve space, or no way to: the file works without.
bool is_offer_refused(os::OsError error) {
    using enum os::ErrorCategory;
    return error.category == access_denied || error.category == other || error.category == invalid_parameter;
}

}  // namespace

constinit OneShotWarning reservation_warning;

BaseFile::~BaseFile() = default;

RawFile::RawFile(std::string path, OpenMode mode, bool raw, bool temporary, const FileCalls& calls)
    : RawFile(std::move(path), mode, raw ? Caching::unbuffered : Caching::write_through, temporary, calls) {}

RawFile::RawFile(std::string path, OpenMode mode, Caching caching, bool temporary, const FileCalls& calls)
    : BaseFile(std::move(path)), calls_(calls), mode_(mode), caching_(caching), delete_on_close_(temporary) {
    const bool makes = mode == OpenMode::create || mode == OpenMode::create_new;
    open(mode, "RawFile()", makes ? "Unable to create file." : "Unable to open file.");
}

RawFile::RawFile(std::string path, i64 handle, const FileCalls& calls)
    : BaseFile(std::move(path)),
      calls_(calls),
      handle_(handle),
      mode_(OpenMode::create_new),
      caching_(Caching::unbuffered),
      delete_on_close_(false) {}

std::unique_ptr<RawFile> RawFile::adopt(std::string path, i64 handle, const FileCalls& calls) {
    return std::unique_ptr<RawFile>(new RawFile(std::move(path), handle, calls));
}

RawFile::~RawFile() {
    close();
}

void RawFile::open(OpenMode mode, const char* function, const char* failure) {
    os::FileFlags flags;
    flags.unbuffered = caching_ == Caching::unbuffered;
    flags.write_through = caching_ == Caching::write_through && mode != OpenMode::read;
    const os::OpenedFile opened = calls_.open(path_.c_str(), access_of(mode), flags);
    if (opened.error) throw file_error(function, failure, path_, opened.error);
    handle_ = opened.handle;
}

void RawFile::require_open(const char* function) const {
    if (!is_open()) throw FileException(function, "File isn't open.", path_);
}

void RawFile::write_all(const TransferTexts& texts, const void* buffer, u64 offset, u64 bytes) {
    require_open(texts.function);
    const os::Transfer done = calls_.write(handle_, buffer, offset, bytes);
    if (done.bytes != 0) written_end_ = std::max(written_end_, offset + done.bytes);
    failure_ = done.error;
    if (done.error) {
        throw file_error(texts.function, done.position_refused ? texts.position : texts.failed, path_,
                         done.error);
    }
    require_complete(texts, done.bytes, bytes);
}

u64 RawFile::read_some(const TransferTexts& texts, void* buffer, u64 offset, u64 bytes) {
    require_open(texts.function);
    const os::Transfer done = calls_.read(handle_, buffer, offset, bytes);
    if (done.error) {
        throw file_error(texts.function, done.position_refused ? texts.position : texts.failed, path_,
                         done.error);
    }
    return done.bytes;
}

void RawFile::read_all(const TransferTexts& texts, void* buffer, u64 offset, u64 bytes) {
    require_complete(texts, read_some(texts, buffer, offset, bytes), bytes);
}

void RawFile::require_complete(const TransferTexts& texts, u64 done, u64 asked) const {
    if (done == asked) return;
    throw FileException(texts.function,
                        texts.incomplete + std::to_string(done) + " / " + std::to_string(asked), path_);
}

const RawFile::TransferTexts RawFile::kLoadTexts{"RawFile::load()", kPositionRefused, "ReadFile() failed.",
                                                 "Incomplete Read: "};

void RawFile::store(const void* buffer, u64 offset, u64 bytes) {
    constexpr TransferTexts kTexts{"RawFile::store()", kPositionRefused, "WriteFile() failed.",
                                   "Incomplete Write: "};
    write_all(kTexts, buffer, offset, bytes);
}

u64 RawFile::load_available(void* buffer, u64 offset, u64 bytes) {
    return read_some(kLoadTexts, buffer, offset, bytes);
}

void RawFile::load(void* buffer, u64 offset, u64 bytes) {
    read_all(kLoadTexts, buffer, offset, bytes);
}

u64 RawFile::size() const {
    require_open("RawFile::size()");
    const os::FileSize size = calls_.size(handle_);
    if (size.error) throw file_error("RawFile::size()", "GetFileSizeEx() failed.", path_, size.error);
    return size.bytes;
}

void RawFile::set_size(u64 bytes) {
    require_open("RawFile::set_size()");
    const os::Resizing done = calls_.set_size(handle_, bytes);
    failure_ = done.error;
    if (done.error) {
        throw file_error("RawFile::set_size()",
                         done.position_refused ? kPositionRefused : "SetEndOfFile() failed.", path_,
                         done.error);
    }
}

os::OsError RawFile::try_reserve(u64 bytes) {
    require_open("RawFile::reserve()");
    const os::FileSize before = calls_.size(handle_);
    if (before.error) return before.error;
    os::OsError error = calls_.set_size(handle_, bytes).error;
    if (!error) {
        error = calls_.reserve(handle_, bytes);
        if (is_offer_refused(error)) return {};
    }
    // The part of the space that was reserved is given back.
    if (error) cut_quietly(before.bytes);
    return error;
}

void RawFile::cut_quietly(u64 bytes) {
    if (is_open()) (void)calls_.set_size(handle_, bytes).error.failed();
}

void RawFile::reserve(u64 bytes, Warnings& warnings) {
    constexpr const char* kFunction = "RawFile::reserve()";
    const u64 before = size();
    const bool is_ours = mode_ == OpenMode::create || mode_ == OpenMode::create_new;
    try {
        set_size(bytes);
        const os::OsError error = calls_.reserve(handle_, bytes);
        if (!error) return;
        if (is_offer_refused(error)) return warn_about_reservation(path_, warnings);
        throw file_error(kFunction, "SetFileValidData() failed.", path_, error);
    } catch (const FileException&) {
        if (is_ours && before == 0) {
            close_and_remove();
        } else {
            cut_quietly(before);
        }
        throw;
    }
}

void RawFile::flush() {
    require_open("RawFile::flush()");
    const os::OsError error = calls_.flush(handle_);
    failure_ = error;
    if (error) throw file_error("RawFile::flush()", "FlushFileBuffers() failed.", path_, error);
}

void RawFile::close() {
    if (is_open()) {
        const i64 handle = handle_;
        handle_ = os::kNoFile;
        if (calls_.close(handle)) closing_failures_.emplace_back("RawFile::close(): Unable to close file.");
    }
    if (!delete_on_close_) return;
    delete_on_close_ = false;
    if (calls_.remove(path_.c_str())) {
        closing_failures_.emplace_back("RawFile::close(): Unable to delete file.");
    }
}

void RawFile::close_and_set_size(u64 bytes) {
    require_open("RawFile::close_and_set_size()");
    set_size(bytes);
    flush();
    const i64 handle = handle_;
    handle_ = os::kNoFile;
    if (calls_.close(handle)) {
        closing_failures_.emplace_back("RawFile::close_and_set_size(): Unable to close file.");
    }
    close();  // what is left of it, if the file is temporary
}

void RawFile::close_and_remove() {
    if (!is_open()) return;
    delete_on_close_ = false;
    const os::OsError removal = calls_.remove_open(handle_, path_.c_str());
    close();
    // A file that is gone already is as wanted.
    if (removal && removal.category != os::ErrorCategory::not_found) {
        closing_failures_.emplace_back("RawFile::close(): Unable to delete file.");
    }
}

os::OsError RawFile::try_rename(const std::string& new_path) {
    require_open("BaseFile::rename()");  // whatever kind of file it is
    const os::OsError error = calls_.rename_open(handle_, path_.c_str(), new_path.c_str());
    if (!error) path_ = new_path;
    return error;
}

void RawFile::rename(const std::string& new_path) {
    constexpr const char* kFunction = "RawFile::rename()";
    require_open("BaseFile::rename()");
    os::OsError error;
    if (mode_ == OpenMode::read) {
        const i64 handle = handle_;
        handle_ = os::kNoFile;
        if (calls_.close(handle)) closing_failures_.emplace_back("RawFile::close(): Unable to close file.");
        error = calls_.rename(path_.c_str(), new_path.c_str());
    } else {
        error = try_rename(new_path);
    }
    if (error.category == os::ErrorCategory::exists) {
        throw file_error(kFunction, "Unable to rename file because the existing one can't be deleted.",
                         new_path, error);
    }
    if (error) throw file_error(kFunction, "Unable to rename file.", new_path, error);
    if (mode_ != OpenMode::read) return;
    path_ = new_path;
    open(OpenMode::read, kFunction, "Unable to reopen file.");
}

void AlignedAccessFile::check_alignment(u64 offset, u64 bytes, const void* buffer) const {
    constexpr const char* kFunction = "AlignedAccessFile::check_alignment()";
    const u64 mask = (u64(1) << sector_log2_) - 1;
    if (bytes & mask) throw InvalidParametersException(kFunction, "Length is misaligned.");
    if (offset & mask) throw InvalidParametersException(kFunction, "Offset is misaligned.");
    if (reinterpret_cast<std::uintptr_t>(buffer) & mask) {
        throw InvalidParametersException(kFunction, "Buffer is misaligned.");
    }
}

void AlignedAccessFile::store(const void* buffer, u64 offset, u64 bytes) {
    check_alignment(offset, bytes, buffer);
    RawFile::store(buffer, offset, bytes);
}

void AlignedAccessFile::load(void* buffer, u64 offset, u64 bytes) {
    check_alignment(offset, bytes, buffer);
    RawFile::load(buffer, offset, bytes);
}

}  // namespace trel::FileIO
