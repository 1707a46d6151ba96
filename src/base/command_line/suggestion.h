// What a mistyped word was probably meant to be.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "os/types.h"

namespace trel::CommandLine {

// ASCII letters only: names of options and settings have no others.
std::string lower_case(std::string_view text);

// "a, b, c"
std::string list_of(const std::vector<std::string>& names);

// Letters to insert, delete, replace or swap with their neighbour until one text is the other (the restricted
// distance of Damerau and Levenshtein, 1966). Time and memory are the product of the lengths.
u64 edit_distance(std::string_view a, std::string_view b);

// The name that is nearest to the word, if it is near: letter case and leading "-" do not count, and at most
// one letter in three may be wrong. Empty when there is none; the first of equals.
std::string nearest_name(std::string_view word, const std::vector<std::string>& names);

// ` Did you mean "text"?`, or nothing for an empty text.
std::string did_you_mean(const std::string& text);

}  // namespace trel::CommandLine
