#include "platform/fileio/file_functions.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace trel::FileIO {
namespace {

void wait(double seconds) {
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

constexpr FileFunctions kSystem{os::open_file,          os::close_file,       os::read_file,
                                os::write_file,         os::file_size,        os::set_file_size,
                                os::reserve_file_space, os::flush_file,       os::flush_folder_of,
                                os::rename_file,        os::remove_file,      os::create_folder,
                                os::rename_open_file,   os::remove_open_file, os::is_read_only,
                                os::allow_replacing,    os::volume_space,     wait};

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
