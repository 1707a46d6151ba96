// What a crash looks like from outside: the text that the user sees, and how this system tells the end of the
// process.
#pragma once

#include <string>

#include "os/types.h"

namespace kalvor_test {

// The report of a crash, with what it says of the dump ("Done!").
inline std::string crash_report_text(const std::string& dump_line) {
    return "\nOops... Kalvor has crashed.\n\nCreating mini-dump file...   " + dump_line +
           "\n\nThe program will now exit.\nPress any key to continue . . . \n";
}

enum class CrashCause { bad_access, bad_instruction, division_by_zero, stack_overflow, terminate, abort };

struct CrashCode {
    trel::u32 in_dump;  // the code of the exception
    int exit_code;      // as ProgramRun has it
};
CrashCode crash_code(CrashCause cause);

// The system's number for a file that cannot be created since a folder has its name.
trel::u32 error_of_a_folder_in_the_way();

// Makes the program that this process runs in that folder crash by a bad access. Returns the id of its
// process, 0 if there was none. The program may live for a while yet.
trel::u32 crash_program_in(const std::string& folder);

}  // namespace kalvor_test
