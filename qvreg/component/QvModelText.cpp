#include "qvreg/component/QvModelText.h"

#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "qvreg/common/QvNumberText.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvContentsFields.h"
#include "qvreg/component/QvRegAlgorithm.h"

using QvCommon::QvStatus;

namespace {

constexpr std::string_view kFirstLine = "qvreg-model 1";
constexpr std::string_view kStart = "{";
constexpr std::string_view kEnd = "}";

/// Appends lines.
class TextWriter : public QvContentsFields::PartsWriter<TextWriter> {
 public:
  TextWriter() { AddLine(kFirstLine); }

  void operator()(const char* name, double value) { AddLine(name, QvCommon::NumberText(value)); }
  template <typename Whole>
  requires std::is_integral_v<Whole>
  void operator()(const char* name, Whole value) {
    AddLine(name, QvCommon::NumberText(static_cast<long long>(value)));
  }
  template <typename Number>
  void operator()(const char* name, const std::vector<Number>& values) {
    AddLine(name, QvCommon::NumbersText(values));
  }

  template <typename Value, typename Describe>
  void Part(const char* name, const Value& value, Describe&& describe) {
    AddLine(name, kStart);
    describe(value, *this);
    AddLine(kEnd);
  }

  [[nodiscard]] std::string Take() { return std::move(fText); }

 private:
  void AddLine(std::string_view name, std::string_view value = {}) {
    fText += name;
    if (!value.empty()) (fText += ' ') += value;
    fText += '\n';
  }

  std::string fText;
};

/// Takes lines. At the first one that is not as it was written it fails, and takes no more.
class TextReader : public QvContentsFields::PartsReader<TextReader> {
 public:
  explicit TextReader(std::string_view text) : fRest(text) {
    if (TakeLine() != kFirstLine) Fail();
  }

  template <typename Number>
  requires std::is_arithmetic_v<Number>
  void operator()(const char* name, Number& value) {
    if (!QvCommon::ReadNumber(Take(name), value)) Fail();
  }
  template <typename Number>
  void operator()(const char* name, std::vector<Number>& values) {
    if (!QvCommon::ReadNumbers(Take(name), values)) Fail();
  }

  template <typename Value, typename Describe>
  void Part(const char* name, Value& value, Describe&& describe) {
    if (Take(name) != kStart) Fail();
    if (fbFailed) return;
    describe(value, *this);
    if (TakeLine() != kEnd) Fail();
  }

  [[nodiscard]] bool IsNext(const char* name) const {
    std::string_view line = fRest.substr(0, fRest.find('\n'));
    return QvCommon::TakeWord(line) == name && line == kStart;
  }
  void Refuse(const char* /*name*/, const char* /*why*/) { Fail(); }
  /// Whether all was read, and nothing else is there.
  [[nodiscard]] bool IsRead() const { return !fbFailed && fRest.empty(); }

 private:
  void Fail() {
    fbFailed = true;
    fRest = {};
  }

  /// The next line; empty, as none that is expected is, where there is none that ends.
  std::string_view TakeLine() {
    const std::size_t end = fRest.find('\n');
    if (end == std::string_view::npos) return {};
    const std::string_view line = fRest.substr(0, end);
    fRest.remove_prefix(end + 1);
    return line;
  }

  /// What stands behind the name of the next line, which must be this one.
  std::string_view Take(const char* name) {
    std::string_view line = TakeLine();
    if (QvCommon::TakeWord(line) != name) Fail();
    return line;
  }

  std::string_view fRest;
  bool fbFailed = false;
};

}  // namespace

QvStatus QvModelText::Write(const QvModelContents& contents, std::string& text) {
  return GuardOperation([&] {
    TextWriter writer;
    QvContentsFields::DescribeModel(contents, writer);
    QvContentsFields::DescribeNumbers(contents, writer);
    text = writer.Take();
    return QvStatus();
  });
}

QvStatus QvModelText::Read(const std::string& text, QvModelContents& contents) {
  return GuardOperation([&]() -> QvStatus {
    TextReader reader(text);
    QvModelContents read;
    QvContentsFields::DescribeModel(read, reader);
    QvContentsFields::DescribeNumbers(read, reader);
    if (!reader.IsRead()) return {QvStatusCode::kUnreadableMessage, false};
    contents = std::move(read);
    return {};
  });
}
