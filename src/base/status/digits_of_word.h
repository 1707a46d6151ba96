// Decimal digits of a word.
#pragma once

namespace trel {

// 64 log10 2 as a double, and what the double leaves out.
inline constexpr double kDigitsOfWord = 19.265919722494796;
inline constexpr double kDigitsOfWordRest = -1.794386001782509e-16;

}  // namespace trel
