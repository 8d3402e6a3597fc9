#include "MacInstaller/InstallManifest.h"

#include <utility>

#include "MacInstaller/StringUtil.h"
#include "Platform/FileManager.h"
#include "Platform/SystemLog.h"
#include "Support/XmlDocument.h"

namespace hotfix {

namespace {

constexpr char DOMAIN_OBJECT[] = "domain-object";
constexpr char OBJECT_DATA[] = "object-data";
constexpr char INSTALL[] = "install";
constexpr char INSTALL_FEATURE[] = "installfeature";
constexpr char REQUIREMENTS[] = "requirements";
constexpr char FEATURE[] = "feature";
constexpr char URL_NODE[] = "url";
constexpr char INSTALLER_ROOT[] = "${installer.root}";

/// The elements from the root to the features, with the messages for a missing one.
constexpr std::pair<const char*, const char*> kWay[] = {
    {DOMAIN_OBJECT, "Not able to get domain-object element"},
    {OBJECT_DATA, "Not able to get object-data element"},
    {INSTALL, "Not able to get install element"},
    {INSTALL_FEATURE, "Not able to get install-feature element"}};  // with a hyphen, although the element has none

bool failed(const char* message) {
  platform::log(platform::LogLevel::Error, "%s", message);
  return false;
}

}  // namespace

InstallManifest::InstallManifest(const std::string& path) : _pathToManifest(path) {
  if (const OptionalString contents = platform::readFile(path)) _xmlDoc = XmlDocument::parse(*contents);
}

InstallManifest::~InstallManifest() = default;

bool InstallManifest::replaceInstallerRootWith(const std::string& root) {
  if (!_xmlDoc) return false;
  const std::optional<XmlElement> rootElement = _xmlDoc->rootElement();
  if (!rootElement) return failed("Not able to get root element");
  std::vector<XmlElement> elements = {*rootElement};
  for (const auto& [name, message] : kWay) {
    elements = elements.front().children(name);
    if (elements.empty()) return failed(message);
  }

  const auto withRoot = [root](const std::string& url) {
    return StringUtil::stringByReplacingOccurrencesOfString(url, INSTALLER_ROOT, root);
  };
  for (const XmlElement& installFeature : elements) {
    const std::vector<XmlElement> requirements = installFeature.children(REQUIREMENTS);
    if (!requirements.empty()) _xmlDoc->changeAttributes(requirements.front(), {FEATURE, URL_NODE, withRoot});
  }
  return true;
}

bool InstallManifest::saveInstallManifestAs(const OptionalString& path) const {
  if (!_xmlDoc) return false;
  const auto print = [this](const platform::PartWriter& write) { return _xmlDoc->prettyPrint(write); };
  return platform::writeFileAtomically(path ? *path : _pathToManifest, print);
}

}  // namespace hotfix
