// A file read and written at byte offsets, past the system's cache where wanted. Every failure is a
// FileException with the path and the system's number, except where a warning is named.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/errors/one_shot_warning.h"
#include "base/status/warnings.h"
#include "os/file.h"
#include "os/types.h"
#include "platform/fileio/file_calls.h"

namespace trel::FileIO {

// Offsets, lengths and addresses of unbuffered access are multiples of this on every disk we know.
inline constexpr u64 kSectorBytes = 4096;

// Whether the user knows that space cannot be reserved (RawFile::reserve()).
extern OneShotWarning reservation_warning;

class BaseFile {
  public:
    virtual ~BaseFile();
    BaseFile(const BaseFile&) = delete;
    BaseFile& operator=(const BaseFile&) = delete;

    const std::string& path() const { return path_; }
    virtual bool is_open() const = 0;
    // Never throws: files are closed in destructors. RawFile::closing_failures() tells what failed.
    virtual void close() = 0;
    // Returns when the device has everything.
    virtual void flush() = 0;
    // Moves the open file; an existing target is replaced. The file stays open under its new name.
    virtual void rename(const std::string& new_path) = 0;

  protected:
    explicit BaseFile(std::string path) : path_(std::move(path)) {}

    std::string path_;
};

enum class OpenMode {
    create,      // made or emptied; read and write; nobody else
    create_new,  // made; refused where anything has that name; read and write; nobody else
    read,        // must exist; shared with other readers
    read_write,  // must exist; nobody else
};

// Used by one thread at a time.
class RawFile : public BaseFile {
  public:
    // raw: unbuffered, where the file system can; otherwise writes are written through. temporary: deleted on
    // close.
    RawFile(std::string path, OpenMode mode, bool raw, bool temporary = false,
            const FileCalls& calls = FileCalls::of_this_machine());
    // Closes.
    ~RawFile() override;
    // Takes over the handle of a file that was made with FileAccess::create_new.
    static std::unique_ptr<RawFile> adopt(std::string path, i64 handle,
                                          const FileCalls& calls = FileCalls::of_this_machine());

    bool is_open() const override { return handle_ != os::kNoFile; }
    const FileCalls& calls() const { return calls_; }

    // What the system said to the last write, resizing or flush.
    os::OsError last_failure() const { return failure_; }
    // The end of what was stored since the file was opened.
    u64 written_end() const { return written_end_; }

    // All bytes or an exception: "SetFilePointerEx() failed.", "WriteFile() failed.", "Incomplete Write: 4096
    // / 8192", "File isn't open.".
    virtual void store(const void* buffer, u64 offset, u64 bytes);
    virtual void load(void* buffer, u64 offset, u64 bytes);
    // As load, but ends quietly at the end of the file; returns the bytes read. For raw files bytes is whole
    // sectors.
    u64 load_available(void* buffer, u64 offset, u64 bytes);

    u64 size() const;
    void set_size(u64 bytes);
    // Sets the size and reserves its space, so that later writes neither fail for want of it nor need
    // clearing. Where the system does not offer that or this user has no right to it, that is a warning,
    // added once per process. Any other failure leaves the file as it was and is an exception; a file that
    // was made here and holds nothing is then deleted.
    void reserve(u64 bytes, Warnings& warnings);
    // The same without a warning and an exception: the error, and the file as it was. No error where only the
    // offer is refused.
    [[nodiscard]] os::OsError try_reserve(u64 bytes);
    // set_size() of a file that is given up: failures are silent.
    void cut_quietly(u64 bytes);
    void flush() override;

    void close() override;
    // Cuts the file to `bytes` and closes it. For the end of unbuffered writing, whose last sector may reach
    // past the data. Durable on return. The file is held until then.
    void close_and_set_size(u64 bytes);
    // Failures are kept like those of close().
    void close_and_remove();
    // What could not be closed or deleted, in words for the user. The caller tells them, or lets them go with
    // the file.
    const std::vector<std::string>& closing_failures() const { return closing_failures_; }

    // A writer's file is held throughout; after a failure it is open and has its old name. A reader's is
    // closed, renamed and opened again. A failing rename leaves the target as it was.
    void rename(const std::string& new_path) override;
    // The attempt alone, for a writer's file.
    [[nodiscard]] os::OsError try_rename(const std::string& new_path);

  protected:
    enum class Caching {
        unbuffered,     // past the system's cache, where the file system can
        write_through,  // a write returns when the device has the data
        cached,         // only flush() waits for the device
    };
    RawFile(std::string path, OpenMode mode, Caching caching, bool temporary, const FileCalls& calls);

    // What a failed transfer is called.
    struct TransferTexts {
        const char* function;
        const char* position;  // the offset was refused
        const char* failed;
        const char* incomplete;
    };
    void write_all(const TransferTexts& texts, const void* buffer, u64 offset, u64 bytes);
    // Returns the bytes read, fewer at the end of the file.
    u64 read_some(const TransferTexts& texts, void* buffer, u64 offset, u64 bytes);
    void read_all(const TransferTexts& texts, void* buffer, u64 offset, u64 bytes);

  private:
    RawFile(std::string path, i64 handle, const FileCalls& calls);

    static const TransferTexts kLoadTexts;

    void require_complete(const TransferTexts& texts, u64 done, u64 asked) const;
    void open(OpenMode mode, const char* function, const char* failure);
    void require_open(const char* function) const;

    const FileCalls& calls_;
    i64 handle_ = os::kNoFile;
    OpenMode mode_;
    Caching caching_;
    bool delete_on_close_;
    u64 written_end_ = 0;
    std::vector<std::string> closing_failures_;
    os::OsError failure_;
};

// A raw file that refuses what is not whole sectors before the system has to.
class AlignedAccessFile : public RawFile {
  public:
    AlignedAccessFile(std::string path, OpenMode mode, bool raw, u64 sector_log2 = 12, bool temporary = false,
                      const FileCalls& calls = FileCalls::of_this_machine())
        : RawFile(std::move(path), mode, raw, temporary, calls), sector_log2_(sector_log2) {}

    void store(const void* buffer, u64 offset, u64 bytes) override;
    void load(void* buffer, u64 offset, u64 bytes) override;
    // Throws InvalidParametersException "Length is misaligned.", "Offset is misaligned.", "Buffer is
    // misaligned.".
    void check_alignment(u64 offset, u64 bytes, const void* buffer) const;

  private:
    const u64 sector_log2_;
};

}  // namespace trel::FileIO
