# Tests of what pkg-config says. On Windows they are of the static library: a program finds no DLL in
# another folder.
set(static_option)
if(WIN32)
  set(static_option -static)
endif()

# add_pkg_config_test(NAME FIXTURE PREFIX ASK): the examples, built with what pkg-config answers to
# ASK (--static or nothing) about the package in PREFIX, which FIXTURE installs.
function(add_pkg_config_test name fixture prefix ask)
  add_script_test(package_${name} pkgconfig "PREFIX=${prefix}" "ASK=${ask}"
    "FOLDER=${here}/${name}" "LIBDIR=${CMAKE_INSTALL_LIBDIR}"
    "EXAMPLES=${PROJECT_SOURCE_DIR}/examples" "TESTS=${example_tests}"
    "CC=${CMAKE_C_COMPILER};${static_option}" "CXX=${CMAKE_CXX_COMPILER};${static_option}"
    "SUFFIX=${CMAKE_EXECUTABLE_SUFFIX}" "EMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}")
  set_tests_properties(package_${name} PROPERTIES FIXTURES_REQUIRED ${fixture})
endfunction()

if(NOT WIN32)
  add_pkg_config_test(pkg_config package "${prefix}" "")
endif()
add_pkg_config_test(static_pkg_config static_package "${static_prefix}" --static)
