# Reads every #include under src/ against cmake/rooms.txt: a room may include itself and the rooms of earlier
# lines. Also holds three rules of the house: system headers and platform conditionals only in src/os, none of
# the library facilities that hang on the Windows build, and computation does not print.
#   cmake -DROOT=<source folder> -P check_includes.cmake
cmake_policy(SET CMP0057 NEW)
file(STRINGS ${ROOT}/cmake/rooms.txt lines REGEX "^[a-z]")
set(level 0)
set(rooms)
foreach(line IN LISTS lines)
  math(EXPR level "${level} + 1")
  string(REGEX REPLACE "[ \t]+" ";" names "${line}")
  foreach(name IN LISTS names)
    list(APPEND rooms ${name})
    set(level_of_${name} ${level})
  endforeach()
endforeach()

function(room_of path out)
  set(found "")
  foreach(room IN LISTS rooms)
    string(LENGTH "${room}/" n)
    string(SUBSTRING "${path}" 0 ${n} head)
    if(head STREQUAL "${room}/")
      set(found ${room})
    endif()
  endforeach()
  set(${out} "${found}" PARENT_SCOPE)
endfunction()

# Computation reports through a Status, a run's warnings or what it returns. On these floors, and in these rooms of the
# application, only the following print by themselves.
set(silent "^(arith|constants|digits|platform|app/session|app/record)/")
# What prints, and an output in which a line's place is kept.
set(console_headers base/console/console.h base/console/error_output.h base/console/late_line.h)
set(console_files
  # menus and prompts
  constants/catalog/brent_constant.cpp
  constants/catalog/catalog_menu.cpp
  constants/catalog/log_constant.cpp
  constants/catalog/sqrt_constant.cpp
  digits/bbp/bbp_menu.cpp
  digits/viewer/compress.cpp
  digits/viewer/compute_stats.cpp
  digits/viewer/extract_txt.cpp
  digits/viewer/view_range.cpp
  digits/viewer/viewer_menu.cpp
  platform/parallel/tbb_framework.cpp
  # menus and prompts, and what is told when a setting is made: before there is a run, which alone has warnings and
  # a Status, and in the order in which files and options name the settings, on the main thread
  constants/catalog/custom_constant.cpp  # the formula file that is opened, and what is odd in it
  platform/memory/interleave_allocator.cpp  # the map of memory nodes
  platform/memory/node_list.cpp  # that no node has memory to give
  # commands that refuse a word of their command line
  digits/bbp/bbp_command.cpp
  digits/viewer/viewer_command.cpp
  # pages at the start of the program and in place of a run
  platform/sysinfo/core_numbers.cpp
  platform/sysinfo/feature_check.cpp
  platform/sysinfo/hardware_features.cpp
  platform/sysinfo/privileges.cpp
  # the last line of an interrupted run, after its Status
  digits/output/interrupted.cpp
  # the end of the process
  platform/memory/guarded_heap.cpp)
set(console_files_found)

set(errors 0)
set(count 0)
file(GLOB_RECURSE files RELATIVE ${ROOT}/src ${ROOT}/src/*.h ${ROOT}/src/*.cpp)
foreach(file IN LISTS files)
  room_of(${file} from)
  if(NOT from)
    message("src/${file}: not in a room of cmake/rooms.txt")
    math(EXPR errors "${errors} + 1")
    continue()
  endif()
  file(STRINGS ${ROOT}/src/${file} includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
  foreach(line IN LISTS includes)
    math(EXPR count "${count} + 1")
    string(REGEX REPLACE ".*\"([^\"]*)\".*" "\\1" target "${line}")
    room_of(${target} to)
    if(NOT EXISTS ${ROOT}/src/${target} OR NOT to)
      message("src/${file}: includes \"${target}\", which is not a file of any room (write includes from src/)")
      math(EXPR errors "${errors} + 1")
    elseif(NOT to STREQUAL from AND NOT level_of_${to} LESS level_of_${from})
      message("src/${file}: ${from} may not include ${to} (\"${target}\")")
      math(EXPR errors "${errors} + 1")
    endif()
    if(target IN_LIST console_headers AND file MATCHES "${silent}")
      list(APPEND console_files_found ${file})
      if(NOT file IN_LIST console_files)
        message("src/${file}: ${from} may not print (${target}): report through a Status or the warnings of the run")
        math(EXPR errors "${errors} + 1")
      endif()
    endif()
  endforeach()
  # An exception prints its report by itself.
  file(STRINGS ${ROOT}/src/${file} printed REGEX "(\\.|->)print\\(\\)")
  if(printed AND file MATCHES "${silent}" AND NOT file IN_LIST console_files)
    message("src/${file}: ${from} may not print (${printed}): hand it to the warnings of the run")
    math(EXPR errors "${errors} + 1")
  endif()
  file(STRINGS ${ROOT}/src/${file} banned REGEX "#[ \t]*include[ \t]*<(semaphore|barrier|latch|stop_token)>")
  if(NOT from STREQUAL "os")
    file(STRINGS ${ROOT}/src/${file} system
         REGEX "#[ \t]*include[ \t]*<(windows|winsock|unistd|sys/|fcntl|pthread|dlfcn|sched|signal)|#[ \t]*if.*(_WIN32|__linux__|__MINGW)")
    list(APPEND banned ${system})
  endif()
  # Waiting on an atomic hangs there too; only condition variables may be notified.
  file(STRINGS ${ROOT}/src/${file} notified REGEX "(\\.|->)(notify_(one|all)\\(|wait\\([^)])")
  if(notified)
    string(REGEX REPLACE "\\.cpp$" ".h" header ${file})
    set(variables)
    foreach(source ${file} ${header})
      if(EXISTS ${ROOT}/src/${source})
        file(STRINGS ${ROOT}/src/${source} found REGEX "ConditionVariable|condition_variable")
        list(APPEND variables ${found})
      endif()
    endforeach()
    if(NOT variables)
      list(APPEND banned ${notified})
    endif()
  endif()
  foreach(line IN LISTS banned)
    message("src/${file}: not allowed here: ${line}")
    math(EXPR errors "${errors} + 1")
  endforeach()
endforeach()
foreach(file IN LISTS console_files)
  if(NOT file IN_LIST console_files_found)
    message("src/${file}: does not print: strike it from the list in cmake/check_includes.cmake")
    math(EXPR errors "${errors} + 1")
  endif()
endforeach()
if(count EQUAL 0)
  message(FATAL_ERROR "no include was read: the check itself is broken")
endif()
if(errors)
  message(FATAL_ERROR "${errors} of ${count} includes break the rules of the house")
endif()
message("${count} includes point downwards")
