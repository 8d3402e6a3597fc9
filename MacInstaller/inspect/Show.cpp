#include "MacInstaller/inspect/Show.h"

#include <unistd.h>

#include <algorithm>

#include "Platform/UserIdentity.h"
#include "Support/TextEncoding.h"

namespace hotfix::show {

using document::field;
using document::Json;

namespace {

enum class Colour { Plain, Good, Bad, Weak };

bool isSet(const char* name) {
  const OptionalString value = platform::environmentVariable(name);
  return value && !value->empty();
}

bool hasColours() {
  static const bool kHasColours = isatty(STDOUT_FILENO) == 1 && isSet("TERM") && !isSet("NO_COLOR") &&
                                  platform::environmentVariable("TERM") != "dumb";
  return kHasColours;
}

std::string coloured(const std::string& text, Colour colour) {
  if (!hasColours() || colour == Colour::Plain) return text;
  const char* code = colour == Colour::Good ? "\x1B[1;32m" : colour == Colour::Bad ? "\x1B[1;31m" : "\x1B[2m";
  return code + text + "\x1B[0m";
}

/// A text of a document, which may stand for a text that is not UTF-8.
std::string shownText(const Json& json) {
  const Json& shown = json.is_object() ? field(json, "shown") : json;
  const auto* text = shown.get_ptr<const std::string*>();
  return text != nullptr ? text::sanitized(*text) : "-";
}

std::string padded(const std::string& text, size_t width) {
  return text.size() < width ? text + std::string(width - text.size(), ' ') : text;
}

/// The text with control characters, and bytes that no terminal should get, in the escapes of the shells' $'...'.
std::string escaped(const std::string& word) {
  std::string result = "$'";
  for (const char c : word) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte > 0x7E) {
      for (const unsigned shift : {6U, 3U, 0U}) {
        if (shift == 6U) result += '\\';
        result += static_cast<char>('0' + (byte >> shift & 7U));
      }
    } else {
      if (c == '\'' || c == '\\') result += '\\';
      result += c;
    }
  }
  return result + "'";
}

/// A word quoted for a shell.
std::string quoted(const std::string& word) {
  if (text::sanitized(word) != word) return escaped(word);
  static constexpr char kPlain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-./:=@_";
  if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) return word;
  std::string result = "'";
  for (const char c : word) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

std::string commandLine(const Json& words) {
  std::string line;
  for (const Json& word : words) line += (line.empty() ? "" : " ") + quoted(document::toText(word).value_or(""));
  return line;
}

std::string section(const std::string& title) { return "\n" + coloured(title, Colour::Weak) + "\n"; }

std::string attributes(const Json& status) {
  const auto name = [&status](const char* text, const char* number) {
    return field(status, text).is_null() ? field(status, number).dump() : shownText(field(status, text));
  };
  return name("user", "uid") + ":" + name("group", "gid") + " " + shownText(field(status, "mode"));
}

std::string shownFile(const Json& file) {
  const std::string change = shownText(field(file, "change"));
  std::string line = "  " + padded(change, 9) + shownText(field(file, "path"));
  const Json& before = field(file, "before");
  const Json& after = field(file, "after");
  if (!field(file, "movedTo").is_null()) line += " -> " + shownText(field(file, "movedTo"));
  if (change == "made") line += "   " + attributes(after);
  if (change == "changed" && attributes(before) != attributes(after)) {
    line += "   " + attributes(before) + " -> " + attributes(after);
  }
  return line + "\n";
}

std::string shownRepair(const Json& repair) {
  const auto number = [&repair](const char* name) { return field(repair, name).dump(); };
  std::string text = section("Repair of " + shownText(field(repair, "folder")));
  if (field(repair, "refused") == true) return text + "  refused: " + shownText(field(repair, "refusal")) + "\n";
  text += "  " + number("changed") + " of " + number("entries") + " entries: " + number("ownerOrGroupChanged") +
          " get another owner or group, " + number("modeChanged") + " another mode; " + number("failed") +
          " cannot be changed\n";
  for (const Json& entry : field(repair, "firstChanged")) {
    text += "  " + shownText(field(entry, "path")) + "   " + attributes(field(entry, "before")) + " -> " +
            attributes(field(entry, "after")) + "\n";
  }
  for (const Json& entry : field(repair, "firstFailed")) {
    text += "  " + coloured("not changed", Colour::Bad) + " " + shownText(field(entry, "path")) + ": " +
            shownText(field(entry, "reason")) + "\n";
  }
  return text;
}

std::string indented(const std::string& text) {
  std::string result;
  size_t begin = 0;
  while (begin < text.size()) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    result += "  " + text::sanitized(text.substr(begin, end - begin)) + "\n";
    begin = end + 1;
  }
  return result;
}

