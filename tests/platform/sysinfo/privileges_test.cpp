#include "platform/sysinfo/privileges.h"

#include <gtest/gtest.h>

#include "support/capture_console.h"

using namespace trel;

namespace {

using os::PrivilegeFailure;
using os::PrivilegeResult;

std::string asked_for;

template <PrivilegeFailure failure, bool close_failed = false>
PrivilegeResult answer(const std::string& name) {
    asked_for = name;
    return {failure, close_failed};
}

}  // namespace

TEST(PrivilegesTest, TextsOfTheFailures) {
    CaptureConsole console;
    // The answer, and the text of the warning behind it.
    const auto told = [](const std::string& name, PrivilegeResult (*acquire)(const std::string&)) {
        std::vector<Warnings::Line> warnings;
        std::string text = acquire_privilege(name, warnings, acquire) ? "held" : "not held";
        for (const Warnings::Line& line : warnings) {
            EXPECT_TRUE(line.raised);
            text += "|" + line.text;
        }
        return text;
    };
    EXPECT_EQ(told(kLockMemoryPrivilege, answer<PrivilegeFailure::none>), "held");
    EXPECT_EQ(asked_for, "SeLockMemoryPrivilege");
    EXPECT_EQ(told(kManageVolumePrivilege, answer<PrivilegeFailure::not_held>), "not held");
    EXPECT_EQ(asked_for, "SeManageVolumePrivilege");
    EXPECT_EQ(told(kManageVolumePrivilege, answer<PrivilegeFailure::token>), "not held");
    EXPECT_EQ(told("SeNoSuchPrivilege", answer<PrivilegeFailure::lookup>),
              "not held|LookupPrivilegeValue error");
    EXPECT_EQ(told(kLockMemoryPrivilege, answer<PrivilegeFailure::adjust>),
              "not held|AdjustTokenPrivileges error");
    // The privilege is held anyway.
    EXPECT_EQ(told(kLockMemoryPrivilege, answer<PrivilegeFailure::none, true>),
              "held|Unable to close handle");
    EXPECT_EQ(console.take(), "");
}

TEST(PrivilegesTest, OfThisSystem) {
    CaptureConsole console;
    EXPECT_EQ(os::acquire_privilege("SeNoSuchPrivilege").failure, PrivilegeFailure::lookup);
    EXPECT_EQ(os::acquire_privilege("").failure, PrivilegeFailure::lookup);
    // Everybody's on Linux; on Windows an administrator's.
    const PrivilegeResult volume = os::acquire_privilege(kManageVolumePrivilege);
    EXPECT_TRUE(volume.held() || volume.failure == PrivilegeFailure::not_held);
    const PrivilegeResult lock = os::acquire_privilege(kLockMemoryPrivilege);
    EXPECT_TRUE(lock.held() || lock.failure == PrivilegeFailure::not_held);
    EXPECT_FALSE(volume.close_failed || lock.close_failed);
    // Asking again changes nothing.
    EXPECT_EQ(os::acquire_privilege(kLockMemoryPrivilege).failure, lock.failure);
    std::vector<Warnings::Line> warnings;
    EXPECT_EQ(acquire_privilege(kManageVolumePrivilege, warnings), volume.held());
    EXPECT_EQ(console.take(), "");
}

TEST(PrivilegesTest, SwapModeTexts) {
    EXPECT_STREQ(kSwapModeNeedsPrivilege,
                 "Swap mode requires administrator privileges.\n"
                 "Please run Kalvor as administrator with SeManageVolumePrivilege.");
    CaptureConsole console(CaptureConsole::terminal, true);
    print_swap_mode_refusal();
    EXPECT_EQ(console.take(),
              "\n{R}Cannot Start: Swap mode requires administrator privileges.\n"
              "Please run Kalvor as administrator with SeManageVolumePrivilege.\n{w}");
}
