#ifndef TESTS_SUPPORT_INSTANCE_FIXTURE_H_
#define TESTS_SUPPORT_INSTANCE_FIXTURE_H_

#include <string>
#include <vector>

#include "Tests/Support/Outside.h"

/// A small instance in the test's folder, with an installed hotfix, and stand-ins for the programs around it.
///
///   Apps/Product.app/Contents/Info.plist            CFBundleShortVersionString 6.2.1
///   Apps/Product.app/Contents/MacOS/rcp/            the home folder
///     rcplauncher                                   notes its arguments, writes the result file
///     rcplauncher.properties                        provisioning.manifest.version=0101260000, rcp.install.id, rcp.data
///     installInfo.plist                             version, hotfixVersion, SKIPRUNNINGCHECK false,
///     installedHotfixBundleID collectionutility.jar                         an empty file deploy/install.xml
///     deploy/uninstall.hotfix.xml eclipse/plugins/com.qor.rcp.base_6.2.1.20260101/
///   data/                                           the data folder, with .config/rcpinstall.properties
///
/// pkgutil and java_home stand at their fixed paths; java_home names a runtime whose bin/java notes its arguments too.
class InstanceTest : public OutsideTest {
 protected:
  InstanceTest();

  /// Paths relative to the test's folder, for its helpers, and absolute.
  static constexpr char kBundle[] = "Apps/Product.app";
  static constexpr char kHome[] = "Apps/Product.app/Contents/MacOS/rcp";
  static constexpr char kData[] = "data";
  std::string home() const { return folder / kHome; }
  std::string data() const { return folder / kData; }
  static std::string inHome(const std::string& path) { return std::string(kHome) + "/" + path; }

  /// Every child started so far, in order: the path it was started by, then its arguments.
  std::vector<std::vector<std::string>> children() const;

  /// Makes each launch of the launcher write "rc=<code>"; an empty code means that it writes no result file.
  void setLauncherResult(const std::string& code) const;

  /// A program that appends its own path and its arguments to the record that children() reads, then runs \a shellText.
  std::string makeNotingProgram(const std::string& relativePath, const std::string& shellText = "") const;

  /// The properties file at a path relative to the home folder, sorted lines.
  std::vector<std::string> propertiesLines(const std::string& pathInHome) const;

  /// The text of a record of installInfo.plist; "<none>" when there is none, "<no dictionary>" when the file has none.
  std::string installRecord(const std::string& key) const;

  /// Replaces installInfo.plist by one that holds just these texts.
  void writeInstallInfo(const std::vector<std::pair<std::string, std::string>>& records) const;
};

#endif
