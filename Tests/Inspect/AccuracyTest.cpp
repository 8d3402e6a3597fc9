// The preview beside what then happens: for generated states, each in a throw-away root.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "Support/TextEncoding.h"
#include "Tests/Inspect/States.h"

namespace hotfix {

namespace {

using Json = nlohmann::json;

std::string textOf(const Json& json) {
  if (json.is_string()) return json.get<std::string>();
  std::string bytes;
  const std::string digits = json.at("bytes").get<std::string>();
  for (size_t at = 0; at < digits.size(); at += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(at, 2), nullptr, 16));
  }
  return bytes;
}

std::string attributesOf(const Json& entry) {
  return entry.at("mode").get<std::string>() + " " + owners(entry.at("uid"), entry.at("gid"));
}

/// The text of a line as the trace file has it.
std::string encoded(std::string text) {
  for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2) text.replace(at, 1, "\n\t");
  return text;
}

/// A text as a person gets it to see: bytes that are no UTF-8 as U+FFFD, control characters as "?".
std::string shown(const std::string& text) { return text::sanitized(text); }

/// The reason why the platform is running names its process.
std::string withoutNumbersOfProcesses(const std::string& text) {
  return std::regex_replace(text, std::regex("process [0-9]+"), "process N");
}

std::string levelOf(const std::string& level) {
  std::string name = level;
  name[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[0])));
  return "<" + name + ">: ";
}

}  // namespace

class AccuracyTest : public GeneratedMachine, public ::testing::WithParamInterface<unsigned> {
 protected:
  Call withEnvironment(Call call) {
    for (const auto& [name, value] : environment) {
      if (value) {
        call.environment[name] = *value;
      } else {
        call.environment.erase(name);
      }
    }
    call.user = user;
    return call;
  }

  Outcome preview() {
    CommandLine words{"preview", "--json", "--result", result.value_or("none")};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return run(withEnvironment(inspectCall(words)));
  }

  std::vector<CommandLine> childrenOf(const Json& document) {
    std::vector<CommandLine> children;
    for (const Json& child : document.at("children")) {
      CommandLine line;
      for (const Json& word : child.at("command")) line.push_back(textOf(word));
      if (!child.at("error").is_null()) continue;
      if (child.at("asked") == true) {
        line = {kJavaHomeFinder};
        if (!files().has(inside(kJavaHomeFinder))) continue;
      }
      children.push_back(line);
    }
    return children;
  }

  static Lines logOf(const Json& document) {
    Lines lines;
    for (const Json& line : document.at("log")) {
      lines.push_back(levelOf(line.at("level")) + encoded(textOf(line.at("text"))));
    }
    return lines;
  }

  /// What a person at a terminal would be left with: the note on sudo, the steps, and the closing lines.
  static Lines screenOf(const Json& document) {
    Lines lines;
    Lines warnings;
    for (const Json& warning : document.at("warnings")) {
      if (warning.at("warning") == "user-is-root") lines.push_back(shown(textOf(warning.at("text"))));
      if (warning.at("warning") == "no-process-list") warnings.push_back(shown(textOf(warning.at("text"))));
    }
    for (const Json& step : document.at("steps")) {
      const std::string detail = textOf(step.at("detail"));
      lines.push_back(step.at("step").get<std::string>() + " ... " + step.at("result").get<std::string>() +
                      (detail.empty() ? "" : ": " + shown(detail)));
      lines.insert(lines.end(), warnings.begin(), warnings.end());  // after the first step, which looks for processes
      warnings.clear();
    }
    std::istringstream closing(textOf(document.at("standardError")));
    for (std::string line; std::getline(closing, line);) lines.push_back(line);
    for (std::string& line : lines) line = withoutNumbersOfProcesses(line);
    return lines;
  }

  std::string entryFrom(const Json& after, const std::string& path, const Snapshot& before) {
    const std::string kind = after.at("kind");
    const std::string start = attributesOf(after) + " ";
    if (kind == "folder") return start + "folder";
    if (kind == "link") return start + "link: " + textOf(after.at("target"));
    if (kind == "other") return start + "other";
    if (path == kTraceFile) return start + "file:";
    std::string text;
    if (after.contains("content") && !after.at("content").is_null()) {
      text = textOf(after.at("content"));
    } else {
      const auto source = before.find(after.contains("copyOf") ? textOf(after.at("copyOf")) : path);
      if (source == before.end()) return start + "file: of what is not there";
      text = source->second.substr(source->second.find(" file: ") + 7);
    }
    return start + "file: " + withoutStamps(shownContent(path, text));
  }

