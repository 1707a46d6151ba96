#include "os/machine.h"

#include <gtest/gtest.h>

#include <windows.h>
// After windows.h.
#include <objbase.h>

#include <cstdio>
#include <thread>

#include "os/memory_status.h"
#include "os/sysquery.h"
#include "os/system_clock.h"
#include "os/topology.h"
#include "os/windows/utf8.h"

using namespace trel;
using os::QueryFailure;
using os::system_query;

TEST(SystemVersionTest, IsThatOfTheSystemsLibrary) {
    const std::optional<std::string> version = os::system_version();
    ASSERT_TRUE(version.has_value());
    unsigned major = 0, minor = 0, build = 0;
    char rest = 0;
    ASSERT_EQ(std::sscanf(version->c_str(), "Windows %u.%u Build %u%c", &major, &minor, &build, &rest), 3)
        << *version;
    EXPECT_GE(major, 6u);
    EXPECT_GT(build, 1000u);
}

TEST(TopologyTest, OfThisMachine) {
    const os::Topology t = os::topology();
    EXPECT_GE(t.logical_cores, t.physical_cores);
    EXPECT_GE(t.physical_cores, t.sockets);
    EXPECT_GE(t.sockets, 1u);
    EXPECT_GE(t.numa_nodes, 1u);
}

TEST(InstalledMemoryTest, IsAtLeastWhatTheSystemUses) {
    EXPECT_GE(os::installed_memory(), os::memory_status().total_physical);
}

TEST(SystemClockTest, IsOfThisCentury) {
    const u64 before = os::system_clock_nanoseconds();
    EXPECT_GT(before / 1000000000, 1700000000u);
    EXPECT_LT(before / 1000000000, 4102444800u);
    EXPECT_GE(os::system_clock_nanoseconds(), before);
}

TEST(SystemQueryTest, TheBoard) {
    const os::QueryResult result = system_query("Win32_BaseBoard", {"Manufacturer", "NoSuchProperty"});
    ASSERT_EQ(result.failure, QueryFailure::none);
    ASSERT_GE(result.objects.size(), 1u);
    ASSERT_EQ(result.objects[0].size(), 2u);
    EXPECT_TRUE(result.objects[0][0].has_value());
    EXPECT_FALSE(result.objects[0][1].has_value());
}

TEST(SystemQueryTest, NumbersAreTexts) {
    const os::QueryResult result = system_query("Win32_PhysicalMemory", {"Capacity"});
    ASSERT_EQ(result.failure, QueryFailure::none);
    for (const auto& module : result.objects) {
        ASSERT_TRUE(module.at(0).has_value());
        EXPECT_FALSE(module[0]->empty());
        EXPECT_EQ(module[0]->find_first_not_of("0123456789"), std::string::npos) << *module[0];
    }
}

TEST(SystemQueryTest, AClassThatIsNoneFails) {
    EXPECT_EQ(system_query("not a class", {"Name"}).failure, QueryFailure::query);
    // A name that nobody has is refused by some systems and answered with nothing by others.
    EXPECT_TRUE(system_query("Win32_NoSuchClass", {"Name"}).objects.empty());
}

TEST(SystemQueryTest, OneAfterTheOther) {
    for (int i = 0; i < 3; i++) EXPECT_EQ(system_query("Win32_BaseBoard", {}).failure, QueryFailure::none);
}

// A thread that has the library in its other mode.
TEST(SystemQueryTest, InAnApartmentOfOneThread) {
    std::thread([] {
        ASSERT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)));
        EXPECT_EQ(system_query("Win32_BaseBoard", {"Product"}).failure, QueryFailure::none);
        // Its own use of it goes on.
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_FALSE);
        CoUninitialize();
        CoUninitialize();
    }).join();
}

TEST(Utf8Test, ThereAndBack) {
    for (const char* text : {"", "plain", "\xc3\xa4\xe2\x82\xac", "\xf0\x9f\x99\x82 end"}) {
        EXPECT_EQ(os::to_utf8(os::to_utf16(text)), text);
    }
    EXPECT_EQ(os::to_utf16("\xf0\x9f\x99\x82"), std::wstring(L"\xd83d\xde42"));
    EXPECT_EQ(os::to_utf16("a\xff"), std::wstring(L"a\xfffd"));
    EXPECT_EQ(os::to_utf8(std::wstring(1, L'\xd83d')), "\xef\xbf\xbd");
}
