// The lists of primes and lengths that were computed apart, read from their files.
#pragma once

#include <fstream>
#include <string>
#include <vector>

namespace kalvor_test {

// The fields of every row below the heading.
inline std::vector<std::vector<std::string>> read_rows(const char* name) {
    std::ifstream file(std::string(KALVOR_SOURCE_FOLDER "/tests/arith/ntt/") + name);
    std::vector<std::vector<std::string>> rows;
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line)) {
        std::vector<std::string> fields(1);
        for (const char c : line) {
            if (c == ',') {
                fields.emplace_back();
            } else if (c != '\r') {
                fields.back() += c;
            }
        }
        rows.push_back(fields);
    }
    return rows;
}

}  // namespace kalvor_test
