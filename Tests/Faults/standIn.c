// Stands in for the programs that the tool starts, each by the name under which it is called: notes its command line,
// then does as little as will do.

#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

/// The launcher's result, which its user judges it by.
static int writeResult(const char* launcher) {
  char path[PATH_MAX];
  const char* const slash = strrchr(launcher, '/');
  snprintf(path, sizeof path, "%.*s/../.provisioning_rc", slash == NULL ? 0 : (int)(slash - launcher), launcher);
  const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (file == -1) return 1;
  const ssize_t count = write(file, "rc=0\n", 5);
  close(file);
  if (count != 5) unlink(path);  // half a result would be taken for the tool's doing
  return count != 5;
}

int main(int argc, char* argv[]) {
  char line[2 * PATH_MAX] = "";
  const char* const slash = strrchr(argv[0], '/');
  const char* const name = slash == NULL ? argv[0] : slash + 1;
  size_t length = (size_t)snprintf(line, sizeof line, "%s", name);
  for (int index = 1; index < argc && length < PATH_MAX; ++index) {
    length += (size_t)snprintf(line + length, PATH_MAX, " %.*s", PATH_MAX - 2, argv[index]);
  }
  line[length++] = '\n';
  const int record = open("/stand-ins/record", O_WRONLY | O_CREAT | O_APPEND, 0666);
  if (record == -1 || write(record, line, length) != (ssize_t)length) return 1;
  close(record);

  if (strcmp(name, "java_home") == 0) return puts("/Library/Java/Home") < 0;
  return strcmp(name, "rcplauncher") == 0 ? writeResult(argv[0]) : 0;
}
