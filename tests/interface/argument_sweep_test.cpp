// Every export of the library with every pointer argument NULL in turn, every record without storage, records of
// the wrong size or colour model, and scalars at their extremes (see probe.h). The table must name every export
// of cmake/exports/: one it does not know fails the test, so a new export cannot skip the sweep.
#include <stdio.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "interface/sweep_table.h"

namespace vorn_probe {

std::string describe_code(uint64_t v) {
  char buf[32];
  snprintf(buf, sizeof buf, "0x%08llx", (unsigned long long)v);
  return buf;
}

std::vector<Entry> &sweep_table() {
  static std::vector<Entry> table;
  return table;
}

Register::Register(std::initializer_list<Entry> entries) {
  for (const Entry &e : entries) sweep_table().push_back(e);
}

namespace {
// The names of every list in cmake/exports/.
std::set<std::string> exported_names() {
  std::set<std::string> names;
  size_t lists = 0;
  for (const auto &f : std::filesystem::directory_iterator(VORN_EXPORTS_DIR)) {
    if (f.path().extension() != ".txt") continue;
    ++lists;
    std::ifstream in(f.path());
    EXPECT_TRUE(in.good()) << f.path();
    std::string line;
    while (std::getline(in, line)) {
      if (!line.empty() && line[0] != '#') names.insert(line);
    }
  }
  EXPECT_GT(lists, 10u);
  return names;
}

TEST(ArgumentSweep, TableNamesEveryExport) {
  std::set<std::string> table;
  for (const Entry &e : sweep_table()) EXPECT_TRUE(table.insert(e.name).second) << e.name << " twice in the table";
  const std::set<std::string> exported = exported_names();
  EXPECT_GT(exported.size(), 300u);
  for (const std::string &n : exported) EXPECT_TRUE(table.count(n)) << n << " is exported but not swept";
  for (const std::string &n : table) EXPECT_TRUE(exported.count(n)) << n << " is swept but not exported";
}

class ArgumentSweep : public ::testing::TestWithParam<size_t> {};

TEST_P(ArgumentSweep, Export) {
  const Entry &e = sweep_table()[GetParam()];
  World w;
  Prober p(e.name);
  e.run(w, p);
}

INSTANTIATE_TEST_SUITE_P(Interface, ArgumentSweep, ::testing::Range<size_t>(0, sweep_table().size()),
                         [](const ::testing::TestParamInfo<size_t> &info) {
                           return std::string(sweep_table()[info.param].name);
                         });

}  // namespace
}  // namespace vorn_probe
