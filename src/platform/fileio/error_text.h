// What the user reads about a failed file operation.
#pragma once

#include <string>

#include "base/errors/exceptions.h"
#include "os/error.h"

namespace trel::FileIO {

// The fixed text of a category; for one that has none, what the system's own table says of the number.
std::string error_text(os::OsError error);

// message + "\n\n" + the text of the error, with the system's number.
FileException file_error(const char* function, const std::string& message, const std::string& path,
                         os::OsError error);

}  // namespace trel::FileIO