std::string shownPreview(const Json& document) {
  const bool isGood = field(document, "exitStatus") == 0;
  std::string text = coloured(isGood ? "The hotfix would be removed" : "The hotfix would not be removed",
                              isGood ? Colour::Good : Colour::Bad);
  if (!field(document, "reason").is_null()) text += ": " + shownText(field(document, "reason"));
  text += ".\n  " + commandLine(field(document, "command")) + "\n  exit status " +
          field(document, "exitStatus").dump() + "\n";
  if (!field(document, "warnings").empty()) {
    text += section("Warnings");
    for (const Json& warning : field(document, "warnings")) text += "  " + shownText(field(warning, "text")) + "\n";
  }
  text += section("Checks");
  for (const Json& check : field(document, "checks")) {
    const std::string outcome = shownText(field(check, "outcome"));
    text += "  " + coloured(padded(outcome, 9), outcome == "failed" ? Colour::Bad : Colour::Plain) +
            shownText(field(check, "check")) + "\n";
  }
  text += section("Steps");
  for (const Json& step : field(document, "steps")) {
    const std::string detail = shownText(field(step, "detail"));
    text += "  " + shownText(field(step, "step")) + ": " + shownText(field(step, "result")) +
            (detail.empty() ? "" : ", " + detail) + "\n";
  }
  text += section("Children");
  for (const Json& child : field(document, "children")) {
    text += "  " + commandLine(field(child, "command")) + "\n";
    if (!field(child, "error").is_null()) text += "    cannot be started: " + shownText(field(child, "error")) + "\n";
  }
  text += section("Files");
  for (const Json& file : field(document, "files")) text += shownFile(file);
  const Json& count = field(document, "fileCount");
  if (count != field(document, "files").size()) text += "  ... " + count.dump() + " in all\n";
  for (const Json& repair : field(document, "repairs")) text += shownRepair(repair);
  text += section("Standard output");
  const OptionalString output = document::toText(field(document, "standardOutput"));
  text += indented(output.value_or(""));
  const OptionalString errors = document::toText(field(document, "standardError"));
  if (errors && !errors->empty()) text += section("Standard error") + indented(*errors);
  text += section("Log");
  for (const Json& line : field(document, "log")) {
    text += "  " + padded(shownText(field(line, "level")), 9) + shownText(field(line, "text")) + "\n";
  }
  return text;
}

std::string line(const std::string& name, const std::string& value) { return "  " + padded(name, 20) + value + "\n"; }

Colour colourOf(const std::string& state) {
  if (state == "none" || state == "removed" || state == "removable") return Colour::Good;
  return Colour::Bad;
}

std::string shownStatus(const Json& document) {
  const std::string state = shownText(field(document, "state"));
  std::string text = coloured(state, colourOf(state)) + "  " + shownText(field(document, "home")) + "\n";
  for (const Json& evidence : field(document, "evidence")) text += "  " + shownText(evidence) + "\n";
  const Json& records = field(document, "records");
  text += section("Instance");
  text += line("version", shownText(field(field(document, "versions"), "bundle")));
  text += line("hotfix", shownText(field(records, "hotfixVersion")));
  text += line("package", shownText(field(records, "installedHotfixBundleID")));
  const Json& known = field(field(document, "receipt"), "known");
  text += line("receipt", known.is_null() ? "-" : known == true ? "known" : "not known");
  text += line("skip running check", shownText(field(records, "SKIPRUNNINGCHECK")));
  text += line("manifest version", shownText(field(field(document, "stamps"), "manifestVersion")));
  text += line("install ID", shownText(field(field(document, "stamps"), "installId")));
  text += line("last result", shownText(field(field(document, "result"), "code")));
  text += line("data folder", shownText(field(document, "data")));
  for (const Json& process : field(document, "processes")) {
    text += line("running", field(process, "pid").dump() + " " + shownText(field(process, "user")) + " " +
                                shownText(field(process, "executable")));
  }
  text += line("trace", shownText(field(field(field(document, "logs"), "trace"), "path")));
  if (state == "interrupted") {
    text += section("How far it came");
    for (const Json& step : field(document, "progress")) {
      text +=
          "  " + padded(field(step, "done") == true ? "done" : "missing", 9) + shownText(field(step, "step")) + "\n";
    }
  }
  if (!field(document, "wayOut").empty()) {
    text += section("What leads out");
    for (const Json& command : field(document, "wayOut")) text += "  " + commandLine(command) + "\n";
  }
  return text;
}

std::string shownList(const Json& document) {
  std::string text;
  for (const Json& status : field(document, "instances")) {
    const std::string state = shownText(field(status, "state"));
    text += coloured(padded(state, 14), colourOf(state)) +
            padded(shownText(field(field(status, "versions"), "bundle")), 12) +
            padded(shownText(field(field(status, "records"), "hotfixVersion")), 12) + shownText(field(status, "home")) +
            "\n";
  }
  return text.empty() ? "There is no instance.\n" : text;
}

std::string shownVerify(const Json& document) {
  const std::string removed = shownText(field(document, "removed"));
  std::string text = removed == "yes"  ? coloured("The hotfix was removed", Colour::Good)
                     : removed == "no" ? coloured("The hotfix was not removed, or not completely", Colour::Bad)
                                       : "Nothing contradicts a removal, but not every point could be decided";
  text += "\n\n";
  for (const Json& point : field(document, "points")) {
    const std::string answer = shownText(field(point, "answer"));
    text += "  " + coloured(padded(answer, 9), answer == "no" ? Colour::Bad : Colour::Plain) +
            padded(shownText(field(point, "point")), 20) + shownText(field(point, "text")) + "\n";
  }
  return text;
}

}  // namespace

std::string shown(const Json& document) {
  const Json& kind = field(document, "document");
  if (kind == "preview") return shownPreview(document);
  if (kind == "status") return shownStatus(document);
  if (kind == "statusList") return shownList(document);
  return kind == "verify" ? shownVerify(document) : "";
}

void toStandardError(const std::string& text) {
  std::string harmless;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find('\n', begin), text.size());
    harmless += text::sanitized(text.substr(begin, end - begin)) + "\n";
    begin = end + 1;
  }
  (void)!::write(STDERR_FILENO, harmless.data(), harmless.size());
}

}  // namespace hotfix::show
