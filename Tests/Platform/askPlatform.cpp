// Asks the services of the operating system that this build uses, one at a time, for scripts/check-on-mac: the answers
// of the code itself, for what no script can find out. Nothing of it is shipped.
//
//   askPlatform settings KEY [USER]   a setting; with a user: mine, as that user, mine again
//   askPlatform domain NAME           the settings of one program, as a property list; or "none"
//   askPlatform processes             "listed" and how many, and whether the caller is one of them; or "not listed"
//   askPlatform wait                  what "processes" says, and then waits for the end of standard input
//   askPlatform has-process NAME      whether a program of that name is listed
//   askPlatform put BOARD TYPE TEXT   declares the type and stores the text
//   askPlatform get BOARD TYPE        the text, or "nothing"
//   askPlatform copy FROM TO          "copied", or the reason why not
//   askPlatform repair FOLDER USER    owner and mode 0775 for all below the folder: what came of it
//   askPlatform make-folder FOLDER    "made" (and removed), or the reason why not
//   askPlatform log TEXT              logs an error of that text; the process number

#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "MacInstaller/Reasons.h"
#include "Platform/FileManager.h"
#include "Platform/Ownership.h"
#include "Platform/Pasteboard.h"
#include "Platform/ProcessList.h"
#include "Platform/SystemLog.h"
#include "Platform/UserDefaults.h"
#include "Platform/UserIdentity.h"
#include "Support/Path.h"
#include "Support/PropertyListWriter.h"

namespace hotfix {

namespace {

std::string setting(const std::string& key) {
  const auto value = platform::globalDefault(key);
  const std::string* text = value ? value->asString() : nullptr;
  return text != nullptr ? *text : "none";
}

std::string settingsAs(const std::string& key, const std::string& user) {
  std::string answer = setting(key) + " ";
  {
    const platform::ScopedEffectiveUser switched{OptionalString(user)};
    answer += setting(key);
  }
  return answer + " " + setting(key);
}

std::string domain(const std::string& name) {
  const auto settings = platform::persistentDomain(name);
  return settings ? property_list::toXml(*settings).value_or("none") : "none";
}

std::string processes(const std::string& own) {
  if (!platform::canListProcesses()) return "not listed";
  const auto executables = platform::processInformation(platform::kBundleExecutableKey);
  bool isOwnListed = false;
  for (const std::string& executable : executables) isOwnListed |= path::lastComponent(executable) == own;
  return "listed " + std::to_string(executables.size()) + (isOwnListed ? ", the caller too" : ", not the caller");
}

std::string hasProcess(const std::string& name) {
  const auto isIt = [&](const std::string& executable) { return path::lastComponent(executable) == name; };
  return platform::findProcess(isIt) ? "listed" : "not listed";
}

std::string stored(const std::string& board, const std::string& type) {
  const auto value = platform::pasteboardPropertyList(board, type);
  const std::string* text = value ? value->asString() : nullptr;
  return text != nullptr ? *text : "nothing";
}

std::string copied(const std::string& from, const std::string& to) {
  platform::FileError error;
  return platform::copyItem(from, to, &error) ? "copied" : systemReason(error);
}

std::string repaired(const std::string& folder, const std::string& user) {
  platform::Attributes attributes;
  attributes.owner = user;
  attributes.mode = 0775;
  const platform::RepairOutcome outcome = platform::setAttributesBelow(folder, attributes);
  if (!outcome.refusal.empty()) return "refused: " + outcome.refusal;
  if (!outcome.isTreated) return "not treated";
  return std::to_string(outcome.changed) + " changed, " + std::to_string(outcome.failed) + " failed" +
         (outcome.failed > 0 ? ", first " + path::lastComponent(outcome.firstFailed) : "");
}

std::string madeFolder(const std::string& folder) {
  platform::FileError error;
  if (!platform::createFolder(folder, platform::Parents::Required, {}, &error)) return systemReason(error);
  return platform::removeItem(folder) ? "made" : "made, but not removed";
}

/// None for a question that is none.
OptionalString answer(const std::vector<std::string>& words) {
  const auto is = [&](const char* question, size_t count) { return words[1] == question && words.size() == count; };
  if (words.size() < 2) return std::nullopt;
  if (is("settings", 3)) return setting(words[2]);
  if (is("settings", 4)) return settingsAs(words[2], words[3]);
  if (is("domain", 3)) return domain(words[2]);
  if (is("processes", 2) || is("wait", 2)) return processes(path::lastComponent(words[0]));
  if (is("has-process", 3)) return hasProcess(words[2]);
  if (is("put", 5)) {
    platform::declarePasteboardType(words[2], words[3]);
    platform::setPasteboardPropertyList(words[2], words[3], PropertyListValue(words[4]));
    return "put";
  }
  if (is("get", 4)) return stored(words[2], words[3]);
  if (is("copy", 4)) return copied(words[2], words[3]);
  if (is("repair", 4)) return repaired(words[2], words[3]);
  if (is("make-folder", 3)) return madeFolder(words[2]);
  if (is("log", 3)) {
    platform::log(platform::LogLevel::Error, "%s", words[2].c_str());
    return std::to_string(getpid());
  }
  return std::nullopt;
}

}  // namespace

}  // namespace hotfix

int main(int count, char** arguments) {
  const std::vector<std::string> words(arguments, arguments + count);
  const hotfix::OptionalString answer = hotfix::answer(words);
  if (!answer) {
    std::fputs("askPlatform: no such question\n", stderr);
    return 2;
  }
  std::printf("%s\n", answer->c_str());
  std::fflush(stdout);
  if (words[1] == "wait") {
    while (std::getchar() != EOF) continue;
  }
  return 0;
}
