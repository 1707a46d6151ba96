// The viewer's menus and command line with files and answers that nobody would choose. Thousands of cases
// that are the same on every run: none ends in another way than an exception of the program or a return, none
// leaves the sources or a longer file changed, and what gets a final name can be read.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "base/command_line/parameter_list.h"
#include "base/command_line/refusal.h"
#include "base/errors/exceptions.h"
#include "base/errors/expected_exceptions.h"
#include "digits/files/basic_kvd_file_reader.h"
#include "digits/viewer/viewer_command.h"
#include "digits/viewer/viewer_files.h"
#include "digits/viewer/viewer_menu.h"
#include "support/capture_console.h"
#include "support/effort.h"

namespace kalvor::DigitViewer2 {
namespace {

class InFolder {
  public:
    explicit InFolder(const kalvor_test::TemporaryFolder& folder) {
        std::filesystem::current_path(folder.path());
    }
    ~InFolder() { std::filesystem::current_path(before_); }
    InFolder(const InFolder&) = delete;
    InFolder& operator=(const InFolder&) = delete;

  private:
    const std::filesystem::path before_ = std::filesystem::current_path();
};

class ViewerFuzzTest : public testing::Test {
  protected:
    // Nothing that the viewer may replace.
    ViewerFuzzTest() { folder_.write("notes.txt", "What was to be done today"); }

    using Names = std::map<std::string, std::string>;  // and contents

    u64 below(u64 n) { return random_() % n; }
    template <class T, std::size_t N>
    const T& one_of(const T (&all)[N]) {
        return all[below(N)];
    }
    std::string bytes(u64 count) {
        std::string text;
        for (u64 i = 0; i < count; i++) text += static_cast<char>(below(256));
        return text;
    }

    // A number near a bound of something, or no number at all.
    std::string number() {
        static const char* const kSpecial[] = {"",
                                               "0",
                                               "1",
                                               "2",
                                               "50",
                                               "99999",
                                               "-1",
                                               "100000",
                                               "100001",
                                               "1000000",
                                               "1200000",
                                               "1200001",
                                               " 1",
                                               "1k",
                                               "1m",
                                               "1K",
                                               "1e9",
                                               "18446744073709551615",
                                               "0x10",
                                               "+5",
                                               "1,000",
                                               "999999",
                                               "00000003",
                                               "18446744073709551616",
                                               "nan",
                                               "1200000",
                                               "9223372036854775807",
                                               "9223372036854775808",
                                               "340282366920938463463374607431768211456"};
        switch (below(4)) {
            case 0:
                return one_of(kSpecial);
            case 1:
                return std::to_string(random_() >> below(64));
            default:
                return std::to_string(below(60) + 1);
        }
    }
    // No path that leaves the folder.
    std::string word() {
        std::string text;
        for (u64 n = below(40); n > 0; n--) {
            const char c = static_cast<char>(below(128));
            text += c == '/' || c == '\\' || c == ':' ? '_' : c;
        }
        return text;
    }
    std::string path() {
        return folder_.file(one_of({"made0", "made1", "a", "set", "set - 0", "notes", "notes.txt"}));
    }
    std::string answer() {
        switch (below(12)) {
            case 0:
                return word();
            case 1:
                return std::string(below(3000), static_cast<char>('0' + below(10)));
            case 2:
                return path();
            case 3:
                return folder_.file("");
            case 4:
                return folder_.file("missing/made");
            case 5:
                return "\x1b[31m\x07\r";
            default:
                return number();
        }
    }

    // A text file that is one nearly.
    std::string text_file() {
        const u8 radix = below(3) == 0 ? 16 : 10;
        static const char* const kBefore[] = {"3.",
                                              "0.",
                                              ".",
                                              "",
                                              "-3.",
                                              "123456789.",
                                              "\xEF\xBB\xBF"
                                              "3.",
                                              "3..",
                                              "3,"};
        std::string text =
            (below(3) == 0 ? one_of(kBefore) : "3.") + random_digits(below(300), radix, random_());
        if (below(10) == 0) text = std::string(60 + below(8), '1') + "." + text;
        if (below(4) == 0) text += one_of({"\n", "\r\n", " ", "\t"});
        mutate(text);
        return text;
    }

