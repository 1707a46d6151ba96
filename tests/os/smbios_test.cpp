#include "os/smbios.h"

#include <gtest/gtest.h>

#include <random>

using namespace trel;
using os::smbios_memory_modules;
using os::SmbiosModule;

namespace {

void put(std::string& record, size_t offset, u64 value, size_t n_bytes) {
    if (record.size() < offset + n_bytes) record.resize(offset + n_bytes, '\0');
    for (size_t i = 0; i < n_bytes; i++) record[offset + i] = static_cast<char>(value >> (8 * i));
}

// A structure with its strings.
std::string structure(u8 type, u8 length, std::string area, const std::vector<std::string>& strings) {
    area.resize(length, '\0');
    area[0] = static_cast<char>(type);
    area[1] = static_cast<char>(length);
    for (const std::string& s : strings) area += s + std::string(1, '\0');
    if (strings.empty()) area += std::string(1, '\0');
    return area + std::string(1, '\0');
}

// A memory device of `length` bytes; string 2 is the part number.
std::string device(u64 size, u64 extended_mib = 0, u8 length = 0x22, const std::string& part = "PART-1") {
    std::string area;
    put(area, 0x0c, size, 2);
    put(area, 0x1a, 2, 1);
    put(area, 0x1c, extended_mib, 4);
    return structure(17, length, area, {"DIMM A1", part});
}

std::string end_of_table() {
    return structure(127, 4, "", {});
}

}  // namespace

TEST(SmbiosTest, SizesInEveryForm) {
    const struct {
        u64 size, extended;
        u64 bytes;
    } cases[] = {
        {16384, 0, u64(16384) << 20},                     // mebibytes
        {0x8000 + 512, 0, u64(512) << 10},                // kibibytes
        {0x7fff, 65536, u64(65536) << 20},                // 64 GiB and more stand elsewhere
        {0x7fff, 0x80000000u + 32768, u64(32768) << 20},  // the highest bit is reserved
        {0x7ffe, 1, u64(0x7ffe) << 20},                   // the other field is not looked at
        {0xffff, 0, 0},                                   // a module of unknown size
    };
    for (const auto& c : cases) {
        const auto modules = smbios_memory_modules(device(c.size, c.extended));
        ASSERT_EQ(modules.size(), 1u) << c.size;
        EXPECT_EQ(modules[0].bytes, c.bytes) << c.size;
        EXPECT_EQ(modules[0].part_number, "PART-1");
    }
    EXPECT_TRUE(smbios_memory_modules(device(0)).empty());  // an empty socket
}

TEST(SmbiosTest, ModulesStandInTheTablesOrderAmongOtherRecords) {
    const std::string table = structure(0, 0x1a, "", {"Maker", "1.0"}) + structure(16, 0x17, "", {}) +
                              device(8192, 0, 0x28, "  first  ") + device(0) +
                              structure(2, 0x0f, "", {"Board"}) + device(4096, 0, 0x54, "second") +
                              end_of_table() + device(2048, 0, 0x22, "behind");
    const auto modules = smbios_memory_modules(table);
    ASSERT_EQ(modules.size(), 2u);
    EXPECT_EQ(modules[0].part_number, "first");
    EXPECT_EQ(modules[0].bytes, u64(8) << 30);
    EXPECT_EQ(modules[1].part_number, "second");
    EXPECT_EQ(modules[1].bytes, u64(4) << 30);
}

// Older versions of the standard have shorter records.
TEST(SmbiosTest, ShortRecordsLackWhatTheyDoNotHold) {
    for (int length = 4; length <= 0x22; length++) {
        const auto modules = smbios_memory_modules(device(0x7fff, 40960, static_cast<u8>(length)));
        if (length < 0x0e) {
            EXPECT_TRUE(modules.empty()) << length;
            continue;
        }
        ASSERT_EQ(modules.size(), 1u) << length;
        EXPECT_EQ(modules[0].part_number, length > 0x1a ? "PART-1" : "") << length;
        EXPECT_EQ(modules[0].bytes, length >= 0x20 ? u64(40960) << 20 : 0) << length;
    }
}

