// One piece of the system's work, for scripts/compare to set beside that of other programs.
//
//   compared repair FOLDER OWNER GROUP MODE    owner, group and mode (octal) of everything below the folder
//   compared merge SOURCE TARGET               copies a folder; what is in the target already stays
//   compared properties FILE COPY ROUNDS       loads a properties file and saves it; prints the best ms of each
//   compared list FILE COPY                    reads a property list and writes it as XML
//   compared manifest FILE COPY                loads a manifest, rewrites its references, saves it
//   compared running BUNDLE                    whether a process of the bundle runs
//   compared sample KIND COUNT FILE            makes a file to work on: properties, list or manifest
//
// The exit status is 0 when the work was done; for `running`, when a process runs.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "MacInstaller/InstallManifest.h"
#include "MacInstaller/InstallUtil.h"
#include "MacInstaller/JavaProperties.h"
#include "Platform/FileManager.h"
#include "Platform/Ownership.h"
#include "Platform/PropertyList.h"
#include "bench/Samples.h"

namespace hotfix {

namespace {

using Arguments = std::vector<std::string>;

bool repair(const Arguments& arguments) {
  platform::Attributes attributes;
  attributes.owner = arguments[1];
  attributes.group = arguments[2];
  attributes.mode = static_cast<mode_t>(std::strtoul(arguments[3].c_str(), nullptr, 8));
  return platform::setAttributesBelow(arguments[0], attributes);
}

bool merge(const Arguments& arguments) {
  platform::setCopyPolicy([](const platform::FileError& error, const std::string&, const std::string&) {
    return error.code == platform::kFileExists;
  });
  return platform::copyItem(arguments[0], arguments[1]);
}

double millisecondsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

bool properties(const Arguments& arguments) {
  double bestLoad = 1e9;
  double bestSave = 1e9;
  for (int round = std::atoi(arguments[2].c_str()); round > 0; --round) {
    auto begin = std::chrono::steady_clock::now();
    const JavaProperties loaded(arguments[0]);
    bestLoad = std::min(bestLoad, millisecondsSince(begin));
    begin = std::chrono::steady_clock::now();
    if (!loaded.savePropertiesToFile(arguments[1])) return false;
    bestSave = std::min(bestSave, millisecondsSince(begin));
  }
  std::printf("%.2f %.2f\n", bestLoad, bestSave);
  return true;
}

bool list(const Arguments& arguments) {
  const auto dictionary = platform::readDictionary(arguments[0]);
  return dictionary && platform::writeDictionary(arguments[1], *dictionary);
}

bool manifest(const Arguments& arguments) {
  InstallManifest manifest(arguments[0]);
  return manifest.replaceInstallerRootWith("file:/Volumes/Installer/root") &&
         manifest.saveInstallManifestAs(arguments[1]);
}

bool running(const Arguments& arguments) { return InstallUtil::checkBundleIsRunning(arguments[0]); }

bool sample(const Arguments& arguments) {
  const int count = std::atoi(arguments[1].c_str());
  std::string text;
  if (arguments[0] == "properties") text = propertiesText(count);
  if (arguments[0] == "list") text = propertyListText(count);
  if (arguments[0] == "manifest") text = manifestText(count);
  return !text.empty() && platform::createFile(arguments[2], text, {});
}

struct Work {
  const char* name;
  size_t argumentCount;
  bool (*run)(const Arguments& arguments);
};

int runWork(int argc, char* argv[]) {
  static constexpr Work kWorks[] = {{"repair", 4, repair}, {"merge", 2, merge},       {"properties", 3, properties},
                                    {"list", 2, list},     {"manifest", 2, manifest}, {"running", 1, running},
                                    {"sample", 3, sample}};
  const Arguments arguments(argv + std::min(argc, 2), argv + argc);
  for (const Work& work : kWorks) {
    if (argc > 1 && argv[1] == std::string(work.name) && arguments.size() == work.argumentCount) {
      return work.run(arguments) ? 0 : 1;
    }
  }
  std::fputs("compared: see the comment at the top of bench/compared.cpp\n", stderr);
  return 2;
}

}  // namespace

}  // namespace hotfix

int main(int argc, char* argv[]) { return hotfix::runWork(argc, argv); }
