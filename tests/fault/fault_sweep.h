// Runs an operation once for every call to the disk that it makes and every way in which that call can go
// wrong.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "fault/faulty_file.h"

namespace kalvor_test {

struct FaultPoint {
    enum Kind { error, refused_position, short_count, flipped_bit };

    FaultyFile::Made made{};
    Kind kind = error;
    trel::os::OsError os_error{};  // of error and refused_position
    trel::u64 amount = 0;          // bytes of short_count, bit of flipped_bit

    std::string describe() const;
};

// What the operation's caller saw.
struct FaultOutcome {
    bool thrown = false;  // a FileException, with these fields
    std::string function, message, path;
    trel::u32 code = 0;
    std::string console;
};

struct FaultSweep {
    std::function<void()> prepare;  // makes the state before the operation; not disturbed
    // Through the disk that is given. May throw FileExceptions.
    std::function<void(const trel::FileIO::FileCalls&)> operation;
    // Looks at the outcome and at what is left; not disturbed. Begins with a point that has no fault.
    std::function<void(const FaultPoint&, const FaultOutcome&)> check;
    int keys = 0;  // pauses that get a key before the input ends

    // Returns how many points there were. Fails the test when the undisturbed operation makes no call.
    trel::u64 run() const;
};

// The failure that fits a call best: a full disk for a write, a read fault for a read, ...
trel::os::OsError usual_error(FaultyFile::Call call);
// Every category, with numbers of no meaning.
std::vector<trel::os::OsError> errors_of_all_categories();

// The rules that hold for nearly every operation: a failed close is not an exception and prints nothing; a
// failed removal is told; reserving space, flushing and making folders may fail in silence; everything else
// is an exception that carries the text and the number.
void expect_reported(const FaultPoint& point, const FaultOutcome& outcome);

}  // namespace kalvor_test

// Tests use the names alone.
using kalvor_test::errors_of_all_categories;
using kalvor_test::expect_reported;
using kalvor_test::FaultOutcome;
using kalvor_test::FaultPoint;
using kalvor_test::FaultSweep;
using kalvor_test::usual_error;
