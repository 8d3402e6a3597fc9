#ifndef TESTS_INSPECT_STATES_H_
#define TESTS_INSPECT_STATES_H_

#include <optional>
#include <random>
#include <string>

#include "Tests/Inspect/InspectTest.h"

namespace hotfix {

/// The number in an environment variable, with which scripts set the number of tries.
unsigned numberFrom(const char* name, unsigned otherwise);

/// Stores a document in the folder that HOTFIX_DOCUMENTS names, if it is set, for a test of all documents.
void keepDocument(const std::string& text);

/// A machine in a state that depends only on a number: an instance and its environment, changed in one to three ways.
class GeneratedMachine : public InspectTest {
 protected:
  /// Makes the state. \return what was changed.
  std::string makeState(unsigned number);

  CommandLine arguments;                                          ///< of the tool in this state
  std::optional<std::string> result;                              ///< written by the launcher
  std::map<std::string, std::optional<std::string>> environment;  ///< changes to the environment of a call
  uid_t user = 0;

 private:
  using Change = void (GeneratedMachine::*)();
  struct NamedChange {
    const char* name;
    Change change;
  };
  static const std::vector<NamedChange>& changes();

  size_t pick(size_t count) { return _random() % count; }
  std::string pickText(std::initializer_list<const char*> texts) { return texts.begin()[pick(texts.size())]; }
  void makeText(const std::string& name, const std::string& text, mode_t mode = 0644);
  void replace(const std::string& path, const std::string& kind);
  void makeLauncher();

  // Each makes one kind of change.
  void changeHome();
  void changePlace();
  void changeInstallManifest();
  void changeUninstallManifest();
  void changeUpdateManifest();
  void changeRecords();
  void changeRecordsFile();
  void changeProperties();
  void changeBackup();
  void changeResult();
  void changeOldResult();
  void changeLauncher();
  void runPlatform();
  void changeReadOnly();
  void changeDataFolder();
  void changeDataPath();
  void changeDataEntries();
  void changeUser();
  void changeTrace();
  void changeConfiguration();
  void changeJava();
  void changeTools();
  void changeSettings();
  void changeCaller();

  std::mt19937 _random;
  bool _isLauncherOurs = true;
  bool _isRunning = false;
  std::string _readOnlyFolder;
};

}  // namespace hotfix

#endif
