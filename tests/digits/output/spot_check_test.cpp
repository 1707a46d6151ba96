#include "digits/output/spot_check.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "base/console/format.h"
#include "base/status/linear_console_node.h"
#include "digits/output/float_reader.h"
#include "support/capture_console.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

using kalvor_test::TemporaryFolder;
using trel::i64;
using trel::u64;
using trel::Word;

using Entries = std::map<u64, u64>;

// Digits of pi after the point, 19 a word, the first word last.
const std::string kPi =
    "14159265358979323846264338327950288419716939937510582097494459230781640628620899862803482534211706798214"
    "808651";

// The lines of a check as a run shows them.
void show(const SpotCheck& check) {
    trel::LinearConsoleNode status(79, 1.0);
    report(status, check);
}

struct PiSource {
    PiSource() : words(kPi.size() / 19) {
        for (u64 i = 0; i < words.size(); i++)
            words[words.size() - 1 - i] = std::stoull(kPi.substr(19 * i, 19));
    }
    u64 digits() const { return 19 * words.size(); }
    FloatReaderB reader() const { return FloatReaderB(3, words.data(), words.size(), digits()); }
    static std::string group(u64 position) { return kPi.substr(position - 10, 10); }

    std::vector<Word> words;
};

struct Folder {
    Folder() {
        std::filesystem::create_directories(root.file("a/b/c"));
        program = root.file("a/b/c") + "/";
    }
    void table(const std::string& folder, const std::string& text, const std::string& name = "Pi") {
        std::filesystem::create_directories(program + folder);
        std::ofstream(program + folder + name + ".txt", std::ios::binary) << text;
    }
    i64 run(u64 digits) {
        PiSource pi;
        FloatReaderB reader = pi.reader();
        const SpotCheck check = spot_check(reader, digits, "Pi", program);
        show(check);
        return check.position;
    }
    TemporaryFolder root;
    std::string program;
};

TEST(SpotCheckTest, Table) {
    CaptureConsole console;
    EXPECT_EQ(parse_spot_check_table("  1,000 | 1234567890\n").entries, (Entries{{1000, 1234567890}}));
    EXPECT_EQ(parse_spot_check_table("5 | 1234567890\n9|1\n10|2").entries, (Entries{{10, 2}}));
    EXPECT_EQ(parse_spot_check_table(" \t20\t|\t0,123,456,789 trailing\r\n\n30|7\r\n").entries,
              (Entries{{20, 123456789}, {30, 7}}));
    EXPECT_EQ(parse_spot_check_table("no table\n100\n| 5\n100 5\n100 | \n100 x | 5\n").entries, Entries{});
    EXPECT_EQ(parse_spot_check_table("99999999999999999999 | 1\n10 | 99999999999999999999\n").entries,
              Entries{});
    EXPECT_EQ(parse_spot_check_table("").entries, Entries{});
    EXPECT_EQ(console.text(), "");
    // ascending, whatever the order of the lines; the first of two entries counts and parsing goes on
    EXPECT_EQ(parse_spot_check_table("40 | 1\n20 | 2\n40 | 3\n50 | 4").entries,
              (Entries{{20, 2}, {40, 1}, {50, 4}}));
    EXPECT_EQ(parse_spot_check_table("40 | 1\n20 | 2\n40 | 3\n50 | 4\n40|5").duplicates, 2u);
    EXPECT_EQ(console.text(), "");
    show({50, "Good through 50", 'G', 1});
    EXPECT_EQ(console.text(),
              "\nError parsing digit file: Duplicate entries.\nSpot Check: Good through 50\n");
}

TEST(SpotCheckTest, GoodThroughTheLastEntryWithinTheDigits) {
    Folder folder;
    folder.table("Digits/", "10 | " + PiSource::group(10) + "\n  50 | " + PiSource::group(50) + "\n95 | " +
                                PiSource::group(95) + "\n1,000 | 1234567890\n");
    CaptureConsole console(CaptureConsole::terminal, true);
    EXPECT_EQ(folder.run(95), 95);
    EXPECT_EQ(console.text(), "{w}Spot Check: {G}Good through 95{w}\n");
    EXPECT_EQ(folder.run(94), 50);
    EXPECT_EQ(folder.run(49), 10);
    EXPECT_EQ(folder.run(10), 10);
}

TEST(SpotCheckTest, FirstDifferenceStops) {
    Folder folder;
    folder.table("Digits/",
                 "60 | 1\n20 | " + PiSource::group(20) + "\n40 | 2\n30 | " + PiSource::group(30) + "\n");
    CaptureConsole console(CaptureConsole::terminal, true);
    EXPECT_EQ(folder.run(95), -40);
    EXPECT_EQ(console.text(), "{w}Spot Check: {R}Mismatch at 40{w}\n");
    // one digit off, and digits shifted by one place
    for (const u64 shift : {0, 1}) {
        u64 value = std::stoull(PiSource::group(40 + shift));
        folder.table("Digits/", "40 | " + std::to_string(shift == 0 ? value + 1 : value) + "\n");
        EXPECT_EQ(folder.run(95), -40);
    }
}

TEST(SpotCheckTest, NothingToCheck) {
    Folder folder;
    CaptureConsole console(CaptureConsole::terminal, true);
    EXPECT_EQ(folder.run(95), 0);
    EXPECT_EQ(console.text(), "{w}Spot Check: {Y}Unavailable - Digit file not found.{w}\n");
    for (const std::string& text : {std::string("96 | 1\n"), std::string()}) {
        folder.table("Digits/", text);
        CaptureConsole inner;
        EXPECT_EQ(folder.run(95), 0);
        EXPECT_EQ(inner.text(), "Spot Check: Unavailable - No suitable spot check entry.\n");
    }
    // beside the running program there is no table of this name
    CaptureConsole own;
    PiSource pi;
    FloatReaderB reader = pi.reader();
    const SpotCheck nothing = spot_check(reader, 95, "no such constant");
    EXPECT_EQ(nothing.position, 0);
    EXPECT_EQ(own.text(), "");
    show(nothing);
    EXPECT_EQ(own.text(), "Spot Check: Unavailable - Digit file not found.\n");
}

// The folders in their order: what is found first counts. The last is made first.
TEST(SpotCheckTest, Folders) {
    Folder folder;
    CaptureConsole console;
    u64 position = 10;
    for (const char* place : {"../../../Digits/", "../../Digits/", "Digits/", "Binaries/Digits/"}) {
        folder.table(place, std::to_string(position) + " | " + PiSource::group(position) + "\n");
        folder.table(place, "20 | 1\n", "e");
        EXPECT_EQ(folder.run(95), static_cast<i64>(position)) << place;
        position++;
    }
}

// The position before the one that differs is told, and a file that is too large for a table is not read.
TEST(SpotCheckTest, TheLastGoodPositionAndFilesThatAreNoTables) {
    Folder folder;
    CaptureConsole console;
    folder.table("Digits/", "10 | " + PiSource::group(10) + "\n30 | 1\n");
    PiSource pi;
    FloatReaderB reader = pi.reader();
    const SpotCheck differs = spot_check(reader, 95, "Pi", folder.program);
    EXPECT_EQ(differs.position, -30);
    EXPECT_EQ(differs.last_good, 10u);
    std::filesystem::resize_file(folder.program + "Digits/Pi.txt", (u64(16) << 20) + 1);
    EXPECT_EQ(folder.run(95), 0);
    std::filesystem::resize_file(folder.program + "Digits/Pi.txt", u64(16) << 20);
    EXPECT_EQ(folder.run(20), 10);
}

}  // namespace
}  // namespace kalvor
