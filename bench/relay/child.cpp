#include "bench/relay/child.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "bench/relay/failure.h"
#include "host/system/argument_pointers.h"

namespace bench {
namespace {

constexpr int not_installed = 127;

[[noreturn]] void become(const std::vector<std::string> &command, int processor, int input,
                         const std::filesystem::path &words) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (processor >= 0) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<std::size_t>(processor), &set);
    sched_setaffinity(0, sizeof set, &set);
  }
  const int output = open(words.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  const std::vector<char *> arguments = host::argument_pointers(command);
  execvp(arguments[0], arguments.data());
  _exit(not_installed);
}

bool is_installed(const std::string &program) {
  const char *variable = std::getenv("PATH");
  const std::string path = variable != nullptr ? variable : "/usr/bin";
  for (std::size_t start = 0; start <= path.size();) {
    const std::size_t end = std::min(path.find(':', start), path.size());
    if (access((path.substr(start, end - start) + "/" + program).c_str(), X_OK) == 0) {
      return true;
    }
    start = end + 1;
  }
  return false;
}

}  // namespace

Child::Child(const std::vector<std::string> &command, int processor, std::filesystem::path words)
    : words_(std::move(words)) {
  if (!is_installed(command.front())) {
    throw Failure(fmt::format("{} is not installed", command.front()));
  }
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw Failure(fmt::format("no pipe can be made: {}", std::strerror(errno)));
  }
  const host::Descriptor read_end(ends[0]);
  input_ = host::Descriptor(ends[1]);
  pid_ = fork();
  if (pid_ < 0) {
    throw Failure(fmt::format("no process for {}: {}", command.front(), std::strerror(errno)));
  }
  if (pid_ == 0) {
    become(command, processor, read_end.get(), words_);
  }
}

Child::~Child() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
}

bool Child::has_ended() const {
  siginfo_t information{};
  return waitid(P_PID, static_cast<id_t>(pid_), &information, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         information.si_pid == pid_;
}

std::string Child::last_words() const {
  std::ifstream file(words_);
  std::string last;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty()) {
      last = line;
    }
  }
  return last;
}

void run_program(const std::vector<std::string> &command) {
  const std::filesystem::path words =
      std::filesystem::temp_directory_path() / fmt::format("bench-{}", getpid());
  const Child child(command, -1, words);
  siginfo_t information{};
  waitid(P_PID, static_cast<id_t>(child.pid()), &information, WEXITED | WNOWAIT);
  const std::string said = child.last_words();
  std::filesystem::remove(words);
  if (information.si_code != CLD_EXITED || information.si_status != 0) {
    throw Failure(fmt::format("{} failed: {}", command.front(), said));
  }
}

}  // namespace bench
