// Pieces of a test program that a test runs in a process of its own, to look at what they print or how they
// end: "test_x --child <name> [word]..." runs that piece and none of the tests.
#pragma once

#include <string_view>

namespace kalvor_test {

// One of these as a static object makes `body` known by its name, which no other piece of the program has.
class Child {
  public:
    Child(const char* name, void (*body)());
};

// Runs the piece of that name in this process; false when there is none.
bool run_child(std::string_view name);

// For main: runs the piece that the arguments ask for, if they do. A name that is not known ends the process
// with 98.
bool ran_as_child(int argc, char** argv);

}  // namespace kalvor_test
