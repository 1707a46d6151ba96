#include "support/child.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

namespace kalvor_test {
namespace {
std::map<std::string, void (*)(), std::less<>>& children() {
    static std::map<std::string, void (*)(), std::less<>> known;
    return known;
}
}  // namespace

Child::Child(const char* name, void (*body)()) {
    if (!children().emplace(name, body).second) std::abort();
}

bool run_child(std::string_view name) {
    const auto found = children().find(name);
    if (found == children().end()) return false;
    found->second();
    return true;
}

bool ran_as_child(int argc, char** argv) {
    if (argc < 3 || std::string_view(argv[1]) != "--child") return false;
    if (!run_child(argv[2])) {
        std::fprintf(stderr, "no child %s\n", argv[2]);
        std::exit(98);
    }
    return true;
}

}  // namespace kalvor_test
