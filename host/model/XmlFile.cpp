#include "host/model/XmlFile.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/ReadFile.h"
#include "host/Text.h"

namespace qvhost {
namespace {

/// A text of blanks alone is one, too, but not blanks between elements.
constexpr unsigned int kFlags =
    pugi::parse_default | pugi::parse_doctype | pugi::parse_ws_pcdata_single;

constexpr const char* kWayOut = "name what 'qvreg fit --save' wrote.";

[[noreturn]] void Refuse(const std::string& file, const std::string& what) {
  throw Error(ExitCode::kBadInput, fmt::format("'{}' {}; {}", file, what, kWayOut));
}

bool IsXmlCharacter(char32_t value) {
  constexpr char32_t kBlank = 0x20;
  const bool isEnd = value == '\t' || value == '\n' || value == '\r';
  return (value >= kBlank || isEnd) && value != 0xFFFE && value != 0xFFFF;
}

/// The first byte of the text that is no XML character, or npos.
std::size_t FindUnreadable(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const auto byte = static_cast<unsigned char>(text[at]);
    constexpr unsigned char kFirstOfSeveral = 0x80;
    if (byte < kFirstOfSeveral) {
      if (!IsXmlCharacter(byte)) return at;
      ++at;
      continue;
    }
    const CodePoint point = DecodeUtf8(text, at);
    if (!point.valid || !IsXmlCharacter(point.value)) return at;
    at += point.length;
  }
  return std::string_view::npos;
}

/// What ends markup that is no element, by how it starts.
struct Markup {
  std::string_view start;
  std::string_view end;
};

constexpr auto kMarkups =
    std::to_array<Markup>({{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}, {"<!", ">"}});

/// Where the tag that starts at `at` ends: behind its `>`, which stands in no quotes.
std::size_t TagEnd(std::string_view text, std::size_t at) {
  char quote = '\0';
  for (; at < text.size(); ++at) {
    const char c = text[at];
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (c == '>') {
      return at + 1;
    }
  }
  return text.size();
}

/// Whether elements stand deeper in each other than is read. Damaged text is for the parser.
bool IsTooDeep(std::string_view text) {
  int level = 0;
  for (std::size_t at = text.find('<'); at < text.size(); at = text.find('<', at)) {
    const std::string_view rest = text.substr(at);
    const auto* const markup = std::ranges::find_if(
        kMarkups, [&](const Markup& each) { return rest.starts_with(each.start); });
    if (markup != kMarkups.end()) {
      const std::size_t end = text.find(markup->end, at + markup->start.size());
      if (end == std::string_view::npos) return false;
      at = end + markup->end.size();
      continue;
    }
    const std::size_t end = TagEnd(text, at);
    if (rest.starts_with("</")) {
      --level;
    } else if (text[end - 1] != '>' || text[end - 2] != '/') {
      if (++level > XmlFile::kMostLevels) return true;
    }
    at = end;
  }
  return false;
}

std::string_view WithoutMark(std::string_view text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
  return text;
}

/// Says of a text that is no XML what it is.
void RefuseOther(const std::string& file, std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) Refuse(file, "is empty");
  if (text[first] == '{' || text[first] == '[') {
    throw Error(ExitCode::kBadInput,
                fmt::format("'{}' is JSON and no model; 'qvreg fit --save' writes a model that "
                            "outlives its fit.",
                            file));
  }
  if (text[first] != '<') Refuse(file, "is no XML");
}

void CheckText(const std::string& file, std::string_view text) {
  RefuseOther(file, text);
  if (const std::size_t at = FindUnreadable(text); at != std::string_view::npos) {
    Refuse(file, fmt::format("holds no text in UTF-8 at byte {}", at + 1));
  }
  if (IsTooDeep(text)) {
    Refuse(file, fmt::format("has more than {} elements inside each other", XmlFile::kMostLevels));
  }
}

/// Says of a text that names by its number what may not stand in it, as `&#8;` does.
void CheckReferences(const std::string& file, pugi::xml_document& document) {
  struct Walker : pugi::xml_tree_walker {
    bool for_each(pugi::xml_node& node) override {
      return IsXmlText(node.value()) &&
             std::ranges::all_of(node.attributes(), [](const pugi::xml_attribute& attribute) {
               return IsXmlText(attribute.value());
             });
    }
  };
  Walker walker;
  if (!document.traverse(walker)) {
    Refuse(file, "names a control character by its number, which no text has");
  }
}

}  // namespace

bool IsXmlText(std::string_view text) { return FindUnreadable(text) == std::string_view::npos; }

XmlFile::XmlFile(const std::string& file) : text_(ReadFile(file, "a saved model", kMostBytes)) {
  const std::string_view text = WithoutMark(text_);
  CheckText(file, text);
  const std::size_t mark = text_.size() - text.size();
  const pugi::xml_parse_result result = document_.load_buffer_inplace(
      text_.data() + mark, text_.size() - mark, kFlags, pugi::encoding_utf8);
  const auto isDoctype = [](const pugi::xml_node& node) {
    return node.type() == pugi::node_doctype;
  };
  if (document_.find_child(isDoctype) || result.status == pugi::status_bad_doctype) {
    Refuse(file, "has a document type, which a saved model has not");
  }
  const auto isElement = [](const pugi::xml_node& node) {
    return node.type() == pugi::node_element;
  };
  if (result && std::ranges::count_if(document_.children(), isElement) > 1) {
    Refuse(file, "holds more than one document");
  }
  if (!result) {
    Refuse(file, fmt::format("is cut off or damaged at byte {} ({})",
                             result.offset + static_cast<std::ptrdiff_t>(mark) + 1,
                             result.description()));
  }
  CheckReferences(file, document_);
}

}  // namespace qvhost
