// The registry of multiplication algorithms and the tables that choose one by the size of a product.
#pragma once

#include <string>
#include <vector>

#include "arith/multiply/multiply_algorithm.h"

namespace trel {

// One algorithm for one word size; made once at start-up, never freed.
struct AlgorithmEntry {
    const MultiplyAlgorithm* algorithm;
    u64 max_bits;  // the largest product
    std::string short_name, long_name, family, variant;
};

// Registry slots of a short name.
enum class TableSlot { basic32 = 0, basic64 = 1, swap32 = 2, swap64 = 3 };

// Puts an entry into the registry (a function-local static, filled before main()).
void register_algorithm(TableSlot slot, const AlgorithmEntry& entry);
// nullptr when the name is unknown; *known tells whether any slot has the name.
const AlgorithmEntry* find_algorithm(TableSlot slot, const std::string& short_name, bool* known = nullptr);

class AlgorithmTable {
  public:
    struct Item {
        u64 threshold_words;
        const MultiplyAlgorithm* algorithm;
    };
    struct ListItem {
        std::string short_name;
        u64 threshold_bits;
    };

    AlgorithmTable(std::string name, u32 word_bits) : name_(std::move(name)), word_bits_(word_bits) {}
    // Builds a table from a list; prints and skips unknown and unsupported names.
    AlgorithmTable(std::string name, u32 word_bits, TableSlot slot, const std::vector<ListItem>& list);

    // Throws StringException "Thresholds must be increasing." / "Thresholds is larger than maximum size.".
    void add(u64 threshold_bits, const AlgorithmEntry& entry);
    // The first algorithm whose threshold is >= words; else LimitExceededException.
    const MultiplyAlgorithm& get_algorithm(u64 words) const;
    // The largest scratch (all sizes) that any algorithm which the recursion can reach from a product of
    // `words` needs.
    u64 mSBsize(u64 words) const;
    MultiplySizes mSBsizes(u64 words) const;

    const std::string& name() const { return name_; }
    u32 word_bits() const { return word_bits_; }
    const std::vector<Item>& items() const { return items_; }

  private:
    MultiplySizes largest(u64 words, const char* function) const;

    std::string name_;
    u32 word_bits_;
    std::vector<Item> items_;
};

// The in-memory table of 64-bit words, through which every product of the program goes. Built on first use
// from the registry and the default list.
const AlgorithmTable& basic_table64();

}  // namespace trel
