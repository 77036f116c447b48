// The manual page and the bash completion script, both written from the registry and the option table so that
// they always list what the program accepts (`vorn help --man`, `vorn help --bash-completion`; the build writes
// them next to the program and `make install` installs them).
#ifndef VORN_TOOLS_MANUAL_H
#define VORN_TOOLS_MANUAL_H

#include <string>

namespace vt {

std::string man_page();
std::string bash_completion();

}  // namespace vt

#endif
