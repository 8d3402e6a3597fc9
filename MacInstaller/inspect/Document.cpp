#include "MacInstaller/inspect/Document.h"

#include <array>
#include <cstdio>
#include <ctime>

#include "MacInstaller/inspect/Version.h"
#include "Platform/UserIdentity.h"
#include "Support/TextEncoding.h"

namespace hotfix::document {

namespace {

constexpr char kSchemaVersion[] = "1.0";
constexpr int kDeepest = 64;

std::string hexadecimal(const std::string& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string result;
  for (const char c : bytes) {
    result += kDigits[static_cast<unsigned char>(c) >> 4U];
    result += kDigits[static_cast<unsigned char>(c) & 15U];
  }
  return result;
}

int digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

OptionalString fromHexadecimal(const std::string& digits) {
  if (digits.size() % 2 != 0) return std::nullopt;
  std::string bytes;
  for (size_t at = 0; at < digits.size(); at += 2) {
    const int high = digit(digits[at]);
    const int low = digit(digits[at + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes += static_cast<char>(high << 4 | low);
  }
  return bytes;
}

const char* kindOf(mode_t mode) {
  if (S_ISREG(mode)) return "file";
  if (S_ISDIR(mode)) return "folder";
  if (S_ISLNK(mode)) return "link";
  return "other";
}

}  // namespace

Json fromText(const std::string& text) {
  if (text::isValidUtf8(text)) return text;
  return {{"shown", text::utf8FromUtf16(text::utf16FromUtf8(text))}, {"bytes", hexadecimal(text)}};
}

Json fromText(const OptionalString& text) { return text ? fromText(*text) : Json(nullptr); }

Json fromTexts(const std::vector<std::string>& texts) {
  Json array = Json::array();
  for (const std::string& text : texts) array.push_back(fromText(text));
  return array;
}

OptionalString toText(const Json& json) {
  if (const auto* text = json.get_ptr<const std::string*>()) return *text;
  const auto* bytes = field(json, "bytes").get_ptr<const std::string*>();
  return bytes != nullptr ? fromHexadecimal(*bytes) : std::nullopt;
}

const Json& field(const Json& object, const char* name) {
  static const Json kNull;
  if (!object.is_object()) return kNull;
  const auto found = object.find(name);
  return found != object.end() ? *found : kNull;
}

std::string octal(mode_t mode) {
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "%04o", static_cast<unsigned>(mode & 07777U));
  return text.data();
}

Json fromStatus(const struct stat& status) {
  Json json = {{"kind", kindOf(status.st_mode)}, {"uid", status.st_uid}, {"user", nullptr},
               {"gid", status.st_gid},           {"group", nullptr},     {"mode", octal(status.st_mode)}};
  json["user"] = fromText(platform::accountName(status.st_uid));
  json["group"] = fromText(platform::groupName(status.st_gid));
  if (S_ISREG(status.st_mode)) json["size"] = status.st_size;
  return json;
}

std::string isoTime(long long seconds) {
  const auto moment = static_cast<std::time_t>(seconds);
  struct tm fields = {};
  gmtime_r(&moment, &fields);
  std::array<char, 64> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &fields)};
}

std::string isoNow() { return isoTime(std::time(nullptr)); }

Json newDocument(const char* kind) {
  return {{"document", kind},
          {"schemaVersion", kSchemaVersion},
          {"program", {{"name", "hotfixInspect"}, {"version", kVersion}}},
          {"time", isoNow()}};
}

std::string toString(const Json& document) {
  return document.dump(2, ' ', /*ensure_ascii=*/false, Json::error_handler_t::replace) + "\n";
}

Json parsed(const std::string& bytes) {
  // Deeper than any document of ours. Recursive functions copy and compare the values, so the depth must be limited.
  const auto isTooDeep = [](int depth, Json::parse_event_t, Json&) { return depth <= kDeepest; };
  Json document = Json::parse(bytes, isTooDeep, /*allow_exceptions=*/false);
  return document.is_discarded() ? Json() : document;
}

}  // namespace hotfix::document
