// Decimal digits of a word.
#pragma once

namespace trel {

// 64 log10 2
inline constexpr double kDigitsOfWord = 19.265919722494796;

}  // namespace trel
