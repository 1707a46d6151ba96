#include "digits/viewer/transfer.h"

#include <algorithm>

#include "base/console/format.h"
#include "base/status/changing_frame.h"
#include "digits/files/digit_hash.h"
#include "digits/files/digit_kernels.h"
#include "os/memory_status.h"
#include "platform/memory/guarded_heap.h"

namespace kalvor::DigitViewer2 {

namespace {

constexpr u64 kMaxPiece = 1000000000;            // digits
constexpr u64 kScratchLimit = u64(1) << 30;      // bytes that readers and writers are offered
constexpr u64 kMostMemory = 0x6FFFFFFFFFFFFFF9;  // bytes
// Digits between two looks at the stop flag: a few milliseconds from memory, a tenth of a second from a disk.
constexpr u64 kStep = u64(1) << 24;
constexpr std::size_t kAlignment = 4096;

u64 scratch_bytes(u64 wanted) {
    return round_up_64(std::max<u64>(wanted, 1));
}

// part(position, n) for the steps of a piece, which the progress line shows as "doing", a number.
template <class Part>
void in_steps(const ViewerRun& run, trel::ChangingFrame& line, const char* doing, u64 position, u64 count,
              Part part) {
    for (u64 done = 0; done < count;) {
        run.parallel.poll();
        const u64 n = std::min(count - done, kStep);
        part(position + done, n);
        done += n;
        run.status.work().add(static_cast<double>(n));
        line.show([&] { return doing + Console::format_commas(position + done); });
    }
}

// piece(position, n) for the pieces of a range.
template <class Piece>
void in_pieces(u64 start, u64 count, u64 piece_digits, const AfterPiece& after_piece, Piece piece) {
    for (u64 done = 0; done < count;) {
        const u64 n = std::min(count - done, piece_digits);
        piece(start + done, n);
        done += n;
        after_piece(start + done);
    }
}

}  // namespace

const ViewerCalls& ViewerCalls::of_this_machine() {
    static const ViewerCalls calls = {[] { return os::memory_status().available_physical; }};
    return calls;
}

u64 memory_budget(const ViewerCalls& calls) {
    return std::min(calls.available_memory(), kMostMemory) / 4;
}

u64 piece_size(u64 count, u64 budget, const std::function<u64(u64 piece)>& scratch) {
    u64 c = 2 * std::min(count, kMaxPiece);
    do {
        c = (c + 1) / 2;
    } while (c > 1 && c + scratch(c) > budget);
    return c;
}

DigitRangeStats transfer(BasicDigitReader& reader, u64 start, u64 count, BasicDigitWriter& writer,
                         u64 file_offset, const ViewerRun& run, const AfterPiece& after_piece) {
    DigitRangeStats moved(reader.radix());
    if (count == 0) return moved;
    const auto needed = [&](u64 digits) {
        return std::max(reader.buffer_size(digits, kScratchLimit), writer.buffer_size(digits, kScratchLimit));
    };
    const u64 c = piece_size(count, memory_budget(run.calls), needed);
    const u64 bytes = scratch_bytes(needed(std::min(c, kStep)));
    GuardedBuffer scratch_memory(bytes, kAlignment), digits(c, kAlignment);
    const AlignedBufferC scratch(scratch_memory.get(), bytes);
    trel::ChangingFrame line(run.status);
    in_pieces(start, count, c, after_piece, [&](u64 position, u64 n) {
        in_steps(run, line, "Reading...  ", position, n, [&](u64 at, u64 part) {
            reader.load_digits(digits.bytes() + (at - position), at, part, scratch, run.parallel);
        });
        in_steps(run, line, "Writing...  ", position, n, [&](u64 at, u64 part) {
            const u8* const values = digits.bytes() + (at - position);
            digit_kernels().count(moved.counts.count.data(), values, part, reader.radix());
            moved.hash = extend_digit_hash(moved.hash, values, part, reader.radix());
            writer.store_digits(values, at - file_offset, part, scratch, run.parallel);
            if (run.moved != nullptr) run.moved->add(part);
        });
    });
    digits.free();
    scratch_memory.free();
    return moved;
}

void transfer(BasicDigitReader& reader, u64 start, u64 count, DigitRangeStats& stats, const ViewerRun& run,
              const AfterPiece& after_piece) {
    if (count == 0) return;
    // The reader counts and hashes as it reads: there are no digits to keep.
    const auto needed = [&](u64 digits) { return reader.buffer_size(digits, kScratchLimit); };
    const u64 c = piece_size(count, memory_budget(run.calls), needed);
    const u64 bytes = scratch_bytes(needed(std::min(c, kStep)));
    GuardedBuffer scratch_memory(bytes, kAlignment);
    const AlignedBufferC scratch(scratch_memory.get(), bytes);
    trel::ChangingFrame line(run.status);
    in_pieces(start, count, c, after_piece, [&](u64 position, u64 n) {
        in_steps(run, line, "Reading...  ", position, n, [&](u64 at, u64 part) {
            reader.load_stats(stats, at, part, scratch, run.parallel);
            if (run.moved != nullptr) run.moved->add(part);
        });
    });
    scratch_memory.free();
}

}  // namespace kalvor::DigitViewer2
