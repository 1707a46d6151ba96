#include "fault/faulty_file.h"

#include <algorithm>
#include <cstring>

#include "platform/fileio/file_functions.h"

using namespace trel;
using trel::FileIO::FileFunctions;
using trel::FileIO::system_file_functions;

namespace {

FaultyFile* g_current = nullptr;

}  // namespace

struct FaultyFile::Hooks {
    static os::OpenedFile open(const char* path, os::FileAccess access, os::FileFlags flags) {
        if (const os::OsError error = g_current->begin(Call::open).error) return {os::kNoFile, error, false};
        return system_file_functions().open(path, access, flags);
    }
    static os::OsError close(i64 handle) {
        const os::OsError error = g_current->begin(Call::close).error;
        // The handle is gone in any case, as with a real failing close.
        const os::OsError real = system_file_functions().close(handle);
        return error ? error : real;
    }
    static os::Transfer read(i64 handle, void* buffer, u64 offset, u64 bytes) {
        const Begun begun = g_current->begin(Call::read, bytes);
        if (begun.error) return {0, begun.error, begun.position};
        os::Transfer done = system_file_functions().read(handle, buffer, offset, bytes);
        if (const Change* cut = g_current->find(g_current->shortened_, Call::read, begun.n)) {
            // What was not delivered must not be there by accident.
            if (cut->amount < bytes) std::memset(static_cast<u8*>(buffer) + cut->amount, 0xa5, bytes - cut->amount);
            done.bytes = std::min(done.bytes, cut->amount);
        }
        const Change* flip = g_current->find(g_current->flipped_, Call::read, begun.n);
        if (flip && flip->amount / 8 < bytes) {
            static_cast<u8*>(buffer)[flip->amount / 8] ^= static_cast<u8>(1 << flip->amount % 8);
        }
        return done;
    }
    static os::Transfer write(i64 handle, const void* buffer, u64 offset, u64 bytes) {
        const Begun begun = g_current->begin(Call::write, bytes);
        if (begun.error) return {0, begun.error, begun.position};
        const u64 n = begun.n;
        u64 allowed = bytes;
        os::OsError after;
        if (const Change* cut = g_current->find(g_current->shortened_, Call::write, n)) {
            allowed = std::min(allowed, cut->amount);
        }
        {
            const std::lock_guard<std::mutex> lock(g_current->mutex_);
            if (g_current->limited_) {
                if (allowed > g_current->bytes_left_) {
                    allowed = g_current->bytes_left_;
                    after = disk_full();
                }
                g_current->bytes_left_ -= allowed;
            }
        }
        // Unbuffered files take whole sectors only, so what lies behind the last whole one is lost.
        const u64 sectors = allowed / kSector * kSector;
        std::vector<u8> changed;
        const Change* flip = g_current->find(g_current->flipped_, Call::write, n);
        if (flip && flip->amount / 8 < bytes) {
            changed.resize(bytes + kSector);
            u8* copy = changed.data();
            copy += (kSector - reinterpret_cast<u64>(copy) % kSector) % kSector;
            std::memcpy(copy, buffer, bytes);
            copy[flip->amount / 8] ^= static_cast<u8>(1 << flip->amount % 8);
            return system_file_functions().write(handle, copy, offset, bytes);
        }
        if (allowed == bytes) return system_file_functions().write(handle, buffer, offset, bytes);
        if (sectors != 0) {
            const os::Transfer done = system_file_functions().write(handle, buffer, offset, sectors);
            if (done.error) return done;
        }
        return {allowed, after};
    }
    static os::FileSize size(i64 handle) {
        if (const os::OsError error = g_current->begin(Call::size).error) return {0, error};
        return system_file_functions().size(handle);
    }
    static os::Resizing set_size(i64 handle, u64 bytes) {
        if (const Begun begun = g_current->begin(Call::set_size); begun.error)
            return {begun.error, begun.position};
        return system_file_functions().set_size(handle, bytes);
    }
    static os::OsError reserve(i64 handle, u64 bytes) {
        if (const os::OsError error = g_current->begin(Call::reserve).error) return error;
        // Some accounts and some file systems cannot reserve; this disk can.
        const os::OsError real = system_file_functions().reserve(handle, bytes);
        return real.category == os::ErrorCategory::other ? os::OsError{} : real;
    }
    static os::OsError flush(i64 handle) {
        if (const os::OsError error = g_current->begin(Call::flush).error) return error;
        return system_file_functions().flush(handle);
    }
    static os::OsError flush_folder(const char* path) {
        if (const os::OsError error = g_current->begin(Call::flush_folder).error) return error;
        return system_file_functions().flush_folder(path);
    }
    static os::OsError rename(const char* from, const char* to) {
        if (const os::OsError error = g_current->begin(Call::rename).error) return error;
        return system_file_functions().rename(from, to);
    }
    static os::OsError remove(const char* path) {
        if (const os::OsError error = g_current->begin(Call::remove).error) return error;
        return system_file_functions().remove(path);
    }
    static os::OsError create_folder(const char* path) {
        if (const os::OsError error = g_current->begin(Call::create_folder).error) return error;
        return system_file_functions().create_folder(path);
    }
    static os::OsError rename_open(i64 handle, const char* from, const char* to) {
        if (const os::OsError error = g_current->begin(Call::rename).error) return error;
        return system_file_functions().rename_open(handle, from, to);
    }
    static os::OsError remove_open(i64 handle, const char* path) {
        if (const os::OsError error = g_current->begin(Call::remove).error) return error;
        return system_file_functions().remove_open(handle, path);
    }
    static os::VolumeSpace volume_space(const char* folder) {
        os::VolumeSpace space = system_file_functions().volume_space(folder);
        if (g_current->free_space_) space.free_bytes = *g_current->free_space_;
        return space;
    }
    static void wait(double seconds) {
        {
            const std::lock_guard<std::mutex> lock(g_current->mutex_);
            g_current->waits_.push_back(seconds);
        }
        if (g_current->on_wait_) g_current->on_wait_(seconds);
    }

    static constexpr u64 kSector = 4096;
};

FaultyFile::FaultyFile() {
    static const FileFunctions functions{Hooks::open,    Hooks::close,  Hooks::read,
                                         Hooks::write,   Hooks::size,   Hooks::set_size,
                                         Hooks::reserve, Hooks::flush,  Hooks::flush_folder,
                                         Hooks::rename,  Hooks::remove, Hooks::create_folder,
                                         Hooks::rename_open, Hooks::remove_open,
                                         system_file_functions().is_read_only,
                                         system_file_functions().allow_replacing,
                                         Hooks::volume_space, Hooks::wait};
    g_current = this;
    FileIO::set_file_functions_for_tests(&functions);
}

FaultyFile::~FaultyFile() {
    FileIO::set_file_functions_for_tests(nullptr);
    g_current = nullptr;
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
