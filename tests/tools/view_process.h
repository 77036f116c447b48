// `vorn view` run as a server by the program's tests: started on 127.0.0.1 on a free port, its address read from
// its first line of output within a bounded time, and stopped (SIGTERM, then SIGKILL when it hangs).
#ifndef VORN_TESTS_TOOLS_VIEW_PROCESS_H
#define VORN_TESTS_TOOLS_VIEW_PROCESS_H

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace tool_test {

class ViewProcess {
 public:
  // Starts `vorn view ARGS...`; url() is empty when it printed no address within `seconds`.
  ViewProcess(const std::vector<std::string> &args, int seconds) {
    int out[2];
    if (pipe(out) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(out[1], STDOUT_FILENO);
      int null = open("/dev/null", O_RDWR);
      dup2(null, STDIN_FILENO);
      close(out[0]);
      close(out[1]);
      std::vector<const char *> argv = {VORN_TOOL_EXE, "view"};
      for (const std::string &a : args) argv.push_back(a.c_str());
      argv.push_back(nullptr);
      execv(VORN_TOOL_EXE, const_cast<char *const *>(argv.data()));
      _exit(127);
    }
    close(out[1]);
    std::string line;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (line.find('\n') == std::string::npos && std::chrono::steady_clock::now() < end) {
      pollfd p{out[0], POLLIN, 0};
      if (poll(&p, 1, 200) <= 0) continue;
      char b[256];
      ssize_t n = read(out[0], b, sizeof b);
      if (n <= 0) break;
      line.append(b, static_cast<size_t>(n));
    }
    close(out[0]);
    const size_t at = line.find("http://"), stop = line.find(' ', at);
    if (at != std::string::npos && stop != std::string::npos) url_ = line.substr(at, stop - at);
  }

  ~ViewProcess() { stop(); }

  const std::string &url() const { return url_; }

  // Stops the server; its exit status (-1 when it had to be killed or was not running).
  int stop() {
    if (pid_ <= 0) return status_;
    kill(pid_, SIGTERM);
    for (int i = 0; i < 100; ++i) {
      int raw = 0;
      if (waitpid(pid_, &raw, WNOHANG) == pid_) {
        status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        pid_ = 0;
        return status_;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = 0;
    return status_ = -1;
  }

 private:
  pid_t pid_ = -1;
  std::string url_;
  int status_ = -1;
};

}  // namespace tool_test

#endif
