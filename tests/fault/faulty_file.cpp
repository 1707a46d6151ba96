#include "fault/faulty_file.h"

#include <algorithm>
#include <cstring>

using namespace trel;
using trel::FileIO::FileCalls;

namespace kalvor_test {
namespace {

constexpr u64 kSector = 4096;

}  // namespace

FaultyFile::FaultyFile() : machine_(FileCalls::of_this_machine()), file_calls_(machine_) {
    file_calls_.open = [this](const char* path, os::FileAccess access,
                              os::FileFlags flags) -> os::OpenedFile {
        if (const os::OsError error = begin(Call::open).error) return {os::kNoFile, error, false};
        return machine_.open(path, access, flags);
    };
    file_calls_.close = [this](i64 handle) {
        const os::OsError error = begin(Call::close).error;
        // The handle is gone in any case, as with a real failing close.
        const os::OsError real = machine_.close(handle);
        return error ? error : real;
    };
    file_calls_.read = [this](i64 handle, void* buffer, u64 offset, u64 bytes) {
        return read(handle, buffer, offset, bytes);
    };
    file_calls_.write = [this](i64 handle, const void* buffer, u64 offset, u64 bytes) {
        return write(handle, buffer, offset, bytes);
    };
    file_calls_.size = [this](i64 handle) -> os::FileSize {
        if (const os::OsError error = begin(Call::size).error) return {0, error};
        return machine_.size(handle);
    };
    file_calls_.set_size = [this](i64 handle, u64 bytes) -> os::Resizing {
        if (const Begun begun = begin(Call::set_size); begun.error) return {begun.error, begun.position};
        return machine_.set_size(handle, bytes);
    };
    file_calls_.reserve = [this](i64 handle, u64 bytes) {
        if (const os::OsError error = begin(Call::reserve).error) return error;
        // Some accounts and some file systems cannot reserve; this disk can.
        const os::OsError real = machine_.reserve(handle, bytes);
        return real.category == os::ErrorCategory::other ? os::OsError{} : real;
    };
    file_calls_.flush = [this](i64 handle) {
        const os::OsError error = begin(Call::flush).error;
        return error ? error : machine_.flush(handle);
    };
    file_calls_.flush_folder = [this](const char* path) {
        const os::OsError error = begin(Call::flush_folder).error;
        return error ? error : machine_.flush_folder(path);
    };
    file_calls_.rename = [this](const char* from, const char* to) {
        const os::OsError error = begin(Call::rename).error;
        return error ? error : machine_.rename(from, to);
    };
    file_calls_.remove = [this](const char* path) {
        const os::OsError error = begin(Call::remove).error;
        return error ? error : machine_.remove(path);
    };
    file_calls_.create_folder = [this](const char* path) {
        const os::OsError error = begin(Call::create_folder).error;
        return error ? error : machine_.create_folder(path);
    };
    file_calls_.rename_open = [this](i64 handle, const char* from, const char* to) {
        const os::OsError error = begin(Call::rename).error;
        return error ? error : machine_.rename_open(handle, from, to);
    };
    file_calls_.remove_open = [this](i64 handle, const char* path) {
        const os::OsError error = begin(Call::remove).error;
        return error ? error : machine_.remove_open(handle, path);
    };
    file_calls_.volume_space = [this](const char* folder) {
        os::VolumeSpace space = machine_.volume_space(folder);
        if (free_space_) space.free_bytes = *free_space_;
        return space;
    };
    file_calls_.sleep = [this](double seconds) {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            waits_.push_back(seconds);
        }
        if (on_wait_) on_wait_(seconds);
    };
}

os::Transfer FaultyFile::read(i64 handle, void* buffer, u64 offset, u64 bytes) {
    const Begun begun = begin(Call::read, bytes);
    if (begun.error) return {0, begun.error, begun.position};
    os::Transfer done = machine_.read(handle, buffer, offset, bytes);
    if (const Change* cut = find(shortened_, Call::read, begun.n)) {
        // What was not delivered must not be there by accident.
        if (cut->amount < bytes)
            std::memset(static_cast<u8*>(buffer) + cut->amount, 0xa5, bytes - cut->amount);
        done.bytes = std::min(done.bytes, cut->amount);
    }
    const Change* flip = find(flipped_, Call::read, begun.n);
    if (flip && flip->amount / 8 < bytes) {
        static_cast<u8*>(buffer)[flip->amount / 8] ^= static_cast<u8>(1 << flip->amount % 8);
    }
    return done;
}

