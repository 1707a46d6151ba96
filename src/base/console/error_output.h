// Errors go to the standard error; results and progress to the standard output.
#pragma once

#include <string_view>

namespace trel::Console {

// While one lives, everything that this thread prints goes to the standard error; what was printed before it
// is shown first. A sink that a test installed gets both, in their order. They nest.
class ErrorOutput {
  public:
    ErrorOutput();
    ~ErrorOutput();
    ErrorOutput(const ErrorOutput&) = delete;
    ErrorOutput& operator=(const ErrorOutput&) = delete;
};

// The sentence for the user, as an error line on the standard error.
void print_problem(std::string_view sentence);

}  // namespace trel::Console
