#include "app/record/computation_output.h"

#include "arith/m61/m61.h"

namespace kalvor {

using Config::Object;

namespace {

i64 milliseconds(double seconds) {
    return static_cast<i64>(1000 * seconds);
}

void add_last(Object& out, const char* key, const LastDigits& last) {
    Object& object = out.add_object(key);
    object.add_integer("Offset", static_cast<i64>(last.start));
    object.add_string("Digits", last.text);
}

void add_stats(Object& out, const char* key, const OutputStats& stats) {
    Object& object = out.add_object(key);
    object.add_integer("Hash", static_cast<i64>(m61::canonical(stats.hash)));
    Config::Array& counts = object.add_array("Counts");
    for (u8 digit = 0; digit < stats.counts.radix; digit++) {
        counts.add_integer(static_cast<i64>(stats.counts.count[digit]));
    }
}

}  // namespace

void ComputationOutput::write(Object& out) const {
    Object& dates = out.add_object("Dates");
    dates.add_string("Start", record_.start_date);
    dates.add_string("End", record_.end_date);
    Object& times = out.add_object("Times");
    times.add_integer("ComputeTimeMillis", milliseconds(record_.compute_seconds));
    times.add_integer("WallTimeMillis", milliseconds(record_.wall_seconds));
    Object& digits = out.add_object("DigitStats");
    const std::optional<OutputStats>&decimal = record_.decimal, &hexadecimal = record_.hexadecimal;
    if (decimal) add_last(digits, "LastDecDigits", decimal->last);
    if (hexadecimal) add_last(digits, "LastHexDigits", hexadecimal->last);
    if (decimal && !decimal->hidden.empty()) {
        const HashedDigits& hidden = decimal->hidden.front();
        Object& object = digits.add_object("HiddenDecDigits");
        object.add_integer("Offset", static_cast<i64>(hidden.start));
        object.add_integer("Digits", static_cast<i64>(hidden.count));
        object.add_string("SHA256", hidden.sha256);
    }
    if (decimal) add_stats(digits, "DecStats", *decimal);
    if (hexadecimal) add_stats(digits, "HexStats", *hexadecimal);
}

}  // namespace kalvor
