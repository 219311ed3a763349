#include "host/model/Pmml.h"

#include <algorithm>
#include <charconv>
#include <pugixml.hpp>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/model/ExtensionFields.h"
#include "host/model/GeneralRegression.h"
#include "host/model/PmmlFields.h"
#include "host/model/SavedParts.h"
#include "host/model/XmlElement.h"
#include "host/model/XmlFile.h"
#include "qvreg/common/QvNumberText.h"

namespace qvhost {
namespace {

constexpr const char* kNamespace = "http://www.dmg.org/PMML-4_4";
constexpr const char* kVersion = "4.4";

/// Of what stands in our own elements. A reader of a later one reads all before it.
constexpr long long kFormat = 1;

constexpr const char* kModel = "GeneralRegressionModel";

/// The names of our elements at the end of the root: all parts, and the digest of what is before
/// it.
constexpr const char* kFormatName = "format";
constexpr const char* kPartsName = "model";
constexpr const char* kDigestName = "sha256";

// ---- Writing -----------------------------------------------------------------

void RequireXmlText(const std::string& text, const char* what) {
  if (IsXmlText(text)) return;
  throw Error(ExitCode::kRunFailed,
              fmt::format("{} '{}' holds a control character, which PMML cannot; replace it in the "
                          "data, or by replace() in the formula, to save the model.",
                          what, Printable(text)));
}

void RequireXmlTexts(const SavedModel& model) {
  RequireXmlText(model.fit.formula, "The formula");
  for (const SavedColumn& column : model.columns) RequireXmlText(column.name, "The column's name");
  for (const SavedVariable& variable : model.variables) {
    for (const std::string* text : {&variable.label, &variable.field, &variable.expression}) {
      RequireXmlText(*text, "The variable");
    }
    for (const std::string& level : variable.levels) RequireXmlText(level, "The level");
  }
  for (const std::string& text : model.reading.na) RequireXmlText(text, "The missing string");
}

pugi::xml_node AppendExtension(pugi::xml_node parent, const char* name) {
  const pugi::xml_node added = AppendElement(parent, "Extension");
  SetAttribute(added, "extender", "qvreg");
  SetAttribute(added, "name", name);
  return added;
}

void WriteHeader(pugi::xml_node pmml, const SavedModel& model) {
  const pugi::xml_node header = AppendElement(pmml, "Header");
  SetAttribute(header, "description", model.fit.formula);
  const pugi::xml_node application = AppendElement(header, "Application");
  SetAttribute(application, "name", "qvreg");
  SetAttribute(application, "version", QVREG_VERSION);
}

/// Appends text to a string.
class StringWriter final : public pugi::xml_writer {
 public:
  void write(const void* data, std::size_t size) override {
    text_.append(static_cast<const char*>(data), size);
  }
  [[nodiscard]] std::string Take() { return std::move(text_); }

 private:
  std::string text_;
};

std::string TextOf(const pugi::xml_document& document) {
  StringWriter writer;
  document.save(writer, " ", pugi::format_indent | pugi::format_no_declaration,
                pugi::encoding_utf8);
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + writer.Take();
}

// ---- Reading -----------------------------------------------------------------

/// Reads one file.
class ModelReader {
 public:
  explicit ModelReader(const std::string& file) : file_(file), xml_(file) {}

  SavedModel Read() {
    pugi::xml_node root = xml_.Root();
    CheckRoot(root);
    CheckFormat(root);
    CheckDigest(root);
    return ReadParts(root);
  }

 private:
  static constexpr const char* kWayOut = "name what 'qvreg fit --save' wrote.";

  [[noreturn]] void Refuse(const std::string& what) const {
    throw Error(ExitCode::kBadInput, fmt::format("'{}' {}", file_, what));
  }

  [[noreturn]] void RefuseNewer(const std::string& what) const {
    Refuse(fmt::format(
        "is {}, which this version of qvreg ({}) does not read; use the version that saved it.",
        what, QVREG_VERSION));
  }

  void CheckRoot(pugi::xml_node root) const {
    if (root.name() != std::string_view("PMML")) {
      Refuse(fmt::format("is no PMML: its root is the element '{}'; {}", Printable(root.name()),
                         kWayOut));
    }
  }

  /// The element of ours of this name; none where there is none.
  static pugi::xml_node Own(pugi::xml_node root, const char* name) {
    for (const pugi::xml_node& child : root.children("Extension")) {
      const bool isOwn = child.attribute("extender").value() == std::string_view("qvreg");
      if (isOwn && child.attribute("name").value() == std::string_view(name)) return child;
    }
    return {};
  }

