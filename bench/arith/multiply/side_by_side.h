// Times of two ways to do the same, measured in turns in one run, so that their ratio means something on a machine
// that is not quiet.
#pragma once

#include <gmp.h>

#include <algorithm>
#include <chrono>
#include <random>

#include "arith/multiply/dispatch.h"
#include "arith/multiply/multiply_context.h"
#include "arith/multiply/transform_tables.h"
#include "os/memory.h"
#include "os/types.h"
#include "platform/memory/aligned_buffer.h"

namespace side_by_side {

using trel::u64;
using trel::Word;

// Memory of the program's life, touched and on large pages where the system gives them: what a session's working
// region is.
class Region {
  public:
    explicit Region(u64 bytes) : map_(trel::os::map_memory((bytes + (u64(4) << 20)) & ~((u64(2) << 20) - 1), false)) {
        const u64 start = (reinterpret_cast<u64>(map_.base) + (u64(2) << 20) - 1) & ~((u64(2) << 20) - 1);
        base_ = reinterpret_cast<unsigned char*>(start);
        trel::os::advise_large_pages(base_, bytes);
        for (u64 i = 0; i < bytes; i += 4096) base_[i] = 1;
        bytes_ = bytes & ~u64(63);
    }
    ~Region() { (void)trel::os::unmap_memory(map_.base, map_.bytes); }
    Region(const Region&) = delete;
    Region& operator=(const Region&) = delete;

    trel::AlignedBufferC view() const { return trel::AlignedBufferC(base_, bytes_); }

  private:
    trel::os::MappedMemory map_;
    unsigned char* base_;
    u64 bytes_;
};

// Operands, product, scratch and shared tables for products of n x n words, n <= largest.
class Products {
  public:
    explicit Products(u64 largest)
        : scratch_bytes_(trel::round_up_64(trel::multiply_scratch_bytes(2 * largest))),
          table_bytes_(trel::round_up_64(trel::TransformTables::bytes(2 * largest))),
          region_(trel::round_up_64(32 * largest) + 4096 + scratch_bytes_ + table_bytes_),
          tables_(make_tables(largest)) {
        std::mt19937_64 rng(largest);
        for (u64 i = 0; i < largest; i++) {
            A_[i] = rng();
            B_[i] = rng();
        }
    }

    void ours(const trel::ParallelContext& P, u64 n) {
        trel::multiply_full({P, scratch_, &tables_}, T_, A_, n, B_, n);
    }
    void gmp(u64 n) {
        mpn_mul_n(reinterpret_cast<mp_limb_t*>(T_), reinterpret_cast<const mp_limb_t*>(A_),
                  reinterpret_cast<const mp_limb_t*>(B_), static_cast<mp_size_t>(n));
    }

  private:
    trel::TransformTables make_tables(u64 largest) {
        trel::AlignedBufferC memory = region_.view();
        A_ = memory.spawn(trel::round_up_64(8 * largest)).word_pointer();
        B_ = memory.spawn(trel::round_up_64(8 * largest)).word_pointer();
        T_ = memory.spawn(trel::round_up_64(16 * largest)).word_pointer();
        const trel::AlignedBufferC tables = memory.spawn(table_bytes_);
        scratch_ = memory.spawn(scratch_bytes_);
        return trel::TransformTables(2 * largest, tables, trel::serial_context());
    }

    u64 scratch_bytes_, table_bytes_;
    Region region_;
    Word *A_ = nullptr, *B_ = nullptr, *T_ = nullptr;
    trel::AlignedBufferC scratch_;
    trel::TransformTables tables_;
};

template <class F>
double seconds(F&& f, u64 repeats) {
    const auto start = std::chrono::steady_clock::now();
    for (u64 i = 0; i < repeats; i++) f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() /
           static_cast<double>(repeats);
}

// Repeats that take about `batch` seconds.
template <class F>
u64 repeats_for(F&& f, double batch) {
    u64 n = 1;
    for (;;) {
        const double t = seconds(f, n) * static_cast<double>(n);
        if (t >= batch || n > (u64(1) << 40)) return n;
        n = t <= batch / 100 ? 10 * n : static_cast<u64>(1.2 * static_cast<double>(n) * batch / t) + 1;
    }
}

struct Best {
    double first = 1e30, second = 1e30;
};

// Smallest times of f and g over `rounds` turns of about `batch` seconds each.
template <class F, class G>
Best best_of(F&& f, G&& g, u64 rounds, double batch) {
    const u64 nf = repeats_for(f, batch), ng = repeats_for(g, batch);
    Best best;
    for (u64 i = 0; i < rounds; i++) {
        best.first = std::min(best.first, seconds(f, nf));
        best.second = std::min(best.second, seconds(g, ng));
    }
    return best;
}

}  // namespace side_by_side
