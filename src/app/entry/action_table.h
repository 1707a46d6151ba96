// The action words of the command line.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/session/authorization_token.h"
#include "base/command_line/parameter_list.h"
#include "base/names/names.h"

namespace kalvor {

// One action: what runs it and what the help page says of it.
struct ActionRow {
    std::string word;
    std::string form;  // "custom pi [options]"
    std::string help;  // empty: the page leaves the action out
    // False: it failed, and has said why.
    std::function<bool(CommandLine::ParameterList&, const AuthorizationToken&)> run;
    std::function<std::vector<std::string>()> page = {};  // "help <word>"; empty: it has none
};

// In the order of the help page.
const std::vector<ActionRow>& action_table();

// Runs the action that the word at the cursor names; false when it failed. An unknown word says what there
// is, prints "Invalid Parameter: " and ends the program with exit code 1; a known one that this version does
// not have throws NotAvailableException.
bool run_action(CommandLine::ParameterList& parameters, const AuthorizationToken& token);

}  // namespace kalvor
