// What a failure means for the user: one sentence or two in plain words, shown before the report.
#pragma once

#include <exception>
#include <string>

#include "base/errors/exceptions.h"

namespace trel {

// A settings file that could not be read: its words lead to the page on settings files.
class SettingsFileException final : public FileIO::FileException {
  public:
    explicit SettingsFileException(const FileIO::FileException& e) : FileException(e) {}
};

// A bad value with words of its own.
class ExplainedException final : public InvalidParametersException {
  public:
    ExplainedException(std::string message, std::string words, std::string function = "")
        : InvalidParametersException(std::move(function), std::move(message)), words(std::move(words)) {}

    std::string words;
};

// What failed, on what, and what to do. Empty where the report is complete (a bad value, which
// the reader of options and settings explains itself). Looks at the file system for the reason of a
// FileException.
std::string plain_words(const Exception& e);

// The same for a standard exception: memory that ran out.
std::string plain_words(const std::exception& e);

}  // namespace trel
