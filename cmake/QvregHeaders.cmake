# The headers that a host includes by name, for C++ and for C.
set(qvreg_public_headers qvreg/qvreg.h qvreg/c/qvreg_c.h)

# What the build makes, and a package holds as well.
set(qvreg_generated_headers qvreg/QvExport.h qvreg/QvVersion.h)

# qvreg_reachable_headers(RESULT): the public headers and what they include, directly or through
# others, as paths from the repository root, without the generated ones. These are what a package
# exports; every other header under qvreg/ is the library's own affair. The configuration runs again
# when one of them changes.
function(qvreg_reachable_headers result)
  set(seen ${qvreg_public_headers})
  set(waiting ${qvreg_public_headers})
  while(waiting)
    list(POP_FRONT waiting header)
    file(STRINGS "${PROJECT_SOURCE_DIR}/${header}" lines REGEX "^#include \"qvreg/[^\"]+\"")
    set_property(DIRECTORY "${PROJECT_SOURCE_DIR}" APPEND PROPERTY
      CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${header}")
    foreach(line IN LISTS lines)
      string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" included "${line}")
      if(included IN_LIST qvreg_generated_headers OR included IN_LIST seen)
        continue()
      endif()
      list(APPEND seen "${included}")
      list(APPEND waiting "${included}")
    endforeach()
  endwhile()
  list(SORT seen)
  set(${result} "${seen}" PARENT_SCOPE)
endfunction()