    // A header of a compressed file, and data that need not go with it.
    std::string kvd_file(u64 id) {
        static const char* const kSizes[] = {
            "100", "250", "1000000", "0", "99", "18446744073709551615", "9223372036854775808", "x"};
        static const char* const kTotals[] = {
            "0", "0", "60", "100", "250", "1", "18446744073709551615", "9223372036854775808"};
        static const char* const kIds[] = {"0", "0", "0", "1", "18446744073709551615", "99999999999"};
        static const char* const kBases[] = {"10", "10", "10", "16", "266", "2", ""};
        static const char* const kFirst[] = {"3.14159", "3.", "", "314", "3.1x", "0.5", "\x1b[2J3.1"};
        const bool sound = below(2) == 0;
        std::string text = "#Compressed Digit File\r\n\r\nFileVersion:\t1.1.0\r\n\r\n";
        const auto line = [&](const char* key, const std::string& value, const char* end) {
            text += std::string(key) + ":\t" + value + end;
        };
        line("Base", sound ? "10" : one_of(kBases), "\r\n\r\n");
        line("FirstDigits", sound ? "3.14159" : one_of(kFirst), "\r\n\r\n");
        line("TotalDigits", sound ? (below(2) ? "0" : "250") : one_of(kTotals), "\r\n\r\n");
        line("Blocksize", sound ? "100" : one_of(kSizes), "\r\n");
        line("BlockID", sound ? std::to_string(id) : one_of(kIds), "\r\n\r\n");
        text += std::string("EndHeader\r\n\r\n") + '\0';
        for (u64 word = sound ? 6 : below(20); word > 0; word--) {
            // Most of them hold digits.
            const u64 value = random_() >> (below(8) == 0 ? 0 : 2);
            for (int byte = 0; byte < 8; byte++) text += static_cast<char>(value >> (8 * byte));
        }
        mutate(text);
        return text;
    }

    void mutate(std::string& text) {
        if (below(3) != 0) return;
        for (u64 n = below(4) + 1; n > 0 && !text.empty(); n--) {
            const u64 at = below(text.size());
            switch (below(5)) {
                case 0:
                    text.resize(at);
                    break;
                case 1:
                    text[at] = static_cast<char>(below(256));
                    break;
                case 2:
                    text.insert(at, bytes(below(8)));
                    break;
                case 3:
                    text.erase(at, below(5));
                    break;
                default:
                    text.insert(at, text.substr(at, below(200)));
            }
        }
    }

    // A session that comes to its end, but for an answer here and there.
    std::vector<std::string> session() {
        const std::vector<std::string> sessions[] = {
            {"0", std::to_string(below(60) + 1), std::to_string(below(60) + 1)},
            {"1", "1", std::to_string(below(200) + 1)},
            {"2", "1", std::to_string(below(200) + 1), path()},
            {"2", std::to_string(below(40) + 1), "60", path()},
            {"3", "1000000", below(2) ? "0" : "1000000", "made", folder_.file("")},
            {"4", "1000000", std::to_string(below(3)), "1", "made", " "},
        };
        std::vector<std::string> typed = one_of(sessions);
        for (std::string& line : typed) {
            if (below(8) == 0) line = answer();
        }
        return typed;
    }
    std::vector<std::string> command() {
        const std::vector<std::string> commands[] = {
            {"view", "-start:" + std::to_string(below(60) + 1), "-digits:" + std::to_string(below(60) + 1)},
            {"stats", "-end:" + std::to_string(below(200) + 1)},
            {"extract", "-start:" + std::to_string(below(40) + 1), "-end:60", "-to", path()},
            {"compress", "-C:1m", "-name", "made", "-to", folder_.file("")},
            {"partial", "-C:1m", "-ids:" + std::to_string(below(3)), "-name", "made", "-to", " "},
        };
        return one_of(commands);
    }

    // What a run ends with: nothing, or an exception that the program reports. Anything else ends the test.
    template <class Work>
    bool survives(Work work) {
        try {
            work();
            return true;
        } catch (const Exception& e) {
            e.print();
        } catch (const ExpectedException&) {
        } catch (const CommandLine::CommandLineException&) {
        } catch (const CommandLine::RefusedException&) {
        }
        return false;
    }

