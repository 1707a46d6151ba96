# Tests and benchmarks mirror src/: all *_test.cpp files of a folder under tests/ make one test program, all
# *_bench.cpp files of a folder under bench/ one benchmark program. They are left out when their libraries are
# not installed, so the program itself builds without them. Folders "linux" and "windows" are for that system only.
#
# Labels: "quick" is every test whose suite name does not begin with "Slow"; "slow" the others; "windows" those of the
# slow ones that only Windows can run, so they run beside its quick ones; "tasks" the quick tests of what runs tasks.
# Programs of the arithmetic floors are run once more with KALVOR_ISA=avx2 where both levels are built.

enable_testing()

add_test(NAME includes
         COMMAND ${CMAKE_COMMAND} -DROOT=${CMAKE_SOURCE_DIR} -P ${CMAKE_SOURCE_DIR}/cmake/check_includes.cmake)
add_test(NAME docs COMMAND ${CMAKE_COMMAND} -DROOT=${CMAKE_SOURCE_DIR} -P ${CMAKE_SOURCE_DIR}/cmake/check_docs.cmake)
add_test(NAME suites
         COMMAND ${CMAKE_COMMAND} -DROOT=${CMAKE_SOURCE_DIR} -P ${CMAKE_SOURCE_DIR}/cmake/check_suites.cmake)
set_tests_properties(includes docs suites PROPERTIES LABELS quick)

