#include "constants/catalog/catalog_menu.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "support/capture_console.h"

using namespace kalvor;

namespace {

const std::string kMenu =
    "Compute a Constant: (in ascending order of difficulty to compute)\n"
    "\n"
    "  #         Constant                      Value        Approximate Difficulty*\n"
    "\n"
    "Fast Constants:\n"
    "  0         Sqrt(n)                                         1.46\n"
    "  1         Golden Ratio                = 1.618034...       1.46\n"
    "  2         e                           = 2.718281...       3.88 / 3.88\n"
    "\n"
    "Moderate Constants:\n"
    "  3         Pi                          = 3.141592...       13.2 / 19.9\n"
    "  4         Log(n)                                        > 35.7\n"
    "  5         Zeta(3) (Apery's Constant)  = 1.202056...       62.8 / 65.7\n"
    "  6         Catalan's Constant          = 0.915965...       78.0 / 105.\n"
    "  7         Lemniscate                  = 5.244115...       60.4 / 124. / 154.\n"
    "\n"
    "Slow Constants:\n"
    "  8         Euler-Mascheroni Constant   = 0.577215...       383. / 574.\n"
    "\n"
    "Other:\n"
    "  9         Euler-Mascheroni Constant (parameter override)                  \n"
    " 10         Custom constant with user-defined formula.                  \n"
    "\n"
    "*Actual numbers will vary. Radix conversion = 1.00\n"
    "\n"
    "Enter your choice:\n"
    "option: ";

TEST(CatalogMenuTest, EveryRowAsItIs) {
    CaptureConsole console;
    console.type({"3"});
    const auto constant = choose_constant_menu();
    ASSERT_NE(constant, nullptr);
    EXPECT_EQ(constant->token(), "pi");
    EXPECT_EQ(constant->algorithm(), 0u);
    EXPECT_EQ(console.take(), kMenu);
}

TEST(CatalogMenuTest, GroupsHaveTheirColours) {
    CaptureConsole console(CaptureConsole::terminal, true);
    console.type({"3"});
    choose_constant_menu();
    const std::string text = console.take();
    for (const char* part : {"P}Golden Ratio ", "G}Lemniscate ", "B}Euler-Mascheroni Constant   =",
                             "B}Euler-Mascheroni Constant (", "R}Custom constant "}) {
        EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
    }
}

// Numbers that no row has are asked for again.
TEST(CatalogMenuTest, AsksUntilThereIsAConstant) {
    CaptureConsole console;
    console.type({"11", "-1", "3"});
    EXPECT_EQ(choose_constant_menu()->token(), "pi");
    EXPECT_EQ(console.lines_left(), 0u);
    const std::string again = "option: ";
    EXPECT_EQ(console.take(), kMenu + again + again);
    console.type({"11"});
    EXPECT_THROW(choose_constant_menu(), trel::EndOfStreamException);
}

constexpr std::string_view kAsking[] = {"asking"};
constexpr std::string_view kAbsent[] = {"absent"};
constexpr CatalogRow kOneRow[] = {{0, kAsking, 'Y', "A question", "?", "", CatalogGroup::slow}};

// Asks for a word, and gives up when there is none.
class AskingFactory final : public ConstantFactory {
  public:
    std::unique_ptr<Constant> make(std::string_view argument) const override {
        return argument.empty() ? nullptr : make_constant(argument, "");
    }
    std::unique_ptr<Constant> ask() const override {
        std::string word;
        trel::Console::print("Word: ");
        trel::Console::read_line(word);
        return make(word);
    }
};

// A row without a factory is shown, says so, and is asked for again.
TEST(CatalogMenuTest, ARowThatIsNotBuilt) {
    const AskingFactory factory;
    constexpr CatalogRow rows[] = {kOneRow[0], {1, kAbsent, 'Y', "No answer", "?", "", CatalogGroup::slow}};
    Catalog two(rows);
    two.add("asking", factory);
    CaptureConsole console;
    console.type({"1", "0", "pi"});
    EXPECT_EQ(choose_constant_menu(two)->token(), "pi");
    EXPECT_TRUE(
        console.text().ends_with("option: \nNo answer is not available in this version.\noption: Word: "))
        << console.text();
}

// The menu knows its rows from the catalog alone, and what a constant wants to know from its factory.
TEST(CatalogMenuTest, AConstantAsksForItself) {
    const AskingFactory factory;
    Catalog one(kOneRow);
    one.add("asking", factory);
    CaptureConsole console;
    console.type({"0", "pi", "0", ""});
    EXPECT_EQ(choose_constant_menu(one)->token(), "pi");
    EXPECT_NE(console.take().find("\nSlow Constants:\n"
                                  "  0         A question                  = ?               \n\n*Actual"),
              std::string::npos);
    EXPECT_EQ(choose_constant_menu(one), nullptr);
    EXPECT_TRUE(console.text().ends_with("option: Word: "));
}

constexpr std::string_view kFirst[] = {"first"};
constexpr std::string_view kSecond[] = {"second"};
constexpr CatalogRow kGaps[] = {{7, kFirst, 'Y', "Absent", "", "", CatalogGroup::slow},
                                {2, kSecond, 'Y', "A question", "?", "", CatalogGroup::slow}};

// A row is found by the number that it shows, wherever it stands.
TEST(CatalogMenuTest, NumbersAreNotPlaces) {
    const AskingFactory factory;
    Catalog gaps(kGaps);
    gaps.add("second", factory);
    CaptureConsole console;
    console.type({"0", "1", "8", "7", "2", "pi"});
    EXPECT_EQ(choose_constant_menu(gaps)->token(), "pi");
    EXPECT_EQ(console.lines_left(), 0u);
    EXPECT_NE(console.take().find("Absent is not available in this version.\n"), std::string::npos);
}

TEST(AlgorithmMenuTest, PiAndItsNotes) {
    const std::string menu =
        "Select an Algorithm:\n"
        "\n"
        "   0    Chudnovsky (1988)                   (fastest)\n"
        "   1    Ramanujan (1910)                    (~40% slower)\n"
        "   2    Chudnovsky (1988) (reduced memory)  (reduced memory)\n"
        "   3    Ramanujan (1910) (reduced memory)   (reduced memory)\n"
        "\n"
        "    Reduced memory algorithms use alternate parameters that require less\n"
        "    memory at the cost of decreased performance.\n"
        "\n"
        "Algorithm: ";
    CaptureConsole console;
    const auto pi = make_constant("pi", "");
    console.type({"4", "2"});
    pi->algorithm_menu();
    EXPECT_EQ(pi->algorithm_token(), "chudnovsky-reduced");
    EXPECT_EQ(console.take(), menu + "Algorithm: ");
    EXPECT_THROW(pi->algorithm_menu(), trel::EndOfStreamException);
    EXPECT_EQ(pi->algorithm_token(), "chudnovsky-reduced");
}

}  // namespace
