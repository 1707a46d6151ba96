// The start-up check of the program's own file. The build of a release appends the digest of the file to it
// (cmake/seal.cmake); a damaged copy would compute wrong digits, or crash, long after it was started.
//
//     | the program as it was linked | "KALVOR-SEAL-SHA256:" | 64 hexadecimal digits |
#pragma once

#include <string>

namespace kalvor {

// Whether the file ends with the SHA-256 digest of everything before it. Reads the file once, a megabyte at a
// time: some 5 ms where the processor has the SHA extensions, 25 ms elsewhere. Throws FileException when it
// cannot be read.
bool is_intact(const std::string& path);

// Ends the process with an error line that names the path, exit code 1, unless the file is intact. Reads
// `file`, which is the running program whatever has taken its path since (os::executable_file()). A file that
// may be run but not read is taken as intact.
void check_integrity(const std::string& path, const std::string& file);

}  // namespace kalvor
