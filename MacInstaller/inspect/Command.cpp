#include "MacInstaller/inspect/Command.h"

#include <unistd.h>

#include <algorithm>

#include "MacInstaller/inspect/Document.h"
#include "MacInstaller/inspect/ExitStatus.h"
#include "MacInstaller/inspect/Preview.h"
#include "MacInstaller/inspect/Show.h"
#include "MacInstaller/inspect/Status.h"
#include "MacInstaller/inspect/Verify.h"
#include "MacInstaller/inspect/Version.h"
#include "Platform/FileManager.h"
#include "Platform/preview/Preview.h"

namespace hotfix {

using document::Json;

namespace {

constexpr char kHelp[] =
    "Usage: hotfixInspect preview -rcphome HOME [-rcpdata DATA] [--result N|none] [--json]\n"
    "       hotfixInspect status HOME [DATA] [--json]\n"
    "       hotfixInspect status --all [FOLDER]... [--json]\n"
    "       hotfixInspect verify BEFORE.json [--json]\n"
    "\n"
    "Shows what hotfixUninstall does, without doing it. Changes nothing.\n"
    "\n"
    "  preview     what hotfixUninstall with these arguments would do now, for a platform\n"
    "              that reports the result N (0 when not given), or none\n"
    "  status      the state of an instance: none, removable, removed, failed, interrupted,\n"
    "              inconsistent or no-instance; the evidence, and the commands that lead out.\n"
    "              Several instances: HOME again and again, each after --home\n"
    "  verify      whether a removal worked, by an earlier \"status --json\"\n"
    "\n"
    "  --json      one JSON document on standard output\n"
    "  --help      shows this            --version   shows the version\n"
    "\n"
    "See hotfixInspect(8) for the exit statuses.\n";

struct Arguments {
  std::string verb;
  std::vector<std::string> operands;
  std::vector<std::string> homes;
  OptionalString home;
  OptionalString data;
  OptionalString result = std::string("0");
  bool isJson = false;
  bool isAll = false;
  std::string error;
};

Arguments read(const std::vector<std::string>& words) {
  Arguments arguments;
  // Also where something before it is wrong: the error is a document then.
  arguments.isJson = std::find(words.begin(), words.end(), "--json") != words.end();
  bool areOptions = true;
  for (size_t at = 1; at < words.size() && arguments.error.empty(); ++at) {
    const std::string& word = words[at];
    const auto value = [&](OptionalString& to) {
      if (at + 1 == words.size()) {
        arguments.error = word + " needs a value";
      } else {
        to = words[++at];
      }
    };
    if (!areOptions || word.empty() || word.front() != '-') {
      if (arguments.verb.empty() && areOptions) {
        arguments.verb = word;
      } else {
        arguments.operands.push_back(word);
      }
    } else if (word == "--") {
      areOptions = false;
    } else if (word == "--json") {
      continue;
    } else if (word == "--all") {
      arguments.isAll = true;
    } else if (word == "-rcphome") {
      value(arguments.home);
    } else if (word == "-rcpdata") {
      value(arguments.data);
    } else if (word == "--result") {
      OptionalString result;
      value(result);
      arguments.result = result == OptionalString("none") ? std::nullopt : result;
    } else if (word == "--home") {
      OptionalString home;
      value(home);
      if (home) arguments.homes.push_back(*home);
    } else {
      arguments.error = "there is no option " + word;
    }
  }
  return arguments;
}

int finish(const Arguments& arguments, const Json& document, int status) {
  const std::string text = arguments.isJson ? document::toString(document) : show::shown(document);
  return platform::preview::writeOutput(text) ? status : kNoOutput;
}

int fail(const Arguments& arguments, const std::string& message, int status) {
  Json document = document::newDocument("error");
  document["message"] = document::fromText(message);
  document["exitStatus"] = status;
  if (arguments.isJson) return finish(arguments, document, status);
  show::toStandardError("hotfixInspect: " + message + "\nTry hotfixInspect --help.\n");
  return status;
}

int preview(const Arguments& arguments) {
  if (!arguments.operands.empty() || arguments.isAll) {
    return fail(arguments, "preview takes no operands: the home folder comes after -rcphome", kWrongUsage);
  }
  const Json document = previewDocument({arguments.home, arguments.data, arguments.result});
  const bool isGood = document::field(document, "exitStatus") == 0;
  return finish(arguments, document, isGood ? kGood : kWouldFail);
}

int status(const Arguments& arguments) {
  if (arguments.isAll || !arguments.homes.empty()) {
    std::vector<std::string> homes = arguments.homes;
    if (arguments.isAll) {
      const std::vector<std::string> found = foundInstances(arguments.operands);
      homes.insert(homes.end(), found.begin(), found.end());
    }
    return finish(arguments, statusListDocument(homes), kGood);
  }
  if (arguments.operands.empty() || arguments.operands.size() > 2) {
    return fail(arguments, "status needs HOME [DATA], --home HOME for each of several, or --all", kWrongUsage);
  }
  const OptionalString data = arguments.operands.size() > 1 ? OptionalString(arguments.operands[1]) : std::nullopt;
  const Json document = statusDocument(arguments.operands[0], data);
  return finish(arguments, document, exitStatusOf(document));
}

int verify(const Arguments& arguments) {
  if (arguments.operands.size() != 1) return fail(arguments, "verify needs BEFORE.json", kWrongUsage);
  const OptionalString bytes = platform::readFile(arguments.operands[0]);
  if (!bytes) return fail(arguments, arguments.operands[0] + " cannot be read", kWrongInput);
  const Json before = document::parsed(*bytes);
  const std::string objection = objectionTo(before);
  if (!objection.empty()) return fail(arguments, arguments.operands[0] + " " + objection, kWrongInput);
  const Json document = verifyDocument(before);
  return finish(arguments, document, exitStatusOfVerify(document));
}

}  // namespace

int inspect(const std::vector<std::string>& arguments) {
  const auto has = [&arguments](const char* option) {
    return std::find(arguments.begin() + 1, arguments.end(), option) != arguments.end();
  };
  if (arguments.size() > 1 && has("--help")) return platform::preview::writeOutput(kHelp) ? kGood : kNoOutput;
  if (arguments.size() > 1 && has("--version")) {
    return platform::preview::writeOutput(std::string("hotfixInspect ") + kVersion + "\n") ? kGood : kNoOutput;
  }
  const Arguments read = hotfix::read(arguments);
  if (!read.error.empty()) return fail(read, read.error, kWrongUsage);
  if (read.verb == "preview") return preview(read);
  if (read.verb == "status") return status(read);
  if (read.verb == "verify") return verify(read);
  return fail(read,
              read.verb.empty() ? "what is to be shown is missing: preview, status or verify"
                                : "there is no " + read.verb + ": preview, status or verify",
              kWrongUsage);
}

}  // namespace hotfix
