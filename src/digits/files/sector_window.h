// A digit file while it is written, whatever its format: a window of whole sectors through which its bytes
// go, the ranges of digits that were written, and its end: complete, checked and named, or incomplete and
// told.
//
//   file      |head|  ...  |sector|sector|sector|  ...          window_ on a sector
//   buffer                 |known.......|      |overhang|
//                               ^ cursor
//
// A full window that is not small goes to the disk on a thread of its own, while the next one is filled.
#pragma once

#include <algorithm>
#include <exception>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>

#include "base/names/names.h"
#include "base/status/warnings.h"
#include "os/sync.h"
#include "os/types.h"
#include "platform/fileio/published_file.h"
#include "platform/fileio/sparse_ranges.h"
#include "platform/memory/aligned_buffer.h"
#include "platform/memory/guarded_heap.h"

namespace kalvor {

// What is fixed about a digit file before its first digit.
struct DigitFileShape {
    std::string head;  // the bytes before the digits
    u64 bytes;         // of the whole file
    u64 begin;         // the digits begin + 1 ... end belong into it
    u64 end;
    u8 fresh = 0;  // the bytes of space that was never written; not digits
};

// The caller holds lock() around the functions that move bytes; the others lock by themselves.
class SectorWindow {
  public:
    static constexpr u64 kDefaultBytes = u64(4) << 20;
    // From here on the bytes of a window are two halves, of which one is written while the other is filled. A
    // thread takes some 10 microseconds to wake up, the disk much longer for half of this.
    static constexpr u64 kLeastHalved = u64(512) << 10;
    // Lent memory of this size, of any alignment, is worth a window that is shorter than the usual one.
    static constexpr u64 kLeastLent = u64(1) << 20;
    // The window for a writer that is lent so many bytes: one that fits into them, or the usual one.
    static constexpr u64 window_bytes(u64 lent_bytes) {
        constexpr u64 kBeside = 5 * FileIO::kSectorBytes;
        return lent_bytes < kLeastLent ? kDefaultBytes : std::min(kDefaultBytes, lent_bytes - kBeside);
    }

    // One of own and file is the file. What is not owned outlives the window, and its owner has it checked:
    // only publish() and close() give it its final name.
    // window_bytes: the memory of the window. warnings: of the run, or nullptr; hears of an incomplete file.
    // lent: memory that nobody else uses until finish(), abandon() or the destructor, in place of the
    // window's own where it holds it: window_bytes().
    SectorWindow(std::unique_ptr<FileIO::PublishedFile> own, FileIO::PublishedFile* file,
                 DigitFileShape shape, u64 window_bytes, Warnings* warnings, AlignedBufferC lent = {});
    // close(), but a complete file that is not owned keeps its incomplete name: it has not been checked.
    // Throws nothing: what goes wrong is a warning of the run.
    ~SectorWindow();
    SectorWindow(const SectorWindow&) = delete;
    SectorWindow& operator=(const SectorWindow&) = delete;

    std::unique_lock<std::mutex> lock() { return std::unique_lock(mutex_); }
    const DigitFileShape& shape() const { return shape_; }
    FileIO::PublishedFile& file() { return file_; }
    const FileIO::PublishedFile& file() const { return file_; }

    // ---- under lock()

    bool takes_digits() const { return !is_closed_ && !is_finished_; }
    // Puts the cursor at a byte of the file.
    void seek(u64 offset);
    // The place behind the cursor, for whole units of at most 8 bytes: at least one of them.
    std::span<u8> room(u64 unit);
    // So many bytes behind the cursor were filled; it moves behind them.
    void advance(u64 bytes);
    // Everything behind the cursor is dropped, what was put there without advance() and the rest of the
    // window: no written digits may stand at any place behind the cursor.
    void forget() { known_ = cursor_; }
    // The bytes behind the cursor (at most 8) as the file has them, fresh where it has none.
    u8* known(u64 bytes);
    // The digits begin + 1 ... end are in the file or in the window.
    void mark_written(u64 begin, u64 end) { written_.add(begin, end); }
    bool overlaps_written(u64 begin, u64 end) const { return written_.overlaps(begin, end); }
    bool is_complete() const { return !failed_ && written_.covers(shape_.begin, shape_.end); }
    // Brings the window into the file and gives its memory back.
    void rest();

    // ---- the end

    // Throws FileException when digits are missing.
    void finish(const char* function);
    // Throws InvalidParametersException before finish().
    void require_finished(const char* function);
    void publish();
    // finish() and publish() when every digit was written. Otherwise warns and leaves the file under its
    // incomplete name. Closing twice does nothing. After a write that failed no other is tried: its exception
    // has told what is wrong.
    void close() { end(true); }
    // No more attempts, no warning. Lent memory is free afterwards.
    void abandon();

  private:
    void finish_locked();
    void publish_locked();
    void end(bool may_publish);
    void warn_incomplete() const;
    void open_at(u64 offset);
    void make_known(u64 end);
    void write_up_to(u64 end);
    void write_all();
    void begin_write();
    void wait_for_writer();
    void end_writer();
    void settle();
    void move_on();
    void fill_gaps();

    std::mutex mutex_;
    const DigitFileShape shape_;
    const std::unique_ptr<FileIO::PublishedFile> own_;  // empty if the caller owns the file
    FileIO::PublishedFile& file_;
    Warnings* const warnings_;
    const bool halved_;
    const u64 capacity_;  // of the window; behind it a sector for what reaches over its end
    bool is_closed_ = false;
    bool is_finished_ = false;
    bool failed_ = false;  // the last attempt to bring the window into the file failed, as far as is known

    // The memory of a half, lent or its own.
    class Half {
      public:
        void take(u8* lent, u64 bytes);
        u8* bytes() const { return bytes_; }
        void free();

      private:
        GuardedBuffer own_;
        u8* bytes_ = nullptr;
    };
    u64 half_bytes() const { return capacity_ + FileIO::kSectorBytes; }
    u8* lent_[2] = {nullptr, nullptr};

    Half buffer_;     // may be empty: then nothing is known and nothing to be written
    u64 window_ = 0;  // of the buffer in the file
    // Places in the buffer:
    u64 cursor_ = 0;
    u64 known_ = 0;                        // [0, known_) is as it shall be in the file
    u64 dirty_begin_ = 0, dirty_end_ = 0;  // not yet in the file

    // The other half, [from, to) of which is being brought to `offset` of the file, or could not be. Until
    // settle() the file belongs to the thread.
    struct OtherHalf {
        void run();
        enum class State { idle, writing, ending };
        void set(State next);

        Half buffer;
        u64 from = 0, to = 0, offset = 0;
        FileIO::RawFile* file = nullptr;
        bool is_given = false;  // to the thread, which may have done it by now
        std::exception_ptr failure;
        // It waits for its next half: a new thread would be the last to get a processor where others want it.
        std::thread writer;
        os::Mutex mutex;
        os::ConditionVariable changed;
        State state = State::idle;
    };
    OtherHalf other_;

    u64 end_ = 0;                   // of the bytes that were ever put in, in the file
    FileIO::SparseRanges in_file_;  // whole sectors that were written; the others are never read
    FileIO::SparseRanges written_;  // digits
};

}  // namespace kalvor
