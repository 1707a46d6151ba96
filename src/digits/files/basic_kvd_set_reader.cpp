#include "digits/files/basic_kvd_set_reader.h"

#include <algorithm>

#include "base/command_line/shown_text.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "digits/files/digit_parts.h"

namespace kalvor {

using FileIO::FileException;
using FileIO::RawFile;

namespace {

constexpr const char* kMaking = "BasicKvdSetReader::BasicKvdSetReader()";
constexpr const char* kExtension = ".kvd";
constexpr const char* kIncomplete = " (incomplete).kvd";
// Files that are open at a time, besides those of tasks at work: systems have a limit of some hundred.
constexpr u64 kOpenFiles = 256;
// A header may promise any number of files.
constexpr u64 kMostMissing = 10000;
// Missing files that a message names if no header has promised them.
constexpr u64 kMostNamed = 10;
constexpr const char* kMissing = "The following needed files are missing or inaccessible:\n";

}  // namespace

BasicKvdSetReader::BasicKvdSetReader(const std::string& path, const FileIO::FileCalls& calls)
    : BasicDigitReader(0), calls_(calls) {
    const std::size_t slash = path.find_last_of("/\\");
    directory_ = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    const std::string name = path.substr(directory_.size());
    if (name.size() < 4) throw FileException(kMaking, "File name is too short.", path);
    if (!name.ends_with(kExtension)) throw FileException(kMaking, "Invalid Extension", path);
    if (name.ends_with(kIncomplete)) throw FileException(kMaking, "This file is incomplete.", path);
    base_name_ = name.substr(0, name.size() - 4);
    base_name_.erase(base_name_.find_last_not_of("0123456789") + 1);
    folders_.push_back(directory_);
    take_over(std::make_shared<BasicKvdFileReader>(path, calls));
}

BasicKvdSetReader::BasicKvdSetReader(std::string base, u64 id, Opener open)
    : BasicDigitReader(0),
      calls_(FileIO::FileCalls::of_this_machine()),
      base_name_(std::move(base)),
      open_(std::move(open)) {
    take_over(std::make_shared<BasicKvdFileReader>(open_(id)));
}

BasicKvdSetReader::~BasicKvdSetReader() = default;

void BasicKvdSetReader::take_over(File file) {
    radix_ = file->radix();
    version_ = file->version();
    first_digits_ = file->first_digits();
    digits_per_file_ = file->digits_per_file();
    total_digits_ = file->total_digits();
    named_id_ = file->id();
    files_.emplace(named_id_, std::move(file));
}

u64 BasicKvdSetReader::digits_there() const {
    if (total_digits_ != 0) return total_digits_;
    const std::lock_guard<std::mutex> lock(mutex_);
    u64 end = 0;
    try {
        for (u64 id = 0;; id++) {
            const File file = find_file(id);
            if (file == nullptr) break;
            end = file->get_range().end;
        }
    } catch (const Exception&) {
        // A file that is not of this set.
    }
    return end;
}

std::vector<std::string> BasicKvdSetReader::search_folders() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return folders_;
}

void BasicKvdSetReader::add_search_folder(const std::string& folder) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const bool is_whole = folder.empty() || folder.back() == '/' || folder.back() == '\\';
    folders_.push_back(is_whole ? folder : folder + "/");
}

// ---- files

void BasicKvdSetReader::check_file(const BasicKvdFileReader& file, u64 id) const {
    const auto refuse = [&](const char* text, const std::string& of_set, const std::string& of_file) {
        throw FileException("BasicKvdSetReader::load_file",
                            std::string(text) + "\nSet:  " + of_set + "\nFile: " + of_file, file.path());
    };
    const auto compare = [&](const char* text, u64 of_set, u64 of_file) {
        if (of_set != of_file) refuse(text, std::to_string(of_set), std::to_string(of_file));
    };
    if (file.version() != version_) refuse("File version does not match.", version_, file.version());
    compare("Radix does not match.", radix_, file.radix());
    compare("Digits per file does not match.", digits_per_file_, file.digits_per_file());
    compare("Digits per word does not match.", kalvor::digits_per_word(radix_), file.digits_per_word());
    // A set that does not know its total has nothing to compare with.
    if (file.total_digits() != 0 && total_digits_ != 0) {
        compare("Total digits does not match.", total_digits_, file.total_digits());
    }
    compare("File id does not match.", id, file.id());
    if (files_.contains(id)) refuse("File id already exists.", std::to_string(id), std::to_string(file.id()));
}

// In the first folder that has it; nullptr: in none.
std::shared_ptr<RawFile> BasicKvdSetReader::open_raw(u64 id) const {
    if (open_) return open_(id);
    for (const std::string& folder : folders_) {
        try {
            return std::make_shared<RawFile>(folder + base_name_ + std::to_string(id) + kExtension,
                                             FileIO::OpenMode::read, true, false, calls_);
        } catch (const FileException&) {
            continue;
        }
    }
    return nullptr;
}

BasicKvdSetReader::File BasicKvdSetReader::open_file(u64 id) const {
    std::shared_ptr<RawFile> file = open_raw(id);
    if (file == nullptr) return nullptr;
    auto reader = std::make_shared<BasicKvdFileReader>(std::move(file));
    check_file(*reader, id);
    // All may be opened again, the named one perhaps not: its name may say nothing of its id.
    for (auto i = files_.begin(); files_.size() >= kOpenFiles && i != files_.end();) {
        i = i->first == named_id_ ? std::next(i) : files_.erase(i);
    }
    files_.emplace(id, reader);
    return reader;
}

BasicKvdSetReader::File BasicKvdSetReader::find_file(u64 id) const {
    const auto there = files_.find(id);
    return there != files_.end() ? there->second : open_file(id);
}

