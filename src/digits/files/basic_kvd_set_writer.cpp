#include "digits/files/basic_kvd_set_writer.h"

#include <algorithm>
#include <exception>

#include "base/errors/exceptions.h"
#include "digits/files/basic_kvd_set_reader.h"
#include "digits/files/failed_closing.h"

namespace kalvor {

using FileIO::FileException;
using FileIO::OpenMode;
using FileIO::PublishedFile;
using FileIO::RawFile;

namespace {

constexpr const char* kMaking = "BasicKvdSetWriter::BasicKvdSetWriter()";
constexpr const char* kStoring = "BasicKvdSetWriter::store_digits()";

u64 checked_digits_per_file(u8 radix, u64 digits_per_file, u64 total_digits) {
    if (digits_per_file == 0 && total_digits == 0) {
        throw InvalidParametersException(kMaking, "Single-file is incompatible with unbounded output.");
    }
    const u64 D = digits_per_file == 0 ? BasicKvdSetWriter::single_file(total_digits) : digits_per_file;
    if (D < kLeastDigitsPerFile || (radix != 10 && radix != 16)) {
        throw InvalidParametersException(kMaking, "Invalid Parameters");
    }
    return D;
}

}  // namespace

// ---- files

PublishedFile& KvdSetFiles::file(u64 id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::unique_ptr<PublishedFile>& file = files_[id];
    if (file == nullptr) {
        const std::string base = file_base(base_, id);
        try {
            file = std::make_unique<PublishedFile>(BasicKvdFileWriter::incomplete_path(base),
                                                   BasicKvdFileWriter::final_path(base), calls_);
        } catch (...) {
            files_.erase(id);
            throw;
        }
        if (replaces_read_only_) file->replace_read_only();
        file->ask_again(ask_again_);
    } else if (!file->is_open()) {
        file->resume();
    }
    return *file;
}

std::map<u64, PublishedFile*> KvdSetFiles::files() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::map<u64, PublishedFile*> files;
    for (const auto& [id, file] : files_) files.emplace(id, file.get());
    return files;
}

void KvdSetFiles::discard() {
    const std::lock_guard<std::mutex> lock(mutex_);
    failed_ = nullptr;
    for (const auto& [id, file] : files_) {
        if (file->is_resting()) file->resume();
        file->discard();
    }
    files_.clear();
}

void KvdSetFiles::replace_read_only() {
    const std::lock_guard<std::mutex> lock(mutex_);
    replaces_read_only_ = true;
    for (const auto& [id, file] : files_) file->replace_read_only();
}

void KvdSetFiles::ask_again(FileIO::AskAgain ask_again) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ask_again_ = std::move(ask_again);
    for (const auto& [id, file] : files_) file->ask_again(ask_again_);
}

void KvdSetFiles::on_begun(std::function<void(const PublishedFile&)> begun) {
    const std::lock_guard<std::mutex> lock(mutex_);
    begun_ = std::move(begun);
}

void KvdSetFiles::note_begun(const PublishedFile& file) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (begun_) begun_(file);
}

bool KvdSetFiles::needs_space() const {
    const PublishedFile* const failed = failed_;
    return failed != nullptr && failed->needs_space();
}

// ---- the writer

namespace {

// Does work on a file; when it fails, the set knows which file it was.
template <class Work>
void watch(KvdSetFiles& files, const PublishedFile& file, Work work) {
    try {
        work();
    } catch (...) {
        files.note_failure(&file);
        throw;
    }
}

}  // namespace

BasicKvdSetWriter::BasicKvdSetWriter(const std::string& base, std::string_view first_digits, u8 radix,
                                     u64 digits_per_file, u64 total_digits, u64 window_bytes,
                                     Warnings* warnings, const FileIO::FileCalls& calls)
    : BasicKvdSetWriter(std::make_unique<KvdSetFiles>(base, calls), nullptr, first_digits, radix,
                        digits_per_file, total_digits, window_bytes, warnings) {}

BasicKvdSetWriter::BasicKvdSetWriter(KvdSetFiles& files, std::string_view first_digits, u8 radix,
                                     u64 digits_per_file, u64 total_digits, u64 window_bytes,
                                     Warnings* warnings)
    : BasicKvdSetWriter(nullptr, &files, first_digits, radix, digits_per_file, total_digits, window_bytes,
                        warnings) {}

