// Moves a range of digits from a reader to a writer or into statistics, in pieces as large as a quarter of
// the free memory allows.
#pragma once

#include <functional>

#include "digits/files/basic_digit_reader.h"
#include "digits/files/basic_digit_writer.h"
#include "digits/viewer/viewer_run.h"

namespace kalvor::DigitViewer2 {

// The memory that the pieces and their scratch may take: a quarter of what is free.
u64 memory_budget(const ViewerCalls& calls);

// Digits of a piece: `count`, at most 10^9, halved until a piece of a byte a digit and its scratch, which is
// scratch(piece) bytes, fit into the budget. At least one, whatever the budget.
u64 piece_size(u64 count, u64 budget, const std::function<u64(u64 piece)>& scratch);

// Called when a piece is done, with the position of its last digit. From the thread that called transfer().
using AfterPiece = std::function<void(u64 position)>;

// Digits start + 1 ... start + count of the reader become digits start + 1 - file_offset ... of the writer.
// Returns what was read. Throws what reader and writer throw, and RunStopped between two steps of a piece.
DigitRangeStats transfer(BasicDigitReader& reader, u64 start, u64 count, BasicDigitWriter& writer,
                         u64 file_offset, const ViewerRun& run, const AfterPiece& after_piece);
// Adds them to the statistics.
void transfer(BasicDigitReader& reader, u64 start, u64 count, DigitRangeStats& stats, const ViewerRun& run,
              const AfterPiece& after_piece);

}  // namespace kalvor::DigitViewer2
