// The action "bench".
#pragma once

#include <string>
#include <vector>

#include "app/benchmark/benchmark_sizes.h"
#include "app/session/authorization_token.h"
#include "base/command_line/parameter_list.h"
#include "base/names/names.h"

namespace kalvor {

// The cursor stands on "bench"; a size and options follow in any order. Alone: the menu. Throws
// InvalidParametersException "Invalid Command: " + a word that is neither, or a second size, and
// "No benchmark size selected."; then what the run throws.
bool run_bench(CommandLine::ParameterList& parameters, const AuthorizationToken& token,
               const BenchmarkSizes& sizes = BenchmarkSizes::usual());
// The lines of "help bench".
std::vector<std::string> bench_help_page();

}  // namespace kalvor
