# Installs BUILD into PREFIX by way of another folder, so that whatever remembers the folder it was
# installed to is found out.
file(REMOVE_RECURSE "${PREFIX}" "${PREFIX}-before")
execute_process(
  COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${PREFIX}-before"
  COMMAND_ERROR_IS_FATAL ANY)
file(RENAME "${PREFIX}-before" "${PREFIX}")