BasicKvdSetWriter::BasicKvdSetWriter(std::unique_ptr<KvdSetFiles> own, KvdSetFiles* files,
                                     std::string_view first_digits, u8 radix, u64 digits_per_file,
                                     u64 total_digits, u64 window_bytes, Warnings* warnings)
    : own_(std::move(own)),
      files_(own_ ? *own_ : *files),
      first_digits_(first_digits),
      radix_(radix),
      digits_per_file_(checked_digits_per_file(radix, digits_per_file, total_digits)),
      total_digits_(total_digits),
      window_bytes_(std::min(window_bytes, words_for(digits_per_file_, radix) * 8)),
      warnings_(warnings) {}

BasicKvdSetWriter::~BasicKvdSetWriter() {
    // What was finished and not published did not pass its check: the files keep their names. Files that the
    // caller keeps are not checked any more either; their writers leave them or warn.
    if (is_finished_ || is_closed_ || own_ == nullptr) return;
    try {
        close();
    } catch (const Exception& error) {
        warn_of_failed_closing(warnings_, error);
    }
}

BasicKvdSetWriter::Writer BasicKvdSetWriter::writer(u64 id) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (is_finished_ || is_closed_) throw InvalidParametersException(kStoring, "File is closed.");
    const auto there = writers_.find(id);
    if (there != writers_.end()) {
        const Writer& writer = there->second;
        if (writer->file().is_resting() && !writer->is_complete()) {
            let_go_of_files();
            files_.file(id);
            resting_--;
        }
        return writer;
    }
    let_go_of_files();
    const KvdFileSpec spec{first_digits_, radix_, digits_per_file_, total_digits_, id};
    (void)BasicKvdFileWriter::bytes(spec);  // refuses before the file is made
    PublishedFile& file = files_.file(id);
    files_.note_begun(file);
    return writers_.emplace(id, std::make_shared<BasicKvdFileWriter>(file, spec, window_bytes_, warnings_))
        .first->second;
}

// Closes files when too many are open: the complete ones, and where that is not enough all that no thread is
// writing into.
void BasicKvdSetWriter::let_go_of_files() {
    for (const bool complete : {true, false}) {
        if (writers_.size() - resting_ < kOpenFiles) return;
        for (const auto& [id, writer] : writers_) {
            // A second run asks for the first file before the others: while it is held, the set is.
            if (id == writers_.begin()->first || !writer->file().is_open()) continue;
            // Another thread gets its reference from writer() alone, under the mutex.
            if (complete ? !writer->is_complete() : writer.use_count() > 1) continue;
            watch(files_, writer->file(), [&, &file = writer] {
                if (complete) {
                    file->finish();
                } else {
                    file->rest();
                }
            });
            writer->file().rest();
            resting_++;
        }
    }
}

// After a file was used: those whose windows are the oldest give them back, outside of the mutex.
void BasicKvdSetWriter::rest_windows(u64 used, bool is_complete) {
    std::vector<Writer> oldest;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        std::erase(windows_, used);
        if (!is_complete) windows_.push_back(used);
        while (windows_.size() > kOpenWindows) {
            oldest.push_back(writers_.at(windows_.front()));
            windows_.erase(windows_.begin());
        }
    }
    for (const Writer& writer : oldest) {
        watch(files_, writer->file(), [&] { writer->rest(); });
    }
}

template <class Store>
void BasicKvdSetWriter::make_commands(u64 start, u64 count, Store store) {
    if (total_digits_ != 0 && (start > total_digits_ || count > total_digits_ - start)) {
        throw InvalidParametersException(kStoring, "Out of range.");
    }
    const auto require = [](u128 position) {
        if (position > u128(1) << 64) {
            throw InvalidParametersException("BasicKvdSetWriter::make_commands()", "Internal Overflow");
        }
    };
    require(u128(start) + count);
    if (count == 0) return;
    const u128 last = u128(start) + count - 1;
    require((last / digits_per_file_ + 1) * digits_per_file_);
    for (u64 done = 0; done < count;) {
        const u64 at = start + done;
        const u64 n = std::min(count - done, digits_per_file_ - at % digits_per_file_);
        const Writer file = writer(at / digits_per_file_);
        watch(files_, file->file(), [&] { store(*file, at, n); });
        done += n;
        rest_windows(at / digits_per_file_, file->is_complete());
    }
}

