// A facility that may be off, wanted, or demanded.
#pragma once

#include <string>
#include <string_view>

#include "os/types.h"

namespace trel {

struct OptionalFlag {
    static constexpr u32 kDisabled = 0;
    static constexpr u32 kAttempt = 1;
    static constexpr u32 kForced = 2;

    const char* name;  // static text; the setting's key
    u32 mode = kAttempt;

    // "disabled", "attempt", "forced". Throws InvalidParametersException(name, "Invalid Mode") for another
    // mode.
    std::string word() const;
    // The inverse. Throws InvalidParametersException(name, "Invalid Mode: " + text).
    void set(std::string_view text);
    // "Disabled", "Attempt", "Forced".
    std::string display_text() const;
    // 'R', 'Y', 'G'
    char color() const;
    // The same text for selectors.
    std::string selector_text() const;
    // To the next mode.
    void advance() { mode = (mode + 1) % 3; }
};

}  // namespace trel
