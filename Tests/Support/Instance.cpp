#include "Tests/Support/Instance.h"

#include "Tests/Support/TreeSnapshot.h"

namespace hotfix::instance {

namespace {

constexpr char kBundle[] = "Product.app";
constexpr char kData[] = "data";

const Snapshot& tree() {
  static const Snapshot snapshot = treeSnapshot(HOTFIX_SOURCE_FOLDER "/demo/instance");
  return snapshot;
}

constexpr char kFile[] = "file: ";

bool isFile(const std::string& entry) { return entry.rfind(kFile, 0) == 0; }
std::string contentOf(const std::string& entry) { return entry.substr(sizeof kFile - 1); }

}  // namespace

std::string inHome(const std::string& path) {
  return contentOf(tree().at(std::string(kBundle) + "/Contents/MacOS/rcp/" + path));
}

void makeFiles(const std::string& bundle, const std::string& data,
               const std::function<void(const std::string& path, const std::string& content)>& make) {
  for (const auto& [path, entry] : tree()) {
    const bool isData = path.rfind(kData, 0) == 0;
    const std::string below = path.substr(isData ? sizeof kData - 1 : sizeof kBundle - 1);
    if (isFile(entry)) make((isData ? data : bundle) + below, contentOf(entry));
  }
}

std::string recordsText(const std::map<std::string, std::string>& records) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\">\n";
  if (records.empty()) return text + "<dict/>\n</plist>\n";
  text += "<dict>\n";
  for (const auto& [key, value] : records) text += "\t<key>" + key + "</key>\n\t<string>" + value + "</string>\n";
  return text + "</dict>\n</plist>\n";
}

std::vector<std::string> launch(const std::string& home, const std::string& operation,
                                const std::optional<std::string>& dataFolder, const std::string& locale) {
  std::vector<std::string> line = {home + "/rcplauncher",
                                   "-rcpLauncherWait",
                                   "-provManifest",
                                   "-noSplash",
                                   "-provisioningOperation",
                                   operation,
                                   "-nl",
                                   locale,
                                   "-vmargs",
                                   "-Dfile.encoding=UTF-8",
                                   "-Xms32m",
                                   "-Xmx256m"};
  if (dataFolder) line.insert(line.end(), {"-data", *dataFolder});
  return line;
}

}  // namespace hotfix::instance
