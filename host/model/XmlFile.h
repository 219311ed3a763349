#pragma once

#include <cstddef>
#include <pugixml.hpp>
#include <string>
#include <string_view>

namespace qvhost {

/// A saved model's file as XML, read with bounds on what a hostile or damaged one may cost: its
/// size, how deep elements stand in each other, no document type and so no entities but those of
/// XML itself. Text is UTF-8, with or without a byte order mark; lines may end as on Windows. No
/// text holds a character that XML cannot, not even named by its number.
///
/// Owns the text and the elements. Throws Error (kBadInput), which names the file.
class XmlFile {
 public:
  static constexpr std::size_t kMostBytes = std::size_t{1} << 30U;
  static constexpr int kMostLevels = 64;

  explicit XmlFile(const std::string& file);
  XmlFile(const XmlFile&) = delete;
  XmlFile& operator=(const XmlFile&) = delete;

  [[nodiscard]] pugi::xml_node Root() const { return document_.document_element(); }

 private:
  std::string text_;  ///< The document's texts are in it.
  pugi::xml_document document_;
};

/// Whether XML can hold a text: UTF-8 without control characters but tabs and line ends.
[[nodiscard]] bool IsXmlText(std::string_view text);

}  // namespace qvhost
