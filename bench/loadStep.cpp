// Does one piece of work on something large and tells what it cost.
//
//   loadStep WORK SIZE      prints: seconds, and peak memory in MiB
//
// What the work is done on is made by another process, so that its memory is not counted.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>

#include "MacInstaller/InstallManifest.h"
#include "MacInstaller/InstallUtil.h"
#include "MacInstaller/InstanceService.h"
#include "MacInstaller/JavaProperties.h"
#include "Platform/FileManager.h"
#include "Platform/PropertyList.h"
#include "bench/Samples.h"
#include "bench/ScratchFolder.h"

namespace hotfix {

namespace {

/// What is made before, and what is done then. Both get the same folder.
struct Work {
  std::function<void(const ScratchFolder&, int size)> prepare;
  std::function<bool(const ScratchFolder&)> run;
};

void makeTree(const ScratchFolder& folder, int entries) { (void)folder.makeTree("data", entries); }

bool setModes(const ScratchFolder& folder, mode_t mode) {
  platform::Attributes attributes;
  attributes.mode = mode;
  return platform::setAttributesBelow(folder / "data", attributes);
}

void makeProperties(const ScratchFolder& folder, int entries) {
  (void)folder.makeFile("properties", propertiesText(entries));
}

void makeManifest(const ScratchFolder& folder, int features) {
  (void)folder.makeFile("manifest", manifestText(features));
}

void makeAddons(const ScratchFolder& folder, int addons) {
  (void)platform::createFolder(folder / "home", platform::Parents::Created);
  (void)folder.makeFile("home/addonInfo.plist", addonRegistryText(addons));
}

void makeSourceTree(const ScratchFolder& folder, int entries) {
  (void)folder.makeTree("source", entries);
  (void)platform::createFolder(folder / "target", platform::Parents::Required);
}

bool mergeTrees(const ScratchFolder& folder) {
  platform::setCopyPolicy([](const platform::FileError& error, const std::string&, const std::string&) {
    return error.code == platform::kFileExists;
  });
  return platform::copyItem(folder / "source", folder / "target");
}

void makeList(const ScratchFolder& folder, int records) { (void)folder.makeFile("list", propertyListText(records)); }

bool rewriteList(const ScratchFolder& folder) {
  const auto list = platform::readDictionary(folder / "list");
  return list && platform::writeDictionary(folder / "saved", *list);
}

/// What the processes that are made wait at: its other end is closed when this program ends.
int waitingRoom[2];

void startProcesses(const ScratchFolder&, int count) {
  for (; count > 0; --count) {
    if (fork() != 0) continue;
    char end;
    close(waitingRoom[1]);
    _exit(read(waitingRoom[0], &end, 1) == 0 ? 0 : 1);
  }
}

const std::map<std::string, Work>& works() {
  static const std::map<std::string, Work> all = {
      {"walkThatChanges", {makeTree, [](const auto& folder) { return setModes(folder, 0770); }}},
      {"walkThatChangesNothing", {makeTree, [](const auto& folder) { return setModes(folder, 0755); }}},
      {"removeTree", {makeTree, [](const auto& folder) { return platform::removeItem(folder / "data"); }}},
      {"propertiesLoad",
       {makeProperties,
        [](const auto& folder) {
          return JavaProperties(folder / "properties").getPropertyForKey("com.qor.rcp.setting.0").has_value();
        }}},
      {"propertiesLoadAndSave",
       {makeProperties,
        [](const auto& folder) {
          const JavaProperties properties(folder / "properties");
          return properties.savePropertiesToFile(folder / "saved");
        }}},
      {"mergeTree", {makeSourceTree, mergeTrees}},
      {"listRewrite", {makeList, rewriteList}},
      {"runningCheck",
       {startProcesses,
        [](const auto&) { return !InstallUtil::checkBundleIsRunning(std::string("/Applications/Vantelmor.app")); }}},
      {"manifestRewriteAndSave",
       {makeManifest,
        [](const auto& folder) {
          InstallManifest manifest(folder / "manifest");
          return manifest.replaceInstallerRootWith("file:/Volumes/Installer/root") &&
                 manifest.saveInstallManifestAs(folder / "saved");
        }}},
      {"addonLookUp",
       {makeAddons,
        [](const auto& folder) {
          return InstanceService(folder / "home", std::nullopt).getAddonInstalledVersion("com.qor.addon.7").has_value();
        }}},
  };
  return all;
}

void prepareElsewhere(const Work& work, const ScratchFolder& folder, int size) {
  const pid_t pid = fork();
  if (pid == 0) {
    work.prepare(folder, size);
    _exit(0);
  }
  int status = 1;
  if (waitpid(pid, &status, 0) != pid || status != 0) std::exit(1);
}

int runStep(int argc, char* argv[]) {
  const auto work = argc == 3 ? works().find(argv[1]) : works().end();
  if (work == works().end()) {
    std::fputs("Usage: loadStep WORK SIZE, with WORK one of:\n", stderr);
    for (const auto& [name, unused] : works()) std::fprintf(stderr, "  %s\n", name.c_str());
    return 2;
  }
  if (pipe(waitingRoom) != 0) return 1;
  const ScratchFolder folder;
  prepareElsewhere(work->second, folder, std::atoi(argv[2]));

  const auto begin = std::chrono::steady_clock::now();
  if (!work->second.run(folder)) {
    std::fprintf(stderr, "%s failed\n", argv[1]);
    return 1;
  }
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
  struct rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  std::printf("%.3f %.1f\n", seconds.count(), static_cast<double>(usage.ru_maxrss) / 1024);
  return 0;
}

}  // namespace

}  // namespace hotfix

int main(int argc, char* argv[]) { return hotfix::runStep(argc, argv); }
