#ifndef MACINSTALLER_INSTALL_MANIFEST_H_
#define MACINSTALLER_INSTALL_MANIFEST_H_

#include <memory>
#include <string>

#include "Support/OptionalString.h"

namespace hotfix {

class XmlDocument;

/// An install manifest: the XML document that lists the features to install, update or remove in a provisioning run.
///
/// Opens one file, rewrites the "${installer.root}" references of its features in memory, and saves it. Does not depend
/// on the instance. A file that is missing, unreadable or not XML gives an object without a document: both operations
/// then return false and log nothing.
class InstallManifest {
 public:
  /// Parses the file at \a path.
  explicit InstallManifest(const std::string& path);
  InstallManifest(const InstallManifest&) = delete;
  InstallManifest& operator=(const InstallManifest&) = delete;
  ~InstallManifest();

  /// Replaces "${installer.root}" with the unchanged \a root in the `url` attribute of every feature on the path
  /// domain-object / object-data / install / installfeature* / requirements / feature* below the root element. Without
  /// a star, only the first element of a name is used.
  ///
  /// \return true when an installfeature was found, whether or not anything was replaced. Otherwise false, with one log
  ///     line at level 3 that names the missing element.
  bool replaceInstallerRootWith(const std::string& root);

  /// Writes the document as indented XML to \a path, in a folder that must exist, or back to its own file when the path
  /// is absent.
  ///
  /// Atomic: after a failure, the target has its old content.
  /// \return true on success; false without a log line otherwise.
  bool saveInstallManifestAs(const OptionalString& path) const;

 private:
  std::string _pathToManifest;           // file that was parsed; default target of a save
  std::unique_ptr<XmlDocument> _xmlDoc;  // empty when the file could not be parsed
};

}  // namespace hotfix

#endif
