// The analytic registry: every entry's settings reach an analytic the same way from the command line and from a
// configuration file, and the help and `vorn info` list what the registry holds.
#include <gtest/gtest.h>

#include <vector>

#include "analytic_registry.h"
#include "error.h"
#include "json.h"
#include "options.h"
#include "tool_test_util.h"

namespace {

// A value of the setting's type, as the command line writes it and as JSON.
struct Sample {
  std::string option_value, json;
};

Sample sample_of(const vt::SettingDef &s) {
  switch (s.type) {
    case vt::SettingType::kInteger: {
      const std::string v = std::to_string(s.hi > s.lo ? s.lo + 1 : s.lo);
      return {v, v};
    }
    case vt::SettingType::kFlag: return {"", "true"};
    case vt::SettingType::kText:
    case vt::SettingType::kOutput: return {"some/where", "\"some/where\""};
    case vt::SettingType::kSegment: return {"1,2,30,40", "[1, 2, 30, 40]"};
    case vt::SettingType::kPolygon: return {"1,1,9,1,9,9", "[[1,1],[9,1],[9,9]]"};
    case vt::SettingType::kPolyline: return {"1,2,30,40,50,60", "[1, 2, 30, 40, 50, 60]"};
  }
  return {};
}

vt::RunPlan parse(const std::vector<std::string> &args) {
  std::vector<const char *> argv = {"vorn"};
  for (const std::string &a : args) argv.push_back(a.c_str());
  return vt::parse_command_line(static_cast<int>(argv.size()), argv.data());
}

std::string failure(const std::function<void()> &f) {
  try {
    f();
  } catch (const vt::ToolError &e) {
    EXPECT_EQ(e.code(), vt::kExitUsage);
    return e.what();
  }
  return "(accepted)";
}

void expect_same(const vt::SettingValue &a, const vt::SettingValue &b, const std::string &what) {
  EXPECT_EQ(a.number, b.number) << what;
  EXPECT_EQ(a.text, b.text) << what;
  ASSERT_EQ(a.points.size(), b.points.size()) << what;
  for (size_t i = 0; i < a.points.size(); ++i) {
    EXPECT_EQ(a.points[i].x, b.points[i].x) << what;
    EXPECT_EQ(a.points[i].y, b.points[i].y) << what;
  }
}

TEST(Registry, EverySettingReadsTheSameFromOptionsAndConfiguration) {
  ASSERT_FALSE(vt::analytic_registry().empty());
  for (const vt::AnalyticEntry *a : vt::analytic_registry()) {
    EXPECT_EQ(vt::find_analytic(a->kind), a);
    for (const vt::SettingDef &s : a->settings) {
      const std::string what = std::string(a->kind) + "." + s.field;
      const Sample v = sample_of(s);
      std::vector<std::string> args = {a->kind, s.option()};
      if (!v.option_value.empty()) args.push_back(v.option_value);
      const vt::RunPlan cli = parse(args);
      vt::RunPlan conf;
      vt::load_config_text("{\"analytics\": [{\"kind\": \"" + std::string(a->kind) + "\", \"" + s.field + "\": " + v.json +
                               "}]}",
                           "c.json", conf);
      ASSERT_EQ(cli.analytics.size(), 1u) << what;
      ASSERT_EQ(conf.analytics.size(), 1u) << what;
      ASSERT_TRUE(cli.analytics[0].has(s.field)) << what;
      ASSERT_TRUE(conf.analytics[0].has(s.field)) << what;
      expect_same(cli.analytics[0].given.at(s.field), conf.analytics[0].given.at(s.field), what);
      // Nothing else was set, and what was not given reads as its default.
      EXPECT_EQ(cli.analytics[0].given.size(), 1u) << what;
      if (s.type == vt::SettingType::kInteger) {
        EXPECT_EQ(vt::settings_of(a->kind).integer(s.field), s.def) << what;
        EXPECT_LE(s.lo, s.hi) << what;
        const std::string above = std::to_string(s.hi + 1);
        EXPECT_EQ(failure([&] { parse({a->kind, s.option(), above}); }),
                  s.option() + ": '" + above + "' is not a whole number in " + std::to_string(s.lo) + ".." +
                      std::to_string(s.hi))
            << what;
        EXPECT_NE(failure([&] {
                    vt::RunPlan p;
                    vt::load_config_text("{\"analytics\": [{\"kind\": \"" + std::string(a->kind) + "\", \"" + s.field +
                                             "\": " + above + "}]}",
                                         "c.json", p);
                  }).find(what + " must be a whole number in " + std::to_string(s.lo) + ".." + std::to_string(s.hi)),
                  std::string::npos)
            << what;
      }
    }
  }
}

TEST(Registry, HelpAndInfoListEveryEntry) {
  const std::string all = vt::usage_text();
  std::vector<std::string> listed;
  tool_test::Run info = tool_test::run_tool("info");
  ASSERT_EQ(info.status, 0) << info.err;
  for (size_t pos = 0; pos < info.out.size();) {
    size_t nl = info.out.find('\n', pos);
    listed.push_back(vt::parse_json(info.out.substr(pos, nl - pos), "info").find("analytic")->text);
    pos = nl + 1;
  }
  // The manual page the build wrote next to the program.
  const std::string exe = VORN_TOOL_EXE;
  const std::string man = tool_test::read_text(exe.substr(0, exe.rfind('/')) + "/vorn.1");
  auto in_man = [&man](const std::string &option) {
    std::string roff;
    for (char c : option) roff += c == '-' ? std::string("\\-") : std::string(1, c);
    return man.find(roff) != std::string::npos;
  };
  for (const vt::GeneralOption &o : vt::general_options()) EXPECT_TRUE(in_man(o.name)) << o.name;
  std::vector<std::string> kinds;
  for (const vt::AnalyticEntry *a : vt::analytic_registry()) {
    kinds.push_back(a->kind);
    EXPECT_NE(man.find(".SS " + std::string(a->kind) + "\n"), std::string::npos) << a->kind;
    for (const vt::SettingDef &s : a->settings) EXPECT_TRUE(in_man(s.option())) << s.option();
    EXPECT_NE(all.find("\n  " + std::string(a->kind) + " "), std::string::npos) << a->kind;
    // `vorn KIND --help` (or -h) prints the command's usage with every setting, and succeeds.
    for (const char *flag : {a == vt::analytic_registry()[0] ? "-h" : "--help"}) {
      tool_test::Run r = tool_test::run_tool(std::string(a->kind) + " " + flag);
      EXPECT_EQ(r.status, 0) << a->kind;
      EXPECT_EQ(r.out.rfind("usage: vorn " + std::string(a->kind) + " ", 0), 0u) << r.out;
      for (const vt::SettingDef &s : a->settings) EXPECT_NE(r.out.find(s.option()), std::string::npos) << s.field;
      EXPECT_EQ(r.out.find("--bk-type") != std::string::npos, a->background_model) << a->kind;
    }
  }
  EXPECT_EQ(listed, kinds);
}

TEST(Registry, BackgroundModelTypesOutsideTheLibrarysAreRefused) {
  for (const char *type : {"10", "99"}) {
    vt::RunPlan p = parse({"bgsub", "--model", type});
    EXPECT_NE(failure([&] { vt::validate_settings(p.analytics[0], 64, 48); }).find("background-model type " +
                                                                                std::string(type) + " is not one"),
              std::string::npos);
  }
  for (int type = 0; type <= 9; ++type) {
    vt::AnalyticSettings s = vt::settings_of("track");
    s.bk_type = static_cast<uint32_t>(type);
    EXPECT_EQ(failure([&] { vt::validate_settings(s, 64, 48); }), "(accepted)") << type;
  }
  // Refused before any frame is read: the run stops at once with the usage status.
  tool_test::Run r = tool_test::run_tool("bgsub --model 99 --frames 5");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("bgsub: background-model type 99 is not one of the library's"), std::string::npos) << r.err;
  EXPECT_EQ(r.out, "");
}

}  // namespace
