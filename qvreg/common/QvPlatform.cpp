// Frees what a DLL with its own copy of the standard library would leak when its host unloads it.

#if defined(_WIN32) && defined(__GNUC__) && defined(qvreg_EXPORTS)

namespace __gnu_cxx {
/// Releases the memory that libstdc++ keeps for exceptions when there is no other, 73 kB. It does
/// not do so itself, expecting to last as long as the process.
void __freeres() noexcept;  // NOLINT(bugprone-reserved-identifier): libstdc++'s own name
}  // namespace __gnu_cxx

namespace {

[[gnu::destructor]] void ReleaseExceptionPool() { __gnu_cxx::__freeres(); }

}  // namespace

#endif
