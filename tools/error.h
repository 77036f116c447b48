// Errors of the command-line program: one message for the user and the exit status that goes with it.
#ifndef VORN_TOOLS_ERROR_H
#define VORN_TOOLS_ERROR_H

#include <stdexcept>
#include <string>

namespace vt {

// Exit statuses of `vorn`.
enum ExitCode {
  kExitOk = 0,
  kExitRuntime = 1,      // an input could not be read, an output not written, the library failed
  kExitUsage = 2,        // bad command line or configuration
};

class ToolError : public std::runtime_error {
 public:
  ToolError(ExitCode code, const std::string &message) : std::runtime_error(message), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

[[noreturn]] inline void usage_error(const std::string &message) { throw ToolError(kExitUsage, message); }
[[noreturn]] inline void runtime_error(const std::string &message) { throw ToolError(kExitRuntime, message); }

}  // namespace vt

#endif
