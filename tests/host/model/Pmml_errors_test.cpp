// Files that are no saved models, each with its sentence.
#include <algorithm>
#include <filesystem>
#include <pugixml.hpp>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/model/Pmml.h"
#include "host/model/XmlElement.h"
#include "tests/host/model/Saving.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

/// A folder with what is to be read as a model.
class WrongModel : public ::testing::Test {
 protected:
  static std::string Right() {
    return WritePmml(FitToSave(OptionsFor(
        "SELECT i * 0.75 + sin(i * 17.0) AS y, i % 11 AS x, chr(CAST(97 + i % 3 AS INTEGER)) AS g "
        "FROM range(60) t(i)",
        "y ~ g*x + log(x + 1)")));
  }

  /// What reading a file of this text says, with FILE for its name.
  [[nodiscard]] std::string FaultOf(const std::string& text) const {
    return FaultOfFile(folder_.Write("model.pmml", text));
  }

  [[nodiscard]] static std::string FaultOfFile(const std::string& file) {
    try {
      static_cast<void>(ReadSavedModel(file));
    } catch (const Error& error) {
      EXPECT_EQ(error.Code(), ExitCode::kBadInput);
      std::string message = error.what();
      EXPECT_NE(message.find("'" + file + "'"), std::string::npos) << message;
      const std::size_t at = message.find(file);
      return at == std::string::npos ? message : message.replace(at, file.size(), "FILE");
    }
    return "none";
  }

  /// The right text with one part in the place of another, which must be there.
  static std::string With(const std::string& part, const std::string& other) {
    std::string text = Right();
    const std::size_t at = text.find(part);
    if (at == std::string::npos) throw std::logic_error("no " + part);
    return text.replace(at, part.size(), other);
  }

  /// The right document after a change.
  template <typename Change>
  static std::string Changed(Change&& change) {
    pugi::xml_document document;
    if (!document.load_string(Right().c_str())) throw std::logic_error("no XML");
    change(document.document_element());
    std::ostringstream text;
    document.save(text);
    return text.str();
  }

  static constexpr const char* kAltered =
      "'FILE' was changed since it was saved: its content is not that of its digest; take the file "
      "as it was saved, or fit the model again.";

  qvtest::TempFolder folder_;
};

TEST_F(WrongModel, ARightOneIsRead) {
  EXPECT_EQ(FaultOf(Right()), "none");
  EXPECT_EQ(FaultOf(Changed([](pugi::xml_node) {})), "none") << "other blanks and another heading";
}

TEST_F(WrongModel, CutOff) {
  const std::string text = Right();
  const std::size_t end = text.rfind("</PMML>") + 7;
  int count = 0;
  for (std::size_t at = 200; at < end; at += 200) {
    const std::string fault = FaultOf(text.substr(0, at));
    EXPECT_TRUE(fault.starts_with("'FILE' is cut off or damaged at byte ")) << fault;
    EXPECT_NE(fault.find("; name what 'qvreg fit --save' wrote."), std::string::npos) << fault;
    ++count;
  }
  EXPECT_GT(count, 50);
  EXPECT_EQ(FaultOf(text.substr(0, end - 1)).substr(0, 29), "'FILE' is cut off or damaged ");
}

TEST_F(WrongModel, ADigitOfAnEstimate) {
  const std::string text = Right();
  std::size_t at = text.find("beta=\"") + 8;
  std::string changed = text;
  while (changed[at] < '0' || changed[at] > '8') ++at;
  ++changed[at];
  EXPECT_EQ(FaultOf(changed), kAltered);
}

TEST_F(WrongModel, ALevel) {
  EXPECT_EQ(FaultOf(With("<Value value=\"b\"", "<Value value=\"B\"")), kAltered);
}

TEST_F(WrongModel, ANumberOfTheReport) {
  EXPECT_EQ(FaultOf(With("\"r_square\": 0", "\"r_square\": 1")), kAltered);
}

