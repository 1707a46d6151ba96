// Changes of a folder that must not be lost to a moment's trouble: tried again at every key press of the
// user. Where there is nobody to press a key (the end of the input) they throw a FileException instead of
// spinning.
#pragma once

#include <string>

namespace trel::FileIO {

// For the rename that completes a file. Replaces an existing target. Durable on return.
void persistent_rename(const std::string& old_path, const std::string& new_path);

// A file that is gone already counts as deleted.
void persistent_remove(const std::string& path);

}  // namespace trel::FileIO
