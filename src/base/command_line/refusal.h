// A word of the command line that cannot be used, in words for the user.
#pragma once

#include <exception>
#include <string>

namespace trel::CommandLine {

// What is wrong and what would be right. The top level shows it as an error line and ends with exit code 1:
// it is the user's slip, and no failure that needs a report.
class RefusedException : public std::exception {
  public:
    explicit RefusedException(std::string message) : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }

  private:
    std::string message_;
};

}  // namespace trel::CommandLine
