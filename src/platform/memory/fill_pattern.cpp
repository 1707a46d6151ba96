#include "platform/memory/fill_pattern.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace trel {
namespace {

constexpr u32 kMultiplier = 0xC82B9175;
constexpr u32 kAddend = 0xC857661B;
constexpr u64 kLanes = 16;

constexpr u32 pattern(u64 i) {
    return kMultiplier * (static_cast<u32>(i) * static_cast<u32>(i)) + kAddend;
}

using Vec = u32 __attribute__((vector_size(16)));

// Words i and following become `n` words of the pattern.
void fill_words(char* p, u64 i, u64 n) {
    // Lane j of 16 goes i, i + 16, i + 32, ...: a quadratic sequence, whose first difference is linear and
    // whose second is constant. Two additions a word replace the multiplication, which plain x86-64 lacks for
    // 32-bit lanes.
    u32 values[kLanes], steps[kLanes];
    for (u64 j = 0; j < kLanes; j++) {
        values[j] = pattern(i + j);
        steps[j] = pattern(i + j + kLanes) - values[j];
    }
    Vec value[4], step[4];
    std::memcpy(value, values, sizeof(value));
    std::memcpy(step, steps, sizeof(step));
    const u32 second = static_cast<u32>(2 * kLanes * kLanes * kMultiplier);
    const Vec step_of_step = {second, second, second, second};
    u64 done = 0;
    for (; done + kLanes <= n; done += kLanes) {
        for (u64 v = 0; v < 4; v++) {
            std::memcpy(p + 4 * done + 16 * v, &value[v], 16);
            value[v] += step[v];
            step[v] += step_of_step;
        }
    }
    for (; done < n; done++) {
        const u32 word = pattern(i + done);
        std::memcpy(p + 4 * done, &word, 4);
    }
}

// Polls between steps of a tenth of a second at most.
void fill_chunk(const ParallelContext& parallel, char* begin, u64 bytes) {
    constexpr u64 kStepWords = kFillStep / 4;
    begin[0] = '{';
    begin[bytes - 1] = '@';
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(begin);
    const u64 first = (address + 3) / 4 * 4;
    const u64 last = (address + bytes) / 4 * 4;
    if (first >= last) return;
    char* const p = begin + (first - address);
    const u64 n = (last - first) / 4;
    for (u64 i = 0; i < n; i += kStepWords) {
        parallel.poll();
        parallel.stage("fill", p + 4 * i, 4 * (n - i));
        fill_words(p + 4 * i, i, std::min(n - i, kStepWords));
    }
}

}  // namespace

void fill_memory(void* pointer, u64 bytes) {
    fill_memory(serial_context(), pointer, bytes);
}

void fill_memory(const ParallelContext& parallel, void* pointer, u64 bytes) {
    if (bytes == 0) return;
    char* const begin = static_cast<char*>(pointer);
    const u64 chunks = parallel.tds / 4;
    if (chunks < 2) return fill_chunk(parallel, begin, bytes);
    const u64 chunk = bytes / chunks + (bytes % chunks != 0);
    parallel_for(parallel, chunks, [&](u64 i) {
        const u64 start = i * chunk;
        if (start < bytes) fill_chunk(parallel, begin + start, std::min(bytes - start, chunk));
    });
}

}  // namespace trel
