// Text files as other programs write them.
#pragma once

#include <string>
#include <string_view>

#include "os/types.h"

namespace trel::FileIO {

enum class TextEncoding { utf8, utf16_little_endian, utf16_big_endian };

// By the byte-order mark; UTF-8 without one.
TextEncoding detect_encoding(std::string_view bytes);

// The text in UTF-8, without its byte-order mark. UTF-8 is passed on as it is; in UTF-16 an unpaired
// surrogate, or half a unit at the end, becomes U+FFFD.
std::string decode_text(std::string_view bytes);

}  // namespace trel::FileIO
