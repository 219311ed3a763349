#pragma once

#include <stdexcept>
#include <string>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace qvtest {

/// A shared library loaded while the program runs, and unloaded when this goes.
class Library {
 public:
#if defined(_WIN32)
  explicit Library(const std::string& path) : handle_(LoadLibraryA(path.c_str())) { Require(path); }
  ~Library() { FreeLibrary(handle_); }
  /// Whether this process has the library loaded.
  [[nodiscard]] static bool IsLoaded(const std::string& path) {
    return GetModuleHandleA(path.c_str()) != nullptr;
  }
#else
  explicit Library(const std::string& path) : handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    Require(path);
  }
  ~Library() { dlclose(handle_); }
  /// Whether this process has the library loaded.
  [[nodiscard]] static bool IsLoaded(const std::string& path) {
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) dlclose(handle);
    return handle != nullptr;
  }
#endif
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  /// A function of the library, called as the one that it is declared as.
  template <typename Function>
  [[nodiscard]] Function* Get(const char* name) const {
#if defined(_WIN32)
    auto* const address = reinterpret_cast<void*>(GetProcAddress(handle_, name));
#else
    void* const address = dlsym(handle_, name);
#endif
    if (address == nullptr) throw std::runtime_error(std::string("no function ") + name);
    return reinterpret_cast<Function*>(address);
  }

 private:
  void Require(const std::string& path) const {
    if (handle_ == nullptr) throw std::runtime_error("could not load " + path);
  }

#if defined(_WIN32)
  HMODULE handle_;
#else
  void* handle_;
#endif
};

}  // namespace qvtest
