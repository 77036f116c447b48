// Helpers of the command-line program's tests: scratch directories and running the program.
#ifndef VORN_TESTS_TOOLS_UTIL_H
#define VORN_TESTS_TOOLS_UTIL_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
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

// Checks a file of events against the shipped JSON Schema (docs/events.schema.json); returns "" when every line
// is valid, else what the checker said.
inline std::string schema_failures(const std::string &events_path) {
  const std::string src = VORN_SOURCE_DIR;
  const std::string cmd = "python3 " + src + "/tests/tools/check_events.py " + src + "/docs/events.schema.json " +
                          events_path + " 2>&1";
  std::string out;
  if (FILE *p = popen(cmd.c_str(), "r")) {
    char buf[512];
    while (std::fgets(buf, sizeof buf, p)) out += buf;
    if (pclose(p) == 0) return "";
  }
  return out.empty() ? "the checker did not run" : out;
}

// A loopback TCP port nobody listens on now.
inline int free_port() {
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof a;
  int port = 0;
  if (bind(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0 &&
      getsockname(fd, reinterpret_cast<sockaddr *>(&a), &len) == 0)
    port = ntohs(a.sin_port);
  close(fd);
  return port;
}

// Waits up to `seconds` until a socket on 127.0.0.1:`port` is in `state` ("0A" listening, "01" connected), without
// connecting (a server that takes one client only must not be spent): the kernel's table of TCP sockets says.
inline bool wait_listening(int port, double seconds, const char *state = "0A") {
  char want[32];
  std::snprintf(want, sizeof want, "0100007F:%04X", port);
  for (double waited = 0; waited < seconds; waited += 0.05) {
    std::ifstream tcp("/proc/net/tcp");
    std::string line;
    while (std::getline(tcp, line))
      if (line.find(want) != std::string::npos && line.find(std::string(" ") + state + " ") != std::string::npos)
        return true;
    usleep(50000);
  }
  return false;
}

// A command run under /bin/sh in its own process group (a pipeline is one group), stopped by the test.
class Process {
 public:
  explicit Process(const std::string &command) {
    pid_ = fork();
    if (pid_ == 0) {
      setpgid(0, 0);
      execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char *>(nullptr));
      _exit(127);
    }
    if (pid_ > 0) setpgid(pid_, pid_);
  }
  ~Process() {
    if (pid_ > 0) {
      kill(-pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }
  Process(const Process &) = delete;
  Process &operator=(const Process &) = delete;

  // Sends `sig` to every process of the group.
  void signal(int sig) const {
    if (pid_ > 0) kill(-pid_, sig);
  }
  // Waits up to `seconds` for the shell to end; returns its exit status, or -1 when it had to be killed.
  int wait(double seconds) {
    for (double waited = 0; pid_ > 0; waited += 0.02) {
      int status = 0;
      if (waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      }
      if (waited >= seconds) {
        kill(-pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
        return -1;
      }
      usleep(20000);
    }
    return -1;
  }

 private:
  pid_t pid_ = -1;
};

}  // namespace tool_test

#endif
