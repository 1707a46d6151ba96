# From Debian to 64-bit Windows: GCC 12 of mingw-w64 with the posix thread model, static programs. Tests run under
# Wine. Libraries for Windows are those of windows_deps.sh.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(TRIPLE x86_64-w64-mingw32)

set(CMAKE_C_COMPILER ${TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${TRIPLE}-windres)
find_program(CMAKE_AR NAMES ${TRIPLE}-gcc-ar-posix REQUIRED)
find_program(CMAKE_RANLIB NAMES ${TRIPLE}-gcc-ranlib-posix REQUIRED)

set(CMAKE_FIND_ROOT_PATH /usr/${TRIPLE} ${CMAKE_CURRENT_LIST_DIR}/../build/windows-deps)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Second line of defence for 64-byte vectors on Windows stacks, which are aligned to 16 bytes.
set(ALIGN_FIX "-Wa,-muse-unaligned-vector-move")
set(CMAKE_C_FLAGS_INIT "${ALIGN_FIX}")
set(CMAKE_CXX_FLAGS_INIT "${ALIGN_FIX}")

# Nothing but the program is needed to run it; stacks as large as on Linux.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -Wl,--stack,8388608")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/wine_run.sh")
