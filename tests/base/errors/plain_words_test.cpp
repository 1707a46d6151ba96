// What a failure means for the user, before its report.
#include "base/errors/plain_words.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <new>
#include <stdexcept>

#include "base/command_line/shown_text.h"
#include "base/errors/fatal.h"
#include "os/error.h"
#include "os/path_kind.h"
#include "support/capture_console.h"
#include "support/temporary_folder.h"

using namespace trel;
using kalvor_test::TemporaryFolder;

namespace {

std::string not_writable(const std::string& path, u32 code) {
    return plain_words(FileIO::FileException("f()", "Path is not writable.", path, code));
}

constexpr const char* kSeeHelp = "\nSee \"kalvor help\".";
constexpr const char* kChoose =
    " Choose a folder that you may write to (-o <folder>, or \"Path\" in a settings file).\nSee \"kalvor "
    "help\".";

}  // namespace

TEST(PlainWordsTest, FoldersThatCannotBeWritten) {
    const TemporaryFolder folder;
    folder.write("file", "x");
    const std::string whole = os::absolute_path(folder.file("file"));
    for (const char* path : {"file", "file/out", "file/out/further"}) {
        EXPECT_EQ(not_writable(folder.file(path), 20),
                  "\"" + whole + "\" is a file where a folder should be." + kChoose);
    }
    const std::string denied = os::system_error_text(13);
    EXPECT_EQ(not_writable(folder.file("new/out"), 13), "The folder \"" +
                                                            os::absolute_path(folder.file("new")) +
                                                            "\" cannot be made: " + denied + "." + kChoose);
    // The current folder has a name.
    EXPECT_EQ(not_writable("", 13), "Nothing can be written into the folder \"" + os::absolute_path("") +
                                        "\": " + denied + "." + kChoose);
    EXPECT_GT(os::absolute_path("").size(), 1u);
}

TEST(PlainWordsTest, Files) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.file("folder"));
    EXPECT_EQ(plain_words(FileIO::FileException("f()", "Unable to open file.\n\nAccess Denied",
                                                folder.file("folder"), 21)),
              "\"" + os::absolute_path(folder.file("folder")) + "\" is a folder, not a file." + kSeeHelp);
    EXPECT_EQ(plain_words(FileIO::FileException("f()", "Unable to open file.\n\nAccess Denied",
                                                folder.file("x"), 13)),
              "\"" + os::absolute_path(folder.file("x")) +
                  "\": Unable to open file: " + os::system_error_text(13) + "." + kSeeHelp);
    EXPECT_EQ(plain_words(FileIO::FileException("f()", "Bad.",
                                                "a\x1b"
                                                "b")),
              CommandLine::quoted(os::absolute_path("a\x1b"
                                                    "b")) +
                  ": Bad." + kSeeHelp);
}

// A sentence that ends in a list says what the list begins with.
TEST(PlainWordsTest, FilesThatAreMissing) {
    const auto words = [](const std::string& names) {
        return plain_words(FileIO::FileException(
            "f()", "The following needed files are missing or inaccessible:\n" + names + "Missing.", "x"));
    };
    const std::string head =
        "\"" + os::absolute_path("x") + "\": The following needed files are missing or inaccessible: ";
    EXPECT_EQ(words("a - 1.kvd\n"), head + "a - 1.kvd." + kSeeHelp);
    EXPECT_EQ(words("a - 1.kvd\na - 2.kvd\na - 3.kvd\n"), head + "a - 1.kvd and 2 more." + kSeeHelp);
    EXPECT_EQ(plain_words(FileIO::FileException("f()", "Odd:", "x")),
              "\"" + os::absolute_path("x") + "\": Odd:." + kSeeHelp);
}

TEST(PlainWordsTest, ADetectedFaultIsTheMachines) {
    const std::string words = plain_words(AlgorithmFailedException("f()", "Convergence Failure"));
    for (const char* piece : {"memory", "heat", "power", "Run a memory\ntest"}) {
        std::string flat = words, wanted = piece;
        for (char& c : flat) c = c == '\n' ? ' ' : c;
        for (char& c : wanted) c = c == '\n' ? ' ' : c;
        EXPECT_NE(flat.find(wanted), std::string::npos) << piece;
    }
    EXPECT_EQ(plain_words(ConvolutionFailedException("FFT", "Coefficient is too large.", 1, 2)), words);
    EXPECT_EQ(plain_words(BSRModularCheckFailedException("f()", "m", 0, 1, {})), words);
}

TEST(PlainWordsTest, Memory) {
    EXPECT_EQ(plain_words(MemoryAllocationFailedException("f()", "mmap", u64(3) << 30)),
              "The system did not give 3.00 GiB of memory. Compute fewer digits, close other programs, or "
              "raise the "
              "memory limit of this process.\nSee \"kalvor help\".");
    EXPECT_EQ(plain_words(std::bad_alloc()).substr(0, 38), "The system did not give more memory. C");
}

// The readers of options and settings explain these, with the option's or the member's name.
TEST(PlainWordsTest, NothingWhereTheReportSaysItAll) {
    EXPECT_EQ(plain_words(InvalidParametersException("f()", "Invalid Constant: tau")), "");
    EXPECT_EQ(plain_words(KeyNotFoundException("", "Mode")), "");
    EXPECT_EQ(plain_words(EndOfStreamException("parse_acfg()", "Unexpected end of stream.")), "");
    EXPECT_EQ(plain_words(std::runtime_error("x")), "");
    EXPECT_NE(plain_words(EndOfStreamException("Prompt::read_text()", "Unexpected end of stream.")), "");
}

// Also at the edge of a thread.
TEST(PlainWordsTest, ComeBeforeTheReport) {
    CaptureConsole console;
    try {
        throw AlgorithmFailedException("f()", "Convergence Failure");
    } catch (...) {
        EXPECT_TRUE(report_current_exception());
    }
    const std::string text = console.take();
    EXPECT_LT(text.find("A check found a wrong result"),
              text.find("\n\nException Encountered: AlgorithmFailed"));
}

// No value or path of the user moves the terminal or fills it.
TEST(ReportsTest, HostileTextsAreTamed) {
    CaptureConsole console;
    InvalidParametersException("", "Invalid Mode: \x1b]0;x\x07" + std::string(1 << 20, 'y')).print();
    std::string text = console.take();
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
    EXPECT_NE(text.find("Invalid Mode: \\x1b]0;x\\x07yyy"), std::string::npos);
    EXPECT_LT(text.size(), 5000u);
    FileIO::FileException("f()", "Lines\n\nstay.", "p\nq\x1b[2J").print();
    text = console.take();
    EXPECT_NE(text.find("Path:   p\\x0aq\\x1b[2J\n"), std::string::npos) << text;
    EXPECT_NE(text.find("Lines\n\nstay.\n"), std::string::npos);
    FileIO::FileException("f()", "x", "").print();
    EXPECT_NE(console.take().find("Path:   " + os::absolute_path("") + "\n"), std::string::npos);
}
