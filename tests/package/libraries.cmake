# The installed command finds the installed libraries, not those of the build or the source tree.
file(GET_RUNTIME_DEPENDENCIES
  EXECUTABLES "${PREFIX}/${COMMAND}"
  RESOLVED_DEPENDENCIES_VAR resolved
  UNRESOLVED_DEPENDENCIES_VAR unresolved)
if(unresolved)
  message(FATAL_ERROR "the installed command does not find: ${unresolved}")
endif()
foreach(name IN LISTS EXPECTED)
  set(found ${resolved})
  list(FILTER found INCLUDE REGEX "/${name}[^/]*$")
  cmake_path(IS_PREFIX PREFIX "${found}" NORMALIZE is_installed)
  if(NOT is_installed)
    message(FATAL_ERROR "the installed command takes ${name} from '${found}'")
  endif()
endforeach()