if(NOT CMAKE_HOST_WIN32 AND NOT CMAKE_CROSSCOMPILING AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  add_test(NAME launchers COMMAND sh ${CMAKE_SOURCE_DIR}/tests/launchers/launchers_test.sh ${CMAKE_SOURCE_DIR})
  set_tests_properties(launchers PROPERTIES LABELS quick)
endif()

get_property(kernel_objects GLOBAL PROPERTY KALVOR_KERNEL_OBJECTS)
if(kernel_objects AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/kernel_objects.txt CONTENT "$<JOIN:${kernel_objects},\n>\n")
  add_test(NAME kernel_symbols
           COMMAND ${CMAKE_COMMAND} -DNM=${CMAKE_NM} -DLIST=${CMAKE_BINARY_DIR}/kernel_objects.txt
                   -P ${CMAKE_SOURCE_DIR}/cmake/check_kernel_symbols.cmake)
  set_tests_properties(kernel_symbols PROPERTIES LABELS quick)
endif()

if(CMAKE_CROSSCOMPILING)
  # Debian has the library as source too, for every target.
  if(EXISTS /usr/src/googletest/CMakeLists.txt)
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
    set(GTest_FOUND TRUE)
  endif()
else()
  find_package(GTest QUIET)
  find_package(benchmark QUIET)
endif()
find_library(GMP_LIBRARY gmp)
find_library(MPFR_LIBRARY mpfr)
set(oracle_includes)
if(CMAKE_CROSSCOMPILING)
  find_path(GMP_INCLUDES gmpxx.h)
  set(oracle_includes ${GMP_INCLUDES})
endif()

function(kalvor_folders out root pattern)
  file(GLOB_RECURSE files CONFIGURE_DEPENDS RELATIVE ${root} ${root}/${pattern})
  set(folders)
  foreach(file IN LISTS files)
    get_filename_component(folder ${file} DIRECTORY)
    list(APPEND folders ${folder})
  endforeach()
  list(REMOVE_DUPLICATES folders)
  set(${out} ${folders} PARENT_SCOPE)
endfunction()

# Long cases that some builds leave out. The address sanitizer's build and the release build take all of them.
set(left_out)
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=thread" OR CMAKE_CROSSCOMPILING)
  # Bits changed in thousands of places, or formulas by the hundred, on whatever threads: neither the system nor the
  # order of threads decides what comes of them.
  list(APPEND left_out FamilyFaultsTest.* RowFaultsTest.* FactoredLeafTest.FaultsAreFound HntTransformTest.ChangedBits*
       *ProductCheckTest.NoFlipComesOut/* *ProductCheckTest.ThreeQuartersOfTheFlipsAreCorrected/*
       *ProductCheckTest.DamagedTransformsAreMadeAnewFromTheirWords/* TransformErrorsTest.*
       ProductCheckRunTest.NoFlipOfAWholeProductComesOut
       OperandLabelTest.DamageToASharedLabel* ETest.AChangedBit* HuventSeriesTest.AChangedBit*
       LogMachinTest.FlippedBits* SeriesNodesTest.ADegreeOfAThousand SeriesNodesTest.UserSeries
       MemoryPlanTest.NoMoreThanTheAlgorithmsReach)
endif()
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=thread")
  # One task, or plans alone.
  list(APPEND left_out LogFormulaTest.* FactoredLeafTest.* Zeta3CatalanTest.* AgmTest.* MemoryPlanTest.*
       EulerGammaTest.ParametersFarAboveTheNeed KvdSetTest.EveryRangeOfASmallSet)
endif()
string(REPLACE ";" ":" left_out "${left_out}")
# Of the second run, with the kernels of another level: what depends on no kernel. Suites instantiated under the name
# Levels take every level as a parameter.
set(one_level *Levels/* FamilyFaultsTest.* SeriesNodesTest.ADegreeOfAThousand SeriesNodesTest.UserSeries
    KvdSetTest.EveryRangeOfASmallSet)
string(REPLACE ";" ":" one_level "${one_level}")

function(kalvor_register_test name target)
  cmake_parse_arguments(ARG "" "SLOW;ENV;LEAVE_OUT" "" ${ARGN})
  add_test(NAME ${name} COMMAND ${target} --gtest_filter=-Slow*:${ARG_LEAVE_OUT}:${left_out})
  set_tests_properties(${name} PROPERTIES LABELS quick TIMEOUT 600 ENVIRONMENT "${ARG_ENV}")
  if(ARG_SLOW)
    add_test(NAME ${name}.slow COMMAND ${target} --gtest_filter=Slow*-${ARG_LEAVE_OUT})
    set_tests_properties(${name}.slow PROPERTIES LABELS slow TIMEOUT 1800 ENVIRONMENT "${ARG_ENV}" COST 2)
    if(name MATCHES "^(program|constants/(builtin|formulas)|fuzz|platform/parallel)")
      set_tests_properties(${name}.slow PROPERTIES COST 3)
    endif()
    if(name MATCHES "/windows$")
      set_property(TEST ${name}.slow APPEND PROPERTY LABELS windows)
    endif()
  endif()
  # Long ones begin first, so that none is left alone at the end.
  if(name MATCHES "^(arith/(c17|intntt|hnt|algorithms|newton)|base/errors|program|constants/(bsr|builtin|formulas|polynomials)|app/(entry/linux|session|stress)|digits/(files|viewer)|fuzz|platform/(fileio|parallel))")
    set_tests_properties(${name} PROPERTIES COST 1)
  endif()
endfunction()

if(GTest_FOUND AND GMP_LIBRARY AND MPFR_LIBRARY)
  # Helpers shared by tests: slow plain references, injected faults.
  file(GLOB_RECURSE support CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/reference/*.cpp
       ${CMAKE_SOURCE_DIR}/tests/fault/*.cpp ${CMAKE_SOURCE_DIR}/tests/support/*.cpp)
  list(FILTER support EXCLUDE REGEX "_test\\.cpp$")
  kalvor_keep_this_system(support)
  add_library(kalvor_test_support INTERFACE)
  if(support)
    add_library(test_support OBJECT ${support})
    target_include_directories(test_support PRIVATE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/tests
                               ${oracle_includes})
    target_link_libraries(test_support PRIVATE GTest::gtest)
    target_compile_definitions(test_support PRIVATE KALVOR_PROGRAM_PATH="$<TARGET_FILE:kalvor>"
                               $<$<BOOL:${TBB_FOUND}>:KALVOR_HAVE_TBB>
                               $<$<BOOL:${CMAKE_CROSSCOMPILING}>:KALVOR_SLOW_THREADS>)
    target_sources(kalvor_test_support INTERFACE $<TARGET_OBJECTS:test_support>)
  endif()
  # One program for the rooms' objects keeps the link of each test short.
  add_library(kalvor_test_rooms STATIC $<TARGET_PROPERTY:kalvor_rooms,INTERFACE_SOURCES>)
  set_target_properties(kalvor_test_rooms PROPERTIES LINKER_LANGUAGE CXX)
  target_include_directories(kalvor_test_support INTERFACE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/tests
                             ${oracle_includes})
  target_link_libraries(kalvor_test_support INTERFACE
    $<LINK_LIBRARY:WHOLE_ARCHIVE,kalvor_test_rooms> GTest::gtest ${MPFR_LIBRARY} ${GMP_LIBRARY} $<TARGET_PROPERTY:kalvor_rooms,INTERFACE_LINK_LIBRARIES>)

  # Test code itself is not hot; this saves a fifth of the build, and a third of the tests' part under the sanitizers
  # and for Windows.
  set(test_options $<$<CONFIG:Release>:-O1>)
  if(CMAKE_CXX_FLAGS MATCHES "-fsanitize" OR CMAKE_CROSSCOMPILING)
    list(APPEND test_options -O0)
  endif()
  # Under the sanitizers undefined behaviour is looked for in what is tested; in the tests it doubles their compilation.
  if(CMAKE_CXX_FLAGS MATCHES "undefined")
    list(APPEND test_options -fno-sanitize=undefined)
  endif()
  # With precompiled headers GCC 12 sees strings of the library overflow that do not.
  if(KALVOR_PRECOMPILED_TEST_HEADERS)
    list(APPEND test_options -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread -Wno-dangling-pointer
         -Wno-maybe-uninitialized)
  endif()
  add_library(test_main OBJECT ${CMAKE_SOURCE_DIR}/tests/support/test_main.cc)
  target_include_directories(test_main PRIVATE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/tests)
  target_link_libraries(test_main PRIVATE GTest::gtest)
  target_compile_options(test_main PRIVATE ${test_options})
  if(KALVOR_PRECOMPILED_TEST_HEADERS)
    target_precompile_headers(test_main PRIVATE <gtest/gtest.h> ${KALVOR_COMMON_HEADERS} <random>)
  endif()

  add_custom_target(task_tests)
  kalvor_folders(folders ${CMAKE_SOURCE_DIR}/tests *_test.cpp)
  kalvor_keep_this_system(folders)
  # CI's Windows build leaves out the tests of rooms that neither call the system nor hold kernels. The whole program's
  # tests compute every constant there.
  if(CMAKE_CROSSCOMPILING AND NOT "$ENV{CI}" STREQUAL "")
    list(FILTER folders EXCLUDE REGEX "^constants/")
  endif()
  foreach(folder IN LISTS folders)
    file(GLOB files CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/${folder}/*_test.cpp)
    string(REPLACE "/" "_" name ${folder})
    add_executable(test_${name} ${files} $<TARGET_OBJECTS:test_main>)
    target_link_libraries(test_${name} PRIVATE kalvor_test_support)
    kalvor_compile_together(test_${name} ${files})
    if(KALVOR_PRECOMPILED_TEST_HEADERS)
      target_precompile_headers(test_${name} REUSE_FROM test_main)
    endif()
    # *.isa.cpp files of a test folder are compiled per instruction set, like those of the rooms.
    file(GLOB isa_files CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/${folder}/*.isa.cpp)
    if(isa_files)
      foreach(isa IN LISTS KALVOR_LEVELS)
        add_library(test_${name}_${isa} OBJECT ${isa_files})
        target_include_directories(test_${name}_${isa} PRIVATE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/tests)
        target_compile_definitions(test_${name}_${isa} PRIVATE TREL_ISA=${isa} TREL_ISA_${isa}=1)
        target_compile_options(test_${name}_${isa} PRIVATE ${KALVOR_ISA_FLAGS_${isa}})
        target_sources(test_${name} PRIVATE $<TARGET_OBJECTS:test_${name}_${isa}>)
      endforeach()
    endif()
    if(folder STREQUAL "platform/parallel")
      add_library(fake_cilk MODULE ${CMAKE_SOURCE_DIR}/tests/${folder}/fake_cilk.module.cc)
      add_dependencies(test_${name} fake_cilk)
      target_compile_definitions(test_${name} PRIVATE KALVOR_FAKE_CILK="$<TARGET_FILE:fake_cilk>")
    endif()
    set_target_properties(test_${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    target_compile_options(test_${name} PRIVATE ${test_options})
    target_compile_definitions(test_${name} PRIVATE KALVOR_SOURCE_FOLDER="${CMAKE_SOURCE_DIR}"
                               $<$<BOOL:${TBB_FOUND}>:KALVOR_HAVE_TBB>
                               $<$<CONFIG:Release>:KALVOR_SEALED>
                               $<$<BOOL:${CMAKE_CROSSCOMPILING}>:KALVOR_SLOW_THREADS>)
    if(folder MATCHES "^(app/(entry|validation)|program|fault)")
      add_dependencies(test_${name} kalvor)
    endif()
    set(slow OFF)
    foreach(file IN LISTS files)
      file(STRINGS ${file} hits REGEX "\\((Slow|[A-Za-z]+, *Slow)")
      if(hits)
        set(slow ON)
      endif()
    endforeach()
    kalvor_register_test(${folder} test_${name} SLOW ${slow})
    # What runs tasks: the part that the thread sanitizer is worth its time for.
    if(folder MATCHES "^(platform/parallel|platform/cilk|platform/memory|arith|constants|digits|app/stress)" AND
       NOT folder MATCHES "^(arith/(estimate|m61|ntt)|constants/(catalog|evaluator|formulas|polynomials)|digits/viewer)")
      add_dependencies(task_tests test_${name})
      set_property(TEST ${folder} APPEND PROPERTY LABELS tasks)
    endif()
    # Long tests of the constants add digits, not kernels: one level is enough for them.
    if(folder MATCHES "^constants/")
      set(slow OFF)
    endif()
    if(n_levels GREATER 1 AND folder MATCHES "^(arith|constants|digits)/" AND NOT folder MATCHES "^(arith/fft|digits/viewer)$")
      kalvor_register_test(${folder}.avx2 test_${name} SLOW ${slow} ENV KALVOR_ISA=avx2 LEAVE_OUT "${one_level}")
    endif()
  endforeach()
endif()

# Damages the running program's memory from outside and counts what comes of it. The digits are compared with MPFR's,
# or with those of another algorithm.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND GMP_LIBRARY AND MPFR_LIBRARY)
  add_executable(bit_flips EXCLUDE_FROM_ALL ${CMAKE_SOURCE_DIR}/tests/fault/linux/bit_flips.cc
                                            ${CMAKE_SOURCE_DIR}/tests/fault/linux/reference_digits.cc)
  target_include_directories(bit_flips PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  target_compile_definitions(bit_flips PRIVATE KALVOR_PROGRAM_PATH="$<TARGET_FILE:kalvor>")
  target_link_libraries(bit_flips PRIVATE ${MPFR_LIBRARY} ${GMP_LIBRARY})
  set_target_properties(bit_flips PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  add_dependencies(bit_flips kalvor)
endif()

# A terminal of its own for a test program: nothing that it does may depend on whether somebody types there.
find_program(SCRIPT_PROGRAM script)
if(SCRIPT_PROGRAM AND TARGET test_app_entry AND NOT CMAKE_CROSSCOMPILING)
  add_test(NAME terminal COMMAND sh ${CMAKE_SOURCE_DIR}/tests/launchers/terminal_test.sh $<TARGET_FILE:test_app_entry>)
  set_tests_properties(terminal PROPERTIES LABELS quick)
endif()

# All benchmarks: nothing else compiles them, so CI builds this.
add_custom_target(benchmarks)
if(benchmark_FOUND AND GMP_LIBRARY AND MPFR_LIBRARY)
  kalvor_folders(folders ${CMAKE_SOURCE_DIR}/bench *_bench.cpp)
  foreach(folder IN LISTS folders)
    file(GLOB files CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/bench/${folder}/*.cpp)
    string(REPLACE "/" "_" name ${folder})
    add_executable(bench_${name} EXCLUDE_FROM_ALL ${files})
    target_link_libraries(bench_${name} PRIVATE kalvor_rooms benchmark::benchmark benchmark::benchmark_main
                          ${MPFR_LIBRARY} ${GMP_LIBRARY})
    target_include_directories(bench_${name} PRIVATE ${CMAKE_SOURCE_DIR}/bench)
    target_compile_definitions(bench_${name} PRIVATE KALVOR_PROGRAM="$<TARGET_FILE:kalvor>")
    set_target_properties(bench_${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bench)
    add_dependencies(benchmarks bench_${name})
  endforeach()
endif()
