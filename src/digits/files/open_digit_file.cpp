#include "digits/files/open_digit_file.h"

#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "digits/files/basic_kvd_set_reader.h"
#include "digits/files/basic_text_reader.h"

namespace kalvor {

std::string_view digit_file_extension(std::string_view path) {
    const std::size_t dot = path.rfind('.');
    return dot == std::string_view::npos ? std::string_view() : path.substr(dot);
}

std::unique_ptr<BasicDigitReader> open_digit_file(const std::string& path,
                                                  const std::vector<std::string>& folders,
                                                  const char* function, const FileIO::FileCalls& calls) {
    const std::string extension(digit_file_extension(path));
    if (extension.empty()) throw InvalidParametersException(function, "No Extension found.");
    if (extension == ".kvd") {
        auto reader = std::make_unique<BasicKvdSetReader>(path, calls);
        for (const std::string& folder : folders) reader->add_search_folder(folder);
        return reader;
    }
    if (extension != ".txt") {
        throw InvalidParametersException(function, "Unrecognized Extension: " + extension);
    }
    if (path.ends_with(" (incomplete).txt")) {
        throw FileIO::FileException(function, "This file is incomplete.", path);
    }
    return std::make_unique<BasicTextReader>(path, 0, calls);
}

}  // namespace kalvor
