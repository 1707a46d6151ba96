// The texts of system calls: UTF-16 there, UTF-8 here.
#pragma once

#include <string>
#include <string_view>

namespace trel::os {

// Invalid sequences become U+FFFD.
std::wstring to_utf16(std::string_view text);
std::string to_utf8(std::wstring_view text);

}  // namespace trel::os