TEST(SmbiosTest, PartNumberThatIsNotThere) {
    std::string area;
    put(area, 0x0c, 1024, 2);
    for (const u64 number : {0, 3, 255}) {
        put(area, 0x1a, number, 1);
        const auto modules = smbios_memory_modules(structure(17, 0x22, area, {"DIMM A1", "PART-1"}));
        ASSERT_EQ(modules.size(), 1u);
        EXPECT_EQ(modules[0].part_number, "") << number;
    }
    put(area, 0x1a, 1, 1);
    const auto modules = smbios_memory_modules(structure(17, 0x22, area, {}));
    ASSERT_EQ(modules.size(), 1u);
    EXPECT_EQ(modules[0].part_number, "");
}

TEST(SmbiosTest, BrokenTablesEndTheWalk) {
    EXPECT_TRUE(smbios_memory_modules("").empty());
    EXPECT_TRUE(smbios_memory_modules(std::string(3, '\x11')).empty());
    EXPECT_TRUE(smbios_memory_modules(std::string(1000, '\0')).empty());
    // A length below the header's own.
    for (const char length : {0, 1, 2, 3}) {
        std::string bad = structure(1, 4, "", {});
        bad[1] = length;
        bad[2] = bad[3] = 7;
        const auto modules = smbios_memory_modules(device(1024) + bad + device(1024));
        EXPECT_EQ(modules.size(), 1u) << int(length);
    }
    // What follows strings without an end is not a record, whatever it looks like.
    EXPECT_TRUE(
        smbios_memory_modules(std::string("\1\4\1\1", 4) + std::string(1, '\x11') + std::string(40, '\x22'))
            .empty());
    // Cut off anywhere: a module counts once its size is there, and nothing behind the end is read.
    const std::string whole = device(1024) + device(2048);
    const size_t first = device(1024).size();
    for (size_t n = 0; n <= whole.size(); n++) {
        const std::string cut(whole.substr(0, n));
        const auto modules = smbios_memory_modules(cut);
        EXPECT_EQ(modules.size(), (n >= 0x22 ? 1u : 0u) + (n >= first + 0x22 ? 1u : 0u)) << n;
        if (n < first && !modules.empty()) {
            EXPECT_TRUE(std::string("PART-1").starts_with(modules[0].part_number) ||
                        modules[0].part_number.empty());
        }
    }
}

TEST(SmbiosTest, AnyBytesAreSurvived) {
    std::mt19937_64 random(20261121);
    const std::string good = structure(0, 0x1a, "", {"Maker", "1.0"}) + device(16384) +
                             device(0x7fff, 65536) + structure(2, 0x0f, "", {"Board"}) + device(512) +
                             end_of_table();
    size_t found = 0;
    for (int round = 0; round < 20000; round++) {
        std::string table;
        if (round % 4 == 0) {
            table.resize(random() % 300);
            for (char& c : table) c = static_cast<char>(random() % 3 == 0 ? 17 : random());
        } else {
            table = good;
            for (size_t n = 1 + random() % 6; n > 0 && !table.empty(); n--) {
                const size_t at = random() % table.size();
                switch (random() % 4) {
                    case 0:
                        table[at] = static_cast<char>(random());
                        break;
                    case 1:
                        table.erase(at, 1 + random() % 20);
                        break;
                    case 2:
                        table.insert(at, std::string(1 + random() % 5, static_cast<char>(random())));
                        break;
                    default:
                        table.resize(at);
                }
            }
        }
        const auto modules = smbios_memory_modules(table);
        // A module takes at least the bytes up to its size.
        ASSERT_LE(modules.size() * 0x0e, table.size());
        for (const SmbiosModule& m : modules) {
            ASSERT_LE(m.part_number.size(), table.size());
            ASSERT_LT(m.bytes, u64(1) << 51);
            for (const char c : m.part_number) ASSERT_TRUE(c >= ' ' && c <= '~');
        }
        found += modules.size();
    }
    EXPECT_GT(found, 10000u);
}

TEST(SmbiosTest, PrintableText) {
    EXPECT_EQ(os::printable_text(""), "");
    EXPECT_EQ(os::printable_text(" \t\r\n\0 "), "");
    EXPECT_EQ(os::printable_text(" a b \n"), "a b");
    EXPECT_EQ(os::printable_text(std::string("\0a\0", 3)), "a");
    EXPECT_EQ(os::printable_text("a\nb\x1b[31mc\x7f\xff"), "a?b?[31mc??");
}
