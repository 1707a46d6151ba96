// A validation file.
#pragma once

#include <string>
#include <string_view>

#include "app/validation/validate.h"
#include "fuzz/require.h"

namespace fuzz {

inline void validation(std::string_view bytes) {
    using kalvor::Validation;
    const Validation found = kalvor::validate(bytes);
    require(bytes.find(found.version) != std::string_view::npos, "the version stands in the file");
    if (found.result != Validation::passed) {
        require(found.computation_time.empty() && found.total_time.empty(),
                "times are those of a sound file");
        return;
    }
    // Only what the program itself would write of the same text.
    const size_t separator = bytes.rfind("\n----");
    require(separator != std::string_view::npos, "a signature stands behind a separator");
    require(kalvor::signed_text(std::string(bytes.substr(0, separator + 1))) == bytes,
            "a text has one signature");
}

}  // namespace fuzz
