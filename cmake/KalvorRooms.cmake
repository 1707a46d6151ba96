# Every room under src/ that exists becomes one object library, in the order of rooms.txt. Files are found by
# pattern, so a new source file needs no line here:
#   *.cpp        compiled for plain x86-64
#   *.isa.cpp    compiled once per instruction set, inside the namespace trel::TREL_ISA
#   os/<system>/ only the back end of the system that is built for
# kalvor_rooms collects the objects of all rooms; registration objects are therefore never dropped by the linker.

# Always both in what is handed out. Sanitizer builds take long for one level and are made with that alone.
set(KALVOR_LEVELS avx2 avx512 CACHE STRING "Instruction-set levels that the kernels are compiled for")
list(LENGTH KALVOR_LEVELS n_levels)
if(n_levels EQUAL 1)
  add_compile_definitions(TREL_ONLY_${KALVOR_LEVELS})
endif()
set(KALVOR_ISA_FLAGS_avx2 -march=x86-64-v3)
# GCC 12 takes the "undefined" operands inside its own avx512 header for uninitialised variables.
# No kernel uses IFMA or VBMI, so every processor with the F/CD/VL/BW/DQ parts runs the avx512 level.
set(KALVOR_ISA_FLAGS_avx512 -march=x86-64-v4 -madx -mprefer-vector-width=512
    -Wno-uninitialized -Wno-maybe-uninitialized)

# For builds from nothing (CI). Not the default: ccache does not keep what is made so, it hides a missing include of the
# library's headers, and GCC 12 then warns about its own library; so CI's release build does so for the tests alone.
option(KALVOR_PRECOMPILED_HEADERS "Compile common headers only once" OFF)
set(precompile_tests ${KALVOR_PRECOMPILED_HEADERS})
if(NOT "$ENV{CI}" STREQUAL "")
  set(precompile_tests ON)
endif()
option(KALVOR_PRECOMPILED_TEST_HEADERS "Compile common headers of the tests only once" ${precompile_tests})
include(KalvorTogether)
set(KALVOR_COMMON_HEADERS <algorithm> <functional> <map> <memory> <mutex> <optional> <string> <vector>)

# Drops the files and folders of another system.
function(kalvor_keep_this_system list_of_files)
  if(WIN32)
    list(FILTER ${list_of_files} EXCLUDE REGEX "(^|/)linux(/[^/]*)?$")
  else()
    list(FILTER ${list_of_files} EXCLUDE REGEX "(^|/)windows(/[^/]*)?$")
  endif()
  set(${list_of_files} ${${list_of_files}} PARENT_SCOPE)
endfunction()

# Code 17's chains of dependent operations gain from being interleaved before registers are given out, where there are
# thirty-two of them; the FFT's kernels and sixteen registers lose.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(KALVOR_ISA_FLAGS_arith_c17_avx512 -fschedule-insns -fsched-pressure -mtune=skylake-avx512)
  set(KALVOR_ISA_FLAGS_arith_intntt_avx512 ${KALVOR_ISA_FLAGS_arith_c17_avx512})
endif()

# Run only where CPUID names the SHA extensions.
set_source_files_properties(${CMAKE_SOURCE_DIR}/src/base/hash/sha256_instructions.cpp PROPERTIES
                            COMPILE_OPTIONS "-msha;-msse4.1" SKIP_PRECOMPILE_HEADERS ON)

# Every vector that a kernel passes on is a local of an inlined function; watching where their scopes end makes the
# compiler ten times as slow. Accesses themselves are watched as everywhere.
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=address")
  foreach(level IN LISTS KALVOR_LEVELS)
    list(APPEND KALVOR_ISA_FLAGS_${level} -fno-sanitize-address-use-after-scope)
  endforeach()
endif()

function(kalvor_read_rooms out)
  file(STRINGS ${CMAKE_SOURCE_DIR}/cmake/rooms.txt lines REGEX "^[a-z]")
  set(rooms)
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "[ \t]+" ";" names "${line}")
    list(APPEND rooms ${names})
  endforeach()
  set(${out} ${rooms} PARENT_SCOPE)
endfunction()

# Rooms in which nothing runs long: made for size, because every page of the program counts as memory of a run.
set(KALVOR_SMALL_ROOMS "^(os|base/(clock|command_line|config|console|errors|prompt|registry|settings|status)|platform/(fileio|memory|sysinfo)|constants/(catalog|evaluator|formulas|polynomials)|digits/(files|output|viewer)|app/.*)$")
# But for their loops over all words or digits.
set(KALVOR_LOOPS app/stress/product_worker.cpp platform/memory/fill_pattern.cpp digits/files/digit_hash.cpp digits/files/digit_kernels.cpp
    digits/output/float_reader.cpp digits/output/float_writer.cpp)
list(TRANSFORM KALVOR_LOOPS PREPEND ${CMAKE_SOURCE_DIR}/src/)
set_property(SOURCE ${KALVOR_LOOPS} APPEND PROPERTY COMPILE_OPTIONS $<$<CONFIG:Release>:-O3>)
set_property(SOURCE ${KALVOR_LOOPS} PROPERTY SKIP_PRECOMPILE_HEADERS ON)

