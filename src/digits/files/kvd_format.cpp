#include "digits/files/kvd_format.h"

#include <algorithm>
#include <charconv>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "digits/files/basic_kvd_set_reader.h"
#include "digits/files/basic_kvd_set_writer.h"
#include "digits/files/kvd_header.h"
#include "os/folder.h"

namespace kalvor {

using FileIO::FileCalls;
using FileIO::kSectorBytes;
using FileIO::PublishedFile;

namespace {

// Files that are made and reserved before the computation. More of them would be more handles than some
// systems give; the others are made when their digits come. Their space is asked for, but not reserved.
constexpr u64 kHeldFiles = 64;
// Bytes of a header whose numbers have 20 digits, and whose number has an integer part of 64 bits.
constexpr u64 kMostHeaderBytes = 280;

u64 digits_per_file_of(const DigitAmount& amount) {
    return amount.digits_per_file == 0 ? BasicKvdSetWriter::single_file(amount.digits)
                                       : amount.digits_per_file;
}

u64 files_of(const DigitAmount& amount) {
    return amount.digits == 0 ? 1 : (amount.digits - 1) / digits_per_file_of(amount) + 1;
}

u64 held_files_of(const DigitAmount& amount) {
    return std::min(files_of(amount), kHeldFiles);
}

// The id of a name that ends in "<id>.kvd" or "<id> (incomplete).kvd", whatever the case of its letters.
std::optional<u64> id_of_name(std::string name) {
    for (char& c : name) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    for (const std::string_view ending : {".kvd", " (incomplete)"}) {
        if (name.ends_with(ending)) {
            name.resize(name.size() - ending.size());
        } else if (ending == ".kvd") {
            return std::nullopt;
        }
    }
    const std::string digits = name.substr(name.find_last_not_of("0123456789") + 1);
    u64 id = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), id);
    if (digits.empty() || error != std::errc()) return std::nullopt;
    return id;
}

// The files of the set that may be there: those that are held, and of the others those whose id some name in
// the folder has. There may be millions of ids; folders have fewer names.
std::vector<u64> ids_to_check(const std::string& base, const DigitAmount& amount) {
    const u64 files = files_of(amount), held = held_files_of(amount);
    std::vector<u64> ids;
    if (files > held) {
        const std::string folder = base.substr(0, base.find_last_of("/\\") + 1);
        for (const std::string& name : os::names_in_folder(folder)) {
            const std::optional<u64> id = id_of_name(name);
            if (id && *id >= held && *id < files) ids.push_back(*id);
        }
    }
    for (u64 id = 0; id < held; id++) ids.push_back(id);
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    return ids;
}

// Written in whole sectors.
u64 file_bytes(u8 radix, u64 digits) {
    const u64 bytes = kMostHeaderBytes + 8 * words_for(digits, radix);
    return (bytes + kSectorBytes - 1) / kSectorBytes * kSectorBytes;
}

u64 digits_of_file(const DigitAmount& amount, u64 id) {
    const u64 D = digits_per_file_of(amount);
    return std::min(D, amount.digits - std::min(amount.digits, id * D));
}

// Bytes of a file of a set whose number has an integer part of that many digits. Headers of ids with as many
// digits are equally long.
u64 exact_file_bytes(const DigitAmount& amount, u64 integer_digits, u64 id) {
    const u64 D = digits_per_file_of(amount), digits = digits_of_file(amount, id);
    KvdHeader header;
    header.version = kKvdVersion;
    header.radix = amount.radix;
    header.first_digits = std::string(integer_digits + 1 + kKvdFirstDigits, '0');
    header.total_digits = digits < D ? amount.digits : 0;  // only a last file that is not full says it
    header.digits_per_file = D;
    header.id = id;
    return header.text().size() + 8 * words_for(digits, amount.radix);
}

class KvdSink final : public DigitSink {
  public:
    KvdSink(const std::string& base, const DigitAmount& amount, const FileCalls& calls)
        : amount_(amount), files_(base, calls) {
        for (u64 id = 0; id < held_files_of(amount); id++) files_.file(id);
        const PublishedFile& first = files_.file(0);
        draft_path_ = first.draft_path();
        final_path_ = first.final_path();
    }
    const std::string& draft_path() const override { return draft_path_; }
    const std::string& final_path() const override { return final_path_; }

