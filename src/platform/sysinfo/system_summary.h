// The machine on the console and in files.
#pragma once

#include <string>

#include "base/status/status.h"
#include "platform/sysinfo/system_record.h"

namespace trel {

// The block that opens a computation's header: aligned lines, no blank line after them.
void print_system_summary(const SystemRecord& record, Status& status);
// The same without its last line, and that, which has a number that takes a moment to measure.
void print_unclocked_summary(const SystemRecord& record, Status& status);
struct SummaryLine {
    u64 width;
    const char* name;
    Status::ColoredText value;
};
SummaryLine base_frequency_line(u64 hertz);

// The block of a validation file, from "Operating System:" to the memory modules. Lines end in CR LF.
std::string system_block(const SystemRecord& record);

}  // namespace trel
