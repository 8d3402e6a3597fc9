// Property lists of all forms: parsed, written as XML and parsed again, also as deep in other collections as can be.

#include <string>

#include "Support/PropertyListReader.h"
#include "Support/PropertyListWriter.h"
#include "Tests/Laws/PropertyListModel.h"
#include "fuzz/Fuzz.h"

namespace hotfix {

namespace {

std::string repeated(const std::string& text, int count) {
  std::string result;
  for (int index = 0; index < count; ++index) result += text;
  return result;
}

/// The list in so many arrays around it.
std::string inArrays(const std::string& xml, int count) {
  static const std::string kStart = "<plist version=\"1.0\">\n";
  static const std::string kEnd = "</plist>\n";
  const size_t start = xml.find(kStart) + kStart.size();
  const size_t end = xml.size() - kEnd.size();
  return xml.substr(0, start) + repeated("<array>", count) + xml.substr(start, end - start) +
         repeated("</array>", count) + kEnd;
}

void checkWrittenList(const PropertyListValue& value) {
  const OptionalString xml = property_list::toXml(value);
  fuzz::require(xml.has_value(), "what was parsed can be written");
  const std::optional<PropertyListValue> again = property_list::read(*xml);
  const PropertyListValue expected = laws::afterWriting(value);
  fuzz::require(again.has_value(), "a written list is read");
  fuzz::require(laws::areSame(*again, expected), "a written list is read as it was");
  fuzz::require(property_list::toXml(*again) == property_list::toXml(expected), "equal lists, equal bytes");

  const int room = property_list::kDeepest - laws::depthOf(value);
  fuzz::require(property_list::read(inArrays(*xml, room)).has_value(), "a list at the limit of depth is read");
  fuzz::require(!property_list::read(inArrays(*xml, room + 1)), "a list that is too deep is none");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::optional<PropertyListValue> value = property_list::read(fuzz::textOf(data, size));
  if (!value) return 0;
  fuzz::require(laws::depthOf(*value) <= property_list::kDeepest, "a list that is too deep is none");
  checkWrittenList(*value);
  return 0;
}

}  // namespace hotfix
