# For builds from nothing (CI's sanitizer and Windows builds): several files of a room or of a test program are compiled
# as one, because most of the time goes into the headers that each of them includes. CI's release build compiles every
# file by itself and so finds a missing include.

option(KALVOR_TOGETHER "Compile several files as one" "${KALVOR_PRECOMPILED_HEADERS}")

# What a file declares for itself, as NAME=OWNER: the names at the start of a line in its unnamed namespace, its macros
# (owner: the file), and the names that it takes out of other namespaces (owner: the declaration).
function(kalvor_local_names out file)
  file(STRINGS ${file} lines REGEX "^(namespace|}|[A-Za-z#])")
  set(names)
  set(inside OFF)
  foreach(line IN LISTS lines)
    if(line MATCHES "^#define +([A-Za-z0-9_]+)")
      list(APPEND names ${CMAKE_MATCH_1}=${file})
    elseif(line MATCHES "^using (.*::([A-Za-z0-9_]+));")
      list(APPEND names ${CMAKE_MATCH_2}=${CMAKE_MATCH_1})
    elseif(line MATCHES "^namespace {")
      set(inside ON)
    elseif(line MATCHES "^}  // namespace$")
      set(inside OFF)
    elseif(inside AND line MATCHES "^(struct|class|union|enum class|enum|using|typedef) ([A-Za-z0-9_]+)")
      list(APPEND names ${CMAKE_MATCH_2}=${file})
    elseif(inside AND NOT line MATCHES "^(TEST|TYPED_TEST|INSTANTIATE|BENCHMARK)" AND
           line MATCHES "([A-Za-z0-9_]+)( =|\\[|\\{|\\(|;)")
      list(APPEND names ${CMAKE_MATCH_1}=${file})
    endif()
  endforeach()
  set(${out} ${names} PARENT_SCOPE)
endfunction()

# Compiles the files of a target together, except one in which a name means something else than in an earlier file.
function(kalvor_compile_together target)
  if(NOT KALVOR_TOGETHER)
    return()
  endif()
  foreach(file IN LISTS ARGN)
    kalvor_local_names(names ${file})
    set(alone OFF)
    foreach(entry IN LISTS names)
      string(REGEX MATCH "^([A-Za-z0-9_]+)=(.*)$" entry ${entry})
      if(DEFINED owner_${CMAKE_MATCH_1} AND NOT owner_${CMAKE_MATCH_1} STREQUAL CMAKE_MATCH_2)
        set(alone ON)
      endif()
    endforeach()
    if(alone)
      set_source_files_properties(${file} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
      continue()
    endif()
    foreach(entry IN LISTS names)
      string(REGEX MATCH "^([A-Za-z0-9_]+)=(.*)$" entry ${entry})
      set(owner_${CMAKE_MATCH_1} ${CMAKE_MATCH_2})
    endforeach()
  endforeach()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 6)
  # GCC takes the file that joins them for one that includes unnamed namespaces as a header would.
  target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
endfunction()
