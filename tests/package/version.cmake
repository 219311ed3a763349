# Everything that states the version states the one of project().
#
#   cmake -DVERSION=<x.y.z> -DSOVERSION=<x> -DPREFIX=<installed tree> -DLIBDIR=<lib>
#         -DREADELF=<program> -DCOMMAND=<the command, or nothing> -DCHANGES=<CHANGELOG.md>
#         -P version.cmake
cmake_minimum_required(VERSION 3.25)

# expect(WHAT STATED EXPECTED)
function(expect what stated expected)
  if(NOT stated STREQUAL expected)
    message(SEND_ERROR "${what} states '${stated}', not '${expected}'")
  endif()
  message(STATUS "${what}: ${stated}")
endfunction()

# expect_in_file(WHAT FILE EXPRESSION EXPECTED): the first match's parenthesis.
function(expect_in_file what file expression expected)
  file(READ "${file}" text)
  string(REGEX MATCH "${expression}" match "${text}")
  expect("${what}" "${CMAKE_MATCH_1}" "${expected}")
endfunction()

set(package "${PREFIX}/${LIBDIR}/cmake/qvreg/qvregConfigVersion.cmake")
expect_in_file("find_package" "${package}" "set\\(PACKAGE_VERSION \"([^\"]*)\"\\)" "${VERSION}")
expect_in_file("the header" "${PREFIX}/include/qvreg/QvVersion.h"
  "QVREG_VERSION_STRING \"([^\"]*)\"" "${VERSION}")
expect_in_file("CHANGELOG.md" "${CHANGES}" "\n## ([0-9.]+)" "${VERSION}")

execute_process(
  COMMAND "${CMAKE_COMMAND}" -E env "PKG_CONFIG_LIBDIR=${PREFIX}/${LIBDIR}/pkgconfig"
    pkg-config --modversion qvreg
  OUTPUT_VARIABLE stated OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
expect("pkg-config" "${stated}" "${VERSION}")

set(library "${PREFIX}/${LIBDIR}/libqvreg.so")
if(EXISTS "${library}")
  file(REAL_PATH "${library}" real)
  cmake_path(GET real FILENAME stated)
  expect("the library's file" "${stated}" "libqvreg.so.${VERSION}")
  execute_process(COMMAND "${READELF}" --dynamic "${library}"
    OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCH "soname: \\[([^]]*)\\]" match "${text}")
  expect("the library's soname" "${CMAKE_MATCH_1}" "libqvreg.so.${SOVERSION}")
endif()

if(COMMAND)
  execute_process(COMMAND "${COMMAND}" --version
    OUTPUT_VARIABLE stated OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  expect("the command" "${stated}" "qvreg ${VERSION}")
endif()
