# Installs Debian packages into a root that holds nothing else. dpkg is told that what they depend
# on outside themselves is there, in the version that this system has; a package that this system
# lacks stays missing, and dpkg then refuses.
#
#   cmake -DROOT=<folder> -DPACKAGES=<list of files> -P install_debs.cmake
cmake_minimum_required(VERSION 3.25)

set(database "${ROOT}/var/lib/dpkg")
file(REMOVE_RECURSE "${ROOT}")
file(MAKE_DIRECTORY "${database}/info" "${database}/updates" "${database}/triggers" "${ROOT}/etc")

set(needed)
set(own)
foreach(package IN LISTS PACKAGES)
  foreach(field IN ITEMS Package Depends)
    execute_process(COMMAND dpkg-deb --field "${package}" ${field}
      OUTPUT_VARIABLE ${field} OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
  list(APPEND own "${Package}")
  string(REGEX REPLACE " *\\([^)]*\\)" "" Depends "${Depends}")
  string(REGEX REPLACE ", *" ";" Depends "${Depends}")
  list(APPEND needed ${Depends})
endforeach()
list(REMOVE_DUPLICATES needed)
list(REMOVE_ITEM needed ${own})
if(NOT needed)
  message(FATAL_ERROR "no package depends on anything of the system, not even on libc6")
endif()
message(STATUS "needed of the system: ${needed}")

file(WRITE "${database}/status" "")
foreach(package IN LISTS needed)
  execute_process(COMMAND dpkg-query --status "${package}" OUTPUT_VARIABLE entry)
  file(APPEND "${database}/status" "${entry}\n")
  file(TOUCH "${database}/info/${package}.list")
endforeach()

# The folder with our ldconfig goes first.
execute_process(
  COMMAND "${CMAKE_COMMAND}" -E env "PATH=${CMAKE_CURRENT_LIST_DIR}/bin:/usr/sbin:/sbin:$ENV{PATH}"
    dpkg "--root=${ROOT}" "--log=${ROOT}/dpkg.log" --force-not-root --force-script-chrootless
      --install ${PACKAGES}
  COMMAND_ERROR_IS_FATAL ANY)
