#include "base/settings/optional_flag.h"

namespace trel {
namespace {

constexpr WordSetting::Word kModes[] = {
    {"disabled", "Disabled", 'R'}, {"attempt", "Attempt", 'Y'}, {"forced", "Forced", 'G'}};

}  // namespace

OptionalFlag::OptionalFlag(const char* key, const char* label)
    : WordSetting(key, label, kModes, {key, "Invalid Mode: {}"}, kAttempt) {}

}  // namespace trel
