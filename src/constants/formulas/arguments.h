// What functions ask of their arguments.
#pragma once

#include "base/config/node.h"
#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "os/types.h"

namespace kalvor::Formulas {

// The array of an argument, of n items; else InvalidParametersException.
inline const Config::Array& array_of(const Config::Node& argument, u64 n, const char* function,
                                     const char* message) {
    const Config::Array& array = argument.as<Config::Array>();
    if (array.size() != n) throw InvalidParametersException(function, message);
    return array;
}

inline bool is_integer(const Config::Node& node) {
    return node.type() == Config::NodeType::integer;
}
inline i64 integer_of(const Config::Node& node) {
    return node.as<Config::Integer>().value;
}
inline u64 magnitude_of(i64 x) {
    return x < 0 ? u64(0) - static_cast<u64>(x) : static_cast<u64>(x);
}

// The key's integer, or what it is without the key.
inline i64 integer_or(const Config::Object& object, const char* key, i64 otherwise) {
    return object.contains(key) ? object.get_integer(key) : otherwise;
}
// "Power", 1 or -1.
inline int power_of(const Config::Object& object, const char* function) {
    const i64 power = integer_or(object, "Power", 1);
    if (power != 1 && power != -1) throw InvalidParametersException(function, "Power must be 1 or -1.");
    return static_cast<int>(power);
}

// The argument of a root: an integer x >= 2 that is not a square.
inline bool is_square(u64 n) {
    u64 root = 0;
    for (u64 bit = u64(1) << 31; bit != 0; bit >>= 1) {
        const u64 next = root | bit;
        if (next * next <= n) root = next;
    }
    return root * root == n;
}
inline void check_root_argument(i64 x, const char* function) {
    if (x < 2) throw InvalidParametersException(function, "Argument is invalid: " + std::to_string(x));
    if (is_square(static_cast<u64>(x))) {
        throw InvalidParametersException(function, "Argument is a perfect square: " + std::to_string(x));
    }
}

}  // namespace kalvor::Formulas
