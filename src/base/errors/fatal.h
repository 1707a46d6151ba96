// The ways out that do not throw, and the handlers at the edges that exceptions must not cross.
#pragma once

#include <string_view>

namespace trel {

// "Cannot happen": a defect of the program or the hardware. Prints the text, the function name and the detail
// with the advice to look for unstable hardware, pauses, and aborts the process. Any thread.
[[noreturn]] void assertion_failure(std::string_view text, std::string_view function,
                                    std::string_view detail);

// The text of an assertion failure for arguments that violate a function's preconditions.
inline constexpr std::string_view kInvalidParameters = "Invalid Function Parameters:   ";

// For a catch (...) block: prints the report of the exception that is being handled. false: it is of a kind
// that has no report (neither ours nor of the standard library), and nothing was printed.
bool report_current_exception();

// Error lines of the edges below.
inline constexpr std::string_view kChildThreadFailed = "FATAL ERROR: Unhandled exception in child thread.";
inline constexpr std::string_view kWorkerThreadFailed = "An exception was thrown from a worker thread.";

// For the catch (...) block at the edge of a thread: prints the report, then `error_line` ("Unknown exception
// thrown from worker thread." when there is no report), and ends the process with exit code 1.
[[noreturn]] void fatal_thread_exception(std::string_view error_line);

}  // namespace trel
