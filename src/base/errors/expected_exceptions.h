// Exceptions outside the family of exceptions.h: the code that calls for them expects them and goes on, so
// they carry a message and nothing else. They do not derive from
// `Exception`, have no report and cannot be transported.
// They are standard exceptions, so that one that nobody caught is still reported with its message.
//
// CommandLine::CommandLineException (base/command_line) is of this kind too.
#pragma once

#include <exception>
#include <string>

namespace trel {

class ExpectedException : public std::exception {
  public:
    const char* what() const noexcept override { return message_.c_str(); }
    const std::string& message() const noexcept { return message_; }

  protected:
    explicit ExpectedException(std::string message) : message_(std::move(message)) {}

  private:
    std::string message_;
};

#define TREL_EXPECTED_EXCEPTION(Class)                                                         \
    class Class final : public ::trel::ExpectedException {                                     \
      public:                                                                                  \
        explicit Class(std::string message) : ::trel::ExpectedException(std::move(message)) {} \
    }

namespace Environment {
// A query for the machine's management information failed. The caller reports "Unable to Detect" instead.
TREL_EXPECTED_EXCEPTION(WMI_Exception);
}  // namespace Environment

}  // namespace trel

namespace kalvor {

// A settings object could not be loaded from a configuration object.
TREL_EXPECTED_EXCEPTION(ConfigLoadException);
// The computation must change its memory mode, from RAM to swap or back, before it can go on.
TREL_EXPECTED_EXCEPTION(ModeChangeException);
// A constant cannot run in the requested memory mode.
TREL_EXPECTED_EXCEPTION(ModeNotSupportedException);

namespace Formulas {
// The same for a node of a formula. A type of its own: the formula's builder turns it into the constant's.
TREL_EXPECTED_EXCEPTION(ModeNotSupportedException);
}  // namespace Formulas

}  // namespace kalvor
