# Many sources compiled as one: a build from nothing is several times faster, a changed source slower
# to build. Whoever builds often leaves it OFF, and has each source compiled by itself. TESTS joins the
# tests alone, so that the compile commands still name every source of the library and the command.
set(QVREG_UNITY OFF CACHE STRING "Compile sources in groups, for builds that start from nothing: OFF, TESTS or ON")

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

# qvreg_join_sources(TARGET ROOT [APART SOURCE...]... [ALONE SOURCE...]): compiles the sources of each
# folder of a library below ROOT in groups, if that is wished. A name in an unnamed namespace, which is
# a source's own otherwise, is that of its group: where two sources of a folder give one name to
# different things, the compiler says so, and one of them is renamed or stands behind an APART, whose
# sources are a group of their own. Behind ALONE stands what fits into none, or has members of types
# that are its own, of which GCC warns in a file that is included. That, and what has conditions of the
# preprocessor, specializes the template of a header or is made by the build, is compiled by itself.
function(qvreg_join_sources target root)
  if(NOT QVREG_UNITY OR QVREG_UNITY STREQUAL "TESTS")
    return()
  endif()
  set(apart 0)
  foreach(source IN LISTS ARGN)
    if(source STREQUAL "APART")
      math(EXPR apart "${apart} + 1")
      set(group "apart_${apart}")
    elseif(source STREQUAL "ALONE")
      set(group)
    elseif(NOT EXISTS "${root}/${source}")
      message(FATAL_ERROR "there is no ${source} to stand apart")
    else()
      string(MAKE_C_IDENTIFIER "${source}" name)
      set(group_of_${name} "${group}")
    endif()
  endforeach()
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    cmake_path(RELATIVE_PATH source BASE_DIRECTORY "${root}" OUTPUT_VARIABLE place)
    if(NOT source MATCHES "\\.cpp$" OR place MATCHES "^\\.\\.")
      continue()
    endif()
    file(STRINGS "${source}" own REGEX "^#if|^template <>")
    if(own)
      continue()
    endif()
    string(MAKE_C_IDENTIFIER "${place}" name)
    if(NOT DEFINED group_of_${name})
      cmake_path(GET place PARENT_PATH folder)
      string(MAKE_C_IDENTIFIER "${folder}" folder)
      list(APPEND folder_${folder} "${source}")
      list(LENGTH folder_${folder} joined)
      math(EXPR group "(${joined} - 1) / 16")
      set(group_of_${name} "${folder}_${group}")
    endif()
    if(group_of_${name})
      set_source_files_properties("${source}" PROPERTIES UNITY_GROUP "${group_of_${name}}")
    endif()
  endforeach()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()
