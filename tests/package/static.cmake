# Tests of the static library, which is another build.
set(static_build "${here}/static-build")
add_test(NAME package_static_build
  COMMAND "${CMAKE_CTEST_COMMAND}"
    --build-and-test "${PROJECT_SOURCE_DIR}" "${static_build}"
    --build-generator "${CMAKE_GENERATOR}"
    --build-options
      ${compilers}
      "-DCMAKE_BUILD_TYPE=Debug"
      -DBUILD_SHARED_LIBS=OFF
      "-DQVREG_UNITY=${QVREG_UNITY}"
      -DQVREG_BUILD_HOST=OFF
      -DQVREG_BUILD_TESTS=OFF
      -DQVREG_BUILD_EXAMPLES=OFF
    --test-command "${CMAKE_COMMAND}" "-DBUILD=${static_build}" "-DPREFIX=${static_prefix}"
      -P "${scripts}/install.cmake")
set_tests_properties(package_static_build PROPERTIES
  FIXTURES_SETUP static_package
  TIMEOUT 900)
add_consumer_test(package_static_consumer
  "${static_prefix}" "${static_prefix}/${CMAKE_INSTALL_DATADIR}/doc/qvreg/examples")
set_tests_properties(package_static_consumer PROPERTIES FIXTURES_REQUIRED static_package)
