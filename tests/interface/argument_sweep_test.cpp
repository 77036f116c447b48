// Every export of the library with every pointer argument NULL in turn, every record without storage, records of
// the wrong size or colour model, and scalars at their extremes (see probe.h). The table must name every export
// of cmake/exports/: one it does not know fails the test, so a new export cannot skip the sweep.
#include <dirent.h>
#include <stdio.h>

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
// The names of every cmake/exports/*.txt.
std::set<std::string> exported_names() {
  std::set<std::string> names;
  DIR *dir = opendir(VORN_EXPORTS_DIR);
  EXPECT_NE(dir, nullptr) << VORN_EXPORTS_DIR;
  std::vector<std::string> lists;
  while (dir) {
    const dirent *e = readdir(dir);
    if (!e) break;
    const std::string n = e->d_name;
    if (n.size() > 4 && n.compare(n.size() - 4, 4, ".txt") == 0) lists.push_back(n);
  }
  if (dir) closedir(dir);
  for (const std::string &list : lists) {
    std::ifstream in(std::string(VORN_EXPORTS_DIR) + "/" + list);
    EXPECT_TRUE(in.good()) << list;
    std::string line;
    while (std::getline(in, line)) {
      if (!line.empty() && line[0] != '#') names.insert(line);
    }
  }
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
