// A failure that ends the run and not the process: the machine refused what the run needs.
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "base/console/colors.h"

namespace trel {

// Thrown before a run has results. The caller that started the run prints it, or sends its message to a
// client, and may start another one. It is not transported.
class RunError : public std::exception {
  public:
    const char* what() const noexcept override { return message_.c_str(); }
    // The report, on the standard error.
    void print() const;

  protected:
    using Report = std::vector<Console::ColoredText>;

    // report: with its line ends; the last colour is 'w'.
    RunError(std::string message, Report report) : message_(std::move(message)), report_(std::move(report)) {}

  private:
    const std::string message_;
    const Report report_;
};

}  // namespace trel