    Names files() const {
        Names names;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
            if (entry.is_directory()) continue;
            const std::string name = entry.path().filename().string();
            names[name] = folder_.read(name);
        }
        return names;
    }

    // What was there is as it was; what is new and has a final name is a digit file.
    void check(const Names& before, const CaptureConsole& console) {
        for (const char c : console.text()) {
            ASSERT_TRUE(c == '\n' || (static_cast<u8>(c) >= 32 && c != 127)) << console.text();
        }
        for (const auto& [name, content] : files()) {
            const auto old = before.find(name);
            if (old != before.end()) {
                ASSERT_TRUE(old->second == content) << name << "\n" << console.text();
                continue;
            }
            if (name.find("(incomplete)") == std::string::npos) {
                EXPECT_NO_THROW(read_all(name)) << name << "\n" << console.text();
                n_made_++;
            }
            std::filesystem::remove(folder_.file(name));
        }
    }
    void read_all(const std::string& name) {
        std::unique_ptr<BasicDigitReader> reader;
        u64 begin = 0, count = 0;
        if (name.ends_with(".kvd")) {
            auto file = std::make_unique<BasicKvdFileReader>(folder_.file(name));
            begin = file->get_range().begin;
            count = file->get_range().end - begin;
            reader = std::move(file);
        } else {
            reader = open_digit_file(folder_.file(name));
            count = reader->total_digits();
        }
        std::vector<u8> values(count), scratch(reader->buffer_size(count, u64(1) << 24) + 8192);
        const u64 skip = 64 - reinterpret_cast<std::uintptr_t>(scratch.data()) % 64;
        reader->load_digits(values.data(), begin, count,
                            AlignedBufferC(scratch.data() + skip, (scratch.size() - skip) / 64 * 64),
                            serial_context());
    }

    // A session at the menu. The path, and so many answers; then nobody is there.
    void menu_case(const std::string& path) {
        const Names before = files();
        CaptureConsole console;
        console.type({path});
        if (below(2) == 0) {
            for (const std::string& line : session()) console.type({line});
        } else {
            console.type({std::to_string(below(7))});
            for (u64 n = below(8); n > 0; n--) console.type({answer()});
        }
        n_returned_ += survives([&] { Menu_DigitViewer(serial_runner()); });
        check(before, console);
    }

    void command_case(const std::string& path) {
        static const char* const kActions[] = {"view",    "stats", "extract", "compress",
                                               "partial", "",      "View",    "open"};
        static const char* const kOptions[] = {
            "-start:", "-end:", "-digits:", "-C:", "-ids:", "-x:", "-dir", "-to", "-name"};
        std::vector<std::string> words = {"kalvor", "digitviewer", path};
        const bool sound = below(2) == 0;
        const std::vector<std::string> all = sound ? command() : std::vector<std::string>{one_of(kActions)};
        words.insert(words.end(), all.begin(), all.end());
        for (u64 n = sound ? below(4) / 3 : below(5); n > 0; n--) {
            const std::string option = one_of(kOptions);
            if (option.back() == ':') {
                words.push_back(option + number() + (option == "-ids:" && below(2) ? "-" + number() : ""));
            } else {
                words.push_back(option);
                words.push_back(below(3) == 0 ? this->path() : answer());
            }
        }
        // Words end where a system's do, and names stay in the test's folder.
        for (std::string& word : words) word = word.substr(0, word.find('\0'));
        const Names before = files();
        CaptureConsole console;
        console.type({answer(), answer(), answer()});
        n_returned_ += survives([&] {
            CommandLine::ParameterList parameters(words);
            run_viewer_command(parameters, serial_runner());
        });
        check(before, console);
    }

