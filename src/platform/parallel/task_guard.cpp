#include "platform/parallel/task_guard.h"

#include <exception>

#include "base/console/console.h"
#include "base/errors/exceptions.h"

namespace trel {

void report_and_exit(const char* final_line) noexcept {
    try {
        throw;
    } catch (const Exception& error) {
        error.print();
    } catch (const std::exception& error) {
        Console::error_line(error.what());
    } catch (...) {
    }
    Console::error_line(final_line);
    Console::fatal_exit(1);
}

void run_guarded(BasicAction& action, u64 index) noexcept {
    try {
        action.run(index);
    } catch (...) {
        report_and_exit("FATAL ERROR: Unhandled exception in child thread.");
    }
}

}  // namespace trel
