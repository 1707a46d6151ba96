#include "constants/catalog/catalog_menu.h"

#include <algorithm>

#include "base/console/console.h"
#include "base/names/names.h"
#include "base/prompt/prompt.h"

namespace kalvor {

using Prompt::read_unsigned_in_range;

namespace {

constexpr std::size_t kNumberWidth = 3;
constexpr std::size_t kNameWidth = 28;
constexpr std::size_t kValueWidth = 16;
constexpr std::size_t kAlgorithmNumberWidth = 4;

const std::string& menu_name(const AlgorithmRow& row) {
    return row.menu_name.empty() ? row.name_long : row.menu_name;
}

// Texts that are longer are not cut.
std::string padded(std::string_view text, std::size_t width) {
    std::string line(text);
    line.resize(std::max(line.size(), width), ' ');
    return line;
}
std::string number_in(std::size_t width, u64 number) {
    const std::string text = std::to_string(number);
    return std::string(width - std::min(text.size(), width), ' ') + text;
}

const char* title_of(CatalogGroup group) {
    switch (group) {
        case CatalogGroup::fast:
            return "Fast Constants:";
        case CatalogGroup::moderate:
            return "Moderate Constants:";
        case CatalogGroup::slow:
            return "Slow Constants:";
        case CatalogGroup::other:
            break;
    }
    return "Other:";
}

void print_row(const CatalogRow& row) {
    Console::print(number_in(kNumberWidth, row.number) + std::string(9, ' '), 'w');
    std::string line = padded(row.name, kNameWidth) + (row.value.empty() ? "  " : "= ");
    line += padded(row.value, kValueWidth);
    line += row.difficulty;
    Console::print_line(line, row.color);
}

}  // namespace

std::unique_ptr<Constant> choose_constant_menu(const Catalog& catalog) {
    Console::print_line("Compute a Constant: (in ascending order of difficulty to compute)\n", 'w');
    Console::print_line("  #         Constant                      Value        Approximate Difficulty*\n");
    const CatalogRow* before = nullptr;
    for (const CatalogRow& row : catalog.rows()) {
        if (!before || before->group != row.group) {
            if (before) Console::new_line();
            Console::print_line(title_of(row.group), 'w');
        }
        print_row(row);
        before = &row;
    }
    Console::print_line("\n*Actual numbers will vary. Radix conversion = 1.00\n", 'w');
    Console::print_line("Enter your choice:");
    u64 last = 0;
    for (const CatalogRow& row : catalog.rows()) last = std::max(last, row.number);
    for (;;) {
        const CatalogRow* const row = catalog.find(read_unsigned_in_range("option: ", 0, last, 'T'));
        if (!row) continue;
        if (const ConstantFactory* const factory = catalog.factory(*row)) return factory->ask();
        Console::error_line(std::string(row->name) + " is not available in this version.");
    }
}

void Constant::algorithm_menu() {
    const std::vector<AlgorithmRow> rows = algorithms();
    std::size_t width = 0;
    for (const AlgorithmRow& row : rows) width = std::max(width, menu_name(row).size() + 2);
    Console::print_line("Select an Algorithm:\n", 'w');
    for (const AlgorithmRow& row : rows) {
        Console::print(number_in(kAlgorithmNumberWidth, row.number) + std::string(4, ' '), 'w');
        const bool plain = row.note.empty();
        Console::print_line((plain ? menu_name(row) : padded(menu_name(row), width)) + row.note, 'T');
    }
    Console::set_color('w');
    Console::new_line();
    const std::vector<std::string> explanation = algorithm_explanation();
    for (const std::string& line : explanation) Console::print_line(line);
    if (!explanation.empty()) Console::new_line();
    algorithm_ = read_unsigned_in_range("Algorithm: ", 0, rows.size() - 1, 'T');
}

}  // namespace kalvor
