#include "MacInstaller/InstallManifest.h"

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

constexpr char kNoRoot[] = "Not able to get root element";
constexpr char kNoDomainObject[] = "Not able to get domain-object element";
constexpr char kNoObjectData[] = "Not able to get object-data element";
constexpr char kNoInstall[] = "Not able to get install element";
// Spelled with a hyphen, although the element has none.
constexpr char kNoInstallFeature[] = "Not able to get install-feature element";

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
  if (!rootElement) return failed(kNoRoot);
  const std::vector<XmlElement> domainObjects = rootElement->children(DOMAIN_OBJECT);
  if (domainObjects.empty()) return failed(kNoDomainObject);
  const std::vector<XmlElement> objectData = domainObjects.front().children(OBJECT_DATA);
  if (objectData.empty()) return failed(kNoObjectData);
  const std::vector<XmlElement> installs = objectData.front().children(INSTALL);
  if (installs.empty()) return failed(kNoInstall);
  const std::vector<XmlElement> installFeatures = installs.front().children(INSTALL_FEATURE);
  if (installFeatures.empty()) return failed(kNoInstallFeature);

  const auto withRoot = [root](const std::string& url) {
    return StringUtil::stringByReplacingOccurrencesOfString(url, INSTALLER_ROOT, root);
  };
  for (const XmlElement& installFeature : installFeatures) {
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
