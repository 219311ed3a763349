#include "host/table/NumberFormat.h"

#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/table/Connection.h"

namespace qvhost {
namespace {

using Texts = std::vector<std::string>;

const NumberFormat kGerman{',', "."};

std::string Refused(const std::string& text, const NumberFormat& format) {
  return ParseNumber(text, format, NumberSigns::kRefused).value_or("none");
}

std::string Dropped(const std::string& text, const NumberFormat& format = {}) {
  return ParseNumber(text, format, NumberSigns::kDropped).value_or("none");
}

TEST(ParseNumber, ReadsDecimalsAndThousands) {
  EXPECT_EQ(Refused("1.234.567,25", kGerman), "1234567.25");
  EXPECT_EQ(Refused(" -12,5 ", kGerman), "-12.5");
  EXPECT_EQ(Refused("+,5", kGerman), "0.5");
  EXPECT_EQ(Refused("3,", kGerman), "3");
  EXPECT_EQ(Refused("\u22121.000", kGerman), "-1000");
  EXPECT_EQ(Refused("1,5e-3", kGerman), "1.5e-3");
  EXPECT_EQ(Refused("1,00,000.5", {'.', ","}), "100000.5");
  EXPECT_EQ(Refused("12\u00A0345\u202F678,5", {',', " "}), "12345678.5");
  EXPECT_EQ(Refused("1'234.5", {'.', "'"}), "1234.5");
  EXPECT_EQ(Refused("1\u2019234.5", {'.', "'"}), "1234.5");
}

TEST(ParseNumber, RefusesGroupsOfAWrongSize) {
  for (const char* text :
       {"1.5", "1.00.0", "12.34", "1234.567", ".123", "1..000", "1.0000", "1.2345"}) {
    EXPECT_EQ(Refused(text, kGerman), "none") << text;
  }
}

TEST(ParseNumber, RefusesWhatIsNoNumber) {
  for (const char* text : {"", " ", ",", "-", "--1", "1,2,3", "1,5e", "1,5x", "5 %", "$5", "EUR"}) {
    EXPECT_EQ(Refused(text, kGerman), "none") << text;
  }
}

TEST(ParseNumber, DropsSigns) {
  EXPECT_EQ(Dropped("$1,234.50", {'.', ","}), "1234.50");
  EXPECT_EQ(Dropped("-$5"), "-5");
  EXPECT_EQ(Dropped("$-5"), "-5");
  EXPECT_EQ(Dropped("12,5\u00A0\u20AC", kGerman), "12.5");
  EXPECT_EQ(Dropped("EUR 7"), "7");
  EXPECT_EQ(Dropped("7 CHF"), "7");
  EXPECT_EQ(Dropped("12 %"), "12");
  EXPECT_EQ(Dropped("12%%"), "none");
  EXPECT_EQ(Dropped("ABCD 7"), "none");
}

TEST(FindReading, FindsTheFormatThatFits) {
  const auto reading = FindReading({"1.234,5", "12,25", "3"});
  ASSERT_TRUE(reading);
  EXPECT_EQ(reading->format, kGerman);
  EXPECT_EQ(reading->share, 100U);
  EXPECT_EQ(ReadingText(*reading),
            "numbers with a decimal comma and points between thousands, such as '1.234,5'");
  EXPECT_EQ(ReadingOptionsText(*reading, "x"), "--decimal , --thousands .");
}

TEST(FindReading, TellsSignsAndBlanks) {
  const auto money = FindReading({"$1,234.50", "$3.00"});
  ASSERT_TRUE(money);
  EXPECT_EQ(ReadingText(*money),
            "numbers with commas between thousands and a sign of currency, such as '$1,234.50'");
  EXPECT_EQ(ReadingOptionsText(*money, "x"), "--thousands , --types x=double");
  const auto share = FindReading({"5%", "7.5%"});
  ASSERT_TRUE(share);
  EXPECT_EQ(ReadingText(*share), "numbers with a percent sign, such as '5%'");
  EXPECT_EQ(ReadingOptionsText(*share, "x"), "--types x=double");
  const auto blanks = FindReading({"1 234,5", "2 345,5"});
  ASSERT_TRUE(blanks);
  EXPECT_EQ(ReadingOptionsText(*blanks, "x"), "--decimal , --thousands \" \"");
}

TEST(FindReading, NamesBothReadingsOfACommaThatMayBeEither) {
  const auto either = FindReading({"1,234", "12,500"});
  ASSERT_TRUE(either);
  EXPECT_TRUE(either->isAmbiguous);
  EXPECT_EQ(ReadingOptionsText(*either, "x"), "--decimal , or --thousands ,");
  EXPECT_FALSE(FindReading({"1,234", "12,5"})->isAmbiguous);
  EXPECT_EQ(ReadingOptionsText(*FindReading({"$1,234", "$12,500"}), "x"),
            "--decimal , --types x=double or --thousands , --types x=double");
}

TEST(TypesText, CanBePasted) {
  EXPECT_EQ(TypesText("x", "double"), "--types x=double");
  EXPECT_EQ(TypesText("odd name", "double"), "--types 'odd name=double'");
  EXPECT_EQ(TypesText("a,b", "varchar"), "--types '`a,b`=varchar'");
}

TEST(ReadingSql, MakesTheNumbers) {
  Connection connection;
  for (const Texts& texts :
       {Texts{"1.234,5", "12,25"}, Texts{"1,234.50 €", "$3.00"}, Texts{"1 234,5", "-7,5"},
        Texts{"5 %", "12.5%"}, Texts{"1'234,5", "2,5"}, Texts{"1\u00A0234,5", "2\u202F345,5"},
        Texts{"1\u2019234,5", "2'345,5"}, Texts{"\u22127,5", "2,5"}, Texts{"+3", "4.5"},
        Texts{"1,5e-3", "2,5E+3"}, Texts{"1e3 EUR", "EUR 2"}}) {
    const auto reading = FindReading(texts);
    ASSERT_TRUE(reading) << texts.front();
    for (const std::string& text : texts) {
      const auto rows =
          connection.Rows(fmt::format("SELECT {} FROM (SELECT {} AS \"order\")",
                                      ReadingSql(*reading, "order"), QuoteText(text)));
      EXPECT_EQ(std::stod(rows.front().front().value_or("nan")),
                std::stod(*ParseNumber(text, reading->format, NumberSigns::kDropped)))
          << text;
    }
  }
}

TEST(ReadingSql, IsAsShortAsItCanBe) {
  EXPECT_EQ(ReadingSql(*FindReading({"1,5", "2,25"}), "x"),
            "CAST(replace(regexp_replace(replace(\"x\", '\u2212', '-'), '[^-0-9eE,]', '', 'g'), "
            "',', '.') AS DOUBLE)");
  EXPECT_EQ(ReadingSql(*FindReading({"5%", "7.5%"}), "odd name"),
            "CAST(regexp_replace(replace(\"odd name\", '\u2212', '-'), '[^-0-9eE.]', '', 'g') AS "
            "DOUBLE)");
}

TEST(FindReading, TakesNinetyFiveInAHundred) {
  Texts texts(95, "1,5");
  texts.resize(100, "none");
  EXPECT_EQ(FindReading(texts)->share, 95U);
  texts.emplace_back("none");
  EXPECT_FALSE(FindReading(texts));
}

TEST(FindReading, SaysNothingOfTextsAndOfPlainNumbers) {
  EXPECT_FALSE(FindReading({}));
  EXPECT_FALSE(FindReading({"1,5"}));
  EXPECT_FALSE(FindReading({"a", "b"}));
  EXPECT_FALSE(FindReading({"1.5", "2", "01234"}));
  Texts texts(99, "1.5");
  texts.emplace_back("NA");
  EXPECT_FALSE(FindReading(texts));
}

}  // namespace
}  // namespace qvhost
