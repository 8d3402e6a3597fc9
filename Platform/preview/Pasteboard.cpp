#include "Platform/Pasteboard.h"

#include <map>

namespace hotfix::platform {

namespace {

/// One type for each pasteboard, as on disk. It has no value until one is stored.
std::map<std::string, std::pair<std::string, std::optional<PropertyListValue>>>& pasteboards() {
  static auto* boards = new std::map<std::string, std::pair<std::string, std::optional<PropertyListValue>>>;
  return *boards;
}

}  // namespace

void declarePasteboardType(const std::string& pasteboard, const std::string& type) {
  pasteboards()[pasteboard] = {type, std::nullopt};
}

void setPasteboardPropertyList(const std::string& pasteboard, const std::string& type, const PropertyListValue& value) {
  const auto board = pasteboards().find(pasteboard);
  if (board != pasteboards().end() && board->second.first == type) board->second.second = value;
}

std::optional<PropertyListValue> pasteboardPropertyList(const std::string& pasteboard, const std::string& type) {
  const auto board = pasteboards().find(pasteboard);
  if (board == pasteboards().end() || board->second.first != type) return std::nullopt;
  return board->second.second;
}

}  // namespace hotfix::platform
