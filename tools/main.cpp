// vorn: runs the library's analytics over videos from the command line.
#include "runner.h"

int main(int argc, char **argv) { return vt::tool_main(argc, argv); }
