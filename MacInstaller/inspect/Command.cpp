#include "MacInstaller/inspect/Command.h"

#include <algorithm>
#include <cstdint>

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
    "  preview     the actions of hotfixUninstall with these arguments now, if the platform\n"
    "              reports the result N (default: 0), or none\n"
    "  status      the state of an instance: none, removable, removed, failed, interrupted,\n"
    "              inconsistent or no-instance; the evidence, and the commands that repair it.\n"
    "              For several instances: --home HOME for each\n"
    "  verify      whether a removal worked, compared with an earlier \"status --json\"\n"
    "\n"
    "  --json      prints one JSON document on standard output\n"
    "  --help      prints this text      --version   prints the version\n"
    "\n"
    "See hotfixInspect(8) for the exit statuses.\n";

constexpr std::uint64_t kLargestDocument = std::uint64_t{16} << 20;  // a status has some KiB

struct Arguments {
  std::string verb;
  std::vector<std::string> options;  ///< given options that only one verb has
  std::vector<std::string> operands;
  std::vector<std::string> homes;
  OptionalString home;
  OptionalString data;
  OptionalString result;
  bool isJson = false;
  bool isAll = false;
  std::string error;
};

/// A verb, and the options that it has beside --json.
struct Verb {
  const char* name;
  int (*run)(const Arguments& arguments);
  std::vector<std::string> options;
};

Arguments read(const std::vector<std::string>& words) {
  Arguments arguments;
  // Searched before the other arguments are parsed: even if one of them is wrong, the error is a document.
  const auto end = std::find(words.begin(), words.end(), "--");
  arguments.isJson = std::find(words.begin(), end, "--json") != end;
  bool areOptions = true;
  for (size_t at = 1; at < words.size() && arguments.error.empty(); ++at) {
    const std::string& word = words[at];
    const auto value = [&](OptionalString& to) {
      if (at + 1 == words.size() || words[at + 1] == "--json") {
        arguments.error = word + " needs a value";
      } else {
        const std::string& text = words[++at];
        if (!to) to = text;  // the first one counts, as in the tool
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
      arguments.options.push_back(word);
    } else if (word == "--home") {
      OptionalString home;
      value(home);
      if (home) arguments.homes.push_back(*home);
      arguments.options.push_back(word);
    } else if (word == "-rcphome" || word == "-rcpdata" || word == "--result") {
      value(word == "-rcphome" ? arguments.home : word == "-rcpdata" ? arguments.data : arguments.result);
      arguments.options.push_back(word);
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
  if (!arguments.operands.empty()) {
    return fail(arguments, "preview takes no operands: the home folder comes after -rcphome", kWrongUsage);
  }
  const std::string result = arguments.result.value_or("0");
  const Json document =
      previewDocument({arguments.home, arguments.data, result == "none" ? std::nullopt : OptionalString(result)});
  const bool isGood = document::field(document, "exitStatus") == 0;
  return finish(arguments, document, isGood ? kGood : kWouldFail);
}

int status(const Arguments& arguments) {
  const bool isOne = !arguments.isAll && arguments.homes.empty();
  if (!isOne && (arguments.isAll || arguments.operands.empty())) {
    std::vector<std::string> homes = arguments.homes;
    if (arguments.isAll) {
      const std::vector<std::string> found = foundInstances(arguments.operands);
      homes.insert(homes.end(), found.begin(), found.end());
    }
    return finish(arguments, statusListDocument(homes), kGood);
  }
  if (!isOne || arguments.operands.empty() || arguments.operands.size() > 2) {
    return fail(arguments, "status needs HOME [DATA], --home HOME for each of several, or --all", kWrongUsage);
  }
  const OptionalString data = arguments.operands.size() > 1 ? OptionalString(arguments.operands[1]) : std::nullopt;
  const Json document = statusDocument(arguments.operands[0], data);
  return finish(arguments, document, exitStatusOf(document));
}

int verify(const Arguments& arguments) {
  if (arguments.operands.size() != 1) return fail(arguments, "verify needs BEFORE.json", kWrongUsage);
  const OptionalString bytes = platform::readFile(arguments.operands[0], kLargestDocument);
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
  static const std::vector<Verb> kVerbs = {{"preview", preview, {"-rcphome", "-rcpdata", "--result"}},
                                           {"status", status, {"--all", "--home"}},
                                           {"verify", verify, {}}};
  for (const Verb& verb : kVerbs) {
    if (read.verb != verb.name) continue;
    for (const std::string& option : read.options) {
      if (std::find(verb.options.begin(), verb.options.end(), option) == verb.options.end()) {
        return fail(read, read.verb + " has no option " + option, kWrongUsage);
      }
    }
    return verb.run(read);
  }
  return fail(read,
              read.verb.empty() ? "what is to be shown is missing: preview, status or verify"
                                : "there is no " + read.verb + ": preview, status or verify",
              kWrongUsage);
}

int withoutMemory(const std::vector<std::string>& arguments) {
  return fail(hotfix::read(arguments), "there is not enough memory", kNoMemory);
}

}  // namespace hotfix
