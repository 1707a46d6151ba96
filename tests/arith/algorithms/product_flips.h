// Products through any algorithm, operation and kind of window, one bit of which is changed between two
// stages.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "arith/multiply/algorithm_table.h"
#include "base/errors/exceptions.h"
#include "platform/parallel/basic_parallelizer.h"
#include "support/threads.h"

namespace trel {
namespace {

// Counts the stages; at the chosen one it changes a bit.
class OneFlip final : public ComputationStages {
  public:
    static constexpr u64 kNever = ~u64(0);
    explicit OneFlip(u64 stage = kNever, u64 place = 0) : stage_(stage), place_(place) {}

    void at(const char* stage, void* memory, u64 bytes) override {
        const std::lock_guard lock(mutex_);
        if (names.size() == stage_ && bytes != 0) {
            name = stage;
            const u64 bit = place_ % (8 * bytes);
            static_cast<u8*>(memory)[bit / 8] ^= static_cast<u8>(1u << bit % 8);
        }
        names.push_back(stage);
        sizes.push_back(bytes);
    }
    std::vector<std::string> names;
    std::vector<u64> sizes;
    std::string name;

  private:
    std::mutex mutex_;
    u64 stage_, place_;
};

enum class Operation { plain, square, held, transforms, in_place };
constexpr Operation kOperations[] = {Operation::plain, Operation::square, Operation::held,
                                     Operation::transforms, Operation::in_place};

struct Shape {
    const char* name;
    u64 words;        // the transform is made for
    u64 LA, LB;       // of the operands
    u64 skip, total;  // of the window
};

struct Outcome {
    bool thrown = false;
    u64 corrected = 0, checked = 0;
    u64 residue = 0;
    std::vector<Word> words;
};

class Bench {
  public:
    Bench(const MultiplyAlgorithm& algorithm, u64 words, u64 tasks = 1) : tasks(tasks) {
        const ParallelContext parallel{thread_framework(), tasks};
        algorithm.make_transform(transform, algorithm.wrapped_words(words), {parallel, {}});
        data.resize(3 * transform->data_bytes() / 8 + transform->scratch_bytes() / 8 +
                    transform->plain_bytes() / 8 + 64);
    }
    Outcome run(Operation operation, const Shape& s, std::vector<Word> A, const std::vector<Word>& B,
                ComputationStages& stages, Carried carried = {}) {
        RunMonitor monitor;
        monitor.stages = &stages;
        ParallelContext parallel{thread_framework(), tasks, &monitor};
        Outcome o;
        o.words.assign(s.total - s.skip, 0x5555);
        ParallelContext before = parallel;
        before.inner_unchecked = unchecked_forward;
        parallel.inner_unchecked = unchecked_product;
        u8* const memory = reinterpret_cast<u8*>((reinterpret_cast<u64>(data.data()) + 63) / 64 * 64);
        const u64 bytes = transform->data_bytes();
        u8 *const x = memory, *const y = x + bytes, *const work = y + bytes, *const scratch = work + bytes;
        Word* const T = o.words.data();
        try {
            switch (operation) {
                case Operation::plain:
                    o.residue = transform->multiply_plain(parallel, T, s.skip, s.total, A.data(), s.LA,
                                                          B.data(), s.LB, memory, carried.a, carried.b);
                    break;
                case Operation::square:
                    o.residue = transform->square_plain(parallel, T, s.skip, s.total, A.data(), s.LA, memory,
                                                        carried.a);
                    break;
                case Operation::held:
                    transform->forward(before, y, B.data(), s.LB, scratch, carried.b, words_stay);
                    o.residue = transform->multiply_held(parallel, T, s.skip, s.total, A.data(), s.LA, y,
                                                         work, scratch, carried.a);
                    break;
                case Operation::transforms:
                case Operation::in_place:
                    transform->forward(before, x, A.data(), s.LA, scratch, carried.a, words_stay);
                    transform->forward(before, y, B.data(), s.LB, scratch, carried.b, words_stay);
                    o.residue =
                        transform->inverse(parallel, T, s.skip, s.total,
                                           operation == Operation::in_place ? x : work, x, y, scratch);
                    break;
            }
        } catch (const AlgorithmFailedException&) {
            o.thrown = true;
        }
        o.corrected = monitor.checks.corrected;
        o.checked = monitor.checks.products;
        return o;
    }
    const u64 tasks;
    TransformHolder transform;
    std::vector<Word> data;
    bool words_stay = false, unchecked_forward = false, unchecked_product = false;
};

inline const MultiplyAlgorithm& algorithm_called(const std::string& name) {
    return *find_algorithm(TableSlot::basic64, name)->algorithm;
}

// Windows of a product of two operands of about half the transform, and of two that wrap around it.
inline std::vector<Shape> shapes_of(const MultiplyAlgorithm& algorithm, u64 words, bool wraps) {
    TransformHolder t;
    algorithm.make_transform(t, algorithm.wrapped_words(words), {serial_context(), {}});
    const u64 W = t->convolution_words(), h = words / 2;
    std::vector<Shape> all = {{"full", words, h, h, 0, 2 * h},
                              {"low", words, h, h, 0, h + 3},
                              {"high", words, h, h, h - 1, 2 * h},
                              {"middle", words, h, h, h / 2 + 1, h + h / 3},
                              {"uneven", words, h + h / 2, h / 2 - 3, 5, h}};
    if (wraps && t->fold() != Fold::none) {
        const u64 n = W + W / 3, a = n / 2, b = n - a;
        all.push_back({"wrapped", words, a, b, n - W, W});
        all.push_back({"wrapped_inner", words, a, b, n - W + 7, W - 5});
        all.push_back({"wrapped_ring", words, a, b, 0, W});
    }
    return all;
}

inline u64 largest_words(const std::string& name) {
    // of the FFT: lengths with a modulus that sees every branch
    return name == "BKT" ? 90 : name == "FFT" ? 1360 : name == "HNT" ? 1500 : 4000;
}
// Rings of every kind of length: with a factor three, a power of two, and short ones.
inline std::vector<u64> sizes_of(const std::string& name) {
    const u64 largest = largest_words(name);
    if (name == "BKT") return {largest, 31};
    // of the FFT: three, five and one times a power of two points
    if (name == "FFT") return {largest, largest / 2 + 1, 320, 300, 90};
    return {largest, largest / 2 + 1, 300, 90};
}

}  // namespace
}  // namespace trel
