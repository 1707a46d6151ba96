// The registry of multiplication algorithms and the tables that choose one by the size of a product.
#pragma once

#include <string>
#include <vector>

#include "arith/multiply/multiply_algorithm.h"
#include "arith/multiply/multiply_algorithm32.h"

namespace trel {

// One algorithm for one word size; made once at start-up, never freed. Slots of 64-bit words have
// `algorithm`, slots of 32-bit words `algorithm32`.
struct AlgorithmEntry {
    const MultiplyAlgorithm* algorithm;
    u64 max_bits;  // the largest product
    std::string short_name, long_name, family, variant;
    const MultiplyAlgorithm32* algorithm32 = nullptr;
};

// Registry slots of a short name: for operands in memory or on far memory, by word.
enum class TableSlot { basic32 = 0, basic64 = 1, swap32 = 2, swap64 = 3 };

// Puts an entry into the registry (a function-local static, filled before main()). An entry without an
// algorithm of the slot's word, or a second one of its name, is fatal.
void register_algorithm(TableSlot slot, const AlgorithmEntry& entry);
// nullptr when the name is unknown; *known tells whether any slot has the name.
const AlgorithmEntry* find_algorithm(TableSlot slot, const std::string& short_name, bool* known = nullptr);

// Sizes of products, thresholds and memory queries count words of the table's word size.
class AlgorithmTable {
  public:
    struct Item {
        u64 threshold_words;
        const MultiplyAlgorithm* algorithm;      // tables of 64-bit words
        const MultiplyAlgorithm32* algorithm32;  // tables of 32-bit words
        u64 max_words;                           // of a product that the algorithm does at all

        MultiplySizes sizes(u64 words) const {
            return algorithm != nullptr ? algorithm->sizes(words) : algorithm32->sizes(words);
        }
    };
    struct ListItem {
        std::string short_name;
        u64 threshold_bits;
    };

    AlgorithmTable(std::string name, u32 word_bits) : name_(std::move(name)), word_bits_(word_bits) {}
    // Builds a table from a list. Unknown and unsupported names are left out, with a remark for each.
    AlgorithmTable(std::string name, u32 word_bits, TableSlot slot, const std::vector<ListItem>& list);

    // Throws StringException "Thresholds must be increasing." / "Thresholds is larger than maximum size.".
    void add(u64 threshold_bits, const AlgorithmEntry& entry);
    // The first algorithm whose threshold is >= words; else LimitExceededException.
    const MultiplyAlgorithm& get_algorithm(u64 words) const { return *item(words).algorithm; }
    const MultiplyAlgorithm32& get_algorithm32(u64 words) const { return *item(words).algorithm32; }

    // The next algorithm of 64-bit words lower than one that has failed, and that does a product of `words`
    // words in `bytes` of scratch; nullptr: there is none.
    const MultiplyAlgorithm* below(const MultiplyAlgorithm& failed, u64 words, u64 bytes) const;

    const std::string& name() const { return name_; }
    u32 word_bits() const { return word_bits_; }
    const std::vector<Item>& items() const { return items_; }
    // What there is to report about the making of the table, line by line.
    const std::vector<std::string>& remarks() const { return remarks_; }

  protected:
    // The largest sizes of any algorithm which the recursion can reach from a product of `words` words: that
    // of every smaller threshold at the threshold, and that of `words`. LimitExceededException names
    // `function`.
    MultiplySizes largest(u64 words, const char* function) const;

  private:
    const Item& item(u64 words) const;

    std::string name_;
    u32 word_bits_;
    std::vector<Item> items_;
    std::vector<std::string> remarks_;
};

// Products of operands in memory.
class AlgorithmTableB : public AlgorithmTable {
  public:
    using AlgorithmTable::AlgorithmTable;

    // Bytes for a product of `words` words and everything smaller: the scratch of a whole product, and all
    // sizes.
    u64 mSBsize(u64 words) const;
    MultiplySizes mSBsizes(u64 words) const;
};

// Products of operands on far memory.
class AlgorithmTableS : public AlgorithmTable {
  public:
    using AlgorithmTable::AlgorithmTable;

    // Sizes for the products that such an operation does in memory.
    MultiplySizes mSBsizes(u64 words) const;
    // Bytes to do the product in memory from end to end: its scratch and the words, which come in as operands
    // and leave as the product.
    u64 iPsize(u64 words) const;
};

// The tables of the program, each built on first use from the registry and its default list. Every product of
// the number types goes through basic_table64().
const AlgorithmTableB& basic_table32();
const AlgorithmTableB& basic_table64();
const AlgorithmTableS& swap_table32();
const AlgorithmTableS& swap_table64();

}  // namespace trel
