// What this build calls itself.
#pragma once

#include <string>

namespace trel {

struct VersionRecord {
    const char* version = "0.7.8";
    const char* build = "9507";
    const char* build_label = "18-CNL ~ Elvatt";
    const char* target = "Cannon Lake (x64 AVX512-VBMI)";

    // "0.7.8 Build 9507"
    std::string text() const { return std::string(version) + " Build " + build; }
    // "Windows/18-CNL ~ Elvatt": the name of the tuning profile, the same on every system.
    std::string tuning_label() const { return std::string("Windows/") + build_label; }
};

inline constexpr VersionRecord kVersion{};

// The makers.
struct Maker {
    // The attribution, whose first word stands out.
    const char* first_word = "The";
    const char* rest = " Kalvor developers";
    const char* web_address = "https://kalvor.example";
    const char* contact_address = "bugs@kalvor.example";
};

inline constexpr Maker kMaker{};

}  // namespace trel
