#ifndef TESTS_SUPPORT_INSTANCE_H_
#define TESTS_SUPPORT_INSTANCE_H_

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// The ordinary instance with an installed hotfix. Its files are in demo/instance: the bundle Product.app and the data
/// folder. Every suite makes its instance of them, and states only the differences.
namespace hotfix::instance {

/// The content of a file, by its path in the home folder.
std::string inHome(const std::string& path);

/// Calls \a make for each file: with its path, where \a bundle and \a data replace the folders, and its content.
void makeFiles(const std::string& bundle, const std::string& data,
               const std::function<void(const std::string& path, const std::string& content)>& make);

/// The text of installInfo.plist with only these records, as the system writes it.
std::string recordsText(const std::map<std::string, std::string>& records);

/// The command line of a provisioning run of the launcher in a home folder.
std::vector<std::string> launch(const std::string& home, const std::string& operation,
                                const std::optional<std::string>& dataFolder, const std::string& locale = "en_US");

}  // namespace hotfix::instance

#endif
