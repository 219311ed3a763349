# Many sources compiled as one: a build from nothing is several times faster, a changed source slower
# to build. Whoever builds often leaves it OFF, and has each source compiled by itself.
option(QVREG_UNITY "Compile sources in groups, for builds that start from nothing" OFF)

# qvreg_join_tests(PROGRAM): compiles the tests of a program in groups, if that is wished. Every test
# stands in a namespace of its own, so that any two may use one name for different things. Since
# nothing but a test may be in there, all headers that the tests include are precompiled, and stand
# before it. What is not a test, has conditions of the preprocessor or specializes the template of a
# header is compiled by itself.
function(qvreg_join_tests program)
  if(NOT QVREG_UNITY)
    return()
  endif()
  get_target_property(sources ${program} SOURCES)
  set(headers)
  foreach(source IN LISTS sources)
    cmake_path(ABSOLUTE_PATH source)
    file(STRINGS "${source}" own REGEX "^#if|^template <>")
    if(own OR NOT source MATCHES "_test\\.cpp$")
      set_source_files_properties("${source}" PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
      continue()
    endif()
    # A header more is one more to precompile.
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${source}")
    file(STRINGS "${source}" includes REGEX "^#include ")
    list(APPEND headers ${includes})
  endforeach()
  list(REMOVE_DUPLICATES headers)
  list(SORT headers)
  list(JOIN headers "\n" headers)

  set(before "namespace QVREG_TEST_FILE {")
  foreach(name IN ITEMS QvCommon qvhost qvtest)
    string(APPEND headers "\nnamespace ${name} {}")
    string(APPEND before "\nnamespace ${name} { using namespace ::${name}; }")
  endforeach()
  set(all_headers "${CMAKE_CURRENT_BINARY_DIR}/${program}.h")
  file(CONFIGURE OUTPUT "${all_headers}" CONTENT "${headers}\n" @ONLY)
  target_precompile_headers(${program} PRIVATE "${all_headers}")
  set_target_properties(${program} PROPERTIES
    UNITY_BUILD ON
    UNITY_BUILD_BATCH_SIZE 16
    UNITY_BUILD_UNIQUE_ID QVREG_TEST_FILE
    UNITY_BUILD_CODE_BEFORE_INCLUDE "${before}"
    UNITY_BUILD_CODE_AFTER_INCLUDE "}")
endfunction()
