#include <gtest/gtest.h>

#include "error.h"
#include "json.h"

namespace {

std::string error_of(const std::string &text) {
  try {
    vt::parse_json(text, "cfg");
  } catch (const vt::ToolError &e) {
    EXPECT_EQ(e.code(), vt::kExitUsage);
    return e.what();
  }
  return "";
}

TEST(Json, ReadsNestedDocumentsWithEveryValueType) {
  vt::Json d = vt::parse_json(
      "{\"a\": [1, -2.5e1, 0, 0.125], \"b\": {\"t\": true, \"f\": false, \"n\": null},\n \"s\": \"x\\\"y\\\\z\\n\"}",
      "cfg");
  ASSERT_EQ(d.type, vt::Json::kObject);
  ASSERT_EQ(d.fields.size(), 3u);
  const vt::Json *a = d.find("a");
  ASSERT_TRUE(a && a->type == vt::Json::kArray);
  ASSERT_EQ(a->items.size(), 4u);
  EXPECT_EQ(a->items[0].number, 1.0);
  EXPECT_EQ(a->items[1].number, -25.0);
  EXPECT_EQ(a->items[3].number, 0.125);
  const vt::Json *b = d.find("b");
  ASSERT_TRUE(b);
  EXPECT_TRUE(b->find("t")->boolean);
  EXPECT_EQ(b->find("f")->type, vt::Json::kBool);
  EXPECT_FALSE(b->find("f")->boolean);
  EXPECT_EQ(b->find("n")->type, vt::Json::kNull);
  EXPECT_EQ(d.find("s")->text, "x\"y\\z\n");
  EXPECT_EQ(d.find("missing"), nullptr);
  // Positions are kept for messages: "s" is on the second line.
  EXPECT_EQ(d.find("s")->line, 2);
}

TEST(Json, DecodesUnicodeEscapesToUtf8) {
  vt::Json d = vt::parse_json("[\"\\u00e9\", \"\\u20ac\", \"\\ud83d\\ude00\", \"\\u0041\"]", "cfg");
  EXPECT_EQ(d.items[0].text, "\xC3\xA9");
  EXPECT_EQ(d.items[1].text, "\xE2\x82\xAC");
  EXPECT_EQ(d.items[2].text, "\xF0\x9F\x98\x80");
  EXPECT_EQ(d.items[3].text, "A");
}

TEST(Json, RejectsMalformedInputWithItsPosition) {
  EXPECT_EQ(error_of("{\"a\": 1,}"), "cfg:1:9: expected a field name in double quotes");
  EXPECT_EQ(error_of("[1,\n 2,\n 3"), "cfg:3:3: expected ',' or ']'");
  EXPECT_EQ(error_of("{\"a\": 1, \"a\": 2}"), "cfg:1:10: field \"a\" given twice");
  EXPECT_NE(error_of("\"abc").find("unterminated string"), std::string::npos);
  EXPECT_NE(error_of("01").find("unexpected text after the end"), std::string::npos);
  EXPECT_NE(error_of("1.").find("malformed number"), std::string::npos);
  EXPECT_NE(error_of("-").find("malformed number"), std::string::npos);
  EXPECT_NE(error_of("1e999").find("out of range"), std::string::npos);
  EXPECT_NE(error_of("tru").find("expected 'true'"), std::string::npos);
  EXPECT_NE(error_of("\"\\ud800x\"").find("surrogate"), std::string::npos);
  EXPECT_NE(error_of("\"a\tb\"").find("control character"), std::string::npos);
  EXPECT_NE(error_of("").find("end of the document"), std::string::npos);
  EXPECT_NE(error_of(std::string(65, '[') + std::string(65, ']')).find("deeper than 64"), std::string::npos);
  EXPECT_EQ(error_of(std::string(64, '[') + std::string(64, ']')), "");
}

TEST(Json, WrittenStringsReadBackUnchanged) {
  std::string all;
  for (int c = 1; c < 128; ++c) all += static_cast<char>(c);
  all += "\xC3\xA9";
  std::string lit;
  vt::append_json_string(lit, all);
  EXPECT_EQ(vt::parse_json(lit, "lit").text, all);
}

}  // namespace
