// What a run leaves in its record about the machine.
#include <gtest/gtest.h>

#include "app/session/normal_float_session_b.h"
#include "base/command_line/console_settings.h"
#include "platform/sysinfo/system_record.h"
#include "support/capture_console.h"

namespace kalvor {
namespace {

// The serial number that a small run records.
std::string recorded_serial(bool include_pii) {
    trel::CommandLine::ConsoleSettings& settings = trel::CommandLine::console_settings();
    const trel::CommandLine::ConsoleSettings before = settings;
    settings.include_pii = include_pii;
    CaptureConsole console;
    ComputeSettings custom;
    custom.set_decimal_digits(100);
    custom.output_enable = false;
    NormalFloatSessionB session(std::move(custom), trel::null_status());
    const std::string serial = session.run().system.board_serial;
    settings = before;
    return serial;
}

TEST(SessionRecordTest, TheSerialNumberIsOptIn) {
    EXPECT_EQ(recorded_serial(false), trel::kSuppressedPii);
    // Allowed, it is what the machine tells, if only that it tells nothing.
    const std::string allowed = recorded_serial(true);
    EXPECT_NE(allowed, trel::kSuppressedPii);
    EXPECT_EQ(allowed, trel::gather_system_record(true).board_serial);
}

}  // namespace
}  // namespace kalvor
