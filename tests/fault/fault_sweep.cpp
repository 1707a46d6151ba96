#include "fault/fault_sweep.h"

#include <gtest/gtest.h>

#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "fault/key_console.h"
#include "platform/fileio/error_text.h"

using namespace trel;
using Call = FaultyFile::Call;
using trel::FileIO::FileException;

namespace kalvor_test {
namespace {

void install(FaultyFile& disk, const FaultPoint& point) {
    const bool reading = point.made.call == Call::read;
    switch (point.kind) {
        case FaultPoint::error:
            disk.fail(point.made.call, point.made.number, point.os_error);
            break;
        case FaultPoint::refused_position:
            disk.refuse_position(point.made.call, point.made.number, point.os_error);
            break;
        case FaultPoint::short_count:
            if (reading)
                disk.short_read(point.made.number, point.amount);
            else
                disk.short_write(point.made.number, point.amount);
            break;
        case FaultPoint::flipped_bit:
            if (reading)
                disk.flip_bit_of_read(point.made.number, point.amount);
            else
                disk.flip_bit_of_write(point.made.number, point.amount);
            break;
    }
}

std::vector<FaultPoint> points_of(const FaultyFile::Made& made) {
    std::vector<FaultPoint> points{{made, FaultPoint::error, usual_error(made.call), 0}};
    const bool transfer = made.call == Call::read || made.call == Call::write;
    if (transfer || made.call == Call::set_size) {
        points.push_back({made, FaultPoint::refused_position, {22, os::ErrorCategory::invalid_parameter}, 0});
    }
    if (transfer && made.bytes != 0) {
        for (const u64 bytes : {u64(0), made.bytes / 2, made.bytes - 1}) {
            points.push_back({made, FaultPoint::short_count, {}, bytes});
        }
        for (const u64 bit : {u64(0), made.bytes * 4 + 3, made.bytes * 8 - 1}) {
            points.push_back({made, FaultPoint::flipped_bit, {}, bit});
        }
    }
    return points;
}

}  // namespace

std::string FaultPoint::describe() const {
    static const char* const kinds[] = {"error", "refused position", "short count", "flipped bit"};
    return std::string(kinds[kind]) + " " + std::to_string(amount) + " at " + FaultyFile::name(made.call) +
           " " + std::to_string(made.number) + " of " + std::to_string(made.bytes) + " bytes";
}

u64 FaultSweep::run() const {
    const auto attempt = [&](const FaultPoint* point) {
        prepare();
        FaultOutcome outcome;
        std::vector<FaultyFile::Made> calls;
        {
            KeyConsole console(keys);
            FaultyFile disk;
            if (point) install(disk, *point);
            try {
                operation(disk.file_calls());
            } catch (const FileException& e) {
                outcome = {true, e.function, e.message, e.path, e.error_code, ""};
            }
            outcome.console = console.text_;
            calls = disk.calls();
        }
        const FaultPoint none{};
        SCOPED_TRACE(point ? point->describe() : "no fault");
        check(point ? *point : none, outcome);
        return calls;
    };
    const std::vector<FaultyFile::Made> calls = attempt(nullptr);
    EXPECT_FALSE(calls.empty()) << "the operation makes no call to the disk that it was given";
    u64 n = 0;
    for (const FaultyFile::Made& made : calls) {
        for (const FaultPoint& point : points_of(made)) {
            attempt(&point);
            n++;
        }
    }
    return n;
}

os::OsError usual_error(Call call) {
    using enum os::ErrorCategory;
    switch (call) {
        case Call::open:
        case Call::rename:
        case Call::remove:
        case Call::create_folder:
            return {13, access_denied};
        case Call::read:
            return {5, read_fault};
        case Call::write:
        case Call::set_size:
        case Call::reserve:
            return {28, disk_full};
        case Call::size:
            return {116, disconnected};
        case Call::close:
        case Call::flush:
        case Call::flush_folder:
            break;
    }
    return {5, write_fault};
}

std::vector<os::OsError> errors_of_all_categories() {
    std::vector<os::OsError> errors;
    for (int i = 1; i <= static_cast<int>(os::ErrorCategory::other); i++) {
        errors.push_back({static_cast<u32>(1000 + i), static_cast<os::ErrorCategory>(i)});
    }
    return errors;
}

void expect_reported(const FaultPoint& point, const FaultOutcome& outcome) {
    switch (point.kind) {
        case FaultPoint::error:
        case FaultPoint::refused_position:
            switch (point.made.call) {
                case Call::close:
                    EXPECT_FALSE(outcome.thrown) << outcome.message;
                    EXPECT_EQ(outcome.console, "");
                    return;
                case Call::remove:
                    EXPECT_NE((outcome.console + outcome.message).find("Unable to delete file."),
                              std::string::npos)
                        << outcome.console << outcome.message;
                    return;
                case Call::reserve:
                case Call::flush_folder:
                case Call::create_folder:
                    return;
                default:
                    break;
            }
            EXPECT_TRUE(outcome.thrown);
            EXPECT_EQ(outcome.code, point.os_error.code);
            if (outcome.message.find("\n\n") != std::string::npos ||
                point.kind == FaultPoint::refused_position) {
                const std::string end = "\n\n" + FileIO::error_text(point.os_error);
                EXPECT_TRUE(outcome.message.ends_with(end)) << outcome.message;
            }
            EXPECT_FALSE(outcome.function.empty());
            EXPECT_FALSE(outcome.path.empty());
            return;
        case FaultPoint::short_count: {
            const std::string numbers =
                std::to_string(point.amount) + " / " + std::to_string(point.made.bytes);
            const std::string what =
                point.made.call == Call::read ? "Incomplete Read: " : "Incomplete Write: ";
            EXPECT_EQ(outcome.message, what + numbers);
            EXPECT_EQ(outcome.code, 0U);
            return;
        }
        case FaultPoint::flipped_bit:
            // The disk lies; only what carries checksums can tell.
            return;
    }
}

}  // namespace kalvor_test
