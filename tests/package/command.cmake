# Tests of the installed command.
set(command "${CMAKE_INSTALL_BINDIR}/qvreg${CMAKE_EXECUTABLE_SUFFIX}")
set(libraries)
if(BUILD_SHARED_LIBS)
  list(APPEND libraries libqvreg)
endif()
if(qvreg_brings_duckdb)
  list(APPEND libraries libduckdb)
endif()

# add_command_tests(NAME FIXTURE PREFIX): the command in PREFIX finds the libraries beside it, and
# fits.
function(add_command_tests name fixture prefix)
  add_test(NAME ${name}_command_libraries
    COMMAND "${CMAKE_COMMAND}" "-DPREFIX=${prefix}" "-DCOMMAND=${command}"
      "-DEXPECTED=${libraries}" -P "${scripts}/libraries.cmake")
  add_script_test(${name}_command fit "COMMAND=${prefix}/${command}"
    "DATA=${PROJECT_SOURCE_DIR}/examples/data/penguins.csv")
  set_tests_properties(${name}_command_libraries ${name}_command PROPERTIES
    FIXTURES_REQUIRED "${fixture}")
endfunction()

add_command_tests(package package "${prefix}")
