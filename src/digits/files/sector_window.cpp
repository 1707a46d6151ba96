#include "digits/files/sector_window.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "base/command_line/shown_text.h"
#include "base/errors/exceptions.h"
#include "digits/files/failed_closing.h"

namespace kalvor {

using FileIO::FileException;
using FileIO::kSectorBytes;
using FileIO::PublishedFile;

namespace {

u64 whole_sectors(u64 bytes) {
    return (bytes + kSectorBytes - 1) / kSectorBytes * kSectorBytes;
}

}  // namespace

SectorWindow::SectorWindow(std::unique_ptr<PublishedFile> own, PublishedFile* file, DigitFileShape shape,
                           u64 window_bytes, Warnings* warnings, AlignedBufferC lent)
    : shape_(std::move(shape)),
      own_(std::move(own)),
      file_(own_ ? *own_ : *file),
      warnings_(warnings),
      halved_(window_bytes >= kLeastHalved),
      capacity_(std::max(whole_sectors(halved_ ? window_bytes / 2 : window_bytes),
                         whole_sectors(shape_.head.size()) + kSectorBytes)) {
    const u64 misfit = reinterpret_cast<std::uintptr_t>(lent.get()) % kSectorBytes;
    const u64 lost = misfit == 0 ? 0 : kSectorBytes - misfit;
    if (lent.size() >= lost + (halved_ ? 2 : 1) * half_bytes()) {
        lent_[0] = static_cast<u8*>(lent.get()) + lost;
        if (halved_) lent_[1] = lent_[0] + half_bytes();
    }
    open_at(0);
    std::memcpy(buffer_.bytes(), shape_.head.data(), shape_.head.size());
    advance(shape_.head.size());
}

SectorWindow::~SectorWindow() {
    try {
        // What was finished and not published did not pass its check.
        if (is_finished_ && !is_closed_) {
            file_.leave();
        } else {
            end(own_ != nullptr);
        }
    } catch (const Exception& error) {
        warn_of_failed_closing(warnings_, error);
    }
    end_writer();
}

// ---- bytes

void SectorWindow::Half::take(u8* lent, u64 bytes) {
    if (lent == nullptr) own_ = GuardedBuffer(bytes, kSectorBytes);
    bytes_ = lent == nullptr ? own_.bytes() : lent;
}

void SectorWindow::Half::free() {
    own_.free();
    bytes_ = nullptr;
}

// An empty window whose cursor is at `offset`.
void SectorWindow::open_at(u64 offset) {
    if (buffer_.bytes() == nullptr) buffer_.take(lent_[0], half_bytes());
    window_ = offset / kSectorBytes * kSectorBytes;
    cursor_ = known_ = dirty_begin_ = dirty_end_ = 0;
    make_known(offset - window_);
    cursor_ = offset - window_;
}

// Extends what is known to `end`, in whole sectors.
void SectorWindow::make_known(u64 end) {
    while (known_ < end) {
        const u64 sector = known_ / kSectorBytes * kSectorBytes;
        const u64 next = sector + kSectorBytes;
        if (in_file_.covers(window_ + sector, window_ + next)) {
            settle();
            const GuardedBuffer there(kSectorBytes, kSectorBytes);
            file_.file().load(there.get(), window_ + sector, kSectorBytes);
            std::memcpy(buffer_.bytes() + known_, there.bytes() + (known_ - sector), next - known_);
        } else {
            std::memset(buffer_.bytes() + known_, shape_.fresh, next - known_);
        }
        known_ = next;
    }
}

// The thread of the other half.
void SectorWindow::OtherHalf::run() {
    std::unique_lock<os::Mutex> lock(mutex);
    for (;;) {
        changed.wait(lock, [&] { return state != State::idle; });
        if (state == State::ending) return;
        lock.unlock();
        try {
            file->store(buffer.bytes() + from, offset + from, to - from);
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        state = State::idle;
        changed.notify_all();
    }
}

void SectorWindow::OtherHalf::set(State next) {
    const std::lock_guard<os::Mutex> lock(mutex);
    state = next;
    changed.notify_all();
}

void SectorWindow::wait_for_writer() {
    if (!other_.writer.joinable()) return;
    std::unique_lock<os::Mutex> lock(other_.mutex);
    other_.changed.wait(lock, [&] { return other_.state == OtherHalf::State::idle; });
}

void SectorWindow::end_writer() {
    if (!other_.writer.joinable()) return;
    wait_for_writer();
    other_.set(OtherHalf::State::ending);
    other_.writer.join();
    other_.state = OtherHalf::State::idle;
}

// Waits for the other half. What failed before is tried once more.
void SectorWindow::settle() {
    if (other_.from == other_.to) return;
    failed_ = true;  // until it is done
    if (std::exchange(other_.is_given, false)) {
        wait_for_writer();
        if (other_.failure) std::rethrow_exception(std::exchange(other_.failure, nullptr));
    } else {
        file_.file().store(other_.buffer.bytes() + other_.from, other_.offset + other_.from,
                           other_.to - other_.from);
    }
    in_file_.add(other_.offset + other_.from, other_.offset + other_.to);
    other_.from = other_.to = 0;
    failed_ = false;
}

// Brings what is new in front of `end` into the file.
void SectorWindow::write_up_to(u64 end) {
    settle();
    end = std::min(end, dirty_end_);
    if (dirty_begin_ >= end) return;
    failed_ = true;  // until it is done
    const u64 from = dirty_begin_ / kSectorBytes * kSectorBytes;
    const u64 to = whole_sectors(end);
    make_known(to);
    file_.file().store(buffer_.bytes() + from, window_ + from, to - from);
    in_file_.add(window_ + from, window_ + to);
    dirty_begin_ = end;
    failed_ = false;
}

void SectorWindow::write_all() {
    write_up_to(dirty_end_);
}

// The full half goes to the disk by itself; the window goes on in the other one.
void SectorWindow::begin_write() {
    settle();
    const u64 end = std::min(capacity_, dirty_end_);
    const bool is_dirty = dirty_begin_ < end;
    if (is_dirty) make_known(whole_sectors(end));
    if (other_.buffer.bytes() == nullptr) other_.buffer.take(lent_[1], half_bytes());
    std::swap(other_.buffer, buffer_);
    if (!is_dirty) return;
    other_.from = dirty_begin_ / kSectorBytes * kSectorBytes;
    other_.to = whole_sectors(end);
    other_.offset = window_;
    other_.file = &file_.file();
    try {
        if (!other_.writer.joinable()) other_.writer = std::thread([this] { other_.run(); });
    } catch (...) {
        return;  // no thread to be had: settle() writes
    }
    other_.is_given = true;
    other_.set(OtherHalf::State::writing);
}

// The next window; what reached over the end of this one is at its beginning.
void SectorWindow::move_on() {
    if (halved_) {
        begin_write();
    } else {
        write_up_to(capacity_);
    }
    const Half& full = halved_ ? other_.buffer : buffer_;
    const auto beyond = [&](u64 position) { return position - std::min(position, capacity_); };
    std::memmove(buffer_.bytes(), full.bytes() + capacity_, beyond(known_));
    window_ += capacity_;
    cursor_ -= capacity_;
    known_ = beyond(known_);
    dirty_begin_ = 0;
    dirty_end_ = beyond(dirty_end_);
}

void SectorWindow::seek(u64 offset) {
    if (buffer_.bytes() != nullptr && offset >= window_ && offset - window_ <= known_) {
        cursor_ = offset - window_;
        return;
    }
    write_all();
    open_at(offset);
}

std::span<u8> SectorWindow::room(u64 unit) {
    if (cursor_ >= capacity_) move_on();
    return {buffer_.bytes() + cursor_, (capacity_ - cursor_ + unit - 1) / unit * unit};
}

void SectorWindow::advance(u64 bytes) {
    if (bytes == 0) return;
    const u64 from = cursor_;
    cursor_ += bytes;
    if (dirty_begin_ >= dirty_end_) {
        dirty_begin_ = from;
        dirty_end_ = cursor_;
    } else {
        dirty_begin_ = std::min(dirty_begin_, from);
        dirty_end_ = std::max(dirty_end_, cursor_);
    }
    known_ = std::max(known_, cursor_);
    end_ = std::max(end_, window_ + cursor_);
}

u8* SectorWindow::known(u64 bytes) {
    if (cursor_ >= capacity_) move_on();
    make_known(cursor_ + bytes);
    return buffer_.bytes() + cursor_;
}

void SectorWindow::rest() {
    if (buffer_.bytes() == nullptr) return;
    write_all();
    end_writer();
    buffer_.free();
    other_.buffer.free();
    cursor_ = known_ = dirty_begin_ = dirty_end_ = 0;
}

// Between what was written there may be whatever the disk had there before.
void SectorWindow::fill_gaps() {
    const GuardedBuffer fresh(capacity_, kSectorBytes);
    std::memset(fresh.get(), shape_.fresh, capacity_);
    for (const auto& [begin, end] : in_file_.gaps(0, whole_sectors(end_))) {
        for (u64 at = begin; at < end; at += capacity_) {
            file_.file().store(fresh.get(), at, std::min(capacity_, end - at));
        }
    }
}

// ---- the end

void SectorWindow::warn_incomplete() const {
    if (warnings_ == nullptr) return;
    std::vector<Warnings::Line> lines{{"Warning, closing incomplete file", ' ', true},
                                      {CommandLine::shown_path(file_.draft_path()), 'R'}};
    for (std::string& line : written_.lines()) lines.push_back({std::move(line), 'R'});
    warnings_->add(std::move(lines));
}

void SectorWindow::finish_locked() {
    write_all();
    failed_ = true;  // until it is done
    file_.complete(shape_.bytes);
    failed_ = false;
    is_finished_ = true;
}

void SectorWindow::finish(const char* function) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (is_closed_ || is_finished_) return;
    if (!is_complete()) {
        throw FileException(function, "Not all digits were written.", file_.draft_path());
    }
    finish_locked();
}

void SectorWindow::require_finished(const char* function) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!is_finished_) throw InvalidParametersException(function, "The file is not finished.");
}

void SectorWindow::publish_locked() {
    file_.publish();
    if (warnings_ == nullptr) return;
    for (const std::string& text : file_.file().closing_failures()) warnings_->add({{text, ' ', true}});
}

void SectorWindow::publish() {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_closed_ = true;
    publish_locked();
}

void SectorWindow::abandon() {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_closed_ = true;
    wait_for_writer();  // its file may be another window's from now on
}

void SectorWindow::end(bool may_publish) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (is_closed_) return;
    is_closed_ = true;
    // Whatever fails, the file is not left open for a second attempt.
    struct Closer {
        SectorWindow& window;
        ~Closer() {
            window.wait_for_writer();
            window.file_.leave();
        }
    } closer{*this};
    if (is_finished_ || is_complete()) {
        if (!is_finished_) finish_locked();
        if (may_publish) publish_locked();
        return;
    }
    warn_incomplete();
    if (failed_) return;
    if (file_.is_resting()) file_.resume();
    write_all();
    fill_gaps();
    file_.complete(end_);
}

}  // namespace kalvor
