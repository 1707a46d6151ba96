#include "digits/output/free_space.h"

#include "base/command_line/shown_text.h"
#include "base/console/format.h"

namespace kalvor {

std::string bytes_text(u64 bytes) {
    const std::string text = Console::format_bytes(bytes);
    return text.substr(text.find_first_not_of(' '));
}

std::string shortage(const os::VolumeSpace& space, u64 needed) {
    if (space.error || space.free_bytes >= needed) return "";
    return "There is too little space on the volume " + CommandLine::shown_path(space.volume) +
           ": the digits need " + bytes_text(needed) + ", " + bytes_text(space.free_bytes) + " are free.";
}

}  // namespace kalvor
