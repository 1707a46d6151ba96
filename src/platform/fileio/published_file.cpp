#include "platform/fileio/published_file.h"

#include <algorithm>

#include "base/command_line/shown_text.h"
#include "base/errors/exceptions.h"
#include "platform/fileio/error_text.h"

namespace trel::FileIO {
namespace {

constexpr const char* kMaking = "PublishedFile()";
constexpr const char* kPublishing = "PublishedFile::publish()";

[[noreturn]] void throw_held(const std::string& path, os::OsError error) {
    throw FileException(
        kMaking, "Another run is writing this file. Wait until it has ended, or choose another folder.", path,
        error.code);
}

// A draft that no run holds, by a handle that holds it now; kNoFile when there is none.
i64 hold_forgotten(const std::string& path, const FileCalls& calls) {
    using enum os::ErrorCategory;
    const os::OpenedFile held = calls.open(path.c_str(), os::FileAccess::take_over, {});
    if (held.error.category == not_found) return os::kNoFile;
    if (held.error.category == sharing) throw_held(path, held.error);
    if (held.error.category == other) {
        throw FileException(kMaking,
                            "A link, a folder or a device has the name of the file that is to be written. "
                            "Remove it, or choose another folder.",
                            path, held.error.code);
    }
    if (held.error) throw file_error(kMaking, "Unable to open file.", path, held.error);
    return held.handle;
}

void remove_forgotten(const std::string& path, const FileCalls& calls) {
    const i64 held = hold_forgotten(path, calls);
    if (held == os::kNoFile) return;  // its run has just ended
    const os::OsError removal = calls.remove_open(held, path.c_str());
    (void)calls.close(held).failed();
    if (removal && removal.category != os::ErrorCategory::not_found) {
        throw file_error(kMaking, "Unable to delete file.", path, removal);
    }
}

std::shared_ptr<RawFile> make_draft(const std::string& path, const FileCalls& calls) {
    const auto make = [&] {
        return calls.open(path.c_str(), os::FileAccess::create_new, {.unbuffered = true});
    };
    os::OpenedFile made = make();
    if (made.error.category == os::ErrorCategory::exists) {
        remove_forgotten(path, calls);
        made = make();
        // The name is taken once more: by another run.
        if (made.error.category == os::ErrorCategory::exists) throw_held(path, made.error);
    }
    if (made.error.category == os::ErrorCategory::sharing) throw_held(path, made.error);
    if (made.error) throw file_error("RawFile()", "Unable to create file.", path, made.error);
    return RawFile::adopt(path, made.handle, calls);
}

}  // namespace

PublishedFile::PublishedFile(std::string draft_path, std::string final_path, const FileCalls& calls)
    : calls_(calls),
      draft_path_(std::move(draft_path)),
      final_path_(std::move(final_path)),
      file_(make_draft(draft_path_, calls)) {}

void PublishedFile::check(const std::string& draft_path, const FileCalls& calls) {
    const i64 held = hold_forgotten(draft_path, calls);
    if (held != os::kNoFile) (void)calls.close(held).failed();
}

PublishedFile::~PublishedFile() {
    leave();
}

os::OsError PublishedFile::reserve(u64 bytes) {
    return file_->try_reserve(bytes);
}

bool PublishedFile::needs_space() const {
    return os::space_may_come(file_->last_failure());
}

void PublishedFile::complete(u64 bytes) {
    file_->set_size(bytes);
    file_->flush();
    complete_bytes_ = bytes;
    is_complete_ = true;
}

void PublishedFile::rest() {
    if (!is_open()) return;
    written_before_ = std::max(written_before_, file_->written_end());
    file_->close();
    is_resting_ = true;
}

void PublishedFile::resume() {
    file_ = std::make_shared<RawFile>(draft_path_, OpenMode::read_write, true, false, calls_);
    is_resting_ = false;
    if (is_complete_) require_complete_size();
}

void PublishedFile::require_complete_size() const {
    const u64 bytes = file_->size();
    if (bytes != complete_bytes_) {
        throw FileException(kPublishing,
                            "The file has " + std::to_string(bytes) + " bytes instead of " +
                                std::to_string(complete_bytes_) + ". Did another program change it?",
                            draft_path_);
    }
}

void PublishedFile::publish() {
    if (!is_complete_) throw FileException(kPublishing, "The file is not complete.", draft_path_);
    require_complete_size();
    os::OsError last;
    const auto attempt = [&] {
        if (replaces_read_only_) (void)calls_.allow_replacing(final_path_.c_str()).failed();
        return last = file_->try_rename(final_path_);
    };
    const char* const refused = "Unable to rename file.";
    try {
        persist(kPublishing, refused, final_path_, attempt, calls_, ask_again_);
    } catch (const FileException&) {
        throw file_error(kPublishing,
                         std::string(refused) +
                             "\n\nThe file is whole. Only its name could not be given. It stays here, rename "
                             "it by hand:\n" +
                             CommandLine::shown_path(draft_path_),
                         final_path_, last);
    }
    // The file is in place; a folder that cannot be flushed only makes its name less durable.
    (void)calls_.flush_folder(final_path_.c_str()).failed();
    file_->close();
}

void PublishedFile::leave() {
    if (is_resting_ && !is_complete_) {
        // Its reserved space is given back.
        try {
            resume();
        } catch (const FileException&) {
            return;
        }
    }
    if (!is_open()) return;
    const u64 written = std::max(written_before_, file_->written_end());
    if (!is_complete_ && written == 0) return discard();
    if (!is_complete_) file_->cut_quietly(written);
    file_->close();
}

void PublishedFile::discard() {
    if (is_open()) file_->close_and_remove();
}

}  // namespace trel::FileIO
