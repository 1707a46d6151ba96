#include "base/console/format.h"

#include <charconv>
#include <cmath>

namespace trel::Console {

std::string format_list(std::span<const u32> numbers) {
    std::string text;
    for (const u32 number : numbers) {
        if (!text.empty()) text += ", ";
        text += std::to_string(number);
    }
    return text;
}

std::string format_commas(u64 value) {
    const std::string digits = std::to_string(value);
    std::string out;
    for (size_t i = 0; i < digits.size(); i++) {
        if (i > 0 && (digits.size() - i) % 3 == 0) out += ',';
        out += digits[i];
    }
    return out;
}

std::string format_number(u64 value, NumberFormat mode) {
    switch (mode) {
        case NumberFormat::commas:
            return format_commas(value);
        case NumberFormat::bytes:
            return format_bytes(value);
        case NumberFormat::commas_and_bytes:
            return format_commas(value) + " (" + format_bytes(value) + ")";
        default:
            return std::to_string(value);
    }
}

std::string format_number(i64 value, NumberFormat mode) {
    const u64 magnitude = value < 0 ? -static_cast<u64>(value) : static_cast<u64>(value);
    const std::string digits =
        mode == NumberFormat::plain ? std::to_string(magnitude) : format_commas(magnitude);
    return value < 0 ? "-" + digits : digits;
}

std::string format_bytes(u64 value) {
    static const char* const kUnits[] = {" bytes", " KiB", " MiB", " GiB", " TiB", " PiB", " EiB"};
    if (value < 1000) return (value < 10 ? " " : "") + std::to_string(value) + kUnits[0];

    u64 x = value;
    int unit = 1;
    while (x >= 1024000) {
        x >>= 10;
        unit++;
    }
    const u64 m = x * 1000 / 1024;  // thousandths of the unit
    auto with_point = [](u64 whole, u64 fraction, u64 digits) {
        const std::string f = std::to_string(fraction);
        return std::to_string(whole) + "." + std::string(digits - f.size(), '0') + f;
    };
    if (m >= 100000) {
        const u64 r = (m + 500) / 1000;
        if (r == 1000) return std::string("0.98") + kUnits[unit + 1];
        return " " + std::to_string(r) + kUnits[unit];
    }
    if (m >= 10000) {
        const u64 t = (m + 50) / 100;
        if (t == 1000) return std::string(" 100") + kUnits[unit];
        return with_point(t / 10, t % 10, 1) + kUnits[unit];
    }
    const u64 h = (m + 5) / 10;
    if (m >= 1000) {
        if (h == 1000) return std::string("10.0") + kUnits[unit];
        return with_point(h / 100, h % 100, 2) + kUnits[unit];
    }
    if (h == 100) return std::string("1.00") + kUnits[unit];
    return with_point(0, h, 2) + kUnits[unit];
}

std::string format_fixed(double value, int decimals) {
    char buffer[400];
    const auto result =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
    return std::string(buffer, result.ptr);
}

std::string format_time(double seconds) {
    const double magnitude = std::fabs(seconds);
    double scaled = seconds / 60;
    const char* unit = " minutes )";
    if (magnitude >= 172800) {
        scaled = seconds / 86400;
        unit = " days )";
    } else if (magnitude >= 7200) {
        scaled = seconds / 3600;
        unit = " hours )";
    }
    return format_fixed(seconds, 3) + " seconds  ( " + format_fixed(scaled, 3) + unit;
}

}  // namespace trel::Console