  /// What the machine would be after what the preview tells.
  Snapshot foretold(const Json& document, const Snapshot& before) {
    Snapshot after = before;
    for (const Json& file : document.at("files")) {
      const std::string path = textOf(file.at("path"));
      const std::string below = path + "/";
      const bool wasFolder = file.at("before").is_object() && file.at("before").at("kind") == "folder";
      const bool isFolder = file.at("after").is_object() && file.at("after").at("kind") == "folder";
      if (wasFolder && !isFolder) {
        for (auto entry = after.lower_bound(below); entry != after.end() && entry->first.rfind(below, 0) == 0;) {
          entry = after.erase(entry);
        }
      }
      after.erase(path);
      if (file.at("after").is_object()) after[path] = entryFrom(file.at("after"), path, before);
    }
    for (const Json& repair : document.at("repairs")) {
      EXPECT_LE(repair.at("changed").get<unsigned>(), 20U) << "more than is listed: a test for fewer entries";
      for (const Json& entry : repair.at("firstChanged")) {
        const auto place = after.find(textOf(entry.at("path")));
        if (place == after.end()) continue;  // named by another path: see the comparison
        const size_t kind = place->second.find(' ', place->second.find(' ') + 1);
        place->second = attributesOf(entry.at("after")) + place->second.substr(kind);
      }
    }
    return after;
  }
};

TEST_P(AccuracyTest, PreviewIsWhatHappens) {
  const std::string what = makeState(GetParam());
  if (HasFailure()) return;
  SCOPED_TRACE("state " + std::to_string(GetParam()) + ": " + what);
  const Snapshot before = state();
  const Outcome told = preview();
  ASSERT_EQ(differences(before, state()), Lines()) << "the preview changed the machine";
  keepDocument(told.output);
  const Json document = Json::parse(told.output, nullptr, false);
  ASSERT_FALSE(document.is_discarded()) << told.ending << "\n" << told.output << told.errors;
  // A person watches each second run.
  const bool isWatched = GetParam() % 2 == 1;
  Terminal terminal;
  terminal.begin();
  Call uninstall = withEnvironment(call(arguments));
  if (isWatched) uninstall = watched(terminal, std::move(uninstall));
  const Outcome real = run(uninstall);

  EXPECT_EQ("exit " + document.at("exitStatus").dump(), real.ending);
  EXPECT_EQ(document.at("firstFailedCheck").is_null(), real.ending == "exit 0");
  if (isWatched) {
    Lines seen = screen(terminal.text());
    for (std::string& line : seen) line = withoutNumbersOfProcesses(line);
    EXPECT_EQ(screenOf(document), seen);
  } else {
    const std::string reason = document.at("reason").is_null() ? "" : textOf(document.at("reason"));
    EXPECT_EQ(withoutNumbersOfProcesses(shown(reason)), withoutNumbersOfProcesses(real.reason));
    EXPECT_EQ(withoutNumbersOfProcesses(textOf(document.at("standardError"))),
              withoutNumbersOfProcesses(real.standardError));
  }
  EXPECT_EQ(textOf(document.at("standardOutput")), real.output);
  // Without a trace file there is nothing to compare with.
  if (!real.trace.empty() && real.trace.front().front() != '?') {
    EXPECT_EQ(logOf(document), real.trace);
  }
  EXPECT_EQ(childrenOf(document), real.commandLines());
  EXPECT_EQ(differences(foretold(document, before), state()), Lines());
  if (HasFailure() && std::getenv("HOTFIX_SHOW") != nullptr) std::cout << told.output;
}

INSTANTIATE_TEST_SUITE_P(States, AccuracyTest,
                         ::testing::Range(numberFrom("HOTFIX_FIRST_STATE", 0),
                                          numberFrom("HOTFIX_FIRST_STATE", 0) + numberFrom("HOTFIX_STATES", 40)));

}  // namespace hotfix