# Matches the objects that the linker puts last: see late_files.txt.
function(kalvor_read_late_files out)
  set(list ${CMAKE_SOURCE_DIR}/cmake/late_files.txt)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
  file(STRINGS ${list} paths REGEX "^[a-z]")
  set(pattern)
  foreach(path IN LISTS paths)
    file(GLOB found LIST_DIRECTORIES true ${CMAKE_SOURCE_DIR}/src/${path}*)
    if(NOT found)
      message(FATAL_ERROR "cmake/late_files.txt: no file begins with src/${path}")
    endif()
    string(REPLACE "." "\\." path ${path})
    string(APPEND pattern "|${path}")
  endforeach()
  string(SUBSTRING "${pattern}" 1 -1 pattern)
  set(${out} "/src/(${pattern})" PARENT_SCOPE)
endfunction()

function(kalvor_add_rooms)
  add_library(kalvor_rooms INTERFACE)
  target_include_directories(kalvor_rooms INTERFACE ${CMAKE_SOURCE_DIR}/src)
  target_link_libraries(kalvor_rooms INTERFACE Threads::Threads ${CMAKE_DL_LIBS})
  if(WIN32)
    target_link_libraries(kalvor_rooms INTERFACE dbghelp ole32 oleaut32 wbemuuid ws2_32 psapi version)
  endif()
  if(TBB_FOUND)
    target_link_libraries(kalvor_rooms INTERFACE TBB::tbb)
  endif()
  kalvor_read_late_files(late)
  set(late_objects)
  kalvor_read_rooms(rooms)
  foreach(room IN LISTS rooms)
    set(dir ${CMAKE_SOURCE_DIR}/src/${room})
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${dir}/*.cpp)
    if(room STREQUAL "os")
      kalvor_keep_this_system(sources)
    endif()
    list(REMOVE_ITEM sources ${CMAKE_SOURCE_DIR}/src/app/entry/main.cpp)
    if(TBB_FOUND)
      list(FILTER sources EXCLUDE REGEX "/left_out_tbb[^/]*$")
    else()
      list(FILTER sources EXCLUDE REGEX "/tbb_[^/]*$")
    endif()
    if(NOT sources)
      continue()
    endif()
    string(REPLACE "/" "_" target ${room})
    set(isa_sources ${sources})
    list(FILTER isa_sources INCLUDE REGEX "\\.isa\\.cpp$")
    list(FILTER sources EXCLUDE REGEX "\\.isa\\.cpp$")
    if(room STREQUAL "platform/cilk")
      # A library of its own, so that another one with the same entries can take its place.
      add_library(kalvor_cilk STATIC ${sources})
      target_include_directories(kalvor_cilk PRIVATE ${CMAKE_SOURCE_DIR}/src)
      target_link_libraries(kalvor_rooms INTERFACE kalvor_cilk)
    elseif(sources)
      add_library(${target} OBJECT ${sources})
      kalvor_compile_together(${target} ${sources})
      if(room MATCHES ${KALVOR_SMALL_ROOMS})
        target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-Os>)
      endif()
      if(KALVOR_PRECOMPILED_HEADERS)
        # The compiler takes them only where it optimizes as it did for their owner.
        if(room MATCHES ${KALVOR_SMALL_ROOMS})
          set(owner os)
        else()
          set(owner base_hash)
        endif()
        if(target STREQUAL owner)
          target_precompile_headers(${owner} PRIVATE ${KALVOR_COMMON_HEADERS})
        else()
          target_precompile_headers(${target} REUSE_FROM ${owner})
        endif()
      endif()
      if(room STREQUAL "platform/parallel" AND TBB_FOUND)
        target_link_libraries(${target} PRIVATE TBB::tbb)
      endif()
      # oneTBB as it is installed is not instrumented, so what its headers compile to must not be either.
      if(room STREQUAL "platform/parallel" AND CMAKE_CXX_FLAGS MATCHES "-fsanitize=thread")
        target_compile_definitions(${target} PRIVATE TREL_THREAD_SANITIZER)
        set_source_files_properties(${dir}/tbb_framework.cpp PROPERTIES COMPILE_OPTIONS -fno-sanitize=thread)
      endif()
      target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR}/src)
      target_sources(kalvor_rooms INTERFACE $<FILTER:$<TARGET_OBJECTS:${target}>,EXCLUDE,${late}>)
      list(APPEND late_objects $<FILTER:$<TARGET_OBJECTS:${target}>,INCLUDE,${late}>)
    endif()
    if(isa_sources)
      foreach(isa IN LISTS KALVOR_LEVELS)
        add_library(${target}_${isa} OBJECT ${isa_sources})
        target_include_directories(${target}_${isa} PRIVATE ${CMAKE_SOURCE_DIR}/src)
        target_compile_definitions(${target}_${isa} PRIVATE TREL_ISA=${isa} TREL_ISA_${isa}=1)
        target_compile_options(${target}_${isa} PRIVATE ${KALVOR_ISA_FLAGS_${isa}} ${KALVOR_ISA_FLAGS_${target}_${isa}})
        list(APPEND kernels_${isa} $<FILTER:$<TARGET_OBJECTS:${target}_${isa}>,EXCLUDE,${late}>)
        list(APPEND late_objects $<FILTER:$<TARGET_OBJECTS:${target}_${isa}>,INCLUDE,${late}>)
        set_property(GLOBAL APPEND PROPERTY KALVOR_KERNEL_OBJECTS $<TARGET_OBJECTS:${target}_${isa}>)
      endforeach()
    endif()
  endforeach()
  # Of the kernels a run uses one level.
  foreach(isa IN LISTS KALVOR_LEVELS)
    target_sources(kalvor_rooms INTERFACE ${kernels_${isa}})
  endforeach()
  target_sources(kalvor_rooms INTERFACE ${late_objects})
endfunction()
