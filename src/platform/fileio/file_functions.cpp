#include "platform/fileio/file_functions.h"

#include <atomic>

namespace trel::FileIO {
namespace {

constexpr FileFunctions kSystem{os::open_file,          os::close_file,  os::read_file,
                                os::write_file,         os::file_size,   os::set_file_size,
                                os::reserve_file_space, os::flush_file,  os::flush_folder_of,
                                os::rename_file,        os::remove_file, os::create_folder};

constinit std::atomic<const FileFunctions*> g_functions{&kSystem};

}  // namespace

const FileFunctions& system_file_functions() {
    return kSystem;
}
const FileFunctions& file_functions() {
    return *g_functions.load(std::memory_order_acquire);
}
void set_file_functions_for_tests(const FileFunctions* functions) {
    g_functions.store(functions ? functions : &kSystem, std::memory_order_release);
}

}  // namespace trel::FileIO
