// A facility that may be off, wanted, or demanded.
#pragma once

#include "base/settings/word_setting.h"

namespace trel {

// "disabled", "attempt" and "forced", shown as "Disabled" in red, "Attempt" in yellow, "Forced" in green.
class OptionalFlag final : public WordSetting {
  public:
    static constexpr u32 kDisabled = 0;
    static constexpr u32 kAttempt = 1;
    static constexpr u32 kForced = 2;

    // Another word is refused with (key, "Invalid Mode: " + word).
    explicit OptionalFlag(const char* key, const char* label = "");

    // Another mode is reported at "OptionalFlagConfig" and "OptionalFlagSelector".
    std::string display_text() const override { return at_mode("OptionalFlagConfig").text; }
    Console::ColorLetter color() const override { return at_mode("OptionalFlagConfig").color; }
    std::string selector_text() const override { return at_mode("OptionalFlagSelector").text; }
};

}  // namespace trel
