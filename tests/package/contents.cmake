# Unpacks a package in an empty folder and compares what it holds with what it must hold: nothing
# may be missing, and nothing may be there that is not listed here.
#
#   cmake -DPACKAGE=<file> -DFOLDER=<to unpack in> -DTREE=<where in it the tree begins>
#         -DCOMPONENTS=<list> -DDEVELOPMENT=<list> -DPAGES=<list> -DLIBDIR=<lib> -DVERSION=<x.y.z>
#         -DSOVERSION=<x> -P contents.cmake
cmake_minimum_required(VERSION 3.25)

string(REPLACE "." "\\." version "${VERSION}")
string(REPLACE "." "\\." soversion "${SOVERSION}")

# Every entry is an expression for one file or more.
set(licence "share/licenses/qvreg/LICENSE")
set(library "${LIBDIR}/libqvreg\\.so\\.${soversion}" "${LIBDIR}/libqvreg\\.so\\.${version}"
  "${licence}")
set(dll "bin/qvreg\\.dll" "${licence}")
set(namelink "${LIBDIR}/libqvreg\\.so")
set(import_library "${LIBDIR}/libqvreg\\.dll\\.a")
set(command "bin/qvreg" "share/licenses/vega/LICENSE" "share/licenses/vega-lite/LICENSE"
  "share/licenses/vega-embed/LICENSE")
set(completion "share/bash-completion/completions/qvreg" "share/zsh/site-functions/_qvreg")
set(debian_completion
  "share/bash-completion/completions/qvreg" "share/zsh/vendor-completions/_qvreg")
set(manual)
foreach(page IN LISTS PAGES)
  list(APPEND manual "share/man/man1/${page}\\.1")
endforeach()
set(debian_manual ${manual})
list(TRANSFORM debian_manual APPEND "\\.gz")
set(duckdb "${LIBDIR}/qvreg/libduckdb\\.so" "share/licenses/duckdb/LICENSE")
set(development
  "${LIBDIR}/cmake/qvreg/qvregConfig\\.cmake"
  "${LIBDIR}/cmake/qvreg/qvregConfigVersion\\.cmake"
  "${LIBDIR}/cmake/qvreg/qvregTargets\\.cmake"
  "${LIBDIR}/cmake/qvreg/qvregTargets-[a-z]+\\.cmake"
  "${LIBDIR}/pkgconfig/qvreg\\.pc"
  "share/doc/qvreg/README\\.md"
  "share/doc/qvreg/CHANGELOG\\.md")
foreach(file IN LISTS DEVELOPMENT)
  string(REPLACE "." "\\." file "${file}")
  list(APPEND development "${file}")
endforeach()

file(REMOVE_RECURSE "${FOLDER}")
file(MAKE_DIRECTORY "${FOLDER}")
if(PACKAGE MATCHES "\\.deb$")
  execute_process(COMMAND dpkg-deb --extract "${PACKAGE}" "${FOLDER}" COMMAND_ERROR_IS_FATAL ANY)
else()
  file(ARCHIVE_EXTRACT INPUT "${PACKAGE}" DESTINATION "${FOLDER}")
endif()

file(GLOB_RECURSE files LIST_DIRECTORIES FALSE RELATIVE "${FOLDER}" "${FOLDER}/*")
set(strays ${files})
set(missing)
foreach(component IN LISTS COMPONENTS)
  foreach(expression IN LISTS ${component})
    set(found ${files})
    list(FILTER found INCLUDE REGEX "^${TREE}/${expression}$")
    if(NOT found)
      list(APPEND missing "${TREE}/${expression}")
    endif()
    list(REMOVE_ITEM strays ${found})
  endforeach()
endforeach()

cmake_path(GET PACKAGE FILENAME name)
if(NOT files OR missing OR strays)
  list(JOIN missing "\n  " missing)
  list(JOIN strays "\n  " strays)
  message(FATAL_ERROR "${name} lacks:\n  ${missing}\n${name} should not hold:\n  ${strays}")
endif()
list(LENGTH files count)
file(SIZE "${PACKAGE}" size)
message(STATUS "${name}: ${count} files, ${size} bytes")
