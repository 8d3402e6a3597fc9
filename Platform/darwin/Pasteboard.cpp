#include "Platform/Pasteboard.h"

#include <ApplicationServices/ApplicationServices.h>

#include <map>
#include <mutex>

#include "Platform/PropertyList.h"
#include "Platform/darwin/CoreFoundationValue.h"
#include "Platform/darwin/DynamicType.h"
#include "Support/PropertyListWriter.h"

namespace hotfix::platform {

namespace {

/// A pasteboard for which this process has declared a type. Only its owner, the process that cleared it last, may fill
/// it. The reference is kept for the life of the process, because no document guarantees that the content outlives the
/// last reference.
struct OwnedPasteboard {
  Scoped<CFTypeRef> reference;
  std::string type;
};

struct OwnedPasteboards {
  /// Also protects every call of the Pasteboard Manager, which is not documented to be thread-safe.
  std::mutex mutex;
  std::map<std::string, OwnedPasteboard> byName;
};

OwnedPasteboards& ownedPasteboards() {
  static auto* pasteboards = new OwnedPasteboards;  // never destroyed: threads may still run at the exit of the process
  return *pasteboards;
}

PasteboardRef pasteboardOf(const Scoped<CFTypeRef>& reference) {
  return static_cast<PasteboardRef>(const_cast<void*>(reference.get()));
}

/// The pasteboard of that name, created if necessary; empty if there is no pasteboard server.
Scoped<CFTypeRef> pasteboardNamed(const std::string& name) {
  const Scoped<CFStringRef> nameObject = stringObject(name);
  PasteboardRef pasteboard = nullptr;
  if (!nameObject || PasteboardCreate(nameObject.get(), &pasteboard) != noErr) return nullptr;
  return Scoped<CFTypeRef>(pasteboard);
}

}  // namespace

void declarePasteboardType(const std::string& pasteboard, const std::string& type) {
  const std::lock_guard<std::mutex> lock(ownedPasteboards().mutex);
  Scoped<CFTypeRef> reference = pasteboardNamed(pasteboard);
  ownedPasteboards().byName.erase(pasteboard);
  if (reference && PasteboardClear(pasteboardOf(reference)) == noErr) {
    ownedPasteboards().byName[pasteboard] = {std::move(reference), type};
  }
}

void setPasteboardPropertyList(const std::string& pasteboard, const std::string& type, const PropertyListValue& value) {
  const OptionalString list = property_list::toXml(value);
  const std::lock_guard<std::mutex> lock(ownedPasteboards().mutex);
  const auto owned = ownedPasteboards().byName.find(pasteboard);
  if (!list || owned == ownedPasteboards().byName.end() || owned->second.type != type) return;
  PasteboardRef reference = pasteboardOf(owned->second.reference);
  // Another process may have cleared it since; then this one is no longer the owner. The owner clears it again, because
  // a type can be filled only once.
  const bool isOwner = (PasteboardSynchronize(reference) & kPasteboardClientIsOwner) != 0;
  if (!isOwner || PasteboardClear(reference) != noErr) return;
  const auto item = reinterpret_cast<PasteboardItemID>(1);
  const Scoped<CFDataRef> data(CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(list->data()),
                                            static_cast<CFIndex>(list->size())));
  (void)PasteboardPutItemFlavor(reference, item, stringObject(dynamicPasteboardType(type)).get(), data.get(),
                                kPasteboardFlavorNoFlags);
}

std::optional<PropertyListValue> pasteboardPropertyList(const std::string& pasteboard, const std::string& type) {
  const std::lock_guard<std::mutex> lock(ownedPasteboards().mutex);
  const Scoped<CFTypeRef> reference = pasteboardNamed(pasteboard);
  if (!reference) return std::nullopt;
  (void)PasteboardSynchronize(pasteboardOf(reference));
  PasteboardItemID item = nullptr;
  if (PasteboardGetItemIdentifier(pasteboardOf(reference), 1, &item) != noErr) return std::nullopt;
  CFDataRef data = nullptr;
  if (PasteboardCopyItemFlavorData(pasteboardOf(reference), item, stringObject(dynamicPasteboardType(type)).get(),
                                   &data) != noErr) {
    return std::nullopt;
  }
  const Scoped<CFDataRef> owner(data);
  return data == nullptr ? std::nullopt : parsePropertyList(bytesFrom(data));
}

}  // namespace hotfix::platform
