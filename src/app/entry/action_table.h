// The action words of the command line.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/command_line/parameter_list.h"
#include "base/names/names.h"

namespace kalvor {

// One action: what runs it and what the help page says of it.
struct ActionRow {
    std::string word;
    std::string form;  // "custom pi [options]"
    std::string help;  // empty: the page leaves the action out
    std::function<void(CommandLine::ParameterList&)> run;
};

// In the order of the help page.
const std::vector<ActionRow>& action_table();

// Runs the action that the word at the cursor names. An unknown word says what there is, prints
// "Invalid Parameter: " and ends the program with exit code 1; a known one that this version does not have
// throws NotAvailableException.
void run_action(CommandLine::ParameterList& parameters);

}  // namespace kalvor
