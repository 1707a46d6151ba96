#include "base/settings/optional_flag.h"

#include "base/errors/exceptions.h"

namespace trel {
namespace {

struct Mode {
    const char* word;
    const char* display;
    char color;
};
constexpr Mode kModes[] = {
    {"disabled", "Disabled", 'R'}, {"attempt", "Attempt", 'Y'}, {"forced", "Forced", 'G'}};
constexpr u32 kModeCount = 3;

const Mode& mode_of(u32 mode, const char* location) {
    if (mode >= kModeCount) throw InvalidParametersException(location, "Invalid Mode");
    return kModes[mode];
}

}  // namespace

std::string OptionalFlag::word() const {
    return mode_of(mode, name).word;
}
std::string OptionalFlag::display_text() const {
    return mode_of(mode, "OptionalFlagConfig").display;
}
std::string OptionalFlag::selector_text() const {
    return mode_of(mode, "OptionalFlagSelector").display;
}
char OptionalFlag::color() const {
    return mode_of(mode, "OptionalFlagConfig").color;
}

void OptionalFlag::set(std::string_view text) {
    for (u32 i = 0; i < kModeCount; i++) {
        if (text == kModes[i].word) {
            mode = i;
            return;
        }
    }
    throw InvalidParametersException(name, "Invalid Mode: " + std::string(text));
}

}  // namespace trel
