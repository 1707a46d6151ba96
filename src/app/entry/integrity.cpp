#include "app/entry/integrity.h"

#include <algorithm>
#include <string_view>

#include "base/console/console.h"
#include "base/console/error_output.h"
#include "base/hash/sha256.h"
#include "base/names/names.h"
#include "os/file.h"
#include "platform/fileio/raw_file.h"

namespace kalvor {

namespace {

constexpr std::string_view kMark = "KALVOR-SEAL-SHA256:";
constexpr u64 kSealBytes = kMark.size() + 64;

}  // namespace

bool is_intact(const std::string& path) {
    constexpr u64 kPiece = u64(1) << 20;
    FileIO::RawFile file(path, FileIO::OpenMode::read, false);
    const u64 bytes = file.size();
    if (bytes < kSealBytes) return false;
    const u64 sealed = bytes - kSealBytes;

    Sha256 hash;
    std::string piece;
    for (u64 at = 0; at < sealed; at += piece.size()) {
        piece.resize(std::min(kPiece, sealed - at));
        file.load(piece.data(), at, piece.size());
        hash.update(piece);
    }
    std::string seal(kSealBytes, '\0');
    file.load(seal.data(), sealed, kSealBytes);
    return seal == std::string(kMark) + to_hex(hash.finish());
}

void check_integrity(const std::string& path, const std::string& file) {
    const os::OpenedFile readable = os::open_file(file.c_str(), os::FileAccess::read, {});
    if (readable.error.category == os::ErrorCategory::access_denied) return;
    if (!readable.error) (void)os::close_file(readable.handle);
    if (is_intact(file)) return;
    {
        const Console::ErrorOutput errors;
        Console::error_line("The program's file is damaged or was changed: " + path, true);
        Console::print_line("Please build or install Kalvor again.");
    }
    Console::fatal_exit(1);
}

}  // namespace kalvor
