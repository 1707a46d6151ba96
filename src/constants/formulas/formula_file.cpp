#include "constants/formulas/formula_file.h"

#include <string_view>
#include <utility>

#include "base/errors/exceptions.h"
#include "constants/formulas/build.h"

namespace kalvor::Formulas {
namespace {

constexpr std::size_t kLongestName = 50;

constexpr std::string_view kNotInFileNames = "\"*/:<>?\\|";

}  // namespace

void check_long_name(const std::string& name, const char* key) {
    if (name.size() > kLongestName) {
        throw InvalidParametersException(key, "String cannot be longer than 50 characters.");
    }
    for (const char c : name) {
        const u8 byte = static_cast<u8>(c);
        if (byte < 32) {
            throw InvalidParametersException(key, "Control characters are not allowed in name.");
        }
        if (byte == 127) throw InvalidParametersException(key, "ASCII 127 is not allowed in name.");
    }
}

void check_short_name(const std::string& name, const char* key) {
    check_long_name(name, key);
    const std::size_t found = name.find_first_of(kNotInFileNames);
    if (found != std::string::npos) {
        throw InvalidParametersException(key, std::string("Invalid character in name: ") + name[found]);
    }
}

FormulaDescription read_description(const Config::Object& object, const WarningSink& warn) {
    object.check_keys({"NameShort", "NameLong", "AlgorithmShort", "AlgorithmLong", "Formula"});
    FormulaDescription description;
    description.name_short = object.get_string("NameShort");
    description.name_long = object.get_string("NameLong");
    description.algorithm_short = object.get_string("AlgorithmShort");
    description.algorithm_long = object.get_string("AlgorithmLong");
    check_short_name(description.name_short, "NameShort");
    check_long_name(description.name_long, "NameLong");
    check_short_name(description.algorithm_short, "AlgorithmShort");
    check_long_name(description.algorithm_long, "AlgorithmLong");
    const Config::Node& formula = object.get("Formula");
    description.root = build(formula, warn);
    description.text = formula.clone();
    return description;
}

std::unique_ptr<Config::Object> write_description(const FormulaDescription& description) {
    auto object = std::make_unique<Config::Object>();
    object->add_string("NameShort", description.name_short);
    object->add_string("NameLong", description.name_long);
    object->add_string("AlgorithmShort", description.algorithm_short);
    object->add_string("AlgorithmLong", description.algorithm_long);
    object->add_node("Formula", description.text->clone());
    return object;
}

std::vector<std::string> formula_candidates(const std::string& path, const std::string& own_folder) {
    constexpr const char* kFolders[] = {"Custom Formulas/", "Test Formulas/", "../", "../Custom Formulas/",
                                        "../Test Formulas/"};
    std::vector<std::string> candidates;
    const auto add = [&](const std::string& name) {
        candidates.push_back(name);
        candidates.push_back(name + ".cfg");
    };
    add(path);
    add(own_folder + path);
    for (const char* folder : kFolders) add(folder + path);
    for (const char* folder : kFolders) {
        std::string candidate = own_folder;
        candidate.append(folder).append(path);
        add(candidate);
    }
    return candidates;
}

std::optional<std::string> find_formula_file(const std::string& path, const std::string& own_folder,
                                             const std::function<bool(const std::string&)>& is_file) {
    for (const std::string& candidate : formula_candidates(path, own_folder)) {
        if (is_file(candidate)) return candidate;
    }
    return std::nullopt;
}

}  // namespace kalvor::Formulas
