#include "arith/multiply/algorithm_table.h"

#include <gtest/gtest.h>

#include "arith/multiply/dispatch.h"
#include "base/errors/exceptions.h"
#include "reference/fold_transform.h"
#include "support/capture_console.h"

using namespace trel;

namespace {

const reference::FoldAlgorithm first(reference::Fold::cyclic), second(reference::Fold::negacyclic);

AlgorithmEntry entry(const MultiplyAlgorithm& algorithm, u64 max_bits) {
    return {&algorithm, max_bits, "X", "Long", "Family", "Variant"};
}

AlgorithmTableB two_entries() {
    AlgorithmTableB table("Test", 64);
    table.add(640, entry(first, 100000));
    table.add(6400, entry(second, 100000));
    return table;
}

TEST(AlgorithmTableTest, ChoosesTheFirstThresholdThatIsLargeEnough) {
    const AlgorithmTableB table = two_entries();
    EXPECT_EQ(&table.get_algorithm(1), &first);
    EXPECT_EQ(&table.get_algorithm(10), &first);
    EXPECT_EQ(&table.get_algorithm(11), &second);
    EXPECT_EQ(&table.get_algorithm(100), &second);
    EXPECT_EQ(table.items()[0].threshold_words, 10u);
    EXPECT_EQ(table.name(), "Test");
    EXPECT_EQ(table.word_bits(), 64u);
}

TEST(AlgorithmTableTest, ThresholdsCountWordsOfTheTable) {
    AlgorithmTable table("Test", 32);
    table.add(5120, entry(first, 100000));
    EXPECT_EQ(table.items()[0].threshold_words, 160u);
}

TEST(AlgorithmTableTest, RefusesSizesBeyondTheLastThreshold) {
    const AlgorithmTableB table = two_entries();
    const auto expect_limit = [&](auto&& call, const std::string& function) {
        try {
            call();
            FAIL() << function;
        } catch (const LimitExceededException& e) {
            EXPECT_EQ(e.function, function);
            EXPECT_EQ(e.limit, 0u);
            EXPECT_EQ(e.attempted, 101u);
        }
    };
    expect_limit([&] { (void)table.get_algorithm(101); }, "AlgorithmTable::get_algorithm()");
    expect_limit([&] { (void)table.mSBsize(101); }, "AlgorithmTableB::mSBsize()");
    expect_limit([&] { (void)table.mSBsizes(101); }, "AlgorithmTableB::mSBsizes()");
    EXPECT_THROW((void)AlgorithmTable("Empty", 64).get_algorithm(1), LimitExceededException);

    AlgorithmTableS swap("Test", 64);
    swap.add(6400, entry(first, 100000));
    expect_limit([&] { (void)swap.mSBsizes(101); }, "AlgorithmTableS::mSBsizes()");
    expect_limit([&] { (void)swap.iPsize(101); }, "AlgorithmTableS::iPsize()");
}

TEST(AlgorithmTableTest, AddChecksOrderAndMaximum) {
    const auto expect_add = [](AlgorithmTable& table, u64 bits, u64 max_bits, const std::string& message) {
        const u64 before = table.items().size();
        try {
            table.add(bits, entry(first, max_bits));
            FAIL() << message;
        } catch (const StringException& e) {
            EXPECT_STREQ(e.get_typename(), "StringException");
            EXPECT_EQ(e.function, "AlgorithmTable::add()");
            EXPECT_EQ(e.message, message);
        }
        EXPECT_EQ(table.items().size(), before);
    };
    AlgorithmTable table("Test", 64);
    expect_add(table, 6464, 6400, "Thresholds is larger than maximum size.");
    table.add(6400, entry(first, 6400));
    expect_add(table, 6400, 100000, "Thresholds must be increasing.");
    expect_add(table, 6463, 100000, "Thresholds must be increasing.");  // the same number of words
    expect_add(table, 640, 100000, "Thresholds must be increasing.");
    expect_add(table, 6464, 6463, "Thresholds is larger than maximum size.");
    table.add(6464, entry(first, 6464));

    AlgorithmTable bits("Test", 1);
    bits.add(100, entry(first, 1000));
    expect_add(bits, 100, 1000, "Thresholds must be increasing.");
}

TEST(AlgorithmTableTest, MemoryQueryTakesTheLargestOfAllReachableSizes) {
    // An algorithm that needs much memory at its own threshold, then one that needs little.
    class Fixed final : public MultiplyAlgorithm {
      public:
        Fixed(u64 factor) : factor_(factor) {}
        MultiplySizes sizes(u64 words) const override {
            return {factor_ * words, 2 * factor_ * words, 3 * factor_ * words, 4 * factor_ * words};
        }
        void make_transform(TransformHolder&, u64, const MultiplyContext&) const override {}

      private:
        u64 factor_;
    };
    const Fixed large(64000), small(64);
    AlgorithmTableB table("Test", 64);
    table.add(640, entry(large, 100000));
    table.add(6400, entry(small, 100000));
    EXPECT_EQ(table.mSBsize(3), 2u * 64000 * 3);
    EXPECT_EQ(table.mSBsize(10), 2u * 64000 * 10);
    EXPECT_EQ(table.mSBsize(11), 2u * 64000 * 10);
    const MultiplySizes sizes = table.mSBsizes(100);
    EXPECT_EQ(sizes.output, 64000u * 10);
    EXPECT_EQ(sizes.scratch, 2u * 64000 * 10);
    EXPECT_EQ(sizes.transform_data, 3u * 64000 * 10);
    EXPECT_EQ(sizes.transform_scratch, 4u * 64000 * 10);

    AlgorithmTableS swap("Test", 64);
    swap.add(640, entry(large, 100000));
    swap.add(6400, entry(small, 100000));
    EXPECT_EQ(swap.mSBsizes(100).scratch, sizes.scratch);
    EXPECT_EQ(swap.iPsize(100), sizes.output + sizes.scratch);
}

TEST(AlgorithmTableTest, BuildsFromAListAndSkipsWhatItDoesNotKnow) {
    static const bool registered = [] {
        static const PaddedAlgorithm32 padded(first, 100000);
        register_algorithm(TableSlot::basic32, {nullptr, 100000, "TestOnly32", "", "", "", &padded});
        return true;
    }();
    ASSERT_TRUE(registered);
    CaptureConsole console;
    const AlgorithmTable table("Basic: 64-bit Word", 64, TableSlot::basic64,
                               {{"NoSuchName", 64}, {"BKT", 5120}, {"TestOnly32", 6400}});
    EXPECT_EQ(table.remarks(),
              (std::vector<std::string>{"Skipping unknown algorithm: NoSuchName",
                                        "Warning: TestOnly32 does not support: \"Basic: 64-bit Word\""}));
    EXPECT_EQ(console.take(), "");
    ASSERT_EQ(table.items().size(), 1u);
    EXPECT_EQ(table.items()[0].threshold_words, 80u);

    const AlgorithmTable other("Basic: 32-bit Word", 32, TableSlot::basic32, {{"TestOnly32", 6400}});
    EXPECT_TRUE(other.remarks().empty());
    ASSERT_EQ(other.items().size(), 1u);
    EXPECT_EQ(other.items()[0].algorithm, nullptr);
    EXPECT_EQ(&dynamic_cast<const PaddedAlgorithm32&>(other.get_algorithm32(200)).algorithm(), &first);
    EXPECT_EQ(other.items()[0].threshold_words, 200u);
}

TEST(AlgorithmTableTest, RegistryHoldsTheNamesOfTheEntries) {
    bool known = false;
    const AlgorithmEntry* bkt = find_algorithm(TableSlot::basic64, "BKT", &known);
    ASSERT_NE(bkt, nullptr);
    EXPECT_TRUE(known);
    EXPECT_EQ(bkt->max_bits, 65536u);
    EXPECT_EQ(bkt->short_name, "BKT");
    EXPECT_EQ(bkt->long_name, "Basecase/Karatsuba");
    EXPECT_EQ(bkt->family, "MULB");
    EXPECT_EQ(bkt->variant, "Basic Multiply");
    const AlgorithmEntry* fft = find_algorithm(TableSlot::basic64, "FFT");
    ASSERT_NE(fft, nullptr);
    EXPECT_EQ(fft->max_bits, 100663296u);
    EXPECT_EQ(fft->long_name, "Floating-Point FFT");
    EXPECT_EQ(fft->family, "FFTv3");
    EXPECT_EQ(fft->variant, "Short-Vector FMA");
    EXPECT_EQ(find_algorithm(TableSlot::swap64, "BKT", &known), nullptr);
    EXPECT_TRUE(known);
    EXPECT_EQ(find_algorithm(TableSlot::basic64, "bkt", &known), nullptr);
    EXPECT_FALSE(known);
}

TEST(AlgorithmTableDeathTest, DuplicateNameIsFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            print_to_stderr();
            static const PaddedAlgorithm32 padded(first, 100000);
            register_algorithm(TableSlot::swap32, {nullptr, 1, "Twice", "", "", "", &padded});
            register_algorithm(TableSlot::swap64, {&first, 1, "Twice", "", "", ""});  // another slot
            register_algorithm(TableSlot::swap32, {nullptr, 1, "Twice", "", "", "", &padded});
        },
        testing::ExitedWithCode(1), "Duplicate Multiplication Algorithm: Twice\n");
}

