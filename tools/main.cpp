// vorn: runs the library's analytics over videos from the command line, and shows their results in a browser.
#include <cstdio>
#include <cstring>

#include "runner.h"
#include "view_command.h"

int main(int argc, char **argv) {
  // The viewer keeps its own command line; `vorn help view` is its --help.
  if (argc > 1 && std::strcmp(argv[1], "view") == 0) return vt::view_main(argc, argv);
  if (argc == 3 && std::strcmp(argv[1], "help") == 0 && std::strcmp(argv[2], "view") == 0) {
    std::fputs(vt::view_usage_text().c_str(), stdout);
    return 0;
  }
  return vt::tool_main(argc, argv);
}
