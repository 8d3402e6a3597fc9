#include "Tests/EndToEnd/MachineTest.h"

namespace hotfix {

namespace {

class ChildrenTest : public MachineTest {};

TEST_F(ChildrenTest, ProgramOfTheWorkingFolderIsNotTakenForJava) {
  makeStandIn("/Users/bob/bin/java");
  makeStandIn("/Users/bob/jdk/bin/java");
  std::vector<CommandLine> children = allChildren();
  children.erase(children.begin() + 4);
  for (const char* line : {"", "jdk", "./jdk"}) {
    makeStandIn(kJavaHomeFinder, "echo " + std::string(line));
    Call call = uninstall();
    call.folder = "/Users/bob";
    expectSucceeded(run(call), children);
    makeInstance(bundle, data);
  }
}

}  // namespace

}  // namespace hotfix
