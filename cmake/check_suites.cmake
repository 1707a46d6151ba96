# Every test suite has a name that ends in "Test".
#   cmake -DROOT=<source folder> -P check_suites.cmake
file(GLOB_RECURSE files ${ROOT}/tests/*.cpp ${ROOT}/tests/*.h ${ROOT}/tests/*.cc)
set(count 0)
foreach(file IN LISTS files)
  file(STRINGS ${file} lines REGEX "^(TEST|TEST_F|TEST_P|TYPED_TEST|TYPED_TEST_P)\\(")
  foreach(line IN LISTS lines)
    math(EXPR count "${count} + 1")
    if(NOT line MATCHES "\\([A-Za-z0-9_]+Test,")
      message(SEND_ERROR "${file}: ${line}\n")
    endif()
  endforeach()
endforeach()
# A pattern that matches nothing must not pass.
if(count EQUAL 0)
  message(SEND_ERROR "no tests found in ${ROOT}/tests")
endif()
message("${count} cases are in suites whose names end in Test")