os::Transfer FaultyFile::write(i64 handle, const void* buffer, u64 offset, u64 bytes) {
    const Begun begun = begin(Call::write, bytes);
    if (begun.error) return {0, begun.error, begun.position};
    const u64 n = begun.n;
    u64 allowed = bytes;
    os::OsError after;
    if (const Change* cut = find(shortened_, Call::write, n)) allowed = std::min(allowed, cut->amount);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (limited_) {
            if (allowed > bytes_left_) {
                allowed = bytes_left_;
                after = disk_full();
            }
            bytes_left_ -= allowed;
        }
    }
    // Unbuffered files take whole sectors only, so what lies behind the last whole one is lost.
    const u64 sectors = allowed / kSector * kSector;
    std::vector<u8> changed;
    const Change* flip = find(flipped_, Call::write, n);
    if (flip && flip->amount / 8 < bytes) {
        changed.resize(bytes + kSector);
        u8* copy = changed.data();
        copy += (kSector - reinterpret_cast<u64>(copy) % kSector) % kSector;
        std::memcpy(copy, buffer, bytes);
        copy[flip->amount / 8] ^= static_cast<u8>(1 << flip->amount % 8);
        return machine_.write(handle, copy, offset, bytes);
    }
    if (allowed == bytes) return machine_.write(handle, buffer, offset, bytes);
    if (sectors != 0) {
        const os::Transfer done = machine_.write(handle, buffer, offset, sectors);
        if (done.error) return done;
    }
    return {allowed, after};
}

void FaultyFile::fail(Call call, u64 n, os::OsError error, u64 times) {
    const std::lock_guard<std::mutex> lock(mutex_);
    faults_.push_back({call, n, n + times - 1, error, false});
}
void FaultyFile::fail_any(u64 n, os::OsError error) {
    const std::lock_guard<std::mutex> lock(mutex_);
    faults_of_any_.push_back({Call::open, n, n, error, false});
}
void FaultyFile::refuse_position(Call call, u64 n, os::OsError error) {
    const std::lock_guard<std::mutex> lock(mutex_);
    faults_.push_back({call, n, n, error, true});
}
void FaultyFile::disk_full_after(u64 bytes) {
    const std::lock_guard<std::mutex> lock(mutex_);
    limited_ = true;
    bytes_left_ = bytes;
}
void FaultyFile::disk_no_longer_full() {
    const std::lock_guard<std::mutex> lock(mutex_);
    limited_ = false;
}
std::vector<double> FaultyFile::waits() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return waits_;
}
void FaultyFile::short_write(u64 n, u64 bytes) {
    shortened_.push_back({Call::write, n, bytes});
}
void FaultyFile::short_read(u64 n, u64 bytes) {
    shortened_.push_back({Call::read, n, bytes});
}
void FaultyFile::flip_bit_of_write(u64 n, u64 bit) {
    flipped_.push_back({Call::write, n, bit});
}
void FaultyFile::flip_bit_of_read(u64 n, u64 bit) {
    flipped_.push_back({Call::read, n, bit});
}

u64 FaultyFile::count(Call call) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return counts_[static_cast<int>(call)];
}

std::vector<FaultyFile::Made> FaultyFile::calls() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return made_;
}

const char* FaultyFile::name(Call call) {
    static const char* const names[kCalls] = {"open",         "close",    "read",    "write",
                                              "size",         "set_size", "reserve", "flush",
                                              "flush_folder", "rename",   "remove",  "create_folder"};
    return names[static_cast<int>(call)];
}

FaultyFile::Begun FaultyFile::begin(Call call, u64 bytes) {
    if (on_call_) on_call_(call);
    const std::lock_guard<std::mutex> lock(mutex_);
    const u64 n = ++counts_[static_cast<int>(call)];
    made_.push_back({call, n, bytes});
    for (const Fault& fault : faults_of_any_) {
        if (fault.first == made_.size()) return {fault.error, false, n};
    }
    for (const Fault& fault : faults_) {
        if (fault.call == call && n >= fault.first && n <= fault.last)
            return {fault.error, fault.position, n};
    }
    return {{}, false, n};
}

const FaultyFile::Change* FaultyFile::find(const std::vector<Change>& changes, Call call, u64 n) const {
    for (const Change& change : changes) {
        if (change.call == call && change.n == n) return &change;
    }
    return nullptr;
}

os::OsError FaultyFile::disk_full() {
    return {28, os::ErrorCategory::disk_full};
}
os::OsError FaultyFile::write_fault() {
    return {5, os::ErrorCategory::write_fault};
}
os::OsError FaultyFile::read_fault() {
    return {5, os::ErrorCategory::read_fault};
}
os::OsError FaultyFile::access_denied() {
    return {13, os::ErrorCategory::access_denied};
}

}  // namespace kalvor_test
