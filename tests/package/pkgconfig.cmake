# Builds the examples in FOLDER with what pkg-config says, as somebody without CMake would, and
# compares what they print.
#
#   cmake -DPREFIX=<installed tree> -DLIBDIR=<lib> -DEXAMPLES=<folder> -DTESTS=<tests/examples>
#         -DCC=<C compiler;option...> -DCXX=<C++ compiler;option...> -DASK=<--static or nothing>
#         -DSUFFIX=<.exe or nothing> -DEMULATOR=<list> -DFOLDER=<to build in> -P pkgconfig.cmake
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE "${FOLDER}")
file(MAKE_DIRECTORY "${FOLDER}")
# Where it is moved to has a space in its name.
set(moved "${FOLDER}/moved here")
file(COPY "${PREFIX}/" DESTINATION "${moved}")
set(ENV{PKG_CONFIG_LIBDIR} "${moved}/${LIBDIR}/pkgconfig")
set(ENV{LD_LIBRARY_PATH} "${moved}/${LIBDIR}")
execute_process(COMMAND pkg-config ${ASK} --cflags --libs qvreg
  OUTPUT_VARIABLE answer OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
message(STATUS "pkg-config: ${answer}")
separate_arguments(answer UNIX_COMMAND "${answer}")

# build_and_run(EXAMPLE COMPILE...)
function(build_and_run example)
  set(program "${FOLDER}/${example}${SUFFIX}")
  execute_process(COMMAND ${ARGN} -o "${program}" ${answer} COMMAND_ERROR_IS_FATAL ANY)
  set(COMMAND ${EMULATOR} "${program}")
  set(EXPECTED "${TESTS}/expected/fit_from_vector.txt")
  include("${TESTS}/output.cmake")
endfunction()

build_and_run(fit_from_vector ${CXX} -std=c++20 "${EXAMPLES}/fit_from_vector.cpp")
build_and_run(fit_from_c ${CC} -std=c11 "${EXAMPLES}/fit_from_c.c")
