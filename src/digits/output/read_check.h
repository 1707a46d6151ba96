// Reads a written digit file again and compares it with what was written.
#pragma once

#include <string>

#include "base/names/names.h"
#include "base/status/status.h"
#include "digits/files/digit_sink.h"
#include "digits/output/digit_stats.h"
#include "platform/memory/aligned_buffer.h"
#include "platform/parallel/basic_parallelizer.h"

namespace kalvor {

// Reads with one task, whatever the context has; polls it between pieces. scratch: kReadCheckBytes or more
// make large reads; at least two sectors of 4096 bytes. Throws InvalidParametersException for a file that is
// not a digit file of the radix, AlgorithmFailedException "Digit output failed. Metadata cross-check doesn't
// match." when hash or counts differ.
inline constexpr u64 kReadCheckBytes = (u64(1) << 20) + 4096;
void read_check(Status& status, const DigitFormat& format, const std::string& file, const OutputStats& stats,
                u8 radix, const AlignedBufferC& scratch, const ParallelContext& parallel = serial_context());
// The same for a file that is not closed yet: what the device has of it.
void read_check(Status& status, BasicDigitReader& reader, const OutputStats& stats,
                const AlignedBufferC& scratch, const ParallelContext& parallel = serial_context());

}  // namespace kalvor
