# GTest::gtest_main and nlohmann_json::nlohmann_json: the installed ones. For a cross-build, which
# has neither for its target, GoogleTest is built from the sources that Debian's package googletest
# brings, and nlohmann-json, which is headers only, is taken from this system by a link: the folder
# that it stands in holds this system's own headers as well.
if(CMAKE_CROSSCOMPILING)
  set(QVREG_GOOGLETEST_SOURCES "/usr/src/googletest" CACHE PATH "Sources of GoogleTest")
  if(NOT EXISTS "${QVREG_GOOGLETEST_SOURCES}/CMakeLists.txt")
    message(FATAL_ERROR "there are no sources of GoogleTest in ${QVREG_GOOGLETEST_SOURCES}")
  endif()
  block()
    set(BUILD_SHARED_LIBS OFF)
    set(BUILD_GMOCK OFF)
    set(INSTALL_GTEST OFF)
    add_subdirectory("${QVREG_GOOGLETEST_SOURCES}" "${PROJECT_BINARY_DIR}/googletest"
      EXCLUDE_FROM_ALL SYSTEM)
  endblock()

  find_path(QVREG_NLOHMANN_JSON_DIR nlohmann/json.hpp REQUIRED NO_CMAKE_FIND_ROOT_PATH)
  set(links "${PROJECT_BINARY_DIR}/system-headers")
  file(MAKE_DIRECTORY "${links}")
  file(CREATE_LINK "${QVREG_NLOHMANN_JSON_DIR}/nlohmann" "${links}/nlohmann" SYMBOLIC)
  add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
  target_include_directories(nlohmann_json::nlohmann_json INTERFACE "${links}")
else()
  find_package(GTest REQUIRED)
  find_package(nlohmann_json REQUIRED)
endif()

# qvreg_add_test_program(PROGRAM SHARDS): a program of GoogleTest runs whole, in SHARDS processes that
# divide its tests. Only what fails is printed, and how many ran.
function(qvreg_add_test_program program shards)
  target_link_libraries(${program} PRIVATE nlohmann_json::nlohmann_json)
  target_precompile_headers(${program} PRIVATE <gtest/gtest.h>)
  qvreg_join_tests(${program})
  # What is tested is optimized fully, its tests need not be: that takes a third of the time that
  # they compile, with sanitizers half of it.
  if(NOT MSVC)
    target_compile_options(${program} PRIVATE -O0)
  endif()
  # GCC 12 warns of std::string where it comes from a precompiled header (its bug 105651).
  target_compile_options(${program} PRIVATE
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-array-bounds$<SEMICOLON>-Wno-stringop-overflow>)
  math(EXPR last "${shards} - 1")
  foreach(shard RANGE ${last})
    add_test(NAME ${program}_${shard} COMMAND ${program} --gtest_brief=1)
    set_tests_properties(${program}_${shard} PROPERTIES
      ENVIRONMENT "GTEST_TOTAL_SHARDS=${shards};GTEST_SHARD_INDEX=${shard}")
  endforeach()
endfunction()
