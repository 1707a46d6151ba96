#include "digits/files/kvd_header.h"

#include <algorithm>

#include "base/errors/exceptions.h"

namespace kalvor {

using FileIO::FileException;

namespace {

constexpr const char* kFunction = "BasicKvdFileReader::BasicKvdFileReader()";

// Text up to the first line feed, without carriage returns; the rest begins behind it. False without one.
bool take_line(std::string_view& rest, std::string& line) {
    const std::size_t end = rest.find('\n');
    if (end == std::string_view::npos) return false;
    line.assign(rest.substr(0, end));
    std::erase(line, '\r');
    rest.remove_prefix(end + 1);
    return true;
}

u64 number(std::string_view text) {
    u64 value = 0;
    for (const char c : text) value = 10 * value + (static_cast<u8>(c) - u64('0'));
    return value;
}

std::string decimal(u128 value) {
    std::string text;
    do {
        text.insert(text.begin(), static_cast<char>('0' + static_cast<int>(value % 10)));
        value /= 10;
    } while (value != 0);
    return text;
}

bool is_digit(char c, u64 radix) {
    return (c >= '0' && c <= '9') || (radix == 16 && c >= 'a' && c <= 'f');
}

}  // namespace

std::string DigitRange::text() const {
    return "[" + std::to_string(begin) + ", " + std::to_string(end) + ")";
}

std::string KvdHeader::text() const {
    std::string text =
        "#Compressed Digit File\r\n\r\n"
        "FileVersion:\t" +
        version + "\r\n\r\nBase:\t" + std::to_string(radix) + "\r\n\r\nFirstDigits:\t" + first_digits +
        "\r\n\r\nTotalDigits:\t" + std::to_string(total_digits) + "\r\n\r\nBlocksize:\t" +
        std::to_string(digits_per_file) + "\r\nBlockID:\t" + std::to_string(id) + "\r\n\r\nEndHeader\r\n\r\n";
    return text + '\0';
}

std::optional<ParsedKvdHeader> parse_kvd_header(std::string_view bytes) {
    KvdHeader header;
    std::string_view rest = bytes;
    std::string line;
    if (!take_line(rest, line)) return std::nullopt;
    for (;;) {
        if (!take_line(rest, line)) return std::nullopt;
        if (line == "EndHeader") break;
        const std::size_t tab = std::min(line.find('\t'), line.size());
        const std::string_view key = std::string_view(line).substr(0, tab);
        const std::string_view value = std::string_view(line).substr(std::min(tab + 1, line.size()));
        if (key == "FileVersion:") header.version = value;
        if (key == "Base:") header.radix = number(value);
        if (key == "FirstDigits:") header.first_digits = value;
        if (key == "TotalDigits:") header.total_digits = number(value);
        if (key == "Blocksize:") header.digits_per_file = number(value);
        if (key == "BlockID:") header.id = number(value);
    }
    const std::size_t zero = rest.find('\0');
    if (zero == std::string_view::npos) return std::nullopt;
    return ParsedKvdHeader{std::move(header), bytes.size() - rest.size() + zero + 1};
}

KvdShape check_kvd_header(const KvdHeader& header, const std::string& path) {
    const auto refuse = [&](const std::string& text) { throw FileException(kFunction, text, path); };
    if (header.version.empty()) refuse("No version # found.");
    if (header.version != "1.0.0" && header.version != kKvdVersion) {
        refuse(
            "This .kvd file is of a later format version.\nThis version of the digit viewer is unable to "
            "view this file.");
    }
    if (header.digits_per_file < kLeastDigitsPerFile) refuse("Invalid Digits per File");

    KvdShape shape{};
    const u64 total = header.total_digits;
    const u64 D = total == 0 ? header.digits_per_file : std::min(total, header.digits_per_file);
    const u128 start = u128(header.id) * D;
    u128 end = start + D;
    if (total != 0) {
        if (total <= start) {
            refuse("This file is out of range.\nStart:        " + decimal(start) +
                   "\nEnd:          " + decimal(end) + "\nTotal Digits: " + std::to_string(total) + "\n");
        }
        end = std::min<u128>(end, total);
    }
    if (end > ~u64(0)) refuse("Invalid Digits per File");
    if (header.radix != 10 && header.radix != 16) refuse("Unsupported Radix");
    shape.radix = static_cast<u8>(header.radix);
    shape.digits_per_word = digits_per_word(header.radix);
    shape.digits_per_file = D;
    shape.range = {static_cast<u64>(start), static_cast<u64>(end)};
    shape.words = words_for(shape.range.end - shape.range.begin, header.radix);
    shape.first_digits = kvd_first_digits(kFunction, header.first_digits, header.radix, path);
    return shape;
}

std::string kvd_first_digits(const char* function, std::string_view text, u64 radix,
                             const std::string& path) {
    const std::size_t point = text.substr(0, kLongestIntegerPart).find('.');
    const std::string_view first =
        point == std::string_view::npos ? "" : text.substr(0, point + 1 + kKvdFirstDigits);
    for (std::size_t i = 0; i < first.size(); i++) {
        if (i != point && !is_digit(first[i], radix)) {
            throw DigitViewer2::InconsistentMetaData(function, "Inconsistent Metadata: \"FirstDigits", path);
        }
    }
    if (first.empty()) {
        throw DigitViewer2::InconsistentMetaData(function, "Inconsistent Metadata: \"FirstDigits", path);
    }
    return std::string(first);
}

}  // namespace kalvor
