// A program's own code, with names that the library had once or might have: its classes, namespaces and functions
// without the namespace around them. Linked with the library it must be left in peace, and leave the library in peace:
// none of it is ever called. libraryFromC.c has the main function.

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

using OptionalString = std::optional<std::string>;

#define CALLED \
  { std::abort(); }

struct PropertyListValue {
  PropertyListValue();
  explicit PropertyListValue(const std::string& text);
  PropertyListValue(const PropertyListValue& other);
  ~PropertyListValue();
  const std::string* asString() const;
};
PropertyListValue::PropertyListValue() CALLED PropertyListValue::PropertyListValue(const std::string&) CALLED
    PropertyListValue::PropertyListValue(const PropertyListValue&) CALLED
    PropertyListValue::~PropertyListValue() CALLED const std::string* PropertyListValue::asString() const CALLED

    struct Properties {
  explicit Properties(const OptionalString& file);
  std::optional<PropertyListValue> getPropertyForKey(const OptionalString& key) const;
  bool savePropertiesToFile(const OptionalString& path) const;
};
Properties::Properties(const OptionalString&) CALLED std::optional<PropertyListValue> Properties::getPropertyForKey(
    const OptionalString&) const CALLED bool Properties::savePropertiesToFile(const OptionalString&) const CALLED

    struct JavaProperties {
  JavaProperties();
  explicit JavaProperties(const OptionalString& file);
  ~JavaProperties();
  OptionalString getPropertyForKey(const std::string& key) const;
  bool setProperty(const OptionalString& value, const OptionalString& forKey);
  bool savePropertiesToFile(const OptionalString& path) const;
};
JavaProperties::JavaProperties() CALLED JavaProperties::JavaProperties(const OptionalString&) CALLED
    JavaProperties::~JavaProperties() CALLED OptionalString
    JavaProperties::getPropertyForKey(const std::string&) const CALLED
    bool JavaProperties::setProperty(const OptionalString&, const OptionalString&) CALLED
    bool JavaProperties::savePropertiesToFile(const OptionalString&) const CALLED

    struct Configuration {
  Configuration();
  std::optional<PropertyListValue> getPropertyValueForKey(const OptionalString& key) const;
};
Configuration::Configuration() CALLED std::optional<PropertyListValue> Configuration::getPropertyValueForKey(
    const OptionalString&) const CALLED

    struct StringUtil {
  static std::string boolToString(int boolean);
};
std::string StringUtil::boolToString(int) CALLED

    struct InstallUtil {
  static std::string generateNewManifestVersion();
  static std::string getCurrentLocale();
  static void removeReceipt(const OptionalString& packageIdentifier);
};
std::string InstallUtil::generateNewManifestVersion() CALLED std::string InstallUtil::getCurrentLocale() CALLED
    void InstallUtil::removeReceipt(const OptionalString&) CALLED

    struct InstanceService {
  InstanceService(const OptionalString& pathToRcphome, const OptionalString& pathToRcpData);
  std::int32_t getProvisioningResult() const;
  bool hasInstanceInstalled() const;
};
InstanceService::InstanceService(const OptionalString&, const OptionalString&) CALLED std::int32_t
    InstanceService::getProvisioningResult() const CALLED bool InstanceService::hasInstanceInstalled() const CALLED

    struct HotfixUninstall {
  HotfixUninstall(const OptionalString& pathToRcphome, const OptionalString& pathToRcpData);
  ~HotfixUninstall();
  bool uninstallOldHotfix();
};
HotfixUninstall::HotfixUninstall(const OptionalString&,
                                 const OptionalString&) CALLED HotfixUninstall::~HotfixUninstall() CALLED
    bool HotfixUninstall::uninstallOldHotfix() CALLED

    struct InstallManifest {
  explicit InstallManifest(const std::string& path);
  ~InstallManifest();
};
InstallManifest::InstallManifest(const std::string&) CALLED InstallManifest::~InstallManifest() CALLED

    struct XmlElement {
  OptionalString attribute(const std::string& name) const;
};
OptionalString XmlElement::attribute(const std::string&) const CALLED

    struct XmlDocument {
  static std::unique_ptr<XmlDocument> parse(const std::string& bytes);
  ~XmlDocument();
};
std::unique_ptr<XmlDocument> XmlDocument::parse(const std::string&) CALLED XmlDocument::~XmlDocument() CALLED

    struct TextMap {
  void set(std::string_view key, std::string_view value);
};
void TextMap::set(std::string_view, std::string_view) CALLED

    namespace path {
  std::string appending(const std::string& base, const std::string& component);
  std::string appending(const std::string&, const std::string&) CALLED std::string lastComponent(
      const std::string& path);
  std::string lastComponent(const std::string&) CALLED
}  // namespace path

namespace text {
// The result file's number is read by a function of this name: this one would take every failure for a success.
std::int32_t integerAtStart(const std::string& utf8);
std::int32_t integerAtStart(const std::string&) { return 0; }
std::string utf8FromLatin1(std::string_view latin1);
std::string utf8FromLatin1(std::string_view) CALLED
}  // namespace text

namespace progress {
void fail(const std::string& reason);
void fail(const std::string&) CALLED
}  // namespace progress

namespace platform {
bool exists(const std::string& path);
bool exists(const std::string&) CALLED OptionalString readFile(const std::string& path);
OptionalString readFile(const std::string&) CALLED bool removeItem(const std::string& path);
bool removeItem(const std::string&) CALLED std::string onDisk(const std::string& path);
std::string onDisk(const std::string&) CALLED void printLine(const std::string& text);
void printLine(const std::string&) CALLED std::string lowercased(const std::string& text);
std::string lowercased(const std::string&) CALLED
}  // namespace platform
