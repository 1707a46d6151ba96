// The file with the name of the user.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "app/validation/user_name.h"
#include "fuzz/require.h"

namespace fuzz {

inline void user_name(std::string_view bytes) {
    const std::string name = kalvor::user_name_of(bytes);
    require(std::none_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < 32; }),
            "a name has no control characters");
    require(!name.starts_with(' '), "blanks before a name are skipped");
    if (name == "Tag not found in Username.txt") return;
    const size_t tag = bytes.find("Username:");
    require(tag != std::string_view::npos, "a name stands behind its tag");
    require(bytes.find(name, tag) != std::string_view::npos, "a name stands in the file as it is");
}

}  // namespace fuzz
