#include "digits/output/replacement.h"

#include <algorithm>
#include <optional>

#include "base/command_line/shown_text.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "platform/fileio/error_text.h"

namespace kalvor {

using FileIO::FileCalls;
using FileIO::FileException;

namespace {

// The digits of a file that can be read; nothing when it is not a digit file.
std::optional<u64> digits_of(const DigitFormat& format, const std::string& path, u8 radix,
                             std::optional<u64> of_set, const FileCalls& calls) {
    try {
        if (of_set) return std::max(*of_set, format.make_reader(path, radix, calls)->total_digits());
        return format.digits_there(path, radix, calls);
    } catch (const Exception&) {
        return std::nullopt;
    }
}

}  // namespace

Replacement check_replacement(const DigitFormat& format, const std::string& path, u8 radix, u64 digits,
                              bool overwrite, const FileCalls& calls, std::optional<u64> of_set,
                              const ReplacementWords& words) {
    const os::OpenedFile old = calls.open(path.c_str(), os::FileAccess::read, {});
    if (old.error.category == os::ErrorCategory::not_found) return {};
    if (old.error.category == os::ErrorCategory::sharing) {
        throw FileException(words.function,
                            "Another program is writing this file. Wait until it has ended, or choose "
                            "another folder.",
                            path, old.error.code);
    }
    if (old.error && os::is_folder(path.c_str())) {
        throw FileException(words.function, "A folder has the name of the digit file. Choose another folder.",
                            path, old.error.code);
    }
    const bool unreadable = old.error.category == os::ErrorCategory::access_denied;
    if (old.error && !unreadable) {
        throw FileIO::file_error(words.function, "The digit file cannot be replaced.", path, old.error);
    }
    bool empty = false;
    if (!old.error) {
        const os::FileSize size = calls.size(old.handle);
        (void)calls.close(old.handle).failed();
        empty = !size.error && size.bytes == 0;
    }
    const bool read_only = unreadable || calls.is_read_only(path.c_str());
    const std::optional<u64> there = empty        ? 0
                                     : unreadable ? std::nullopt
                                                  : digits_of(format, path, radix, of_set, calls);
    if (!overwrite) {
        if (read_only) {
            throw FileException(
                words.function,
                std::string("The digit file that is there is read-only.") + " " + words.way_out, path);
        }
        if (!there) {
            throw FileException(words.function,
                                std::string("The file that is there holds something other than digits.") +
                                    " " + words.way_out,
                                path);
        }
        if (*there > digits) {
            throw FileException(words.function,
                                "The digit file already there is longer: it has " +
                                    Console::format_commas(*there) + " digits, " + words.maker + " " +
                                    Console::format_commas(digits) + ". " + words.way_out,
                                path);
        }
    }
    const bool is_known = there && (*there != 0 || empty || !format.may_not_tell());
    return {read_only, there,
            "Replacing " + CommandLine::shown_path(path) +
                (is_known ? " (" + Console::format_commas(*there) + " digits)." : ".")};
}

}  // namespace kalvor
