// What the fuzzers feed: each target takes any bytes, must come back without a crash or an unexpected
// exception, and checks what must hold for every input. A broken property ends the process.
#pragma once

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "app/stress/stress_settings.h"
#include "base/command_line/parameter_list.h"
#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "base/errors/registry.h"
#include "base/prompt/number_text.h"
#ifndef FUZZ_PARSERS_ONLY
#include "constants/formulas/build.h"
#include "constants/formulas/formula_file.h"
#endif
#include "digits/files/kvd_header.h"
#include "fuzz/require.h"
#ifndef FUZZ_PARSERS_ONLY
#include "fuzz/target_files.h"
#include "fuzz/target_settings.h"
#endif
#include "fuzz/target_user_name.h"
#include "fuzz/target_validation.h"
#include "os/smbios.h"
#include "platform/fileio/text_decoding.h"
#include "platform/sysinfo/core_numbers.h"

namespace fuzz {

using Tree = std::unique_ptr<trel::Config::Node>;

// The tree, or nullptr for a text that is refused in one of the ways that are allowed.
inline Tree parse_or_refuse(Tree (*parse)(std::string_view), std::string_view text) {
    try {
        Tree tree = parse(text);
        require(tree != nullptr, "a parser returns a tree");
        return tree;
    } catch (const trel::EndOfStreamException& e) {
        require(e.message == "Unexpected end of stream.", "text of an early end");
    } catch (const trel::ParseException& e) {
        const std::string& m = e.message;
        require(m.starts_with("Line "), "errors name their line");
        const std::string line = m.substr(5, m.find(':') - 5);
        require(!line.empty() && line.find_first_not_of("0123456789") == std::string::npos,
                "lines are numbers");
        const auto feeds = static_cast<unsigned long long>(std::count(text.begin(), text.end(), '\n'));
        require(std::stoull(line) <= feeds, "lines are lines of the text");
    }
    return nullptr;
}

// Keys are written as they are: only these are read back.
inline bool keys_survive(const trel::Config::Node& node, bool json) {
    using namespace trel::Config;
    if (node.type() == NodeType::array) {
        const auto& elements = node.as<Array>().elements;
        return std::all_of(elements.begin(), elements.end(),
                           [&](const auto& element) { return keys_survive(*element, json); });
    }
    if (node.type() != NodeType::object) return true;
    for (const auto& entry : node.as<Object>().entries()) {
        const std::string& key = entry->key;
        if (!keys_survive(*entry->value, json)) return false;
        if (key.find_first_of("\"\\") != std::string::npos) return false;
        if (json) continue;
        const auto plain = [](char c) {
            return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
        };
        if (key.empty() || !std::all_of(key.begin(), key.end(), plain)) return false;
    }
    return true;
}

// Each getter takes what it is for and refuses the rest, in the words that are promised.
inline void check_getters(const trel::Config::Node& node) {
    using namespace trel::Config;
    if (node.type() == NodeType::array) {
        for (const auto& element : node.as<Array>().elements) check_getters(*element);
    }
    if (node.type() != NodeType::object) return;
    const Object& object = node.as<Object>();
    for (const auto& entry : object.entries()) {
        require(&object.get(entry->key) == entry->value.get(), "every member is found by its key");
        const NodeType type = entry->value->type();
        const auto taken_by = [&](auto get) {
            try {
                get();
                return true;
            } catch (const trel::ParseException& e) {
                require(e.message.starts_with("at: Expected ") || e.message == "Expected true or false.",
                        "text of a wrong type");
                return false;
            }
        };
        const std::string& key = entry->key;
        require(taken_by([&] { object.get_integer(key, "at"); }) == (type == NodeType::integer), "integers");
        require(taken_by([&] { object.get_string(key, "at"); }) == (type == NodeType::string), "strings");
        require(taken_by([&] { object.get_array(key, "at"); }) == (type == NodeType::array), "arrays");
        require(taken_by([&] { object.get_object(key, "at"); }) == (type == NodeType::object), "objects");
        const std::string text = entry->value->to_acfg();
        require(taken_by([&] { object.get_bool(key, "at"); }) == (text == "\"true\"" || text == "\"false\""),
                "booleans");
        check_getters(*entry->value);
    }
}

inline void check_tree(const trel::Config::Node& tree) {
    using namespace trel::Config;
    check_getters(tree);
    const std::string acfg = tree.to_acfg(), json = tree.to_json();
    require(tree.clone()->to_acfg() == acfg, "a clone has the same text");
    if (keys_survive(tree, true)) {
        const Tree again = parse_json(json + "\n");
        require(again->to_json() == json, "JSON is read back");
        require(again->to_acfg() == acfg, "both forms hold the same tree");
    }
    if (keys_survive(tree, false)) {
        const Tree again = parse_acfg(acfg + "\n");
        require(again->to_acfg() == acfg, "acfg is read back");
        require(again->to_json() == json, "both forms hold the same tree");
    }
    const Tree copy = tree.clone();
    require(copy->move_clone()->to_acfg() == acfg, "a moved tree has the same text");
}

inline void acfg(std::string_view bytes) {
    if (const Tree tree = parse_or_refuse(trel::Config::parse_acfg, bytes)) check_tree(*tree);
}

inline void json(std::string_view bytes) {
    if (const Tree tree = parse_or_refuse(trel::Config::parse_json, bytes)) check_tree(*tree);
}

// A settings file as it lies on the disk: any encoding, then acfg.
inline void text(std::string_view bytes) {
    using namespace trel::FileIO;
    const std::string out = decode_text(bytes);
    // Two bytes become three at most.
    require(out.size() <= bytes.size() / 2 * 3 + 3 || out.size() <= bytes.size(), "decoded texts stay small");
    if (detect_encoding(bytes) == TextEncoding::utf8) {
        require(bytes.ends_with(out) && bytes.size() - out.size() <= 3, "UTF-8 is passed on");
    } else {
        size_t continuation = 0;
        for (const char c : out) {
            const auto byte = static_cast<unsigned char>(c);
            if (continuation > 0) {
                require((byte & 0xc0) == 0x80, "decoded texts are UTF-8");
                continuation--;
            } else {
                require(byte < 0x80 || (byte >= 0xc2 && byte <= 0xf4), "decoded texts are UTF-8");
                continuation = byte < 0x80 ? 0 : byte < 0xe0 ? 1 : byte < 0xf0 ? 2 : 3;
            }
        }
        require(continuation == 0, "decoded texts are UTF-8");
    }
    acfg(out);
}

// Answers to prompts and values of options.
inline void numbers(std::string_view bytes) {
    using namespace trel;
    const i128 limit = i128(1) << 124;
    const i128 number = Prompt::parse_number(bytes);
    const i128 size = Prompt::parse_memory_size(bytes);
    require(-limit <= number && number <= limit, "numbers are bounded");
    require(-limit - limit <= size && size <= limit + limit, "sizes are bounded");
    if (bytes.find('.') == std::string_view::npos)
        require(number == size, "without a fraction both rules agree");
    const bool negative = !bytes.empty() && bytes[0] == '-';
    require(negative ? number <= 0 && size <= 0 : number >= 0 && size >= 0, "signs");
    const std::string word(bytes);
    const i64 option = CommandLine::parse_scaled_integer(word);
    require(!(word.empty() || word[0] == 'x') || option == 0, "no digits are 0");
    CommandLine::ParameterList list({"program", word});
    const auto& pair = list.current();
    require(pair.first.size() + pair.second.size() + (pair.first.size() < word.size()) == word.size(),
            "a word is its key, a colon, its value");
}

// The firmware's structure table.
inline void smbios(std::string_view bytes) {
    const auto modules = trel::os::smbios_memory_modules(bytes);
    // A module takes at least the bytes up to its size, and the next one begins behind its strings.
    require(modules.size() * 14 <= bytes.size(), "modules come from the table");
    for (const auto& module : modules) {
        require(module.bytes < 1ull << 51, "sizes have 31 bits of mebibytes at most");
        require(module.part_number.size() <= bytes.size(), "part numbers come from the table");
        require(std::all_of(module.part_number.begin(), module.part_number.end(),
                            [](char c) { return c >= ' ' && c <= '~'; }),
                "part numbers are printable");
    }
    require(trel::os::printable_text(bytes).size() <= bytes.size(), "texts only shrink");
}

// A record of an exception as it comes over a socket: the name of its type, a line feed, its bytes.
inline void exceptions(std::string_view bytes) {
    using namespace trel;
    const size_t line = bytes.find('\n');
    const std::string_view name = bytes.substr(0, line);
    // A copy of its own size, so that a sanitizer sees a read behind its end.
    const std::string_view body = line == std::string_view::npos ? "" : bytes.substr(line + 1);
    const std::vector<u8> record(body.begin(), body.end());
    std::span<const u8> rest = record;
    std::unique_ptr<Exception> exception;
    try {
        exception = deserialize_exception(name, rest);
    } catch (const EndOfStreamException&) {
        require(rest.size() == record.size(), "a refused record stays");
        return;
    } catch (const InvalidParametersException&) {
        const auto names = registered_exception_types();
        require(std::find(names.begin(), names.end(), name) == names.end(), "registered types are known");
        return;
    }
    require(exception->get_typename() == name, "a record becomes its type");
    std::vector<u8> again;
    exception->serialize(again);
    require(again.size() + rest.size() == record.size(), "a record is read once");
    require(std::equal(again.begin(), again.end(), record.begin()), "what was read is written again");
}

// The header of a compressed digit file.
inline void kvd(std::string_view bytes) {
    using namespace kalvor;
    const auto parsed = parse_kvd_header(bytes);
    if (!parsed) return;
    require(parsed->bytes <= bytes.size() && bytes[parsed->bytes - 1] == '\0',
            "data begin behind a zero byte");
    require(!parse_kvd_header(bytes.substr(0, parsed->bytes - 1)), "a header is whole");
    const KvdHeader& header = parsed->header;
    const std::string text = header.text();
    const auto again = parse_kvd_header(text);
    require(again && again->bytes == text.size() && again->header.text() == text,
            "what was read is written again");
    try {
        const KvdShape shape = check_kvd_header(header, "");
        const trel::u64 D = shape.digits_per_file, total = header.total_digits;
        require(shape.range.begin < shape.range.end, "no file is empty");
        require(shape.range.end - shape.range.begin <= D && D <= header.digits_per_file,
                "at most its digits");
        require(shape.range.begin / D == header.id && shape.range.begin % D == 0, "files stand side by side");
        require(total == 0 || shape.range.end <= total, "the total is the end");
        require((shape.range.end - shape.range.begin - 1) / shape.digits_per_word + 1 == shape.words,
                "words");
        require(header.version == "1.0.0" || header.version == "1.1.0", "known versions");
        require(header.radix == shape.radix && header.digits_per_file >= 100, "numbers are as they stand");
        const auto point = header.first_digits.find('.');
        require(point != std::string::npos, "first digits have a point");
    } catch (const trel::FileIO::FileException& refusal) {
        require(!refusal.message.empty(), "a refusal says why");
    }
}

// Settings of the stress tester, as they stand in a file.
inline void stress_settings(std::string_view bytes) {
    using namespace kalvor;
    static const CoreNumbers numbers = CoreNumbers::of({{0, 1, 2, 3}, {64, 65}});
    const StressMachine machine{&numbers, 1 << 30, 0};
    const Tree tree = parse_or_refuse(trel::Config::parse_acfg, bytes);
    if (!tree || tree->type() != trel::Config::NodeType::object) return;
    const auto& object = tree->as<trel::Config::Object>();
    try {
        const StressSettings settings = load_stress_settings(object, machine);
        require(!settings.cores.empty() && settings.cores.back() < numbers.count(), "cores exist");
        require(std::is_sorted(settings.cores.begin(), settings.cores.end()), "cores are in order");
        require(settings.tests.size() <= kStressTags.size(), "each test once");
        const auto again = stress_settings_to_config(settings);
        require(load_stress_settings(*again, machine) == settings, "what was read is written and read again");
    } catch (const trel::InvalidParametersException& refusal) {
        require(refusal.message.size() < 1000, "a refusal is short");
    } catch (const trel::ParseException&) {
    }
}

// Lists of cores, as options and menus take them.
inline void core_list(std::string_view bytes) {
    constexpr trel::u64 kCores = 100;
    const auto list = trel::parse_core_list(bytes, kCores);
    if (!list) return;
    require(list->missing || !list->cores.empty(), "a list names something");
    require(list->cores.empty() || list->cores.back() < kCores, "cores exist");
    require(!list->missing || (*list->missing >= kCores && *list->missing <= 65535), "the others do not");
    for (size_t i = 1; i < list->cores.size(); i++) {
        require(list->cores[i - 1] < list->cores[i], "cores are in order, each once");
    }
    if (list->cores.empty()) return;
    const auto again = trel::parse_core_list(trel::core_list_text(list->cores), kCores);
    require(again && again->cores == list->cores && !again->missing,
            "what was read is written and read again");
}

// What needs more than the parsers' rooms is left out where only those are linked.
#ifndef FUZZ_PARSERS_ONLY
// The text of a formula, or of a formula file: a tree of nodes or an exception of the program.
inline void formula(std::string_view bytes) {
    using namespace kalvor::Formulas;
    const Tree text = parse_or_refuse(trel::Config::parse_acfg, bytes);
    if (!text) return;
    try {
        const auto* const file = dynamic_cast<const trel::Config::Object*>(text.get());
        std::unique_ptr<const VFormulaNode> root;
        if (file != nullptr && file->contains("Constant")) {
            FormulaDescription description = read_description(file->get_object("Constant"), {});
            require(write_description(description)->size() == 5, "a description has five keys");
            root = std::move(description.root);
        } else {
            root = build(*text, {});
        }
        require(root->parent() == nullptr && root->depth() == 0, "a root stands above all");
        std::vector<const VFormulaNode*> open = {root.get()};
        while (!open.empty()) {
            const VFormulaNode& node = *open.back();
            open.pop_back();
            for (const auto& child : node.children()) {
                require(child->parent() == &node && child->depth() == node.depth() + 1,
                        "children know their parent");
                open.push_back(child.get());
            }
        }
    } catch (const trel::StringException& refusal) {
        require(!refusal.function.empty() || !refusal.message.empty(), "a refusal says why");
    }
}
#endif

struct Target {
    const char* name;
    void (*run)(std::string_view bytes);
};
// One a line.
// clang-format off
inline constexpr Target kTargets[] = {
    {"acfg", acfg},
    {"json", json},
    {"text", text},
    {"numbers", numbers},
    {"smbios", smbios},
    {"exceptions", exceptions},
    {"kvd", kvd},
#ifndef FUZZ_PARSERS_ONLY
    {"formula", formula},
    {"digit_text", digit_text},
    {"kvd_file", kvd_file},
    {"spot_check", spot_check},
    {"custom_settings", custom_settings},
    {"options", options},
#endif
    {"stress_settings", stress_settings},
    {"core_list", core_list},
    {"validation", validation},
    {"user_name", user_name},
};
// clang-format on

}  // namespace fuzz