  void CheckFormat(pugi::xml_node root) const {
    const pugi::xml_node format = Own(root, kFormatName);
    if (!format) {
      const std::string_view producer =
          root.child("Header").child("Application").attribute("name").value();
      if (producer == "qvreg") RefuseAltered();
      Refuse(fmt::format(
          "is PMML {}, which this command does not score: it lacks what 'qvreg fit "
          "--save' writes beside the standard.",
          producer.empty() ? "of another producer" : fmt::format("of '{}'", Printable(producer))));
    }
    long long number = 0;
    if (!QvCommon::ReadNumber(std::string_view(format.attribute("value").value()), number)) {
      RefuseAltered();
    }
    if (number > kFormat) RefuseNewer(fmt::format("a model of format {}", number));
    const std::string_view version = root.attribute("version").value();
    double written = 0.0;
    double own = 0.0;
    const bool isNumber = QvCommon::ReadNumber(version, written) &&
                          QvCommon::ReadNumber(std::string_view(kVersion), own);
    if (isNumber && written > own) RefuseNewer(fmt::format("PMML {}", version));
  }

  [[noreturn]] void RefuseAltered() const {
    Refuse(
        "was changed since it was saved: its content is not that of its digest; take the file as "
        "it was saved, or fit the model again.");
  }

  void CheckDigest(pugi::xml_node root) const {
    const pugi::xml_node digest = Own(root, kDigestName);
    if (!digest || digest.next_sibling() || digest.first_child()) RefuseAltered();
    const std::string written = digest.attribute("value").value();
    root.remove_child(digest);
    if (written != DigestOf(root)) RefuseAltered();
  }

  /// What other engines read of the fields is what the variables are.
  static void RequireFields(pugi::xml_node root, const SavedModel& model) {
    pugi::xml_document document;
    const pugi::xml_node expected = document.append_child("PMML");
    WriteFields(expected, model);
    AppendElement(AppendElement(expected, kModel), "MiningSchema");
    WriteMiningSchema(expected, model);
    const auto require = [](pugi::xml_node one, pugi::xml_node other, const char* list) {
      if (DigestOf(one.child(list)) == DigestOf(other.child(list))) return;
      RefuseElement(list, "is not that of the model's variables");
    };
    require(root, expected, "DataDictionary");
    require(root, expected, "TransformationDictionary");
    require(root.child(kModel), expected.child(kModel), "MiningSchema");
  }

  SavedModel ReadParts(pugi::xml_node root) const {
    try {
      SavedModel model = ReadSavedParts(Own(root, kPartsName).first_child(), file_);
      ReadGeneralRegression(root.child(kModel), model);
      RequireFields(root, model);
      return model;
    } catch (const Error& error) {
      const bool isNamed = std::string_view(error.what()).starts_with("'" + file_ + "'");
      throw Error(error.Code(),
                  isNamed ? error.what() : fmt::format("'{}': {}", file_, error.what()));
    }
  }

  const std::string& file_;
  XmlFile xml_;
};

}  // namespace

std::string WritePmml(const SavedModel& model) {
  RequireXmlTexts(model);
  pugi::xml_document document;
  const pugi::xml_node root = document.append_child("PMML");
  SetAttribute(root, "xmlns", kNamespace);
  SetAttribute(root, "version", kVersion);
  WriteHeader(root, model);
  WriteFields(root, model);
  WriteGeneralRegression(root, model);
  WriteMiningSchema(root, model);
  SetAttribute(AppendExtension(root, kFormatName), "value", QvCommon::NumberText(kFormat));
  WriteSavedParts(AppendExtension(root, kPartsName), model);
  const std::string digest = DigestOf(root);
  SetAttribute(AppendExtension(root, kDigestName), "value", digest);
  std::string text = TextOf(document);
  if (text.size() > XmlFile::kMostBytes) {
    throw Error(
        ExitCode::kRunFailed,
        fmt::format("The model of {} parameters takes {} bytes as PMML, and no more than {} "
                    "are read again; fit fewer parameters to save it.",
                    model.fit.parameters.size(), text.size(), XmlFile::kMostBytes));
  }
  return text;
}

SavedModel ReadSavedModel(const std::string& file) { return ModelReader(file).Read(); }

}  // namespace qvhost
