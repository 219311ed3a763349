# Tests of what cpack makes: its contents, and the examples in it built against it and run.
set(packs "${here}/packs")
string(TOLOWER "${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}" system)
set(tree "qvreg-${PROJECT_VERSION}-${system}")

# What hosts read and build from: each file under its name.
set(development_files ${qvreg_headers} ${qvreg_generated_headers})
list(TRANSFORM development_files PREPEND "${CMAKE_INSTALL_INCLUDEDIR}/")
file(GLOB documents RELATIVE "${PROJECT_SOURCE_DIR}" CONFIGURE_DEPENDS
  "${PROJECT_SOURCE_DIR}/docs/*.md" "${PROJECT_SOURCE_DIR}/docs/*.json")
file(GLOB_RECURSE example_files LIST_DIRECTORIES FALSE RELATIVE "${PROJECT_SOURCE_DIR}"
  CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/examples/*")
list(FILTER example_files EXCLUDE REGEX "/build[^/]*/")
foreach(file IN LISTS documents example_files)
  list(APPEND development_files "${CMAKE_INSTALL_DATADIR}/doc/qvreg/${file}")
endforeach()

# A page for each command.
set(manual_pages qvreg qvreg-fit qvreg-describe qvreg-score qvreg-compare qvreg-show qvreg-sql
  qvreg-spool qvreg-completion)

# add_contents_test(NAME PACKAGE TREE COMPONENT...): unpacks it for the tests that require NAME.
function(add_contents_test name package tree)
  add_script_test(${name} contents
    "PACKAGE=${packs}/${package}" "FOLDER=${here}/${name}" "TREE=${tree}" "COMPONENTS=${ARGN}"
    "DEVELOPMENT=${development_files}" "PAGES=${manual_pages}" "LIBDIR=${CMAKE_INSTALL_LIBDIR}" "VERSION=${PROJECT_VERSION}"
    "SOVERSION=${soversion}")
  set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED packs FIXTURES_SETUP ${name})
endfunction()

# add_packed_consumer_test(NAME FIXTURE PREFIX)
function(add_packed_consumer_test name fixture prefix)
  add_consumer_test(${name} "${prefix}" "${prefix}/${CMAKE_INSTALL_DATADIR}/doc/qvreg/examples")
  set_tests_properties(${name} PROPERTIES FIXTURES_REQUIRED "${fixture}")
endfunction()

# add_pack_test(PACKAGE...): cpack makes these, for the tests that require packs.
function(add_pack_test)
  add_script_test(package_pack pack "BUILD=${PROJECT_BINARY_DIR}" "PACKAGES=${packs}"
    "GENERATORS=${qvreg_generators}" "EXPECTED=${ARGN}")
  set_tests_properties(package_pack PROPERTIES FIXTURES_SETUP packs TIMEOUT 300)
endfunction()

if(WIN32)
  add_pack_test("${tree}.zip")
  add_contents_test(package_contents_zip "${tree}.zip" "${tree}" dll import_library development)
  add_packed_consumer_test(package_zip_consumer package_contents_zip
    "${here}/package_contents_zip/${tree}")
elseif(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND BUILD_SHARED_LIBS AND QVREG_BUILD_HOST)
  include(packs_linux.cmake)
endif()
