// Result codes read as words: each code its own constant's name and a sentence; values that are no code say so.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "vorn_core.h"

TEST(ResultNames, EveryCodeHasItsConstantsNameAndASentence) {
  const struct {
    vorn_result code;
    const char *name;
  } codes[] = {{VORN_OK, "VORN_OK"},         {VORN_E_NO_RESULT, "VORN_E_NO_RESULT"},
               {VORN_E_NULL, "VORN_E_NULL"}, {VORN_E_NOMEM, "VORN_E_NOMEM"},
               {VORN_E_PARAM, "VORN_E_PARAM"}, {VORN_E_FILE, "VORN_E_FILE"},
               {VORN_E_LEARNING, "VORN_E_LEARNING"}, {VORN_E_SCENE_CHANGE, "VORN_E_SCENE_CHANGE"}};
  std::set<std::string> messages;
  for (const auto &c : codes) {
    EXPECT_STREQ(vorn_result_name(c.code), c.name);
    const std::string m = vorn_result_message(c.code);
    EXPECT_GT(m.size(), 5u) << c.name;
    EXPECT_EQ(m.back(), '.') << c.name;
    messages.insert(m);
  }
  EXPECT_EQ(messages.size(), sizeof codes / sizeof codes[0]);

  // The gap in the table and values far off it are no result codes.
  for (vorn_result v : {0x10000005u, 0x10000008u, 1u, 0xFFFFFFFFu}) {
    EXPECT_STREQ(vorn_result_name(v), "VORN_E_UNKNOWN");
    EXPECT_STREQ(vorn_result_message(v), "Not a result code of this library.");
  }
}
