# Compile options shared by every target of the project. They are attached to
# targets through qvreg_build_options, never set globally, so that a project
# which includes this one keeps its own.
add_library(qvreg_build_options INTERFACE)

target_compile_features(qvreg_build_options INTERFACE c_std_11 cxx_std_20)

if(MSVC)
  target_compile_options(qvreg_build_options INTERFACE /W4 /permissive-)
else()
  target_compile_options(qvreg_build_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
    -Wcast-align -Wformat=2
    # Clang's also warns of long double.
    $<$<CXX_COMPILER_ID:GNU>:-Wdouble-promotion>
    "$<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor;-Woverloaded-virtual;-Wold-style-cast>"
    "$<$<COMPILE_LANGUAGE:C>:-Wstrict-prototypes;-Wmissing-prototypes>"
    # GCC 12 warns of overlaps inside std::string that cannot be (its bug 105651).
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>)
endif()

if(QVREG_WARNINGS_AS_ERRORS)
  target_compile_options(qvreg_build_options INTERFACE $<IF:$<CXX_COMPILER_ID:MSVC>,/WX,-Werror>)
endif()

if(QVREG_SANITIZE)
  target_compile_options(qvreg_build_options INTERFACE
    -fsanitize=${QVREG_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  # Programs in C load a library in C++ here, whose checks need more of Clang's run-time library.
  set(QVREG_SANITIZE_LINK -fsanitize=${QVREG_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    list(APPEND QVREG_SANITIZE_LINK -fsanitize-link-c++-runtime)
    target_link_libraries(qvreg_build_options INTERFACE $<$<LINK_LANGUAGE:C>:stdc++>)
  endif()
  target_link_options(qvreg_build_options INTERFACE ${QVREG_SANITIZE_LINK})
endif()

if(QVREG_COVERAGE)
  # Counted is the code of the library and the command, wherever a header brings it: neither that of
  # the tests nor that of other libraries, which would take most of the time.
  target_compile_options(qvreg_build_options INTERFACE --coverage -fprofile-update=atomic
    "-fprofile-filter-files=(^|/)(qvreg|host)/" "-fprofile-exclude-files=(^|/)tests/")
  target_link_options(qvreg_build_options INTERFACE --coverage)
endif()

# What is installed is hardened: attached to it through qvreg_hardening, and to nothing else. Builds
# with sanitizers look closer by themselves.
add_library(qvreg_hardening INTERFACE)
set(optimized $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
if(QVREG_HARDENING AND NOT MSVC AND NOT QVREG_SANITIZE AND NOT QVREG_COVERAGE)
  if(WIN32)
    # The run-time library of guarded stacks is a DLL there, and the linker's own defaults vary.
    target_link_options(qvreg_hardening INTERFACE
      "LINKER:--dynamicbase,--nxcompat,--high-entropy-va")
  else()
    target_compile_options(qvreg_hardening INTERFACE -fstack-protector-strong)
    # Some compilers define it by themselves. It needs optimization.
    target_compile_options(qvreg_hardening INTERFACE
      "$<${optimized}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
    target_link_options(qvreg_hardening INTERFACE "LINKER:-z,relro,-z,now,-z,noexecstack")
  endif()
endif()

if(NOT QVREG_COVERAGE)
  # The standard library checks indices and more.
  target_compile_definitions(qvreg_build_options INTERFACE $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
endif()
