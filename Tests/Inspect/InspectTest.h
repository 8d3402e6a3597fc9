#ifndef TESTS_INSPECT_INSPECT_TEST_H_
#define TESTS_INSPECT_INSPECT_TEST_H_

#include <map>
#include <string>

#include "Tests/EndToEnd/WatchedTest.h"

namespace hotfix {

/// A machine on which hotfixInspect is called in addition to the tool.
class InspectTest : public WatchedTest {
 protected:
  using Environment = std::map<std::string, std::string>;

  Call inspectCall(const CommandLine& words, const Environment& environment = {}) {
    Call inspect = call(words);
    inspect.program = HOTFIX_INSPECT;
    inspect.commandLine.front() = HOTFIX_INSPECT;
    for (const auto& [name, value] : environment) inspect.environment[name] = value;
    return inspect;
  }

  Outcome inspect(const CommandLine& words) { return run(inspectCall(words)); }

  /// Makes the feature and the receipt of the hotfix, which the launcher and pkgutil remove if they succeed.
  void makeRemovableHotfix() {
    files().makeFile(inHome("eclipse/plugins/com.qor.hotfix_1.0.0/a.jar"), "jar");
    files().makeFile(inside("/stand-ins/receipt"), "");
    makeStandIn(kPkgutil,
                "case $1 in --forget) rm -f /stand-ins/receipt ;; --pkg-info) test -e /stand-ins/receipt ;; esac");
  }

  void setResult(const std::string& code) {
    setLauncher("echo rc=" + code + " > \"$result\"" +
                (code == "0" ? "; rm -rf \"${0%/*}/eclipse/plugins/com.qor.hotfix_1.0.0\"" : ""));
  }
};

}  // namespace hotfix

#endif