    std::mt19937_64 random_{20260102};
    const kalvor_test::TemporaryFolder folder_;
    const InFolder inside_{folder_};
    u64 n_made_ = 0, n_returned_ = 0;
};

TEST_F(ViewerFuzzTest, TextFiles) {
    for (unsigned i = 0; i < 1500 / kalvor_test::thinned_under_wine_too(4); i++) {
        folder_.write("a.txt", text_file());
        SCOPED_TRACE(i);
        menu_case(folder_.file("a.txt"));
        command_case(folder_.file("a.txt"));
        if (HasFatalFailure()) return;
    }
    // The cases reach what they are to reach.
    EXPECT_GT(n_returned_, 300 / kalvor_test::thinned_under_wine_too(4));
    EXPECT_GT(n_made_, 100 / kalvor_test::thinned_under_wine_too(4));
}

TEST_F(ViewerFuzzTest, CompressedFiles) {
    for (unsigned i = 0; i < 1500 / kalvor_test::thinned_under_wine_too(4); i++) {
        folder_.write("set - 0.kvd", kvd_file(0));
        folder_.write("set - 1.kvd", kvd_file(1));
        const std::string path = folder_.file(below(4) == 0 ? "set - 1.kvd" : "set - 0.kvd");
        SCOPED_TRACE(i);
        menu_case(path);
        command_case(path);
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(n_returned_, 300 / kalvor_test::thinned_under_wine_too(4));
    EXPECT_GT(n_made_, 30 / kalvor_test::thinned_under_wine_too(4));
}

// Enough digits to compress them.
TEST_F(ViewerFuzzTest, AFileThatCanBeCompressed) {
    folder_.write("a.txt", "3." + random_digits(1200000, 10, 1));
    for (unsigned i = 0; i < 150 / kalvor_test::thinned_under_wine_too(5); i++) {
        SCOPED_TRACE(i);
        menu_case(folder_.file("a.txt"));
        command_case(folder_.file("a.txt"));
        if (HasFatalFailure()) return;
    }
    EXPECT_GT(n_made_, 10 / kalvor_test::thinned_under_wine_too(5));
}

// Headers that promise more than any disk holds. What cannot be is refused before anything is made or
// counted.
TEST_F(ViewerFuzzTest, PromisesOfAHeader) {
    const std::string huge = "9223372036854775807";
    const std::vector<std::string> sessions[] = {
        {"1", "1", huge},
        {"2", "1", huge, folder_.file("made")},
        {"3", huge, "0", "made", " "},
        {"3", huge, "1000000", "made", " "},
        {"4", "1000000", "0", "9000000000000", "made", " "},
    };
    for (const char* size : {"9223372036854775808", "18446744073709551615"}) {
        folder_.write("set - 0.kvd",
                      "#Compressed Digit File\r\n\r\nFileVersion:\t1.1.0\r\n\r\nBase:\t10\r\n\r\n"
                      "FirstDigits:\t3.14159\r\n\r\nTotalDigits:\t0\r\n\r\nBlocksize:\t" +
                          std::string(size) + "\r\nBlockID:\t0\r\n\r\nEndHeader\r\n\r\n" +
                          std::string(49, '\0'));
        for (const auto& session : sessions) {
            const Names before = files();
            CaptureConsole console;
            console.type({folder_.file("set - 0.kvd")});
            for (const std::string& line : session) console.type({line});
            EXPECT_FALSE(survives([&] { Menu_DigitViewer(serial_runner()); })) << session[0];
            EXPECT_EQ(console.lines_left(), 0u);
            const bool written = session[0] != "1";
            EXPECT_EQ(console.text().find("too little space") != std::string::npos, written)
                << console.text();
            EXPECT_EQ(files(), before);
        }
    }
}

TEST_F(ViewerFuzzTest, Paths) {
    std::filesystem::create_directory(folder_.file("folder.txt"));
    std::filesystem::create_directory(folder_.file("folder - 0.kvd"));
    const std::string kPaths[] = {"",
                                  ".",
                                  "/",
                                  ".txt",
                                  ".kvd",
                                  "..",
                                  "a",
                                  "a.dat",
                                  std::string(5000, 'a') + ".txt",
                                  folder_.file("folder.txt"),
                                  folder_.file("folder - 0.kvd"),
                                  folder_.file("none.txt"),
                                  "\x1b[2J.txt",
                                  "a\n.kvd",
                                  "a (incomplete).txt",
                                  "a - 99999999999999999999.kvd"};
    for (const std::string& path : kPaths) {
        CaptureConsole console;
        console.type({path, "0", "1", "1"});
        EXPECT_FALSE(survives([&] { Menu_DigitViewer(serial_runner()); })) << path;
    }
}

}  // namespace
}  // namespace kalvor::DigitViewer2
