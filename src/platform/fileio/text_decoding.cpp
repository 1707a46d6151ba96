#include "platform/fileio/text_decoding.h"

namespace trel::FileIO {
namespace {

constexpr std::string_view kMarkUtf8 = "\xef\xbb\xbf";
constexpr std::string_view kMarkUtf16Little = "\xff\xfe";
constexpr std::string_view kMarkUtf16Big = "\xfe\xff";
constexpr u32 kReplacement = 0xfffd;

void append_utf8(std::string& out, u32 code) {
    const auto trail = [&](int shift) { out += static_cast<char>(0x80 | ((code >> shift) & 0x3f)); };
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xc0 | (code >> 6));
        trail(0);
    } else if (code < 0x10000) {
        out += static_cast<char>(0xe0 | (code >> 12));
        trail(6);
        trail(0);
    } else {
        out += static_cast<char>(0xf0 | (code >> 18));
        trail(12);
        trail(6);
        trail(0);
    }
}

std::string from_utf16(std::string_view bytes, bool big_endian) {
    const auto unit = [&](size_t i) -> u32 {
        const u32 first = static_cast<u8>(bytes[i]), second = static_cast<u8>(bytes[i + 1]);
        return big_endian ? first << 8 | second : second << 8 | first;
    };
    std::string out;
    size_t i = 0;
    for (; i + 1 < bytes.size(); i += 2) {
        u32 code = unit(i);
        if (code >= 0xd800 && code < 0xe000) {
            const u32 next = i + 3 < bytes.size() ? unit(i + 2) : 0;
            if (code < 0xdc00 && next >= 0xdc00 && next < 0xe000) {
                code = 0x10000 + ((code - 0xd800) << 10) + (next - 0xdc00);
                i += 2;
            } else {
                code = kReplacement;
            }
        }
        append_utf8(out, code);
    }
    if (i < bytes.size()) append_utf8(out, kReplacement);
    return out;
}

}  // namespace

TextEncoding detect_encoding(std::string_view bytes) {
    if (bytes.starts_with(kMarkUtf16Little)) return TextEncoding::utf16_little_endian;
    if (bytes.starts_with(kMarkUtf16Big)) return TextEncoding::utf16_big_endian;
    return TextEncoding::utf8;
}

std::string decode_text(std::string_view bytes) {
    const TextEncoding encoding = detect_encoding(bytes);
    if (encoding == TextEncoding::utf8) {
        if (bytes.starts_with(kMarkUtf8)) bytes.remove_prefix(kMarkUtf8.size());
        return std::string(bytes);
    }
    bytes.remove_prefix(kMarkUtf16Little.size());
    return from_utf16(bytes, encoding == TextEncoding::utf16_big_endian);
}

}  // namespace trel::FileIO