TEST_F(WrongModel, AnElementThatIsGone) {
  EXPECT_EQ(FaultOf(Changed([](pugi::xml_node root) {
              pugi::xml_node matrix = root.child("GeneralRegressionModel").child("PCovMatrix");
              matrix.remove_child(matrix.last_child());
            })),
            kAltered);
  EXPECT_EQ(FaultOf(Changed([](pugi::xml_node root) { root.remove_child("DataDictionary"); })),
            kAltered);
  for (const char* const own : {"format", "model", "sha256"}) {
    EXPECT_EQ(FaultOf(Changed([&](pugi::xml_node root) {
                root.remove_child(root.find_child_by_attribute("Extension", "name", own));
              })),
              kAltered)
        << own;
  }
}

TEST_F(WrongModel, AnElementThatIsNew) {
  EXPECT_EQ(FaultOf(Changed([](pugi::xml_node root) { root.append_child("Extension"); })),
            kAltered);
  EXPECT_EQ(FaultOf(Changed([](pugi::xml_node root) { root.prepend_child("Extension"); })),
            kAltered);
}

TEST_F(WrongModel, AnExpressionOfAColumnThatThereIsNot) {
  const std::string text = Changed([](pugi::xml_node root) {
    const auto isExpression = [](pugi::xml_node node) {
      return node.attribute("value").value() == std::string_view("log(x + 1)") &&
             node.attribute("name").value() == std::string_view("expression");
    };
    const pugi::xml_node parts = root.find_child_by_attribute("Extension", "name", "model");
    pugi::xml_node expression = parts.find_node(isExpression);
    ASSERT_TRUE(expression);
    expression.attribute("value") = "log(z + 1)";
    pugi::xml_node digest = root.last_child();
    root.remove_child(digest);
    const std::string sealed = DigestOf(root);
    digest = root.append_child("Extension");
    digest.append_attribute("extender") = "qvreg";
    digest.append_attribute("name") = "sha256";
    digest.append_attribute("value") = sealed.c_str();
  });
  EXPECT_EQ(FaultOf(text),
            "'FILE': This is no model that --save wrote: its element Extension 'expression' names "
            "'z', which is no column of the data. Fit the model again, and save it.");
}

TEST_F(WrongModel, ANewerFormat) {
  const std::string sentence =
      ", which this version of qvreg (0.1.0) does not read; use the version that saved it.";
  EXPECT_EQ(FaultOf(With("name=\"format\" value=\"1\"", "name=\"format\" value=\"2\"")),
            "'FILE' is a model of format 2" + sentence);
  EXPECT_EQ(FaultOf(With("version=\"4.4\"", "version=\"5.0\"")), "'FILE' is PMML 5.0" + sentence);
}

TEST_F(WrongModel, AnotherProducers) {
  const std::string start = R"(<PMML version="4.4"><Header><Application name="scorer"/></Header>)";
  EXPECT_EQ(FaultOf(start + "<DataDictionary/><RegressionModel/></PMML>"),
            "'FILE' is PMML of 'scorer', which this command does not score: it lacks what 'qvreg "
            "fit --save' writes beside the standard.");
  EXPECT_EQ(FaultOf("<PMML/>"),
            "'FILE' is PMML of another producer, which this command does not score: it lacks what "
            "'qvreg fit --save' writes beside the standard.");
}

TEST_F(WrongModel, Html) {
  EXPECT_EQ(FaultOf("<html><body><p>Not found</p></body></html>"),
            "'FILE' is no PMML: its root is the element 'html'; name what 'qvreg fit --save' "
            "wrote.");
}

TEST_F(WrongModel, HtmlOfOldPages) {
  EXPECT_EQ(FaultOf("<!DOCTYPE html>\n<html><head><meta charset=utf-8><p>a</html>"),
            "'FILE' has a document type, which a saved model has not; name what 'qvreg fit --save' "
            "wrote.");
}

TEST_F(WrongModel, NoXml) {
  EXPECT_EQ(FaultOf("y,x\n1,2\n"), "'FILE' is no XML; name what 'qvreg fit --save' wrote.");
}