void BasicKvdSetReader::load_file(u64 id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (open_file(id) == nullptr) refuse_missing(id);
}

void BasicKvdSetReader::refuse_missing(u64 id) const {
    throw FileException("BasicKvdSetReader::load_file()", "Unable to open file #" + std::to_string(id),
                        directory_ + base_name_ + std::to_string(id) + kExtension);
}

// ---- ranges

// read(file id, begin, end) for what each file has of the range, until it answers false.
template <class Read>
void BasicKvdSetReader::for_files(u64 start, u64 count, Read read) const {
    const u64 end = start + count;
    for (u64 at = start; at < end;) {
        const u64 id = at / digits_per_file_;
        const u64 rest = digits_per_file_ - at % digits_per_file_;
        const u64 next = at + std::min(rest, end - at);
        if (!read(id, at, next)) return;
        at = next;
    }
}

bool BasicKvdSetReader::is_in_range(u64 start, u64 count) const {
    if (total_digits_ != 0) return BasicDigitReader::is_in_range(start, count);
    if (count > ~start) return false;
    bool all = true;
    const std::lock_guard<std::mutex> lock(mutex_);
    for_files(start, count, [&](u64 id, u64 begin, u64 end) {
        try {
            const File file = find_file(id);
            all = file != nullptr && file->is_in_range(begin, end - begin);
        } catch (const Exception&) {
            all = false;
        }
        return all;
    });
    return all;
}

std::string BasicKvdSetReader::what_is_missing(u64 start, u64 count) const {
    if (total_digits_ != 0) return BasicDigitReader::what_is_missing(start, count);
    if (count > ~start) return {};
    std::string missing, other;
    u64 n_missing = 0;
    const std::lock_guard<std::mutex> lock(mutex_);
    for_files(start, count, [&](u64 id, u64 begin, u64 end) {
        const std::string name = CommandLine::shown_path(base_name_ + std::to_string(id) + kExtension);
        try {
            const File file = find_file(id);
            if (file == nullptr) {
                missing += "\n" + (n_missing++ < kMostNamed ? name : "and more");
            } else if (!file->is_in_range(begin, end - begin)) {
                other = name + ": Its last digit is number " + Console::format_commas(file->get_range().end) +
                        ".";
            }
        } catch (const PathException& e) {
            other = name + ": " + CommandLine::shown_lines(e.message);
        } catch (const Exception&) {
            other = name + ": It cannot be read.";
        }
        return other.empty() && n_missing <= kMostNamed;
    });
    if (missing.empty()) return other;
    return kMissing + missing.substr(1) + (other.empty() ? "" : "\n" + other);
}

u64 BasicKvdSetReader::buffer_size(u64 count, u64 limit) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return files_.at(named_id_)->buffer_size(count, limit);
}

void BasicKvdSetReader::check_range(u64 start, u64 count) const {
    const bool is_out = total_digits_ != 0 ? !BasicDigitReader::is_in_range(start, count) : count > ~start;
    if (is_out) throw InvalidParametersException("BasicKvdSetReader::load_stats()", "Out of range.");
}

void BasicKvdSetReader::require(u64 start, u64 count) const {
    check_range(start, count);
    make_commands(start, count);
}

// All files that a range needs are there, or all that are missing are named at once.
void BasicKvdSetReader::make_commands(u64 start, u64 count) const {
    constexpr const char* kFunction = "BasicKvdSetReader::make_commands()";
    std::vector<u64> missing;
    std::string too_short;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        for_files(start, count, [&](u64 id, u64 begin, u64 end) {
            const File file = find_file(id);
            if (file == nullptr) {
                missing.push_back(id);
            } else if (!file->is_in_range(begin, end - begin) && too_short.empty()) {
                too_short = file->path();
            }
            return missing.size() < kMostMissing;
        });
    }
    if (!missing.empty()) {
        std::string text = kMissing;
        for (const u64 id : missing) {
            text += CommandLine::shown_path(base_name_ + std::to_string(id) + kExtension) + "\n";
        }
        throw FileException(kFunction, text + "Missing required files.", directory_ + base_name_);
    }
    if (!too_short.empty()) {
        throw FileException(kFunction, "This digit stream does not have enough digits.", too_short);
    }
}

void BasicKvdSetReader::load_digits(u8* values, u64 start, u64 count, AlignedBufferC scratch,
                                    const ParallelContext& parallel) {
    check_range(start, count);
    make_commands(start, count);
    const u64 parts = count_parts(count, scratch.size(), parallel.tds);
    read_parts(parallel, parts, start, count, scratch, [&](u64, u64 first, u64 n, AlignedBufferC own) {
        for_files(first, n, [&](u64 id, u64 begin, u64 end) {
            needed_file(id)->load_digits_here(values + (begin - start), begin, end - begin, own);
            return true;
        });
    });
}

void BasicKvdSetReader::load_stats(DigitRangeStats& stats, u64 start, u64 count, AlignedBufferC scratch,
                                   const ParallelContext& parallel) {
    check_range(start, count);
    make_commands(start, count);
    const u64 parts = count_parts(count, scratch.size(), parallel.tds);
    PartialStats partial(radix_, parts);
    read_parts(parallel, parts, start, count, scratch, [&](u64 part, u64 first, u64 n, AlignedBufferC own) {
        for_files(first, n, [&](u64 id, u64 begin, u64 end) {
            needed_file(id)->load_stats_here(partial[part], begin, end - begin, own);
            return true;
        });
        partial.digits[part] = n;
    });
    partial.add_to(stats);
}

// A file that make_commands() has seen; by now it may be closed, or gone.
BasicKvdSetReader::File BasicKvdSetReader::needed_file(u64 id) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    File file = find_file(id);
    if (file == nullptr) refuse_missing(id);
    return file;
}

}  // namespace kalvor