void BasicKvdSetWriter::store_digits(const u8* values, u64 start, u64 count, AlignedBufferC scratch,
                                     const ParallelContext& parallel) {
    make_commands(start, count, [&](BasicKvdFileWriter& file, u64 begin, u64 n) {
        file.store_digits(values + (begin - start), begin, n, scratch, parallel);
    });
}

void BasicKvdSetWriter::store_words(const DigitWords& digits, u64 start, u64 count, AlignedBufferC scratch,
                                    const ParallelContext& parallel) {
    make_commands(start, count, [&](BasicKvdFileWriter& file, u64 begin, u64 n) {
        file.store_words(digits, begin, n, scratch, parallel);
    });
}

void BasicKvdSetWriter::finish() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (is_finished_ || is_closed_) return;
    const u64 files = total_digits_ == 0 ? 0 : (total_digits_ - 1) / digits_per_file_ + 1;
    for (u64 id = 0; id < files; id++) {
        if (writers_.contains(id)) continue;
        throw FileException("BasicKvdSetWriter::finish()", "Not all digits were written.",
                            BasicKvdFileWriter::incomplete_path(KvdSetFiles::file_base(files_.base(), id)));
    }
    finish_locked();
}

void BasicKvdSetWriter::finish_begun() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!is_finished_ && !is_closed_) finish_locked();
}

void BasicKvdSetWriter::finish_locked() {
    for (const auto& [id, writer] : writers_) {
        watch(files_, writer->file(), [&, &file = writer] { file->finish(); });
    }
    is_finished_ = true;
}

std::unique_ptr<BasicDigitReader> BasicKvdSetWriter::read_back() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!is_finished_ || writers_.empty()) {
        throw InvalidParametersException("BasicKvdSetWriter::read_back()", "The file is not finished.");
    }
    // Files that are held cannot be opened a second time; the others are not held.
    const auto open = [files = files_.files(), &calls = files_.calls()](u64 id) -> std::shared_ptr<RawFile> {
        const auto file = files.find(id);
        if (file == files.end()) return nullptr;
        if (file->second->is_open()) return file->second->shared_file();
        return std::make_shared<RawFile>(file->second->draft_path(), OpenMode::read, true, false, calls);
    };
    return std::make_unique<BasicKvdSetReader>(files_.base() + " - ", writers_.rbegin()->first, open);
}

void BasicKvdSetWriter::publish() {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_closed_ = true;
    for (const auto& [id, writer] : writers_) {
        if (!writer->file().is_open()) writer->file().resume();
        writer->publish();
    }
    is_finished_ = false;
}

void BasicKvdSetWriter::abandon() {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_closed_ = true;
    for (const auto& [id, writer] : writers_) writer->abandon();
}

void BasicKvdSetWriter::close() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (is_closed_) return;
    is_closed_ = true;
    std::exception_ptr failure;
    for (const auto& [id, writer] : writers_) {
        try {
            if (!writer->file().is_open()) writer->file().resume();
            writer->close();
        } catch (...) {
            if (!failure) failure = std::current_exception();
        }
    }
    is_finished_ = false;
    if (failure) std::rethrow_exception(failure);
}

std::unique_ptr<BasicDigitReader> BasicKvdSetWriter::close_and_get_basic_reader() {
    constexpr const char* kFunction = "BasicKvdSetWriter::close_and_get_basic_reader()";
    close();
    const std::lock_guard<std::mutex> lock(mutex_);
    if (writers_.empty()) throw InvalidParametersException(kFunction, "No files open.");
    // The last one may know the total.
    for (auto file = writers_.rbegin(); file != writers_.rend(); ++file) {
        if (file->second->is_complete()) {
            return std::make_unique<BasicKvdSetReader>(file->second->file().final_path(), files_.calls());
        }
    }
    throw FileException(kFunction, "Not all digits were written.",
                        writers_.begin()->second->file().draft_path());
}

}  // namespace kalvor
