// A failing disk below everything that works with its file_calls(). The faults that were asked for happen
// once each (unless told otherwise), to whichever file makes the n-th call. Counting starts at 1, anew with
// each object. Calls may come from several threads.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "os/file.h"
#include "platform/fileio/file_calls.h"

namespace kalvor_test {

class FaultyFile {
  public:
    FaultyFile();
    FaultyFile(const FaultyFile&) = delete;
    FaultyFile& operator=(const FaultyFile&) = delete;

    const trel::FileIO::FileCalls& file_calls() const { return file_calls_; }

    enum class Call {
        open,
        close,
        read,
        write,
        size,
        set_size,
        reserve,
        flush,
        flush_folder,
        rename,
        remove,
        create_folder
    };
    static constexpr int kCalls = 12;
    static const char* name(Call call);
    // Renaming and removing by a handle count as rename and remove.

    // The n-th call and the `times - 1` after it fail without doing anything.
    void fail(Call call, trel::u64 n, trel::os::OsError error, trel::u64 times = 1);
    // The same for the n-th call of all kinds together.
    void fail_any(trel::u64 n, trel::os::OsError error);
    // The n-th read, write or set_size fails because its offset is refused.
    void refuse_position(Call call, trel::u64 n, trel::os::OsError error);
    // The disk takes this many bytes more (over all files); the write that exceeds them is cut, then
    // disk_full.
    void disk_full_after(trel::u64 bytes);
    // The n-th write ends after `bytes` bytes without an error; the n-th read likewise.
    void short_write(trel::u64 n, trel::u64 bytes);
    void short_read(trel::u64 n, trel::u64 bytes);
    // Inverts one bit (0 = lowest of the first byte) of what the n-th write brings to the disk, or the n-th
    // read delivers.
    void flip_bit_of_write(trel::u64 n, trel::u64 bit);
    void flip_bit_of_read(trel::u64 n, trel::u64 bit);

    // Called before every call, outside of all locks: the place to hold a thread back.
    void on_call(std::function<void(Call)> hook) { on_call_ = std::move(hook); }
    // Waits between attempts take no time; this is called instead with the seconds.
    void on_wait(std::function<void(double)> hook) { on_wait_ = std::move(hook); }
    std::vector<double> waits() const;
    // What the volume says is free; until then the truth.
    void free_space(trel::u64 bytes) { free_space_ = bytes; }
    // The disk takes everything again.
    void disk_no_longer_full();

    // Calls so far, failed ones too.
    trel::u64 count(Call call) const;
    // All of them in their order; for a transfer the bytes asked for.
    struct Made {
        Call call;
        trel::u64 number;  // among its kind, from 1
        trel::u64 bytes;
    };
    std::vector<Made> calls() const;

    static trel::os::OsError disk_full();
    static trel::os::OsError write_fault();
    static trel::os::OsError read_fault();
    static trel::os::OsError access_denied();

  private:
    struct Fault {
        Call call;
        trel::u64 first, last;
        trel::os::OsError error;
        bool position;
    };
    struct Change {
        Call call;
        trel::u64 n, amount;
    };
    struct Begun {
        trel::os::OsError error;  // the one it must fail with, if any
        bool position;
        trel::u64 n;  // which call of its kind it is
    };
    Begun begin(Call call, trel::u64 bytes = 0);
    const Change* find(const std::vector<Change>& changes, Call call, trel::u64 n) const;

    trel::os::Transfer read(trel::i64 handle, void* buffer, trel::u64 offset, trel::u64 bytes);
    trel::os::Transfer write(trel::i64 handle, const void* buffer, trel::u64 offset, trel::u64 bytes);

    const trel::FileIO::FileCalls& machine_;
    trel::FileIO::FileCalls file_calls_;
    mutable std::mutex mutex_;
    std::vector<Fault> faults_, faults_of_any_;
    std::vector<Change> shortened_, flipped_;
    std::vector<Made> made_;
    trel::u64 counts_[kCalls] = {};
    bool limited_ = false;
    trel::u64 bytes_left_ = 0;
    std::function<void(Call)> on_call_;
    std::function<void(double)> on_wait_;
    std::vector<double> waits_;
    std::optional<trel::u64> free_space_;
};

}  // namespace kalvor_test

// Tests use the name alone.
using kalvor_test::FaultyFile;
