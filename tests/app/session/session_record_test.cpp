// What a run leaves in its record about the machine.
#include <gtest/gtest.h>

#include "app/session/normal_float_session_b.h"
#include "platform/sysinfo/system_record.h"
#include "support/authorized.h"
#include "support/capture_console.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

// The serial number that a small run records.
std::string recorded_serial(bool include_pii) {
    CaptureConsole console;
    ComputeSettings custom;
    custom.set_decimal_digits(100);
    const kalvor_test::TemporaryFolder folder;
    custom.path = folder.path();
    custom.output_enable = false;
    RunEnvironment environment;
    environment.include_pii = include_pii;
    NormalFloatSessionB session(std::move(custom), kalvor_test::authorized(), trel::null_status(), nullptr,
                                environment);
    return session.run().system.board_serial;
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
