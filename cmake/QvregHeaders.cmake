# qvreg_reachable_headers(RESULT): the headers that qvreg/qvreg.h includes, directly or through
# others, and itself, as paths from the repository root. These are what a package exports; every
# other header under qvreg/ is the library's own affair. The configuration runs again when one of
# them changes.
function(qvreg_reachable_headers result)
  set(seen qvreg/qvreg.h)
  set(waiting qvreg/qvreg.h)
  while(waiting)
    list(POP_FRONT waiting header)
    file(STRINGS "${PROJECT_SOURCE_DIR}/${header}" lines REGEX "^#include \"qvreg/[^\"]+\"")
    set_property(DIRECTORY "${PROJECT_SOURCE_DIR}" APPEND PROPERTY
      CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${header}")
    foreach(line IN LISTS lines)
      string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" included "${line}")
      # The build makes this one.
      if(included STREQUAL "qvreg/QvExport.h" OR included IN_LIST seen)
        continue()
      endif()
      list(APPEND seen "${included}")
      list(APPEND waiting "${included}")
    endforeach()
  endwhile()
  list(SORT seen)
  set(${result} "${seen}" PARENT_SCOPE)
endfunction()