TEST(AlgorithmTableDeathTest, SlotsTakeAlgorithmsOfTheirWord) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT((print_to_stderr(), register_algorithm(TableSlot::basic32, {&first, 1, "Other", "", "", ""})),
                testing::ExitedWithCode(1), "Multiplication Algorithm for another Word: Other\n");
    static const PaddedAlgorithm32 padded(first, 100000);
    EXPECT_EXIT((print_to_stderr(),
                 register_algorithm(TableSlot::swap64, {nullptr, 1, "Other", "", "", "", &padded})),
                testing::ExitedWithCode(1), "Multiplication Algorithm for another Word: Other\n");
}

TEST(AlgorithmTableTest, BasicTableChoosesBySize) {
    const AlgorithmTableB& table = basic_table64();
    EXPECT_EQ(table.name(), "Basic: 64-bit Word");
    EXPECT_EQ(table.word_bits(), 64u);
    const MultiplyAlgorithm* bkt = find_algorithm(TableSlot::basic64, "BKT")->algorithm;
    const MultiplyAlgorithm* fft = find_algorithm(TableSlot::basic64, "FFT")->algorithm;
    const MultiplyAlgorithm* c17 = find_algorithm(TableSlot::basic64, "C17")->algorithm;
    const MultiplyAlgorithm* n64 = find_algorithm(TableSlot::basic64, "N64")->algorithm;
    ASSERT_EQ(table.items().size(), 4u);
    EXPECT_EQ(table.items()[0].threshold_words, 80u);
    EXPECT_EQ(table.items()[1].threshold_words, 3264u);
    EXPECT_EQ(table.items()[2].threshold_words, 5566277615616u);
    EXPECT_EQ(table.items()[3].threshold_words, 63050394783186944u);
    EXPECT_EQ(&table.get_algorithm(1), bkt);
    EXPECT_EQ(&table.get_algorithm(80), bkt);
    EXPECT_EQ(&table.get_algorithm(81), fft);
    EXPECT_EQ(&table.get_algorithm(3264), fft);
    EXPECT_EQ(&table.get_algorithm(3265), c17);
    EXPECT_EQ(&table.get_algorithm(5566277615616), c17);
    EXPECT_EQ(&table.get_algorithm(5566277615617), n64);
    EXPECT_THROW((void)table.get_algorithm(63050394783186945), LimitExceededException);
    EXPECT_EQ(multiply_scratch_bytes(80), table.mSBsize(80));
}

