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

TEST(Privileges, TextsOfTheFailures) {
    CaptureConsole console(CaptureConsole::terminal, true);
    EXPECT_TRUE(acquire_privilege(kLockMemoryPrivilege, answer<PrivilegeFailure::none>));
    EXPECT_EQ(asked_for, "SeLockMemoryPrivilege");
    EXPECT_FALSE(acquire_privilege(kManageVolumePrivilege, answer<PrivilegeFailure::not_held>));
    EXPECT_EQ(asked_for, "SeManageVolumePrivilege");
    EXPECT_FALSE(acquire_privilege(kManageVolumePrivilege, answer<PrivilegeFailure::token>));
    EXPECT_EQ(console.take(), "");
    EXPECT_FALSE(acquire_privilege("SeNoSuchPrivilege", answer<PrivilegeFailure::lookup>));
    EXPECT_EQ(console.take(), "\n{R}LookupPrivilegeValue error\n{w}");
    EXPECT_FALSE(acquire_privilege(kLockMemoryPrivilege, answer<PrivilegeFailure::adjust>));
    EXPECT_EQ(console.take(), "\n{R}AdjustTokenPrivileges error\n{w}");
    // The privilege is held anyway.
    EXPECT_TRUE(acquire_privilege(kLockMemoryPrivilege, answer<PrivilegeFailure::none, true>));
    EXPECT_EQ(console.take(), "\n{R}Unable to close handle\n{w}");
}

TEST(Privileges, OfThisSystem) {
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
    EXPECT_EQ(acquire_privilege(kManageVolumePrivilege), volume.held());
    EXPECT_EQ(console.take(), "");
}

TEST(Privileges, SwapModeTexts) {
    EXPECT_STREQ(kSwapModeNeedsPrivilege,
                 "Swap mode requires administrator privileges.\n"
                 "Please run Kalvor as administrator with SeManageVolumePrivilege.");
    CaptureConsole console(CaptureConsole::terminal, true);
    print_swap_mode_refusal();
    EXPECT_EQ(console.take(),
              "\n{R}Cannot Start: Swap mode requires administrator privileges.\n"
              "Please run Kalvor as administrator with SeManageVolumePrivilege.\n{w}");
}
