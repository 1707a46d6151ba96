#include "platform/fileio/file_calls.h"

#include <chrono>
#include <thread>

namespace trel::FileIO {

const FileCalls& FileCalls::of_this_machine() {
    static const FileCalls& calls = *new FileCalls{
        os::open_file,
        os::close_file,
        os::read_file,
        os::write_file,
        os::file_size,
        os::set_file_size,
        os::reserve_file_space,
        os::flush_file,
        os::flush_folder_of,
        os::rename_file,
        os::remove_file,
        os::create_folder,
        os::remove_folder,
        os::rename_open_file,
        os::remove_open_file,
        os::is_read_only,
        os::allow_replacing,
        os::volume_space,
        [](double seconds) { std::this_thread::sleep_for(std::chrono::duration<double>(seconds)); },
    };
    return calls;
}

}  // namespace trel::FileIO
