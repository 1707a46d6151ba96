// Reads the parts of a mini-dump file that tests look at, with bounds checked. Written from the format, not
// from the writer.
#pragma once

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "os/types.h"

namespace kalvor_test {

class MiniDump {
  public:
    using u16 = trel::u16;
    using u32 = trel::u32;
    using u64 = trel::u64;

    struct Range {
        u64 begin, bytes;
        u32 at;  // in the file
        bool holds(u64 address) const { return address >= begin && address - begin < bytes; }
    };
    struct Module {
        u64 base, bytes;
        std::string name;  // characters above 127 as '?'
    };

    explicit MiniDump(std::string bytes) : bytes_(std::move(bytes)) {
        if (bytes_.size() < 32 || bytes_.compare(0, 4, "MDMP") != 0 || get<u16>(4) != 0xa793) return;
        const u32 n = get<u32>(8), directory = get<u32>(12);
        for (u32 i = 0; i < n; i++) {
            const u32 entry = directory + 12 * i;
            const u32 type = get<u32>(entry), size = get<u32>(entry + 4), at = get<u32>(entry + 8);
            if (u64(at) + size > bytes_.size()) return;
            if (type != 0) streams_[type] = {at, size};
        }
        valid_ = ok_;
    }

    bool valid() const { return valid_ && ok_; }
    bool has(u32 type) const { return streams_.count(type) != 0; }
    u64 size() const { return bytes_.size(); }
    // Every stream lies inside of the file behind the header; the bytes of one.
    std::string stream(u32 type) const {
        const auto found = streams_.find(type);
        return found == streams_.end() ? "" : bytes_.substr(found->second.at, found->second.size);
    }

    u32 n_threads() { return in_stream(3, 0); }
    // The i-th thread.
    u32 thread_id(u32 i = 0) { return in_stream(3, 4 + 48 * i); }
    Range thread_stack(u32 i = 0) { return range(at(3) + 4 + 48 * i + 24); }
    u32 thread_context(u32 i = 0) { return get<u32>(at(3) + 4 + 48 * i + 44); }

    u32 exception_thread() { return in_stream(6, 0); }
    // The place of that thread among the threads; their number when it is none of them.
    u32 crashed_thread() {
        u32 i = 0;
        while (i < n_threads() && thread_id(i) != exception_thread()) i++;
        return i;
    }
    u32 exception_code() { return in_stream(6, 8); }
    u64 exception_address() { return get<u64>(at(6) + 24); }
    u32 exception_context() { return get<u32>(at(6) + 164); }

    // Fields of a processor context by their offset in it.
    static constexpr u32 kRcx = 128, kRsp = 152, kR12 = 216, kR13 = 224, kRip = 248,
                         kXmm7 = 256 + 160 + 7 * 16;
    u64 field(u32 context, u32 offset) { return get<u64>(context + offset); }

    std::vector<Module> modules() {
        std::vector<Module> all;
        const u32 n = in_stream(4, 0);
        for (u32 i = 0; i < n && ok_; i++) {
            const u32 record = at(4) + 4 + 108 * i;
            all.push_back({get<u64>(record), get<u32>(record + 8), text(get<u32>(record + 20))});
        }
        return all;
    }
    std::vector<Range> memory() {
        std::vector<Range> all;
        const u32 n = in_stream(5, 0);
        for (u32 i = 0; i < n && ok_; i++) all.push_back(range(at(5) + 4 + 16 * i));
        return all;
    }
    u16 processor_architecture() { return get<u16>(at(7)); }
    u32 platform() { return in_stream(7, 20); }
    u32 process_id() { return in_stream(15, 8); }

    // In any of the encodings that a dump could hold it in.
    bool mentions(const std::string& word) const {
        std::string wide;
        for (const char c : word) {
            wide += c;
            wide += '\0';
        }
        return bytes_.find(word) != std::string::npos || bytes_.find(wide) != std::string::npos;
    }
    std::string bytes_at(u32 position, u64 n) const {
        return u64(position) + n <= bytes_.size() ? bytes_.substr(position, n) : "";
    }

  private:
    struct Stream {
        u32 at, size;
    };

    template <class T>
    T get(u64 position) {
        T value{};
        if (position + sizeof value > bytes_.size()) {
            ok_ = false;
        } else {
            std::memcpy(&value, bytes_.data() + position, sizeof value);
        }
        return value;
    }
    u32 at(u32 type) {
        if (!has(type)) ok_ = false;
        return has(type) ? streams_[type].at : 0;
    }
    u32 in_stream(u32 type, u32 offset) { return get<u32>(at(type) + offset); }
    // {address, {size, rva}}
    Range range(u32 position) {
        const Range r{get<u64>(position), get<u32>(position + 8), get<u32>(position + 12)};
        if (r.at + r.bytes > bytes_.size()) ok_ = false;
        return r;
    }
    std::string text(u32 position) {
        std::string out;
        const u32 n = get<u32>(position) / 2;
        for (u32 i = 0; i < n && ok_; i++) {
            const u16 unit = get<u16>(position + 4 + 2 * i);
            out += unit < 128 ? static_cast<char>(unit) : '?';
        }
        if (get<u16>(position + 4 + 2 * n) != 0) ok_ = false;
        return out;
    }

    std::string bytes_;
    std::map<u32, Stream> streams_;
    bool ok_ = true;
    bool valid_ = false;
};

}  // namespace kalvor_test

// Tests use the name alone.
using kalvor_test::MiniDump;
