// The ways out that do not throw, and the handlers at the edges that exceptions must not cross.
#pragma once

#include <string_view>

namespace trel {

// "Cannot happen": a defect of the program or the hardware. Prints the text, the function name and the detail
// with the advice to look for unstable hardware, pauses unless the console settings say otherwise, and ends
// the process with exit code 1, without running destructors. Any thread.
[[noreturn]] void assertion_failure(std::string_view text, std::string_view function,
                                    std::string_view detail);

// The text of an assertion failure for arguments that violate a function's preconditions.
inline constexpr std::string_view kInvalidParameters = "Invalid Function Parameters:   ";

// For a catch (...) block: prints the report of the exception that is being handled, for one of the standard
// library its message as an error line. false: it is of a kind that has no report, and nothing was printed.
bool report_current_exception();

// The lines that end the report of an exception at the edge of a thread, by the kind of thread.
inline constexpr std::string_view kChildThreadFailed = "FATAL ERROR: Unhandled exception in child thread.";
inline constexpr std::string_view kWorkerThreadFailed = "An exception was thrown from a worker thread.";
inline constexpr std::string_view kIoThreadFailed =
    "IoThread::thread_loop(): An exception was thrown from a worker thread.";
inline constexpr std::string_view kUnknownExceptionThrown = "Unknown exception thrown from worker thread.";

// For the catch (...) block at the edge of a thread: prints the report, then `error_line`, and ends the
// process with exit code 1. An exception without a report prints `unknown_line` instead, where one is given.
[[noreturn]] void fatal_thread_exception(std::string_view error_line,
                                         std::string_view unknown_line = {}) noexcept;

}  // namespace trel
