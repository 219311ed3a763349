#include "qvreg/component/QvModelText.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvModelContents.h"
#include "qvreg/component/QvModelMessage.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelReport.h"
#include "tests/qvreg/support/RandomModels.h"

namespace {

using qvtest::ModelKind;
using Bytes = std::vector<unsigned char>;

class ModelText : public testing::TestWithParam<ModelKind> {
 protected:
  ModelText() : model_(GetParam()), fitted_(model_.Get(), qvtest::RandomRecords(400)) {
    EXPECT_FALSE(QvModelMessage::Read(qvtest::BytesOf(fitted_.Component()), contents_).IsError());
    EXPECT_FALSE(QvModelText::Write(contents_, text_).IsError());
  }

  /// The code of reading a text; what it is read into stays as it was where it is refused.
  static long CodeOf(const std::string& text) {
    QvModelContents contents;
    contents.fSettings.fDependent = 77;
    const QvCommon::QvStatus status = QvModelText::Read(text, contents);
    EXPECT_EQ(contents.fSettings.fDependent == 77, status.IsError());
    return status.GetCode();
  }

  [[nodiscard]] std::string With(const std::string& from, const std::string& to) const {
    const std::size_t at = text_.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return std::string(text_).replace(at, from.size(), to);
  }

  qvtest::RandomModel model_;
  qvtest::FittedModel fitted_;
  QvModelContents contents_;
  std::string text_;
};

INSTANTIATE_TEST_SUITE_P(Models, ModelText,
                         testing::Values(ModelKind::kLinear, ModelKind::kLogistic,
                                         ModelKind::kInMemory),
                         [](const auto& tested) { return qvtest::ModelKindName(tested.param); });

TEST_P(ModelText, IsReadToTheBytesOfTheModel) {
  QvModelContents read;
  ASSERT_FALSE(QvModelText::Read(text_, read).IsError());
  Bytes bytes;
  ASSERT_FALSE(QvModelMessage::Write(read, bytes).IsError());
  EXPECT_EQ(bytes, qvtest::BytesOf(fitted_.Component()));
}

TEST_P(ModelText, HasALineForEachNumber) {
  EXPECT_TRUE(text_.starts_with("qvreg-model 1\nsettings {\nroles ")) << text_.substr(0, 60);
  EXPECT_NE(text_.find("\nmaxRefinements "), std::string::npos);
  EXPECT_NE(text_.find("\nnumbers {\nkept "), std::string::npos);
  EXPECT_TRUE(text_.ends_with("}\n"));
}

TEST_P(ModelText, IsRefusedWhereItIsCutOff) {
  for (std::size_t size = 0; size < text_.size(); size += 7) {
    EXPECT_EQ(CodeOf(text_.substr(0, size)), QvStatusCode::kUnreadableMessage) << size;
  }
  EXPECT_EQ(CodeOf(text_.substr(0, text_.size() - 1)), QvStatusCode::kUnreadableMessage);
  EXPECT_EQ(CodeOf(text_), QvStatusCode::kOK);
}

TEST_P(ModelText, IsRefusedWhereItSaysSomethingElse) {
  for (const std::string& text :
       {With("qvreg-model 1", "qvreg-model 2"), With("\ntolerance ", "\ntolerances "),
        With("\nintercept ", "\nintercept 2"), With("\nconfidence ", "\nconfidence x"),
        With("\nsettings {", "\nsettings 1"), With("}\ntables {", "tables {"),
        With("weights ", "weights 1 "), With("code 0", "code 10000"), text_ + "}\n", text_ + "x",
        "x\n" + text_}) {
    EXPECT_EQ(CodeOf(text), QvStatusCode::kUnreadableMessage);
  }
}

}  // namespace
