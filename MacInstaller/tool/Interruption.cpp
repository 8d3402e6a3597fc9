#include "MacInstaller/tool/Interruption.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>

#include "MacInstaller/InstanceFiles.h"
#include "Support/Path.h"

namespace hotfix::interruption {

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// The data of the handler. A text is written before the atomic that publishes it.
std::atomic<const char*> currentStep{nullptr};
std::atomic<long> childProcess{0};
char childProgram[64];
char manifest[PATH_MAX];
enum class Manifest { Missing, There, Unknown };
std::atomic<Manifest> manifestAtBegin{Manifest::Missing};
std::atomic<bool> isRemoved{false};
std::atomic<bool> isTerminal{false};
static_assert(ATOMIC_POINTER_LOCK_FREE == 2 && ATOMIC_LONG_LOCK_FREE == 2 && ATOMIC_BOOL_LOCK_FREE == 2 &&
                  ATOMIC_INT_LOCK_FREE == 2,
              "a handler must not wait for a lock");

// ----- In the handler: only what signal-safety(7) and sigaction(2) of macOS list -----

/// A text that is built without memory from the heap. Text that does not fit is dropped.
class Message {
 public:
  void add(const char* text) {
    for (; *text != '\0' && _length < sizeof _text; ++text) _text[_length++] = *text;
  }
  void addNumber(long number) {
    char digits[24] = {};
    size_t at = sizeof digits - 1;
    do {
      digits[--at] = static_cast<char>('0' + number % 10);
      number /= 10;
    } while (number > 0);
    add(digits + at);
  }
  void write() const {
    for (size_t written = 0; written < _length;) {
      const ssize_t count = ::write(STDERR_FILENO, _text + written, _length - written);
      if (count <= 0) return;
      written += static_cast<size_t>(count);
    }
  }

 private:
  char _text[1024] = {};
  size_t _length = 0;
};

const char* nameOf(int signal) { return signal == SIGINT ? "SIGINT" : signal == SIGTERM ? "SIGTERM" : "SIGHUP"; }

Manifest manifestAt(const char* path) {
  struct stat status;
  if (stat(path, &status) == 0) return Manifest::There;
  return errno == ENOENT || errno == ENOTDIR ? Manifest::Missing : Manifest::Unknown;
}

const char* stateOfHotfix() {
  if (isRemoved) return "The hotfix was removed; what follows the uninstall is not complete.\n";
  const Manifest before = manifestAtBegin;
  if (before == Manifest::Missing) return "There was no uninstall manifest.\n";
  const Manifest now = manifestAt(manifest);
  if (now == Manifest::There) return "The uninstall manifest is not consumed: the tool can be run again.\n";
  if (now == Manifest::Missing && before == Manifest::There)
    return "The uninstall manifest is consumed: see Recovery in man hotfixUninstall.\n";
  return "Whether the uninstall manifest is consumed cannot be told: look for deploy/uninstall.hotfix.xml.\n";
}

/// The signal already has its default action again and is not blocked: the next signal ends the process.
void handleSignal(int signal) {
  struct sigaction ignored = {};
  ignored.sa_handler = SIG_IGN;
  (void)sigaction(SIGPIPE, &ignored, nullptr);  // the reader may be gone
  (void)sigaction(SIGXFSZ, &ignored, nullptr);
  Message message;
  message.add(isTerminal ? "\nhotfixUninstall was ended by " : "hotfixUninstall was ended by ");
  message.add(nameOf(signal));
  if (const char* step = currentStep) {
    message.add(" in the step: ");
    message.add(step);
  }
  message.add(".\n");
  if (const long process = childProcess) {
    message.add(childProgram);
    message.add(" goes on: process ");
    message.addNumber(process);
    message.add(".\n");
  }
  message.add(stateOfHotfix());
  message.write();
  (void)raise(signal);
}

}  // namespace

// ----- Around it -----

void begin(const OptionalString& home) {
  const std::string path = path::appending(home.value_or(""), kUninstallManifest);
  if (home) {
    manifestAtBegin = manifestAt(path.c_str());
    // A longer path could not be examined above either.
    manifest[path.copy(manifest, sizeof manifest - 1)] = '\0';
  }
  isTerminal = isatty(STDERR_FILENO) == 1;
  for (const int signal : kSignals) {
    struct sigaction before = {};
    if (sigaction(signal, nullptr, &before) != 0 || before.sa_handler == SIG_IGN) continue;
    struct sigaction action = {};
    action.sa_handler = handleSignal;
    // A second signal ends the process even if the message cannot be written.
    action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    (void)sigaction(signal, &action, nullptr);
  }
}

void setStep(const char* step) { currentStep = step; }

void setChild(const std::string& program, long process) {
  const std::string name = path::lastComponent(program);
  childProgram[name.copy(childProgram, sizeof childProgram - 1)] = '\0';
  childProcess = process;
}

void clearChild() { childProcess = 0; }

void setRemoved() { isRemoved = true; }

}  // namespace hotfix::interruption
