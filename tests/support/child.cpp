#include "support/child.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string_view>

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

bool ran_as_child(int argc, char** argv) {
    if (argc < 3 || std::string_view(argv[1]) != "--child") return false;
    const auto found = children().find(std::string_view(argv[2]));
    if (found == children().end()) {
        std::fprintf(stderr, "no child %s\n", argv[2]);
        std::exit(98);
    }
    found->second();
    return true;
}

}  // namespace kalvor_test
