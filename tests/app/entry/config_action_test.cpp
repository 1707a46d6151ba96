// Settings that an action refuses: what is wrong with them, then the refusal.
#include "app/entry/config_action.h"

#include <gtest/gtest.h>

#include <new>

#include "base/errors/exceptions.h"
#include "base/errors/expected_exceptions.h"
#include "support/capture_console.h"

using namespace kalvor;

namespace {

// What is printed, and the exception's function and message.
std::string refused(const std::function<ConfigJob()>& build) {
    CaptureConsole console(CaptureConsole::terminal, true);
    try {
        build_or_reject(build, "Cannot run it.");
    } catch (const trel::InvalidParametersException& e) {
        return console.take() + "|" + e.function + "|" + e.message;
    }
    return console.take() + "|accepted";
}

}  // namespace

TEST(BuildOrRejectTest, SoundSettingsMakeTheJob) {
    int runs = 0;
    CaptureConsole console;
    const ConfigJob job = build_or_reject(
        [&] {
            return [&] {
                runs++;
                return runs == 1;
            };
        },
        "Cannot run it.");
    EXPECT_EQ(runs, 0);
    EXPECT_TRUE(job());
    EXPECT_EQ(runs, 1);
    EXPECT_FALSE(job());
    EXPECT_EQ(console.text(), "");
}

TEST(BuildOrRejectTest, AnExceptionIsReportedFirst) {
    EXPECT_EQ(refused([]() -> ConfigJob { throw trel::KeyNotFoundException("", "Mode"); }),
              "{R}\n\nException Encountered: KeyNotFoundException\n\nMode\n\n\n{w}"
              "|run_config()|Cannot run it.");
}

TEST(BuildOrRejectTest, AnExpectedExceptionIsAnErrorLine) {
    EXPECT_EQ(refused([]() -> ConfigJob { throw ConfigLoadException("Bad settings."); }),
              "\n{R}Bad settings.\n{w}|run_config()|Cannot run it.");
    EXPECT_EQ(refused([]() -> ConfigJob { throw ModeNotSupportedException("Not in RAM."); }),
              "\n{R}Not in RAM.\n{w}|run_config()|Cannot run it.");
}

// Another failure is none of the settings'.
TEST(BuildOrRejectTest, OtherExceptionsPass) {
    CaptureConsole console;
    EXPECT_THROW(build_or_reject([]() -> ConfigJob { throw std::bad_alloc(); }, "Cannot run it."),
                 std::bad_alloc);
    EXPECT_EQ(console.text(), "");
}