// The four tables of the program: names, thresholds, and which algorithm each row has.
TEST(AlgorithmTableTest, FourTablesWithTheirRows) {
    struct Row {
        const char* name;
        u64 bits;
    };
    const std::vector<Row> basic{
        {"BKT", 5120}, {"FFT", 208896}, {"C17", 0x1440000000000}, {"N64", 0x3800000000000000}};
    const std::vector<Row> swap{{"C17", 0x1440000000000}, {"N64", 0x3800000000000000}};
    const auto check = [](const AlgorithmTable& table, const char* name, u32 word_bits, TableSlot slot,
                          const std::vector<Row>& rows) {
        EXPECT_EQ(table.name(), name);
        EXPECT_EQ(table.word_bits(), word_bits);
        ASSERT_EQ(table.items().size(), rows.size()) << name;
        for (u64 i = 0; i < rows.size(); i++) {
            const AlgorithmTable::Item& item = table.items()[i];
            const AlgorithmEntry* entry = find_algorithm(slot, rows[i].name);
            ASSERT_NE(entry, nullptr) << name << " " << rows[i].name;
            EXPECT_EQ(item.threshold_words, rows[i].bits / word_bits) << name << " " << rows[i].name;
            EXPECT_EQ(item.algorithm, entry->algorithm);
            EXPECT_EQ(item.algorithm32, entry->algorithm32);
            EXPECT_EQ(item.algorithm != nullptr, word_bits == 64);
            EXPECT_EQ(item.algorithm32 != nullptr, word_bits == 32);
        }
    };
    CaptureConsole console;
    check(basic_table32(), "Basic: 32-bit Word", 32, TableSlot::basic32, basic);
    check(basic_table64(), "Basic: 64-bit Word", 64, TableSlot::basic64, basic);
    check(swap_table32(), "Swap: 32-bit Word", 32, TableSlot::swap32, swap);
    check(swap_table64(), "Swap: 64-bit Word", 64, TableSlot::swap64, swap);
    EXPECT_EQ(console.take(), "");  // nothing is skipped
    EXPECT_EQ(find_algorithm(TableSlot::swap32, "BKT"), nullptr);
    EXPECT_EQ(find_algorithm(TableSlot::swap64, "FFT"), nullptr);

    // Sizes of far memory: the product's words and the scratch of the product in memory.
    const MultiplySizes sizes = swap_table64().mSBsizes(100000);
    EXPECT_EQ(swap_table64().iPsize(100000), sizes.output + sizes.scratch);
    EXPECT_GE(sizes.output, 800000u);
    EXPECT_GT(sizes.scratch, 0u);
    EXPECT_GE(swap_table32().iPsize(200000), sizes.output);
}

}  // namespace
