# Tests of the other ways to qvreg, and that all of them state one version.
set(outside_options -G "${CMAKE_GENERATOR}" ${compilers}
  "-DPROGRAM=${PROJECT_SOURCE_DIR}/examples/fit_from_vector.cpp")
add_script_test(package_fetch_content outside
  "PROJECT=${scripts}/outside" "FOLDER=${here}/fetch_content" "TESTS=${example_tests}" STEPS=build
  "OPTIONS=${outside_options};-DQVREG_UNITY=${QVREG_UNITY};-DFETCHCONTENT_SOURCE_DIR_QVREG=${PROJECT_SOURCE_DIR}")
add_script_test(package_add_subdirectory outside
  "PROJECT=${scripts}/outside" "FOLDER=${here}/add_subdirectory" STEPS=configure
  "OPTIONS=${outside_options};-DSUBDIRECTORY=${PROJECT_SOURCE_DIR}")
set_tests_properties(package_fetch_content PROPERTIES TIMEOUT 900)

set(stating)
if(QVREG_BUILD_HOST)
  set(stating "COMMAND=${prefix}/${command}")
endif()
add_script_test(package_version version "VERSION=${PROJECT_VERSION}" "SOVERSION=${soversion}"
  "PREFIX=${prefix}" "LIBDIR=${CMAKE_INSTALL_LIBDIR}" "READELF=${CMAKE_READELF}"
  "CHANGES=${PROJECT_SOURCE_DIR}/CHANGELOG.md" ${stating})
set_tests_properties(package_version PROPERTIES FIXTURES_REQUIRED package)
