#include "Platform/posix/SystemLogSink.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>

#include <atomic>
#include <cerrno>
#include <chrono>

#include "Platform/SystemPaths.h"
#include "Platform/posix/Descriptors.h"
#include "Platform/posix/SystemHabits.h"

namespace hotfix::platform {

namespace {

/// The total time that this process may still wait for the log: enough for a reader that is only slow.
std::atomic<long> patienceLeft{100'000};  // microseconds

/// Waits for space in the queue of the log, as long as there is time left. \return false if there is none.
bool waitForRoom(int connection) {
  const long patience = patienceLeft;
  if (patience <= 0) return false;
  const auto begin = std::chrono::steady_clock::now();
  struct pollfd room = {connection, POLLOUT, 0};
  (void)poll(&room, 1, static_cast<int>(patience / 1000) + 1);
  const auto waited =
      std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - begin).count();
  patienceLeft -= static_cast<long>(waited);
  return true;
}

/// Sends a line to the log's socket, or drops it. \return false when the socket is of another type.
bool send(int type, const std::string& line) {
  const ScopedFd connection(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  struct sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  onDisk(_PATH_LOG).copy(address.sun_path, sizeof address.sun_path - 1);
  if (connect(connection.get(), reinterpret_cast<const struct sockaddr*>(&address), sizeof address) != 0) {
    return errno != EPROTOTYPE;
  }
  while (::send(connection.get(), line.data(), line.size(), MSG_NOSIGNAL) < 0 && errno == EAGAIN) {
    if (!waitForRoom(connection.get())) break;
  }
  return true;
}

}  // namespace

// Does not use syslog(3), which waits as long as the queue of the log is full: forever, if its reader has stopped, and
// every user can fill the queue. The lines have the same form. The name is that of the program, because the name that
// the process passed to openlog(3) cannot be read. The levels have the numbers of syslog(3).
void sendToSystemLog(LogLevel level, const std::string& message) {
  const int number = static_cast<int>(level);
  if ((setlogmask(0) & LOG_MASK(number)) == 0) return;
  const std::string line =
      "<" + std::to_string(LOG_USER | number) + ">" + logTime() + " " + programName() + ": " + message;
  if (!send(SOCK_DGRAM, line)) (void)send(SOCK_STREAM, line + '\0');
}

}  // namespace hotfix::platform
