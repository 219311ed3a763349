# The two archives, and on Debian its three packages.
set(duckdb)
if(qvreg_brings_duckdb)
  set(duckdb duckdb)
endif()
set(command_archive "qvreg-command-${PROJECT_VERSION}-${system}.tar.gz")
add_contents_test(package_contents_tgz "${tree}.tar.gz" "${tree}" library namelink development)
add_contents_test(package_contents_tgz_command "${command_archive}" "${tree}"
  library command manual completion ${duckdb})
add_packed_consumer_test(package_tgz_consumer package_contents_tgz
  "${here}/package_contents_tgz/${tree}")
add_command_tests(package_tgz package_contents_tgz_command
  "${here}/package_contents_tgz_command/${tree}")

if(NOT "DEB" IN_LIST qvreg_generators)
  add_pack_test("${tree}.tar.gz" "${command_archive}")
  return()
endif()

execute_process(COMMAND dpkg --print-architecture
  OUTPUT_VARIABLE architecture OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(suffix "_${PROJECT_VERSION}_${architecture}.deb")
set(library_deb "libqvreg${soversion}${suffix}")
set(development_deb "libqvreg-dev${suffix}")
set(command_deb "qvreg${suffix}")
add_pack_test(
  "${tree}.tar.gz" "${command_archive}" "${library_deb}" "${development_deb}" "${command_deb}")
add_contents_test(package_contents_deb_library "${library_deb}" usr library)
add_contents_test(package_contents_deb_development "${development_deb}" usr namelink development)
add_contents_test(package_contents_deb_command "${command_deb}" usr
  command debian_manual debian_completion ${duckdb})

set(root "${here}/debian-root")
set(debs ${library_deb} ${development_deb} ${command_deb})
list(TRANSFORM debs PREPEND "${packs}/")
add_script_test(package_deb_install install_debs "ROOT=${root}" "PACKAGES=${debs}")
set_tests_properties(package_deb_install PROPERTIES
  FIXTURES_REQUIRED packs
  FIXTURES_SETUP debian_root)
add_packed_consumer_test(package_deb_consumer debian_root "${root}/usr")
add_command_tests(package_deb debian_root "${root}/usr")
