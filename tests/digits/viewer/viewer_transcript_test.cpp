// Whole sessions with the viewer: typed lines in, all bytes out.
#include <gtest/gtest.h>

#include <filesystem>

#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "digits/output/digit_stats.h"
#include "digits/viewer/viewer_menu.h"
#include "digits/viewer/viewer_menu_texts.h"

namespace kalvor::DigitViewer2 {
namespace {

class ViewerTranscriptTest : public testing::Test {
  protected:
    ViewerTranscriptTest() {
        folder_.write("a.txt", "3." + digits_);
        write_set(folder_, digits_.size());
    }

    std::string menu(bool set) const {
        return kMenuTitle + (set ? menu_of_set(digits_, {folder_.file("")}) : menu_of_text(digits_));
    }
    // The same answers to the menu of a text file and of a set: what is printed behind the menu.
    // And `made` are the files that each of both makes.
    void expect_both(const std::vector<std::string>& answers, const std::string& expected,
                     const std::vector<std::string>& made = {}) const {
        for (const bool set : {false, true}) {
            CaptureConsole console;
            console.type({folder_.file(set ? "set - 2.kvd" : "a.txt")});
            for (const std::string& answer : answers) console.type({answer});
            Menu_DigitViewer(serial_runner());
            EXPECT_EQ(console.take(), menu(set) + expected);
            EXPECT_EQ(console.lines_left(), 0u);
            for (const std::string& name : made) {
                EXPECT_TRUE(folder_.has(name)) << name;
                if (!set) std::filesystem::remove(folder_.file(name));
            }
        }
    }
    // A text that tells the hash and the counts of digits first ... last.
    std::string stats(u64 first, u64 last) const {
        const std::string digits = digits_.substr(first - 1, last - first + 1);
        std::string text = "Current Offset: " + Console::format_commas(last) + "\n";
        if (first == 1)
            text += "Hash(start - current): " + std::to_string(plain_hash("3" + digits, 10)) + "\n";
        DigitCounts counts(10);
        for (const char c : digits) counts.count[static_cast<std::size_t>(c - '0')]++;
        const std::string range = "(" + Console::format_commas(first) + " - current)";
        return text + "Hash" + range + "  : " + std::to_string(plain_hash(digits, 10)) + "\nDigit Counts " +
               range + ": " + counts_text(counts) + "\n\n";
    }

    const std::string digits_ = random_digits(2500000, 10, 1);
    const kalvor_test::TemporaryFolder folder_;
};

TEST_F(ViewerTranscriptTest, ViewingARange) {
    expect_both({"-1", "7", "x", "0", "0", "2500001", "2499976", "0", "26", "25"},
                "option: option: option: \n\nView a Range of Digits\n"
                "Starting Digit: Starting Digit: Starting Digit: Digits to View: Digits to View: "
                "Digits to View: \n" +
                    std::string(25 + 2, ' ') + digits_.substr(2499975, 5) + " " +
                    digits_.substr(2499980, 10) + " " + digits_.substr(2499990, 10) + "  :  2,500,000\n");
}

TEST_F(ViewerTranscriptTest, Statistics) {
    const std::string head = "\n\nCompute Digit Statistics\nStarting Digit: Ending Digit:   ";
    const std::string foot = "Hash(A - B) are the digits from A - B as an integer modulo (2^61 - 1).\n\n";
    expect_both({"1", "1", "1500"}, head + "\nProcessing 1,500 digits...\n    From: 1\n    To  : 1,500\n\n" +
                                        stats(1, 1500) + foot);
    expect_both({"1", "1200", "1199", "2500001", "2500000"},
                head +
                    "Ending Digit:   Ending Digit:   \nProcessing 2,498,801 digits...\n    From: 1,200\n"
                    "    To  : 2,500,000\n\n" +
                    stats(1200, 2500000) + foot);
}

TEST_F(ViewerTranscriptTest, Extracting) {
    const std::string file = folder_.file("b.txt");
    expect_both({"2", "999990", "1000010", "", folder_.file("b")},
                "\n\nWrite to Text File\nStarting Digit: Ending Digit:   "
                "Enter the path of the destination file:\nPath: Path: "
                "Current Offset: 1,000,010\nRead Back: 21\nWritten: " +
                    file + "\n",
                {"b.txt"});
    EXPECT_EQ(folder_.read("b.txt"), "3." + digits_.substr(999989, 21));
}

TEST_F(ViewerTranscriptTest, CompressingEverything) {
    expect_both(
        {"3", "2500001", "999999", "2500000", "2500001", "500000", "1000000", "", "x", folder_.file("")},
        "\n\nWrite to Compressed File\nStarting Digit: 1\nEnding Digit:   Ending Digit:   "
        "Please select at least 1,000,000 digits.\nEnding Digit:   "
        "Digits per file (0 for single file): Digits per file (0 for single file): \n"
        "Must be at least 1,000,000.\n\nDigits per file (0 for single file): "
        "Enter a name for the digits:\nName: Name: \n"
        "Enter the destination path (SPACE for default):\nPath: "
        "Current Offset: 2,500,000\nRead Back: 2,500,000\nWritten: " +
            folder_.file("x - 0.kvd") + " ... " + folder_.file("x - 2.kvd") + "\n",
        {"x - 0.kvd", "x - 1.kvd", "x - 2.kvd"});
    for (const char* const id : {"0", "1", "2"}) {
        const std::string name = std::string(" - ") + id + ".kvd";
        EXPECT_TRUE(folder_.read("x" + name) == folder_.read("set" + name)) << id;
    }
}

TEST_F(ViewerTranscriptTest, CompressingSomeFiles) {
    const std::string head =
        "\n\nWrite to Compressed File (partial)\nDigits per file: Digits per file: Start ID: End   ID: ";
    expect_both({"4", "999999", "1000000", "1", "0", "7", "y", folder_.file("")},
                head +
                    "End   ID: Enter a name for the digits:\nName: \n"
                    "Enter the destination path (SPACE for default):\nPath: "
                    "Current Offset: 2,500,000\nRead Back: 2,500,000\nWritten: " +
                    folder_.file("y - 1.kvd") + " ... " + folder_.file("y - 2.kvd") + "\n",
                {"y - 1.kvd", "y - 2.kvd"});
    EXPECT_FALSE(folder_.has("y - 0.kvd"));
    for (const char* const id : {"1", "2"}) {
        const std::string name = std::string(" - ") + id + ".kvd";
        EXPECT_TRUE(folder_.read("y" + name) == folder_.read("set" + name)) << id;
    }
    // Once more: a file in the middle of a set does not know how many digits the set has.
    CaptureConsole console;
    console.type({folder_.file("a.txt"), "4", "1000000", "1", "1", "y", folder_.file("")});
    Menu_DigitViewer(serial_runner());
    EXPECT_NE(console.take().find("Path: Replacing " + folder_.file("y - 1.kvd") + ".\nCurrent Offset: "),
              std::string::npos);
    expect_both({"4", "2500001", "1000000", "3", "3"}, head + "\nNo Digits to Recompress.\n");
}

// An error names the function that found it.
TEST_F(ViewerTranscriptTest, WhereErrorsAreFound) {
    const auto found_by = [](const std::function<void()>& work) {
        try {
            work();
        } catch (const InvalidParametersException& e) {
            return e.function + ": " + e.message;
        }
        return std::string("nothing thrown");
    };
    CaptureConsole console;
    console.type({"digits"});
    EXPECT_EQ(found_by([] { Menu_DigitViewer(serial_runner()); }), "Menu_DigitViewer(): No Extension found.");
}

}  // namespace
}  // namespace kalvor::DigitViewer2
