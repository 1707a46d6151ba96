// What the viewer's menus print of a file, and the set of files that their tests open.
#pragma once

#include <string>
#include <vector>

#include "base/console/format.h"
#include "digits/viewer/compress.h"
#include "digits/viewer/viewer_files.h"
#include "support/capture_console.h"

namespace kalvor::DigitViewer2 {

inline const std::string kMenuTitle =
    "\nKalvor Digit Viewer v2.5.313\n\n"
    "Enter the path of the file (include .txt or .kvd extensions):\nPath: ";
inline const std::string kMenuOptions =
    "What would you like to do?\n\n"
    "  0     View a small range of digits.\n"
    "  1     Compute Stats (Digit Counts + Hash).\n"
    "  2     Extract digits into a .txt file.\n"
    "  3     Compress digits 1 - N into one or more .kvd files.\n"
    "  4     Compress a subset of digits into .kvd files.\n";
inline const std::string kMenuQuestion = "\nEnter your choice:\noption: ";

// The menu of "3." and these digits in a text file.
inline std::string menu_of_text(const std::string& digits) {
    return "\n\nText File\nFirst Digits: 3." + digits.substr(0, 62) +
           "\nDigits after Decimal Place: " + Console::format_commas(digits.size()) + "\n" + kMenuOptions +
           kMenuQuestion;
}
// The same of a set of files with a million digits each, and the folders in which they are looked for.
inline std::string menu_of_set(const std::string& digits, const std::vector<std::string>& folders) {
    std::string text = "\n\nCompressed Digit File\nFirst Digits: 3." + digits.substr(0, 50) +
                       "\nDigits after Decimal Place: " + Console::format_commas(digits.size()) +
                       "\nDigits per File: 1,000,000\nSearch paths:\n";
    for (const std::string& folder : folders) text += "    " + folder + "\n";
    return text + kMenuOptions + "  5     Add search directory. (if .kvd files are in multiple paths)\n" +
           kMenuQuestion;
}

// Compresses "a.txt" of the folder into the set "set" there.
inline void write_set(const kalvor_test::TemporaryFolder& folder, u64 digits) {
    CaptureConsole console;
    const auto reader = open_digit_file(folder.file("a.txt"));
    LinearConsoleNode status(79, 1.0);
    compress_all(*reader, digits, {folder.file("set"), 1000000}, ViewerRun{serial_context(), status});
}

}  // namespace kalvor::DigitViewer2
