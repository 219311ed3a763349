// An application on Windows that loads qvreg.dll when it needs it, without its import library and
// whatever the compiler: `growth ~ soil + sun` from a record file, through the C interface.

#include <array>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include <windows.h>

#include "qvreg/c/qvreg_c.h"

namespace {

/// The DLL, loaded for as long as this lives.
class Library {
 public:
  explicit Library(const wchar_t* path) : module_(LoadLibraryW(path)) {
    if (module_ == nullptr) throw std::runtime_error("qvreg.dll could not be loaded");
  }
  ~Library() { FreeLibrary(module_); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  /// One of its functions: Get<decltype(qvreg_version)>("qvreg_version").
  template <typename Function>
  [[nodiscard]] Function* Get(const char* name) const {
    auto* const address = reinterpret_cast<void*>(GetProcAddress(module_, name));
    if (address == nullptr) throw std::runtime_error(std::string("qvreg.dll lacks ") + name);
    return reinterpret_cast<Function*>(address);
  }

 private:
  HMODULE module_;
};

/// The functions that this program calls, under their own names.
struct Qvreg {
  explicit Qvreg(const Library& library) : library(library) {}

#define QVREG_FUNCTION(name) decltype(::name)* const name = library.Get<decltype(::name)>(#name)
  const Library& library;
  QVREG_FUNCTION(qvreg_settings_create);
  QVREG_FUNCTION(qvreg_settings_set_dependent);
  QVREG_FUNCTION(qvreg_settings_add_factor);
  QVREG_FUNCTION(qvreg_settings_add_covariate);
  QVREG_FUNCTION(qvreg_settings_add_effect);
  QVREG_FUNCTION(qvreg_settings_destroy);
  QVREG_FUNCTION(qvreg_effect_create);
  QVREG_FUNCTION(qvreg_effect_add_factor);
  QVREG_FUNCTION(qvreg_effect_add_covariate);
  QVREG_FUNCTION(qvreg_effect_destroy);
  QVREG_FUNCTION(qvreg_source_open_file);
  QVREG_FUNCTION(qvreg_source_destroy);
  QVREG_FUNCTION(qvreg_component_create);
  QVREG_FUNCTION(qvreg_component_build);
  QVREG_FUNCTION(qvreg_component_get_results);
  QVREG_FUNCTION(qvreg_component_destroy);
  QVREG_FUNCTION(qvreg_results_get_estimates);
  QVREG_FUNCTION(qvreg_results_get_redundant);
  QVREG_FUNCTION(qvreg_results_get_fit_stat);
  QVREG_FUNCTION(qvreg_results_destroy);
#undef QVREG_FUNCTION
};

constexpr std::int32_t kGrowth = 0;  // positions in a record
constexpr std::int32_t kSoil = 1;
constexpr std::int32_t kSun = 2;

/// Growth in centimetres, soil 0 or 1, hours of sun.
constexpr std::array<std::array<double, 3>, 8> kRecords{{{12.1, 0, 3},
                                                         {15.9, 0, 5},
                                                         {19.2, 0, 6},
                                                         {22.0, 0, 8},
                                                         {10.4, 1, 4},
                                                         {13.1, 1, 5},
                                                         {16.8, 1, 7},
                                                         {20.5, 1, 9}}};

/// Writes the records to a new file in the folder for temporary ones; its name, in UTF-16.
std::wstring WriteRecords() {
  std::array<wchar_t, MAX_PATH + 1> folder{};
  GetTempPathW(static_cast<DWORD>(folder.size()), folder.data());
  const std::wstring path = std::wstring(folder.data()) + L"Größe der Pflanzen.records";
  std::FILE* file = _wfopen(path.c_str(), L"wb");
  if (file == nullptr) throw std::runtime_error("the record file could not be made");
  const std::size_t written = std::fwrite(kRecords.data(), sizeof kRecords, 1, file);
  if (std::fclose(file) != 0 || written != 1) {
    throw std::runtime_error("the record file could not be written");
  }
  return path;
}

std::string ToUtf8(const std::wstring& text) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.c_str(), -1, utf8.data(), size, nullptr, nullptr);
  return utf8;
}

