# Finds DuckDB's C interface: a system installation first, then the pair that
# `./dev setup` keeps in .deps/duckdb. Defines DuckDB::DuckDB.
find_path(DuckDB_INCLUDE_DIR NAMES duckdb.h)
find_library(DuckDB_LIBRARY NAMES duckdb)
if(NOT DuckDB_INCLUDE_DIR OR NOT DuckDB_LIBRARY)
  unset(DuckDB_INCLUDE_DIR CACHE)
  unset(DuckDB_LIBRARY CACHE)
  find_path(DuckDB_INCLUDE_DIR NAMES duckdb.h PATHS "${PROJECT_SOURCE_DIR}/.deps/duckdb" NO_DEFAULT_PATH)
  find_library(DuckDB_LIBRARY NAMES duckdb PATHS "${PROJECT_SOURCE_DIR}/.deps/duckdb" NO_DEFAULT_PATH)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(DuckDB
  REQUIRED_VARS DuckDB_LIBRARY DuckDB_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "run ./dev setup, which fetches the pinned DuckDB")

if(DuckDB_FOUND AND NOT TARGET DuckDB::DuckDB)
  add_library(DuckDB::DuckDB SHARED IMPORTED)
  set_target_properties(DuckDB::DuckDB PROPERTIES
    IMPORTED_LOCATION "${DuckDB_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${DuckDB_INCLUDE_DIR}")
endif()
mark_as_advanced(DuckDB_INCLUDE_DIR DuckDB_LIBRARY)
