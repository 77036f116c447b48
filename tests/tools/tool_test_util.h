// Helpers of the command-line program's tests: scratch directories and running the program.
#ifndef VORN_TESTS_TOOLS_UTIL_H
#define VORN_TESTS_TOOLS_UTIL_H

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace tool_test {

// A fresh directory under /tmp for one test.
inline std::string scratch_dir() {
  char tmpl[] = "/tmp/vorn_tool_test_XXXXXX";
  const char *d = mkdtemp(tmpl);
  return d ? std::string(d) : std::string("/tmp");
}

inline std::string read_text(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

inline bool file_exists(const std::string &path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && st.st_size > 0;
}

struct Run {
  int status = -1;
  std::string out, err;
};

// Runs the program with `args` (already shell-quoted where needed) and collects its output and exit status.
inline Run run_tool(const std::string &args) {
  static int counter = 0;
  std::string dir = scratch_dir();
  std::string out = dir + "/stdout" + std::to_string(counter), err = dir + "/stderr" + std::to_string(counter);
  ++counter;
  std::string cmd = std::string(VORN_TOOL_EXE) + " " + args + " >" + out + " 2>" + err + " </dev/null";
  int raw = std::system(cmd.c_str());
  Run r;
  r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  r.out = read_text(out);
  r.err = read_text(err);
  return r;
}

}  // namespace tool_test

#endif
