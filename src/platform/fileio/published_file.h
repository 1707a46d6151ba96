// A file that has another name until it is whole. Every writer of results needs this: no other process writes
// the file, no reader sees half of it, and an older file of the final name stays until the new one is
// complete, checked and on the device.
//
//   PublishedFile file(draft, target)    exclusive creation under the draft's name; held from here to the end
//   file.reserve(bytes)                  the space, before a long computation
//   file.file().store(...)               the content, through the same handle
//   file.complete(bytes)                 cut to its size, on the device
//   file.file().load(...)                read back and checked by the caller, through the same handle
//   file.publish()                       the final name; closed
#pragma once

#include <memory>
#include <string>

#include "platform/fileio/persistent.h"
#include "platform/fileio/raw_file.h"

namespace trel::FileIO {

class PublishedFile {
  public:
    // A draft that an earlier run left behind is deleted. Throws FileException: for one that a run is still
    // writing ("Another run is writing this file. ..."), for anything else of that name that is not a plain
    // file, and for what the system refuses.
    PublishedFile(std::string draft_path, std::string final_path,
                  const FileCalls& calls = FileCalls::of_this_machine());
    // What the constructor would refuse now; makes and deletes nothing.
    static void check(const std::string& draft_path, const FileCalls& calls = FileCalls::of_this_machine());
    // leave()
    ~PublishedFile();
    PublishedFile(const PublishedFile&) = delete;
    PublishedFile& operator=(const PublishedFile&) = delete;

    RawFile& file() { return *file_; }
    const RawFile& file() const { return *file_; }
    // For a reader that may live on; it fails when the file was closed.
    const std::shared_ptr<RawFile>& shared_file() const { return file_; }
    bool is_open() const { return file_->is_open(); }
    const std::string& draft_path() const { return draft_path_; }
    const std::string& final_path() const { return final_path_; }

    // The space of the whole file. The error when it is not there; nothing is then reserved. Where space
    // cannot be reserved, that is not an error.
    [[nodiscard]] os::OsError reserve(u64 bytes);
    // Whether the last failure was one for want of space that may come.
    bool needs_space() const;

    // The content is there: the file is cut to `bytes` and on the device.
    void complete(u64 bytes);
    // A file can be let go of where there are more of them than handles; meanwhile nothing holds it. resume()
    // throws FileException when it is not there, or not as complete() left it.
    void rest();
    void resume();
    bool is_resting() const { return is_resting_; }
    // As complete() was told.
    u64 complete_bytes() const { return complete_bytes_; }
    // Gives the file its final name, durably, and closes it. Replaces what has that name. A refused rename is
    // tried again as ask_again() says. Throws FileException when the file is not as complete() left it, and
    // when the name cannot be given.
    void publish();
    void ask_again(AskAgain ask_again) { ask_again_ = std::move(ask_again); }
    // A target that is marked as not to be written is replaced too (not every system asks for this).
    void replace_read_only() { replaces_read_only_ = true; }
    // Closes an unfinished draft and leaves it, cut to what was written; one without content is deleted.
    // Failures are silent: a worse one came before.
    void leave();
    // Closes and deletes the draft.
    void discard();

  private:
    void require_complete_size() const;

    const FileCalls& calls_;
    const std::string draft_path_;
    const std::string final_path_;
    std::shared_ptr<RawFile> file_;
    u64 complete_bytes_ = 0;
    bool is_complete_ = false;
    bool is_resting_ = false;
    u64 written_before_ = 0;  // the end of what was stored before the last rest()
    bool replaces_read_only_ = false;
    AskAgain ask_again_;
};

}  // namespace trel::FileIO
