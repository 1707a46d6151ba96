// Several threads of which only one runs at a time, and which one is told call by call: a run of a program
// with any delays between its calls to the disk, without luck.
#pragma once

#include <functional>
#include <vector>

#include "platform/fileio/file_calls.h"

namespace kalvor_test {

// Runs each function on a thread of its own, with the file calls that it is to use. A thread stops in front
// of every call to the disk until its turn: schedule[i] is the thread that makes the i-th call. Where that
// thread has ended, and after the end of the schedule, the first one that has not ended goes on. Between two
// of its calls nobody else runs.
void run_in_lock_step(const std::vector<std::function<void(const trel::FileIO::FileCalls&)>>& threads,
                      const std::vector<int>& schedule);

}  // namespace kalvor_test

// Tests use the name alone.
using kalvor_test::run_in_lock_step;
