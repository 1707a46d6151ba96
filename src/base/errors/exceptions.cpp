#include "base/errors/exceptions.h"

#include "base/command_line/shown_text.h"
#include "base/console/console.h"
#include "base/console/format.h"
#include "os/path_kind.h"

namespace trel {

using CommandLine::shown_lines;

namespace {

// ---- the pieces of a report; everything stays in the red that begin_report() set

constexpr u64 kWidth = 20;

void begin_report(const Exception& e, const char* title = "Exception Encountered") {
    Console::set_color('R');
    Console::print("\n\n");
    Console::labelled_line(title, e.get_typename());
    Console::new_line();
}

void end_report() {
    Console::print("\n\n");
    Console::set_color('w');
}

void print_function(const std::string& function) {
    if (function.empty()) return;
    Console::labelled_line("In Function", function);
    Console::new_line();
}

// Never empty: the current folder has a name.
std::string shown_path(const std::string& path) {
    constexpr u64 kLongestPath = 1000;
    return CommandLine::shown(path.empty() ? os::absolute_path(path) : path, kLongestPath);
}

void print_number(const char* label, u64 value, u64 width = kWidth) {
    Console::aligned_line(label, width, Console::format_commas(value));
}

// An aligned line whose value alone leaves the red.
void print_yellow(std::string label, const std::string& value) {
    label.resize(kWidth, ' ');
    Console::print(label);
    Console::print(value, 'Y');
    Console::set_color('R');
    Console::new_line();
}

void print_system_error_head(const std::string& function, bool with_code, u32 error_code) {
    if (!function.empty()) Console::aligned_line("In Function:", kWidth, function);
    if (with_code) Console::aligned_line("Error Code: ", kWidth, std::to_string(error_code));
}

void print_raid(const Exception& e, const std::string& function, const std::string& message,
                const std::string& path, u32 error_code) {
    begin_report(e, "Raid03 Exception Encountered");
    print_system_error_head(function, true, error_code);
    Console::aligned_line("Path: ", kWidth, shown_path(path));
    Console::new_line();
    Console::print_line(shown_lines(message));
    end_report();
}

}  // namespace

Exception::~Exception() = default;

// ---- reports

void StringException::print() const {
    begin_report(*this);
    print_body();
    end_report();
}

void StringException::print_body() const {
    print_function(function);
    Console::print_line(shown_lines(message));
}

void ConvolutionTooSmallException::print_body() const {
    constexpr u64 kWide = 24;
    print_function(function);
    Console::print_line("Limit Exceeded:");
    if (!message.empty()) Console::aligned_line("    Message: ", kWide, shown_lines(message));
    if (convolution_size == 0 && requested_size == 0) return;
    print_number("    Convolution Size: ", convolution_size, kWide);
    print_number("    Requested Size: ", requested_size, kWide);
}

void ExponentOverflowException::print_body() const {
    Console::print_line("Floating-point exponent has exceeded internal limit:");
    Console::aligned_line("    Function: ", kWidth, function);
    Console::aligned_line("    Value: ", kWidth,
                          Console::format_number(value, Console::NumberFormat::commas));
    Console::aligned_line("    Limit: ", kWidth,
                          Console::format_number(limit, Console::NumberFormat::commas));
}

void LimitExceededException::print_body() const {
    Console::print_line("Limit Exceeded:");
    if (!function.empty()) Console::aligned_line("    Function: ", kWidth, function);
    if (!message.empty()) Console::print_line(shown_lines(message));
    Console::new_line();
    if (limit == 0) {
        Console::print_line("    Limit: Unknown");
    } else {
        print_number("    Limit: ", limit);
    }
    print_number("    Attempted: ", attempted);
}

void BSRModularCheckFailedException::print_body() const {
    constexpr u64 kM61 = (u64(1) << 61) - 1;
    StringException::print_body();
    Console::new_line();
    print_number("    a = ", a);
    print_number("    b = ", b);
    for (size_t i = 0; i < hashes.size(); i++) {
        const u64 residue = hashes[i] == kM61 ? 0 : hashes[i];
        Console::print_line("    hash[" + std::to_string(i) + "] = " + std::to_string(residue));
    }
}

MemoryAllocationFailedException::MemoryAllocationFailedException(std::string function,
                                                                 const std::string& allocation_type,
                                                                 u64 allocation_size)
    : MemoryAllocationFailedException(std::move(function),
                                      "Allocation Type:  " + allocation_type +
                                          "\nAllocation Size:  " + Console::format_bytes(allocation_size),
                                      allocation_type, allocation_size) {}

void MemoryAllocationFailedException::print_body() const {
    print_function(function);
    print_yellow("Allocation Type:", shown_lines(allocation_type));
    print_yellow("Allocation Size:", Console::format_bytes(allocation_size));
}

void StdException::print() const {
    begin_report(*this);
    Console::print_line(shown_lines(message));
    end_report();
}

void SystemException::print() const {
    begin_report(*this, "System Exception Encountered");
    print_system_error_head(function, true, error_code);
    Console::new_line();
    Console::print_line(shown_lines(message));
    end_report();
}

void BufferTooSmallException::print() const {
    begin_report(*this);
    Console::print_line("Buffer is too small:");
    Console::aligned_line("    Function: ", kWidth, function);
    print_number("    Buffer Size: ", buffer_size);
    print_number("    Required Size: ", required_size);
    end_report();
}

void FarMemoryOutOfBoundsException::print() const {
    begin_report(*this);
    Console::print_line("Out-of-Bounds Access on FarMemory object:");
    Console::aligned_line("    Function: ", kWidth, function);
    print_number("    Object Size: ", object_size);
    print_number("    Access Offset: ", access_offset);
    print_number("    Access Length: ", access_length);
    end_report();
}

void FileIO::FileException::print() const {
    begin_report(*this);
    print_system_error_head(function, error_code != 0, error_code);
    Console::aligned_line("Path: ", 8, shown_path(path));
    Console::new_line();
    Console::print_line(shown_lines(message));
    end_report();
}

void RaidException::print() const {
    print_raid(*this, function, message, path, error_code);
}

}  // namespace trel
