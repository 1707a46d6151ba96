// The file functions of the system as a table. Every access to a disk goes through it, so that tests can put
// a failing disk below everything that reads and writes files.
#pragma once

#include "os/file.h"
#include "os/volume.h"

namespace trel::FileIO {

struct FileFunctions {
    decltype(&os::open_file) open;
    decltype(&os::close_file) close;
    decltype(&os::read_file) read;
    decltype(&os::write_file) write;
    decltype(&os::file_size) size;
    decltype(&os::set_file_size) set_size;
    decltype(&os::reserve_file_space) reserve;
    decltype(&os::flush_file) flush;
    decltype(&os::flush_folder_of) flush_folder;
    decltype(&os::rename_file) rename;
    decltype(&os::remove_file) remove;
    decltype(&os::create_folder) create_folder;
    decltype(&os::rename_open_file) rename_open;
    decltype(&os::remove_open_file) remove_open;
    decltype(&os::is_read_only) is_read_only;
    decltype(&os::allow_replacing) allow_replacing;
    decltype(&os::volume_space) volume_space;
    // Between two attempts at something that failed.
    void (*sleep)(double seconds);
};

// The system's own.
const FileFunctions& system_file_functions();
// Those in use.
const FileFunctions& file_functions();
// For tests only: puts a table in use (nullptr: the system's own). It outlives its use; no file may be busy
// meanwhile.
void set_file_functions_for_tests(const FileFunctions* functions);

}  // namespace trel::FileIO
