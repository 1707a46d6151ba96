# For builds from nothing (CI): the sources of a room, or of its tests, are compiled eight at a time, which saves reading
# and instantiating the library's headers again for each. Not the default: after a change it compiles eight files for
# one, and it hides a missing include. Kernels are always compiled one by one.
set(KALVOR_MERGED_SOURCES none CACHE STRING "Which sources are compiled several at a time: none, tests, all")

# Compiled alone, because their file-local names are a neighbour's too: registrations and iterations of one shape, helpers
# of tests. A "redefinition" that only CI finds is mended by another name or by a line here.
set(KALVOR_NOT_MERGED
    src/app/entry/main_menu
    src/platform/parallel/[a-z_]*_framework
    src/platform/memory/[a-z]*_allocator
    src/platform/memory/placement
    src/platform/fileio/raw_file
    src/arith/multiply/basecase_karatsuba32
    src/arith/newton/invsqrt
    src/arith/newton/invsqrt_word
    src/arith/newton/nth_root
    src/arith/newton/power
    src/arith/newton/power_word
    src/arith/newton/reciprocal
    src/arith/intntt/integer_ntt
    src/arith/ntt/ntt_prime_sets
    src/digits/files/basic_kvd_[a-z_]*
    src/constants/builtin/pi_series
    src/digits/output/spot_check
    tests/arith/bigfloat/big_float_transform_test
    tests/arith/exact/exact_float_test
    tests/arith/exact/exact_memory_test
    tests/arith/kernels/word_kernels_test
    tests/arith/kernels/word_loops_test
    tests/arith/kernels/words32_test
    tests/arith/multiply/multiply_algorithm32_test
    tests/arith/newton/nth_root_test
    tests/arith/newton/reciprocal_test
    tests/arith/c17/c17_ends_test
    tests/arith/c17/c17_passes_test
    tests/arith/c17/c17_transform_test
    tests/arith/hnt/hnt_test
    tests/base/status/linear_network_node_test
    tests/digits/convert/overlap_test
    tests/digits/files/digit_packing_test
    tests/digits/files/kvd_[a-z_]*_test
    tests/digits/files/text_files_test
    tests/digits/files/word_digits_test
    tests/digits/output/digit_sink_test
    tests/platform/fileio/fault_sweep_test
    tests/platform/fileio/faults_test
    tests/platform/fileio/published_file_test
    tests/platform/fileio/raw_file_test
    tests/platform/memory/guarded_heap_test
    tests/platform/memory/interleave_test
    tests/platform/parallel/linux/thread_shortage_test
    tests/platform/parallel/settings_test)
list(JOIN KALVOR_NOT_MERGED | not_merged)
set(KALVOR_NOT_MERGED "/(${not_merged})\\.cpp$")

# kalvor_merge(target kind source...): kind is "rooms" or "tests".
function(kalvor_merge target kind)
  if(KALVOR_MERGED_SOURCES STREQUAL "all" OR KALVOR_MERGED_SOURCES STREQUAL kind)
    list(FILTER ARGN INCLUDE REGEX "${KALVOR_NOT_MERGED}")
    set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
    # The compiler takes the merged sources for headers, where a file-local base is suspicious.
    target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
  endif()
endfunction()
