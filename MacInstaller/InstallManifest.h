#ifndef MACINSTALLER_INSTALL_MANIFEST_H_
#define MACINSTALLER_INSTALL_MANIFEST_H_

#include <memory>
#include <string>

#include "Support/OptionalString.h"

namespace hotfix {

class XmlDocument;

/// An install manifest: the XML document that tells a provisioning run which features to install, update or remove.
///
/// Opens one file, rewrites the "${installer.root}" references of its features in memory, and saves it. Knows nothing
/// about the instance. A file that is missing, unreadable or no XML gives an object without a document: both
/// operations then answer false and log nothing.
class InstallManifest {
 public:
  /// Parses the file at \a path.
  explicit InstallManifest(const std::string& path);
  InstallManifest(const InstallManifest&) = delete;
  InstallManifest& operator=(const InstallManifest&) = delete;
  ~InstallManifest();

  /// Replaces "${installer.root}" by \a root, exactly as it is, in the `url` attribute of every feature that is
  /// reached from the root element by domain-object / object-data / install / installfeature* / requirements /
  /// feature*. Only the first element of a name is entered where no star stands.
  ///
  /// \return true when an installfeature was reached, whether or not anything was replaced. Otherwise false, with one
  ///     line at level 3 that names the element that was not found.
  bool replaceInstallerRootWith(const std::string& root);

  /// Writes the document as indented XML to \a path, in a folder that must exist, or back to its own file when the path
  /// is absent.
  ///
  /// Atomic: on failure the target keeps its old content.
  /// \return true on success; false without a log line otherwise.
  bool saveInstallManifestAs(const OptionalString& path) const;

 private:
  std::string _pathToManifest;           // file that was parsed; default target of a save
  std::unique_ptr<XmlDocument> _xmlDoc;  // empty when the file could not be parsed
};

}  // namespace hotfix

#endif
