#include "os/sysquery.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <random>

#include "os/clock.h"
#include "support/fake_root.h"

using namespace trel;
using os::QueryFailure;
using os::system_query;

namespace {

using Values = std::vector<std::optional<std::string>>;

const std::vector<std::string> kBoard = {"Manufacturer", "Product", "Version", "SerialNumber"};
const std::string kId = "/sys/class/dmi/id/";
const std::string kTable = "/sys/firmware/dmi/tables/DMI";

os::QueryResult board(const FakeRoot& root, const std::vector<std::string>& properties = kBoard) {
    return system_query("Win32_BaseBoard", properties, root.path());
}

os::QueryResult modules(const FakeRoot& root) {
    return system_query("Win32_PhysicalMemory", {"PartNumber", "Capacity"}, root.path());
}

// One module of 8 GiB.
std::string memory_device() {
    std::string area(0x22, '\0');
    area[0] = 17;
    area[1] = 0x22;
    area[0x0d] = 0x20;  // 8192 mebibytes
    area[0x1a] = 1;
    return area + std::string("PART-1  \0\0", 10);
}

}  // namespace

TEST(BoardQueryTest, ReadsTheNamePlate) {
    FakeRoot root;
    root.file(kId + "board_vendor", "Board Works Inc.\n");
    root.file(kId + "board_name", "  B-1000\n");
    root.file(kId + "board_version", "\n");
    root.file(kId + "board_serial", "SN-42\n");
    const os::QueryResult result = board(root);
    EXPECT_EQ(result.failure, QueryFailure::none);
    ASSERT_EQ(result.objects.size(), 1u);
    EXPECT_EQ(result.objects[0], (Values{"Board Works Inc.", "B-1000", "", "SN-42"}));
    EXPECT_EQ(board(root, {"Product", "Colour"}).objects[0], (Values{"B-1000", std::nullopt}));
    EXPECT_EQ(board(root, {}).objects[0], Values{});
}

TEST(BoardQueryTest, WithoutANamePlate) {
    FakeRoot root;
    EXPECT_EQ(board(root).failure, QueryFailure::query);
    root.folder(kId);
    EXPECT_EQ(board(root).failure, QueryFailure::query);
    root.file(kId + "board_name", "B-1000\n");
    EXPECT_EQ(board(root).failure, QueryFailure::none);
    EXPECT_EQ(board(root).objects[0], (Values{std::nullopt, "B-1000", std::nullopt, std::nullopt}));
}

// What only root may read: played by a folder, which opens and refuses to be read for everybody.
TEST(BoardQueryTest, AFileThatCannotBeRead) {
    FakeRoot root;
    root.file(kId + "board_name", "B-1000\n");
    root.folder(kId + "board_serial");
    EXPECT_EQ(board(root).objects[0][3], std::nullopt);
    if (geteuid() == 0) return;
    root.file(kId + "board_version", "Rev 2\n");
    std::filesystem::permissions(root.path() + kId + "board_version", std::filesystem::perms::none);
    EXPECT_EQ(board(root).objects[0][2], std::nullopt);
}

TEST(BoardQueryTest, AnyBytesAreSurvived) {
    std::mt19937_64 random(5);
    FakeRoot root;
    for (int round = 0; round < 50; round++) {
        std::string bytes(random() % 6000, '\0');
        for (char& c : bytes) c = static_cast<char>(random());
        root.file(kId + "board_name", bytes);
        const auto product = board(root, {"Product"}).objects.at(0).at(0);
        ASSERT_TRUE(product.has_value());
        ASSERT_LE(product->size(), 8192u);
        for (const char c : *product) ASSERT_TRUE(c >= ' ' && c <= '~');
    }
}

TEST(MemoryQueryTest, ReadsTheTable) {
    FakeRoot root;
    root.file(kTable, memory_device() + memory_device());
    const os::QueryResult result = modules(root);
    EXPECT_EQ(result.failure, QueryFailure::none);
    EXPECT_EQ(result.objects, (std::vector<Values>{{"PART-1", "8589934592"}, {"PART-1", "8589934592"}}));
    std::string unknown = memory_device();
    unknown[0x0c] = unknown[0x0d] = '\xff';
    root.file(kTable, unknown);
    EXPECT_EQ(modules(root).objects, (std::vector<Values>{{"PART-1", std::nullopt}}));
    root.file(kTable, "");
    EXPECT_EQ(modules(root).failure, QueryFailure::none);
    EXPECT_TRUE(modules(root).objects.empty());
}

TEST(MemoryQueryTest, WithoutATable) {
    FakeRoot root;
    EXPECT_EQ(modules(root).failure, QueryFailure::query);
    root.folder(kTable);
    EXPECT_EQ(modules(root).failure, QueryFailure::query);
}

TEST(MemoryQueryTest, ALongTableIsReadInPieces) {
    FakeRoot root;
    std::string table;
    for (int i = 0; i < 1000; i++) table += memory_device();
    root.file(kTable, table);
    EXPECT_EQ(modules(root).objects.size(), 1000u);
}

TEST(SystemQueryTest, AnUnknownClassFails) {
    FakeRoot root;
    EXPECT_EQ(system_query("Win32_Fan", {"Name"}, root.path()).failure, QueryFailure::query);
    EXPECT_EQ(system_query("", {}).failure, QueryFailure::query);
}

TEST(ClockSourceTest, OfTheFile) {
    FakeRoot root;
    EXPECT_EQ(os::clock_source_name(root.path()), "");
    root.file("/sys/devices/system/clocksource/clocksource0/current_clocksource", "acpi_pm\n");
    EXPECT_EQ(os::clock_source_name(root.path()), "acpi_pm");
}
