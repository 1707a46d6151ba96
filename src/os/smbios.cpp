#include "os/smbios.h"

#include <optional>

namespace trel::os {
namespace {

constexpr u8 kMemoryDevice = 17;
constexpr u8 kEndOfTable = 127;
constexpr size_t kHeaderBytes = 4;  // type, length of the formatted area, handle

// Offsets in the formatted area of a memory device.
constexpr size_t kSize = 0x0c;          // u16
constexpr size_t kPartNumber = 0x1a;    // number of a string
constexpr size_t kExtendedSize = 0x1c;  // u32, MiB

// Little-endian; nothing when the area ends before.
std::optional<u32> number_at(std::string_view area, size_t offset, size_t n_bytes) {
    if (offset + n_bytes > area.size()) return std::nullopt;
    u32 value = 0;
    for (size_t i = 0; i < n_bytes; i++) {
        value |= static_cast<u32>(static_cast<u8>(area[offset + i])) << (8 * i);
    }
    return value;
}

// Strings are numbered from 1 and end in a zero; an empty one ends the set.
std::string_view string_number(std::string_view strings, u32 number) {
    for (u32 i = 1; !strings.empty(); i++) {
        const size_t length = strings.find('\0');
        if (length == 0 || length == std::string_view::npos) break;
        if (i == number) return strings.substr(0, length);
        strings.remove_prefix(length + 1);
    }
    return {};
}

// Nothing for an empty socket.
std::optional<SmbiosModule> memory_module(std::string_view area, std::string_view strings) {
    const std::optional<u32> size = number_at(area, kSize, 2);
    if (!size || *size == 0) return std::nullopt;
    SmbiosModule module;
    constexpr u32 kUnknown = 0xffff, kExtended = 0x7fff, kInKilobytes = 0x8000;
    if (*size == kExtended) {
        module.bytes = static_cast<u64>(number_at(area, kExtendedSize, 4).value_or(0) & 0x7fffffff) << 20;
    } else if (*size != kUnknown) {
        module.bytes = static_cast<u64>(*size & 0x7fff) << (*size & kInKilobytes ? 10 : 20);
    }
    if (const std::optional<u32> number = number_at(area, kPartNumber, 1)) {
        module.part_number = printable_text(string_number(strings, *number));
    }
    return module;
}

}  // namespace

std::vector<SmbiosModule> smbios_memory_modules(std::string_view table) {
    std::vector<SmbiosModule> modules;
    while (table.size() >= kHeaderBytes) {
        const u8 type = static_cast<u8>(table[0]);
        const size_t length = static_cast<u8>(table[1]);
        if (type == kEndOfTable || length < kHeaderBytes || length > table.size()) break;
        const std::string_view area = table.substr(0, length);
        // The strings, or nothing at all, end in two zeros.
        const size_t end = table.find(std::string_view("\0\0", 2), length);
        const bool whole = end != std::string_view::npos;
        const std::string_view strings =
            table.substr(length, whole ? end + 1 - length : std::string_view::npos);
        if (type == kMemoryDevice) {
            if (std::optional<SmbiosModule> module = memory_module(area, strings)) {
                modules.push_back(std::move(*module));
            }
        }
        if (!whole) break;
        table.remove_prefix(end + 2);
    }
    return modules;
}

std::string printable_text(std::string_view text) {
    const auto is_blank = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r') || c == '\0'; };
    while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
    std::string out(text);
    for (char& c : out) {
        if (c < ' ' || c > '~') c = '?';
    }
    return out;
}

}  // namespace trel::os
