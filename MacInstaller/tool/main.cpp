// The command hotfixUninstall.

#include "MacInstaller/tool/TerminalProgress.h"
#include "MacInstaller/tool/runTool.h"

int main(int argc, char* argv[]) {
  hotfix::TerminalProgress terminal;
  return hotfix::runTool({argv, argv + argc}, terminal);
}