    os::OsError reserve() override {
        for (const auto& [id, file] : files_.files()) {
            const os::OsError error = file->reserve(file_bytes(amount_.radix, digits_of_file(amount_, id)));
            if (!error) continue;
            for (const auto& [other, reserved] : files_.files()) reserved->file().cut_quietly(0);
            return error;
        }
        return {};
    }
    bool needs_space() const override { return files_.needs_space(); }
    void replace_read_only() override { files_.replace_read_only(); }
    void ask_again(FileIO::AskAgain again) override { files_.ask_again(std::move(again)); }
    void on_begun(std::function<void(const File&)> begun) override {
        files_.on_begun([begun = std::move(begun)](const PublishedFile& file) {
            begun({file.draft_path(), file.final_path()});
        });
    }
    // The windows of a set come and go, and several are open at once: they take their own memory.
    std::unique_ptr<BasicDigitWriter> make_writer(std::string_view first_digits, Warnings* warnings,
                                                  AlignedBufferC) override {
        files_.note_failure(nullptr);
        return std::make_unique<BasicKvdSetWriter>(files_, first_digits, amount_.radix,
                                                   digits_per_file_of(amount_), amount_.digits,
                                                   SectorWindow::kDefaultBytes, warnings);
    }
    u64 bytes() const override {
        u64 bytes = 0;
        for (const auto& [id, file] : files_.files()) {
            bytes += file->is_open() ? file->file().size() : file->complete_bytes();
        }
        return bytes;
    }
    std::vector<File> files() const override {
        std::vector<File> files;
        for (const auto& [id, file] : files_.files())
            files.push_back({file->draft_path(), file->final_path()});
        return files;
    }
    void discard() override { files_.discard(); }

  private:
    const DigitAmount amount_;
    KvdSetFiles files_;
    std::string draft_path_, final_path_;
};

class KvdFormat final : public DigitFormat {
  public:
    std::string draft_path(const std::string& base) const override {
        return BasicKvdFileWriter::incomplete_path(KvdSetFiles::file_base(base, 0));
    }
    std::string final_path(const std::string& base) const override {
        return BasicKvdFileWriter::final_path(KvdSetFiles::file_base(base, 0));
    }
    std::vector<std::string> final_paths(const std::string& base, const DigitAmount& amount) const override {
        std::vector<std::string> paths;
        for (const u64 id : ids_to_check(base, amount)) {
            paths.push_back(BasicKvdFileWriter::final_path(KvdSetFiles::file_base(base, id)));
        }
        return paths;
    }
    u64 most_bytes(const DigitAmount& amount) const override {
        const u64 files = files_of(amount);
        return (files - 1) * file_bytes(amount.radix, digits_per_file_of(amount)) +
               file_bytes(amount.radix, digits_of_file(amount, files - 1));
    }
    u64 exact_bytes(const DigitAmount& amount, u64 integer_digits) const override {
        const u64 full = files_of(amount) - 1;
        u64 bytes = exact_file_bytes(amount, integer_digits, full);
        for (u64 first = 0, end = 10; first < full; first = end, end *= 10) {
            bytes += (std::min(end, full) - first) * exact_file_bytes(amount, integer_digits, first);
            if (end > full) break;
        }
        return bytes;
    }
    void check(const std::string& base, const DigitAmount& amount, const FileCalls& calls) const override {
        for (const u64 id : ids_to_check(base, amount)) {
            PublishedFile::check(BasicKvdFileWriter::incomplete_path(KvdSetFiles::file_base(base, id)),
                                 calls);
        }
    }
    std::unique_ptr<DigitSink> make_sink(const std::string& base, const DigitAmount& amount,
                                         const FileCalls& calls) const override {
        return std::make_unique<KvdSink>(base, amount, calls);
    }
    std::unique_ptr<BasicDigitReader> make_reader(const std::string& path, u8 radix,
                                                  const FileCalls& calls) const override {
        return open(path, radix, calls);
    }
    u64 digits_there(const std::string& path, u8 radix, const FileCalls& calls) const override {
        return open(path, radix, calls)->digits_there();
    }
    bool may_not_tell() const override { return true; }

  private:
    static std::unique_ptr<BasicKvdSetReader> open(const std::string& path, u8 radix,
                                                   const FileCalls& calls) {
        auto reader = std::make_unique<BasicKvdSetReader>(path, calls);
        if (reader->radix() != radix) {
            throw FileIO::FileException("KvdFormat::make_reader()", "Radix does not match.", path);
        }
        return reader;
    }
};

}  // namespace

const DigitFormat& kvd_format() {
    static const KvdFormat format;
    return format;
}

}  // namespace kalvor
