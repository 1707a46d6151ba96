// Formula files: the names of a constant and its formula.
//
//   { Constant : { NameShort : "..."  NameLong : "..."  AlgorithmShort : "..."  AlgorithmLong : "..."
//                  Formula : ... } }
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/config/node.h"
#include "constants/formulas/formula_node.h"

namespace kalvor::Formulas {

struct FormulaDescription {
    std::string name_short, name_long, algorithm_short, algorithm_long;
    std::unique_ptr<Config::Node> text;  // of the formula, as it was read
    std::unique_ptr<const VFormulaNode> root;
};

// The value of "Constant", exactly five keys. Throws the errors of Config::Object, of the names
// (InvalidParametersException at the name's key) and of build().
FormulaDescription read_description(const Config::Object& object, const WarningSink& warn);
// The same five keys.
std::unique_ptr<Config::Object> write_description(const FormulaDescription& description);

// Throws InvalidParametersException with the key as the function: "String cannot be longer than 50
// characters." and so on. Bytes count. A short name becomes a part of file names.
void check_long_name(const std::string& name, const char* key);
void check_short_name(const std::string& name, const char* key);

// Where a file of that name may be, in the order in which it is looked for: as named, in the program's own
// folder, in the folders of examples here and beside the folder; each as it is and with ".cfg". Then the
// folders of examples in the program's own folder. own_folder: empty, or with its separator.
std::vector<std::string> formula_candidates(const std::string& path, const std::string& own_folder);
// The first that is a file; nothing when there is none.
std::optional<std::string> find_formula_file(const std::string& path, const std::string& own_folder,
                                             const std::function<bool(const std::string&)>& is_file);

}  // namespace kalvor::Formulas
