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
  EXPECT_EQ(error_of("{\"a\": 1,}"),
            "cfg:1:9: syntax error while parsing object key - unexpected '}'; expected string literal");
  EXPECT_EQ(error_of("[1,\n 2,\n 3"), "cfg:3:3: syntax error while parsing array - unexpected end of input; expected ']'");
  EXPECT_EQ(error_of("{\"a\": 1, \"a\": 2}"), "cfg:1:10: field \"a\" given twice");
  EXPECT_EQ(error_of("{\"x\": {\"a\\\"\": 1,\n \"a\\\"\": 2}}"), "cfg:2:2: field \"a\"\" given twice");
  EXPECT_EQ(error_of("\"abc").rfind("cfg:1:5: ", 0), 0u);
  EXPECT_NE(error_of("\"abc").find("missing closing quote"), std::string::npos);
  EXPECT_NE(error_of("01").find("expected end of input"), std::string::npos);
  EXPECT_NE(error_of("1.").find("invalid number"), std::string::npos);
  EXPECT_NE(error_of("-").find("invalid number"), std::string::npos);
  EXPECT_NE(error_of("1e999").find("number overflow"), std::string::npos);
  EXPECT_NE(error_of("tru").find("invalid literal"), std::string::npos);
  EXPECT_NE(error_of("\"\\ud800x\"").find("surrogate"), std::string::npos);
  EXPECT_NE(error_of("\"a\tb\"").find("control character"), std::string::npos);
  EXPECT_NE(error_of("").find("unexpected end of input"), std::string::npos);
  EXPECT_EQ(error_of(std::string(65, '[') + std::string(65, ']')), "cfg:1:65: nesting deeper than 64 levels");
  EXPECT_EQ(error_of(std::string(64, '[') + std::string(64, ']')), "");
}

TEST(Json, ByteOrderMarkIsSkippedAndColumnsCountFromTheText) {
  vt::Json d = vt::parse_json("\xEF\xBB\xBF{\"a\": [1, 25]}", "cfg");
  EXPECT_EQ(d.find("a")->items[1].number, 25.0);
  EXPECT_EQ(d.find("a")->items[1].column, 11);
  EXPECT_EQ(error_of("\xEF\xBB\xBF{\"a\": [1, 2,]}").rfind("cfg:1:13: ", 0), 0u);
}

TEST(Json, ValuesArePlacedWhereTheyStart) {
  vt::Json d = vt::parse_json("{\"n\": -12.5e1,\n \"s\": \"q\\\"\\\\\", \"t\": true, \"z\": null,\n\"o\": {}, \"l\": [0]}", "cfg");
  const std::pair<const char *, std::pair<int, int>> at[] = {{"n", {1, 7}}, {"s", {2, 7}}, {"t", {2, 21}},
                                                             {"z", {2, 32}}, {"o", {3, 6}}, {"l", {3, 15}}};
  for (const auto &a : at) {
    const vt::Json *v = d.find(a.first);
    ASSERT_TRUE(v) << a.first;
    EXPECT_EQ(v->line, a.second.first) << a.first;
    EXPECT_EQ(v->column, a.second.second) << a.first;
  }
  EXPECT_EQ(d.find("s")->text, "q\"\\");
  EXPECT_EQ(d.find("l")->items[0].column, 16);
}

TEST(Json, WrittenStringsReadBackUnchanged) {
  std::string all;
  for (int c = 1; c < 128; ++c) all += static_cast<char>(c);
  all += "\xC3\xA9";
  EXPECT_EQ(vt::parse_json(vt::json_line(all), "lit").text, all);
  // Bytes that are no UTF-8 are replaced rather than making the whole line fail.
  EXPECT_EQ(vt::json_line(std::string("a\xFF") + "b"), "\"a\xEF\xBF\xBD" "b\"");
}

}  // namespace
