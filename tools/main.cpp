// vorn: runs the library's analytics over videos from the command line, and shows their results in a browser.
#include <cstring>

#include "runner.h"
#include "view_command.h"

int main(int argc, char **argv) {
  if (argc > 1 && std::strcmp(argv[1], "view") == 0) return vt::view_main(argc, argv);
  return vt::tool_main(argc, argv);
}
