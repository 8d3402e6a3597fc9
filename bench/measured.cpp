// Tells how long a program runs, how much of that its children run, and what it costs.
//
//   measured run NOTES PROGRAM [ARGUMENT]...   starts the program and prints: total ms, ms without the children,
//                                              number of children, CPU ms of the program alone, its peak memory in KiB
//   measured child NOTES                       what the children are: appends when it began and ended to NOTES
//
// A child takes 50 ms, or none at all with HOTFIX_BENCH_CHILD_MS=0: the time without the children stays the same.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>

extern char** environ;

namespace {

double millisecondsNow() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration<double, std::milli>(now).count();
}

int child(const char* notes) {
  const double begin = millisecondsNow();
  const char* duration = std::getenv("HOTFIX_BENCH_CHILD_MS");
  std::this_thread::sleep_for(std::chrono::milliseconds(duration != nullptr ? std::atoi(duration) : 50));
  std::ofstream(notes, std::ios::app) << std::fixed << begin << " " << millisecondsNow() << "\n";
  return 0;
}

int run(const char* notes, char** command) {
  std::ofstream(notes, std::ios::trunc);
  pid_t pid = -1;
  const double begin = millisecondsNow();
  if (posix_spawn(&pid, command[0], nullptr, nullptr, command, environ) != 0) return 1;

  // Looked at when it has ended but is not yet gone: its time is final then, and apart from that of its children.
  siginfo_t information = {};
  if (waitid(P_PID, static_cast<id_t>(pid), &information, WEXITED | WNOWAIT) != 0) return 1;
  const double total = millisecondsNow() - begin;
  double ownNanoseconds = 0;
  std::ifstream("/proc/" + std::to_string(pid) + "/schedstat") >> ownNanoseconds;
  struct rusage usage = {};
  int status = 0;
  if (wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status)) return 1;

  int children = 0;
  double inChildren = 0;
  std::ifstream noted(notes);
  for (double from = 0, to = 0; noted >> from >> to;) {
    ++children;
    inChildren += to - from;
  }
  std::printf("%8.1f %8.1f %3d %8.1f %8ld\n", total, total - inChildren, children, ownNanoseconds / 1e6,
              usage.ru_maxrss);
  return WEXITSTATUS(status);
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc >= 3 && std::strcmp(argv[1], "child") == 0) return child(argv[2]);
  if (argc >= 4 && std::strcmp(argv[1], "run") == 0) return run(argv[2], argv + 3);
  std::fputs("Usage: measured run NOTES PROGRAM [ARGUMENT]... | measured child NOTES\n", stderr);
  return 2;
}
