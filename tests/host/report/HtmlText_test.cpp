#include "host/report/HtmlText.h"

#include <gtest/gtest.h>

namespace qvhost {
namespace {

TEST(HtmlText, EscapesWhatCouldBeMarkup) {
  EXPECT_EQ(HtmlText("a<b> & \"c\" 'd'"), "a&lt;b&gt; &amp; &quot;c&quot; &#39;d&#39;");
  EXPECT_EQ(HtmlEscaped("</script>"), "&lt;/script&gt;");
}

TEST(HtmlText, IsolatesEveryRunFromRightToLeft) {
  EXPECT_EQ(HtmlText("g=שלום עולם: 12, x"), "g=<bdi>שלום עולם</bdi>: 12, x");
  EXPECT_EQ(HtmlText("مرحبا<"), "<bdi>مرحبا</bdi>&lt;");
  EXPECT_EQ(HtmlText("é 漢"), "é 漢");
  EXPECT_EQ(HtmlEscaped("שלום"), "שלום") << "an attribute holds no elements";
}

TEST(HtmlText, ReplacesBytesThatAreNotUtf8) {
  EXPECT_EQ(HtmlText("a\xFF"
                     "b"),
            "a\uFFFDb");
}

TEST(HtmlJson, EndsNoScript) {
  EXPECT_EQ(HtmlJson(R"({"a":"</script><!--"})"), R"({"a":"\u003c/script>\u003c!--"})");
}

}  // namespace
}  // namespace qvhost
