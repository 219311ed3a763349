// Fits every reference case of both models through the shared library, as a host would, and writes
// all numbers to a file, or compares them with such a file that another build wrote:
//
//   reference_fits write FILE
//   reference_fits compare FILE    fails where a number differs in any bit

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/qvreg/support/ReferenceCase.h"
#include "tests/qvreg/support/ReferenceRun.h"

namespace {

/// Numbers by what they are, such as `r/nested refined estimate 3`.
using Numbers = std::map<std::string, double>;

void AddAll(Numbers& numbers, const std::string& name, const std::vector<double>& values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    numbers[name + ' ' + std::to_string(i)] = values[i];
  }
}

void AddLinearFit(Numbers& numbers, const qvtest::ReferenceCase& reference, bool refine) {
  const qvtest::ReferenceValues fit = qvtest::FitLinearCase(reference, refine ? 1 : 0).values;
  const std::string name = reference.name + (refine ? " refined" : " plain");
  AddAll(numbers, name + " estimate", fit.estimates);
  AddAll(numbers, name + " variance", fit.unscaledVariance);
  numbers[name + " rmse"] = fit.rmse;
  numbers[name + " R square"] = fit.rSquare;
}

void AddLogisticFit(Numbers& numbers, const qvtest::ReferenceCase& reference, bool inMemory) {
  const qvtest::ReferenceValues fit = qvtest::LogisticReferenceRun(reference, inMemory).Values();
  const std::string name = reference.name + (inMemory ? " in memory" : " record by record");
  AddAll(numbers, name + " estimate", fit.estimates);
  AddAll(numbers, name + " error", fit.standardErrors);
  numbers[name + " initial log-likelihood"] = fit.loglikInitial;
  numbers[name + " log-likelihood"] = fit.loglik;
  numbers[name + " Cox-Snell"] = fit.coxSnell;
  numbers[name + " Nagelkerke"] = fit.nagelkerke;
  numbers[name + " McFadden"] = fit.mcFadden;
}

Numbers FitAll() {
  Numbers numbers;
  for (const char* folder : {"linear", "r", "logistic/fits"}) {
    for (const std::string& name : qvtest::ReferenceNames(folder)) {
      const qvtest::ReferenceCase reference = qvtest::LoadReferenceCase(name);
      for (const bool choice : {false, true}) {
        if (reference.model.IsLogistic()) {
          AddLogisticFit(numbers, reference, choice);
        } else {
          AddLinearFit(numbers, reference, choice);
        }
      }
    }
  }
  return numbers;
}

/// One line a number: its name, a tab, its digits in base 16, which lose nothing.
void Write(const Numbers& numbers, const std::string& path) {
  std::ofstream file(path);
  for (const auto& [name, value] : numbers) {
    std::array<char, 32> digits{};
    std::snprintf(digits.data(), digits.size(), "%a", value);
    file << name << '\t' << digits.data() << '\n';
  }
  if (!file.flush()) throw std::runtime_error("could not write " + path);
}

Numbers Read(const std::string& path) {
  std::ifstream file(path);
  Numbers numbers;
  for (std::string line; std::getline(file, line);) {
    const std::size_t tab = line.find('\t');
    if (tab == std::string::npos) throw std::runtime_error("not a number: " + line);
    numbers[line.substr(0, tab)] = std::stod(line.substr(tab + 1));
  }
  if (numbers.empty()) throw std::runtime_error("could not read " + path);
  return numbers;
}

bool AreSame(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

/// True when both have the same numbers, to the last bit.
bool Compare(const Numbers& here, const Numbers& there) {
  std::size_t nDifferent = 0;
  for (const auto& [name, value] : here) {
    const auto found = there.find(name);
    if (found == there.end()) {
      ++nDifferent;
      std::printf("%s: %.17g here, none there\n", name.c_str(), value);
    } else if (!AreSame(value, found->second)) {
      ++nDifferent;
      std::printf("%s: %.17g here, %.17g there\n", name.c_str(), value, found->second);
    }
  }
  std::printf("%zu numbers here, %zu there, %zu of these different\n", here.size(), there.size(),
              nDifferent);
  return nDifferent == 0 && here.size() == there.size();
}

int Run(const std::string& verb, const std::string& path) {
  if (verb == "write") {
    Write(FitAll(), path);
    return 0;
  }
  if (verb == "compare") return Compare(FitAll(), Read(path)) ? 0 : 1;
  throw std::runtime_error("write or compare, not " + verb);
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::fprintf(stderr, "usage: reference_fits write|compare FILE\n");
    return 2;
  }
  try {
    return Run(arguments[1], arguments[2]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "reference_fits: %s\n", error.what());
    return 2;
  }
}
