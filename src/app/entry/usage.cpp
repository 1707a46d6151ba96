#include "app/entry/usage.h"

#include <string>
#include <vector>

#include "base/console/console.h"
#include "base/version/version.h"
#include "platform/memory/allocator.h"
#include "platform/parallel/framework_registry.h"

namespace kalvor {

namespace {

// "a, b, c"
std::string list_of(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

}  // namespace

void print_usage() {
    namespace Console = trel::Console;
    Console::print("Kalvor v", 'g');
    Console::print_line(trel::kVersion.text(), 'w');
    Console::new_line();
    const std::string frameworks = "                            " + list_of(trel::framework_names());
    const std::string allocators = "                            " + list_of(trel::allocator_names());
    for (const char* line :
         {"Usage:  kalvor [console options] action [options]",
          "",
          "Actions:",
          "    custom pi [options]     compute Pi and write its digits",
          "    config <file>           what a settings file (\".cfg\") describes",
          "    about                   what this program is",
          "",
          "Options of \"custom\":",
          "    -dec:<n>                decimal digits (suffixes k, m, b, t; default 50m)",
          "    -hex:<0|1>              also write hexadecimal digits",
          "    -algorithm:<n>          0 chudnovsky, 1 ramanujan, 2 and 3 the same with less memory",
          "    -o <folder>             where the digits go (made when it is missing)",
          "    -od:<0|1>               write digits or not",
          "    -verify:<0|1>           check conversion and files",
          "    -TD:<n>                 tasks that work is split into, 1 to 65536",
          "    -PF:<name>              parallel framework:",
          frameworks.c_str(),
          "    -MA:<name>              memory allocator:",
          allocators.c_str(),
          "    -force:<0|1>            run although the machine has too little memory",
          "    -mode:ram               everything in memory",
          "",
          "Console options (before the action):",
          "    pause:<n>               1 always waits for a key at the end, -1 after a failure, -2 never",
          "    priority:<n>            -2 idle ... 3 realtime",
          "    colors:<0|1>            coloured text",
          "    PII:<0|1>               show what identifies the machine in reports",
          "    height:<rows>           window height",
          "    skip-warnings           no pause after the processor check",
          "",
          "Example:  kalvor custom pi -dec:10m -o out"}) {
        Console::print_line(line);
    }
}

}  // namespace kalvor
