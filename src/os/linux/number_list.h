// Small text files of the kernel: a list of numbers, one number.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "os/types.h"

namespace trel::os {

// "0-3,8" as numbers, in the order of the text; none for an empty text. Nothing for a text of another form
// and for numbers of kListLimit and more, which no machine has.
constexpr u32 kListLimit = 65536;
std::optional<std::vector<u32>> parse_number_list(std::string_view text);

// The numbers of the file's first line; nothing when it cannot be read.
std::optional<std::vector<u32>> read_number_list(const std::string& path);

// The decimal number, with a sign or without, that the file begins with.
std::optional<i64> read_integer(const std::string& path);

}  // namespace trel::os
