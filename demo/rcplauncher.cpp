/// A stand-in for the platform's launcher, for the demo: it does in earnest what a provisioning run does to an
/// instance.
///
/// The home folder is the one that the program lies in. By the value after "-provisioningOperation":
///
///   update    applies <home>/deploy/install.update.xml: features marked with the action "uninstall" leave the plug-in
///             tree. Applying a manifest again changes nothing. A manifest that is none is refused with the code 13.
///   cleanup   removes the cache <home>/eclipse/configuration/cache
///
/// Each run adds a line to the platform's log in the data folder, if one is given, and writes its result code to
/// .provisioning_rc beside the home folder. Environment:
///
///   DEMO_CHILDREN          file to note the path and the arguments of each run in
///   DEMO_LAUNCHER_RESULT   code to fail with: nothing is applied then

#include <ftw.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Support/Path.h"
#include "Support/XmlDocument.h"

namespace hotfix {

namespace {

constexpr int kOk = 0;
constexpr int kFailed = 1;
constexpr int kMalformedManifest = 13;

/// A word as a shell would take it.
std::string quoted(const std::string& word) {
  static const std::string plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-./:=@_";
  if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) {
    return word;
  }
  std::string result = "'";
  for (const char character : word) {
    result += character == '\'' ? "'\\''" : std::string(1, character);
  }
  return result + "'";
}

void appendLine(const std::string& file, const std::string& line) {
  std::ofstream(file, std::ios::app) << line + "\n" << std::flush;
}

/// The argument that follows \a name, or an empty text.
std::string valueAfter(const std::vector<std::string>& arguments, const std::string& name) {
  for (size_t i = 0; i + 1 < arguments.size(); ++i) {
    if (arguments[i] == name) {
      return arguments[i + 1];
    }
  }
  return "";
}

/// Removes a file or a folder with all it holds. A missing one is no failure.
bool removeTree(const std::string& path) {
  const auto removeEntry = [](const char* entry, const struct stat*, int, struct FTW*) { return ::remove(entry); };
  return ::nftw(path.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS) == 0 || errno == ENOENT;
}

/// The folder names below the plug-in tree that the manifest wants removed.
/// \return false when the document does not have the form of a manifest.
bool featuresToUninstall(const XmlDocument& manifest, std::vector<std::string>& names) {
  const std::optional<XmlElement> root = manifest.rootElement();
  if (!root) {
    return false;
  }
  std::vector<XmlElement> level = {*root};
  for (const char* name : {"domain-object", "object-data", "install"}) {
    level = level.front().children(name);
    if (level.empty()) {
      return false;
    }
  }
  for (const XmlElement& installFeature : level.front().children("installfeature")) {
    for (const XmlElement& requirements : installFeature.children("requirements")) {
      for (const XmlElement& feature : requirements.children("feature")) {
        const OptionalString id = feature.attribute("id");
        const OptionalString version = feature.attribute("version");
        if (!id || !version || (*id + *version).find('/') != std::string::npos) {
          return false;
        }
        if (feature.attribute("action") == OptionalString("uninstall")) {
          names.push_back(*id + "_" + *version);
        }
      }
    }
  }
  return true;
}

int applyUpdateManifest(const std::string& home) {
  std::ifstream file(path::appending(home, "deploy/install.update.xml"), std::ios::binary);
  if (!file) {
    return kOk;  // nothing to apply
  }
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const std::unique_ptr<XmlDocument> manifest = XmlDocument::parse(bytes);
  std::vector<std::string> names;
  if (!manifest || !featuresToUninstall(*manifest, names)) {
    return kMalformedManifest;
  }
  int result = kOk;
  for (const std::string& name : names) {
    if (!removeTree(path::appending(home, "eclipse/plugins/" + name))) {
      result = kFailed;
    }
  }
  return result;
}

int provision(const std::string& home, const std::string& operation) {
  if (const char* code = std::getenv("DEMO_LAUNCHER_RESULT")) {
    return std::atoi(code);
  }
  if (operation == "update") {
    return applyUpdateManifest(home);
  }
  if (operation == "cleanup") {
    return removeTree(path::appending(home, "eclipse/configuration/cache")) ? kOk : kFailed;
  }
  return kFailed;
}

int run(int argc, char** argv) {
  const std::vector<std::string> words(argv, argv + argc);
  if (const char* record = std::getenv("DEMO_CHILDREN")) {
    std::string line;
    for (const std::string& word : words) {
      line += (line.empty() ? "" : " ") + quoted(word);
    }
    appendLine(record, line);
  }

  const std::string home = path::deletingLastComponent(words.front());
  const std::string operation = valueAfter(words, "-provisioningOperation");
  const int result = provision(home, operation);

  const std::string data = valueAfter(words, "-data");
  if (!data.empty()) {
    appendLine(path::appending(data, ".metadata/provisioning.log"), operation + ": " + std::to_string(result));
  }
  std::ofstream(path::appending(path::deletingLastComponent(home), ".provisioning_rc"))
      << "rc=" + std::to_string(result) + "\n";
  return result;
}

}  // namespace

}  // namespace hotfix

int main(int argc, char* argv[]) { return hotfix::run(argc, argv); }
