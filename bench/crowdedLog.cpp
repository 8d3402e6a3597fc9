// Runs a program while the system log of toolInFolder is in trouble.
//
//   crowdedLog read|stopped|flooded|beside PROGRAM [ARGUMENT]...
//
// read: the log is read. stopped: its queue is full and nobody reads. flooded: it is read, and 200 processes send to it
// without end. beside: it is read, and 200 processes send to another one, which costs the machine as much.

#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr int kSenders = 200;
constexpr char kLine[] = "<14>Nov 15 21:25:07 flood: a line of some length, as others have it too";

std::vector<pid_t> helpers;

struct sockaddr_un addressOf(const std::string& path) {
  struct sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

int makeLog(const std::string& path) {
  (void)unlink(path.c_str());
  const int log = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const struct sockaddr_un address = addressOf(path);
  if (bind(log, reinterpret_cast<const struct sockaddr*>(&address), sizeof address) == 0) return log;
  std::perror(path.c_str());
  std::exit(1);
}

int connected(const std::string& path, int flags) {
  const int sender = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | flags, 0);
  const struct sockaddr_un address = addressOf(path);
  if (connect(sender, reinterpret_cast<const struct sockaddr*>(&address), sizeof address) == 0) return sender;
  std::perror(path.c_str());
  std::exit(1);
}

template <class Body>
void startHelper(Body body) {
  const pid_t helper = fork();
  if (helper == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;) body();
  }
  helpers.push_back(helper);
}

void readAll(int log) {
  startHelper([log] {
    char line[8192];
    (void)!recv(log, line, sizeof line, 0);
  });
}

void flood(const std::string& path) {
  for (int sender = 0; sender < kSenders; ++sender) {
    startHelper([connection = connected(path, 0)] { (void)!send(connection, kLine, sizeof kLine - 1, 0); });
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  const char* root = std::getenv("HOTFIX_BENCH_ROOT");
  if (argc < 3 || root == nullptr) return 2;
  const std::string trouble = argv[1], folder = std::string(root) + "/dev/";
  const int log = makeLog(folder + "log"), other = makeLog(folder + "other");
  if (trouble == "stopped") {
    const int sender = connected(folder + "log", SOCK_NONBLOCK);
    while (send(sender, kLine, sizeof kLine - 1, 0) > 0) continue;
  } else {
    readAll(log);
    readAll(other);
  }
  if (trouble == "flooded") flood(folder + "log");
  if (trouble == "beside") flood(folder + "other");

  int status = 1;
  const pid_t program = fork();
  if (program == 0) {
    execv(argv[2], argv + 2);
    _exit(126);
  }
  (void)waitpid(program, &status, 0);
  for (const pid_t helper : helpers) {
    kill(helper, SIGKILL);
    (void)waitpid(helper, nullptr, 0);
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}
