#include "app/validation/validate.h"

#include <algorithm>

#include "app/validation/signature.h"

namespace kalvor {

namespace {

// What follows the label, in the first line that begins with it, without blanks before it; a null view when
// no line does.
std::string_view value_behind(std::string_view file, std::string_view label) {
    while (!file.empty()) {
        const std::size_t end = std::min(file.find('\n'), file.size());
        std::string_view line = file.substr(0, end);
        file.remove_prefix(std::min(end + 1, file.size()));
        if (!line.starts_with(label)) continue;
        line.remove_prefix(label.size());
        line = line.substr(0, line.find('\r'));
        const std::size_t begin = std::min(line.find_first_not_of(' '), line.size());
        return line.substr(begin);
    }
    return {};
}

// Takes the same time wherever they differ.
bool are_equal(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned difference = 0;
    for (std::size_t i = 0; i < a.size(); i++)
        difference |=
            static_cast<unsigned>(static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]));
    return difference == 0;
}

Validation::Result check_signature(std::string_view file) {
    const std::size_t separator = file.rfind("\n----");
    if (separator == std::string_view::npos) return Validation::malformed_hash;
    std::string_view rest = file.substr(separator + 1);
    constexpr std::size_t kDigits = 64;
    const std::string_view head = kValidationSeparator;
    if (!rest.starts_with(head)) return Validation::malformed_hash;
    rest.remove_prefix(head.size());
    if (rest.size() != kDigits + 2 || !rest.ends_with("\r\n")) return Validation::malformed_hash;
    const std::string_view digits = rest.substr(0, kDigits);
    if (digits.find_first_not_of("0123456789abcdef") != std::string_view::npos)
        return Validation::malformed_hash;
    return are_equal(digits, signature_of(file.substr(0, separator))) ? Validation::passed
                                                                      : Validation::tampered;
}

Validation::Result check_version(std::string_view version) {
    const std::size_t end = std::min(version.find_first_not_of("0123456789."), version.size());
    const std::string_view number = version.substr(0, end);
    if (number == "1.0" || number == "1.1") return Validation::too_old;
    if (number != "1.2" && number != "1.3") return Validation::too_new;
    const std::string format = "Validation Format " + std::string(version) + "\n";
    const bool known = format == "Validation Format 1.2\n" || format == "Validation Format 1.3\n";
    return known ? Validation::passed : Validation::invalid_file;
}

// From the last line that begins so: the settings, which may hold any text, stand above the times, and lines
// of the event log begin with a date.
std::string_view last_value_behind(std::string_view file, std::string_view label) {
    const std::size_t at = file.rfind("\n" + std::string(label));
    return at == std::string_view::npos ? std::string_view() : value_behind(file.substr(at + 1), label);
}

}  // namespace

Validation validate(std::string_view file) {
    Validation found;
    const std::string_view version = value_behind(file, "Validation Version:");
    if (version.data() == nullptr) return found;
    found.version = version;
    found.result = check_version(version);
    if (found.result != Validation::passed) return found;
    found.result = check_signature(file);
    if (found.result != Validation::passed) return found;
    found.computation_time = last_value_behind(file, "Total Computation Time:");
    found.total_time = last_value_behind(file, "Start-to-End Wall Time:");
    return found;
}

std::string signed_text(const std::string& text) {
    // The line feed before the separator is the separator's.
    const std::string_view what = std::string_view(text).substr(0, text.size() - 1);
    return text + kValidationSeparator + signature_of(what) + "\r\n";
}

}  // namespace kalvor
