#include "constants/catalog/constant.h"

#include "base/errors/exceptions.h"

namespace kalvor {

std::vector<std::string> Constant::algorithm_tokens() const {
    std::vector<std::string> tokens;
    for (const AlgorithmRow& row : algorithms()) {
        tokens.push_back(row.alias.empty() ? row.token : row.alias);
    }
    return tokens;
}

AlgorithmRow Constant::algorithm_row() const {
    for (const AlgorithmRow& row : algorithms()) {
        if (row.number == algorithm_) return row;
    }
    throw InvalidParametersException("Constant::algorithm_row()",
                                     "Invalid Algorithm: " + std::to_string(algorithm_));
}

void Constant::select_algorithm(std::string_view token) {
    for (const AlgorithmRow& row : algorithms()) {
        if (token == row.token || token == std::to_string(row.number) ||
            (!row.alias.empty() && token == row.alias)) {
            algorithm_ = row.number;
            return;
        }
    }
    throw InvalidParametersException("Constant::select_algorithm()",
                                     "Invalid Algorithm: " + std::string(token));
}

std::unique_ptr<Config::Object> Constant::to_config() const {
    auto object = std::make_unique<Config::Object>();
    object->add_string("Constant", token());
    if (argument()) object->add_integer("Argument", *argument());
    object->add_string("Algorithm", algorithm_token());
    return object;
}

}  // namespace kalvor