TEST_F(WrongModel, Json) {
  EXPECT_EQ(
      FaultOf("{\"model\": \"linear\"}"),
      "'FILE' is JSON and no model; 'qvreg fit --save' writes a model that outlives its fit.");
}

TEST_F(WrongModel, Empty) {
  const std::string sentence = "'FILE' is empty; name what 'qvreg fit --save' wrote.";
  EXPECT_EQ(FaultOf(""), sentence);
  EXPECT_EQ(FaultOf(" \r\n\t"), sentence);
  EXPECT_EQ(FaultOf("\xEF\xBB\xBF"), sentence);
}

TEST_F(WrongModel, AFolderAndNothing) {
  EXPECT_EQ(FaultOfFile(folder_.Path().string()), "'FILE' is a folder; name a saved model.");
  EXPECT_EQ(FaultOfFile(folder_.File("none.pmml")), "There is no file 'FILE'.");
}

TEST_F(WrongModel, AnEntityBomb) {
  std::string text = "<?xml version=\"1.0\"?>\n<!DOCTYPE PMML [<!ENTITY a \"aaaaaaaaaa\">";
  for (char name = 'b'; name <= 'z'; ++name) {
    text += std::string("<!ENTITY ") + name + " \"";
    for (int i = 0; i < 10; ++i) text += std::string("&") + static_cast<char>(name - 1) + ";";
    text += "\">";
  }
  text += "]>\n<PMML><Header description=\"&z;\">&z;</Header></PMML>";
  EXPECT_EQ(FaultOf(text),
            "'FILE' has a document type, which a saved model has not; name what 'qvreg fit --save' "
            "wrote.");
}

TEST_F(WrongModel, ADocumentType) {
  const std::string sentence =
      "'FILE' has a document type, which a saved model has not; name what 'qvreg fit --save' "
      "wrote.";
  EXPECT_EQ(FaultOf(With("<PMML", "<!DOCTYPE PMML SYSTEM \"file:///etc/passwd\">\n<PMML")),
            sentence);
  EXPECT_EQ(FaultOf("<!DOCTYPE PMML [ <!ELEMENT"), sentence);
}

TEST_F(WrongModel, AMillionElementsInsideEachOther) {
  const std::string sentence =
      "'FILE' has more than 64 elements inside each other; name what 'qvreg fit --save' wrote.";
  std::string text;
  for (int i = 0; i < 1'000'000; ++i) text += "<a>";
  EXPECT_EQ(FaultOf(text), sentence);
  EXPECT_EQ(FaultOf("<PMML><!-- </PMML> --><b c='/>'>" + text), sentence);
}

TEST_F(WrongModel, OtherBytes) {
  const std::string sentence = "; name what 'qvreg fit --save' wrote.";
  EXPECT_EQ(FaultOf(std::string("<PMML>\0</PMML>", 14)),
            "'FILE' holds no text in UTF-8 at byte 7" + sentence);
  EXPECT_EQ(FaultOf("<PMML>\xE9</PMML>"), "'FILE' holds no text in UTF-8 at byte 7" + sentence);
  EXPECT_EQ(FaultOf("\xFF\xFE<\0P\0"), "'FILE' is no XML" + sentence);
}

TEST_F(WrongModel, AControlCharacterByItsNumber) {
  constexpr const char* kControl =
      "'FILE' names a control character by its number, which no text has; name what 'qvreg fit "
      "--save' wrote.";
  EXPECT_EQ(FaultOf(With("name=\"g\"", "name=\"&#8;\"")), kControl);
  EXPECT_EQ(FaultOf(With("</Header>", "<Annotation>&#xFFFF;</Annotation></Header>")), kControl);
  EXPECT_EQ(FaultOf("<a>&#9;&#10;&#13;</a>"),
            "'FILE' is no PMML: its root is the element 'a'; name what 'qvreg fit --save' wrote.");
}

TEST_F(WrongModel, MoreThanOneDocument) {
  EXPECT_EQ(FaultOf(Right() + "<PMML/>"),
            "'FILE' holds more than one document; name what 'qvreg fit --save' wrote.");
}

}  // namespace
}  // namespace qvhost