/// Every function of the library answers a code and fills an error with the sentence for the user.
void Check(std::int32_t code, const qvreg_error& error) {
  if (code != QVREG_OK) throw std::runtime_error(error.message);
}

/// What a fit makes, given back to the library in the end, also when a step fails.
struct Handles {
  explicit Handles(const Qvreg& api) : api(api) {}
  ~Handles() {
    api.qvreg_results_destroy(results);
    api.qvreg_component_destroy(component);
    api.qvreg_source_destroy(source);
    api.qvreg_effect_destroy(sun);
    api.qvreg_effect_destroy(soil);
    api.qvreg_settings_destroy(settings);
  }
  Handles(const Handles&) = delete;
  Handles& operator=(const Handles&) = delete;

  const Qvreg& api;
  qvreg_settings* settings = nullptr;
  qvreg_effect* soil = nullptr;
  qvreg_effect* sun = nullptr;
  qvreg_source* source = nullptr;
  qvreg_component* component = nullptr;
  qvreg_results* results = nullptr;
};

void Describe(const Qvreg& api, Handles& made, qvreg_error& error) {
  Check(api.qvreg_settings_create(QVREG_MODEL_LINEAR, &made.settings, &error), error);
  Check(api.qvreg_settings_set_dependent(made.settings, kGrowth, &error), error);
  Check(api.qvreg_settings_add_factor(made.settings, kSoil, 2, &error), error);
  Check(api.qvreg_settings_add_covariate(made.settings, kSun, &error), error);
  Check(api.qvreg_effect_create(&kSoil, 1, &kSun, 1, &made.soil, &error), error);
  Check(api.qvreg_effect_add_factor(made.soil, kSoil, 0, &error), error);
  Check(api.qvreg_settings_add_effect(made.settings, made.soil, &error), error);
  Check(api.qvreg_effect_create(&kSoil, 1, &kSun, 1, &made.sun, &error), error);
  Check(api.qvreg_effect_add_covariate(made.sun, kSun, nullptr, &error), error);
  Check(api.qvreg_settings_add_effect(made.settings, made.sun, &error), error);
}

void Print(const Qvreg& api, const Handles& made, qvreg_error& error) {
  const char* const names[] = {"intercept ", "soil=0    ", "soil=1    ", "sun       "};
  std::array<double, 4> estimates{};
  std::array<std::int32_t, 4> redundant{};
  double rSquare = 0.0;
  Check(api.qvreg_results_get_estimates(made.results, estimates.data(), 4, nullptr, &error), error);
  Check(api.qvreg_results_get_redundant(made.results, redundant.data(), 4, nullptr, &error), error);
  Check(api.qvreg_results_get_fit_stat(made.results, QVREG_FIT_R_SQUARE, &rSquare, &error), error);
  for (std::size_t i = 0; i < estimates.size(); ++i) {
    std::printf("%s%8.4f%s\n", names[i], estimates[i], redundant[i] != 0 ? "  (redundant)" : "");
  }
  std::printf("R square  %8.4f\n", rSquare);
}

void FitFile(const Qvreg& api, const std::string& path) {
  qvreg_error error = QVREG_ERROR_INIT;
  Handles made(api);
  Describe(api, made, error);
  Check(api.qvreg_source_open_file(path.c_str(), kRecords[0].size(), &made.source, &error), error);
  Check(api.qvreg_component_create(made.settings, &made.component, &error), error);
  Check(api.qvreg_component_build(made.component, made.source, &error), error);
  Check(api.qvreg_component_get_results(made.component, &made.results, &error), error);
  Print(api, made, error);
}

}  // namespace

int main() {
  try {
    const Library library(L"qvreg.dll");  // beside this program, or on the search path
    const std::wstring path = WriteRecords();
    FitFile(Qvreg(library), ToUtf8(path));
    DeleteFileW(path.c_str());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "windows_host: %s\n", error.what());
    return 1;
  }
}
