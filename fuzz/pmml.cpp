// Saved models as PMML, altered with their digest: refused with a sentence, or a model that scores
// and is written as it was read.
#include "host/model/Pmml.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <pugixml.hpp>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "fuzz/Check.h"
#include "fuzz/MemoryFile.h"
#include "host/Error.h"
#include "host/model/ModelEquations.h"
#include "host/model/RestoredModel.h"
#include "host/model/XmlElement.h"

namespace {

using namespace qvfuzz;

constexpr unsigned int kFlags = pugi::parse_default | pugi::parse_ws_pcdata_single;

/// Makes the digest at the end of the document that of what is before it.
void Seal(pugi::xml_node root) {
  pugi::xml_node digest = root.last_child();
  if (digest.attribute("name").value() != std::string_view("sha256")) return;
  root.remove_child(digest);
  const std::string sealed = qvhost::DigestOf(root);
  digest = root.append_child("Extension");
  digest.append_attribute("extender") = "qvreg";
  digest.append_attribute("name") = "sha256";
  digest.append_attribute("value") = sealed.c_str();
}

// ---- Alterations

std::vector<pugi::xml_node> ElementsOf(pugi::xml_node root) {
  std::vector<pugi::xml_node> all{root};
  for (std::size_t i = 0; i < all.size(); ++i) {
    for (const pugi::xml_node& child : all[i].children()) {
      if (child.type() == pugi::node_element) all.push_back(child);
    }
  }
  return all;
}

std::string TakeValue(FuzzedDataProvider& data) {
  constexpr const char* kValues[] = {"",      "0",     "1",     "-1",         "2",
                                     "1e999", "NaN",   "INF",   "2147483647", "2147483646",
                                     "true",  "false", "a",     "species",    "9223372036854775807",
                                     "()",    "log(",  "x + 1", "number",     "0.5"};
  if (data.ConsumeBool()) return data.PickValueInArray(kValues);
  return data.ConsumeRandomLengthString(20);
}

void Alter(FuzzedDataProvider& data, pugi::xml_node root) {
  const std::vector<pugi::xml_node> elements = ElementsOf(root);
  pugi::xml_node element =
      elements[data.ConsumeIntegralInRange<std::size_t>(0, elements.size() - 1)];
  const auto nAttributes = std::distance(element.attributes_begin(), element.attributes_end());
  pugi::xml_attribute attribute = element.first_attribute();
  for (auto skip = data.ConsumeIntegralInRange<std::ptrdiff_t>(0, nAttributes); skip > 0; --skip) {
    attribute = attribute.next_attribute();
  }
  switch (data.ConsumeIntegralInRange(0, 6)) {
    case 0:
    case 1:
      attribute.set_value(TakeValue(data).c_str());
      return;
    case 2:
      element.text().set(TakeValue(data).c_str());
      return;
    case 3:
      element.remove_attribute(attribute);
      return;
    case 4:
      if (element != root) element.parent().insert_copy_after(element, element);
      return;
    case 5:
      element.append_attribute(TakeValue(data).c_str()) = "1";
      return;
    default:
      if (element != root) element.parent().remove_child(element);
  }
}

/// A saved model with so many alterations.
std::string AlteredText(FuzzedDataProvider& data, bool isLinear, int nChanges) {
  const std::string base = std::string(QVREG_SOURCES) +
                           (isLinear ? "/fuzz/saved/linear.pmml" : "/fuzz/saved/logistic.pmml");
  pugi::xml_document document;
  Check(static_cast<bool>(document.load_file(base.c_str(), kFlags)), "a saved model is XML");
  for (int i = 0; i < nChanges; ++i) Alter(data, document.document_element());
  Seal(document.document_element());
  std::ostringstream text;
  document.save(text, "", pugi::format_raw);
  return text.str();
}

/// What score does with a model, but for the table.
void Use(const qvhost::SavedModel& model) {
  const qvhost::RestoredModel restored = qvhost::RestoredModel::OfBytes(model.component);
  const std::size_t size = restored.Settings().GetVariableTypes().size();
  for (const double value : {0.0, 1.0, 1e300, std::numeric_limits<double>::quiet_NaN()}) {
    QvCommon::Record record(static_cast<int>(size));
    for (int i = 0; i < record.Size(); ++i) record[i] = value;
    double predicted = 0.0;
    std::vector<double> probabilities;
    static_cast<void>(restored.Component().Score(record, predicted, probabilities));
  }
  try {
    static_cast<void>(qvhost::EquationsOf(model.component));
  } catch (const qvhost::Error&) {
    // Coefficients that no double holds.
  }
}

/// Whether it was read.
bool Try(const std::string& text) {
  qvhost::SavedModel model;
  try {
    model = qvhost::ReadSavedModel(MemoryFile(text).Path());
  } catch (const qvhost::Error& error) {
    const std::string what = std::string("a file that is refused is bad input: ") + error.what();
    Check(error.Code() == qvhost::ExitCode::kBadInput, what.c_str());
    return false;
  }
  Use(model);
  const std::string first = qvhost::WritePmml(model);
  const qvhost::SavedModel again = qvhost::ReadSavedModel(MemoryFile(first).Path());
  Check(qvhost::WritePmml(again) == first, "a model that is written is read as the same");
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  if (data.ConsumeIntegralInRange(0, 7) == 7) {
    static_cast<void>(Try(data.ConsumeRemainingBytesAsString()));
    return 0;
  }
  const bool isLinear = data.ConsumeBool();
  const int nChanges = data.ConsumeIntegralInRange(0, 3);
  const bool isRead = Try(AlteredText(data, isLinear, nChanges));
  Check(isRead || nChanges > 0, "a model that was not altered is read");
  return 0;
}
