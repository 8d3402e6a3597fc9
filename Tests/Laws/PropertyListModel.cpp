#include "Tests/Laws/PropertyListModel.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

namespace hotfix::laws {

namespace {

using Array = PropertyListValue::Array;
using Date = PropertyListValue::Date;
using Dictionary = PropertyListValue::Dictionary;

constexpr double kFirstSecond = -63145526400;  // 0000-01-01T00:00:00Z
constexpr double kLastSecond = 252423993599;   // 9999-12-31T23:59:59Z

bool isReadAgain(const std::string& text) { return text.find('\0') == std::string::npos; }

}  // namespace

std::optional<PropertyListValue> afterWriting(const PropertyListValue& value) {
  if (const std::string* text = value.asString()) {
    if (!isReadAgain(*text)) return std::nullopt;
  } else if (const Date* date = value.asDate()) {
    const double seconds = std::isnan(date->secondsSince2001) ? 0 : std::floor(date->secondsSince2001);
    if (seconds < kFirstSecond || seconds > kLastSecond) return std::nullopt;
    return PropertyListValue(Date{seconds});
  } else if (const Array* array = value.asArray()) {
    Array written;
    for (const PropertyListValue& element : *array) {
      std::optional<PropertyListValue> writtenElement = afterWriting(element);
      if (!writtenElement) return std::nullopt;
      written.push_back(std::move(*writtenElement));
    }
    return PropertyListValue(std::move(written));
  } else if (const Dictionary* dictionary = value.asDictionary()) {
    Dictionary written;
    for (const auto& [key, element] : *dictionary) {
      std::optional<PropertyListValue> writtenElement = afterWriting(element);
      if (!writtenElement || !isReadAgain(key)) return std::nullopt;
      written.emplace(key, std::move(*writtenElement));
    }
    return PropertyListValue(std::move(written));
  }
  return value;
}

bool areSame(const PropertyListValue& left, const PropertyListValue& right) {
  if (left.asReal() != nullptr && right.asReal() != nullptr) {
    return (std::isnan(*left.asReal()) && std::isnan(*right.asReal())) || *left.asReal() == *right.asReal();
  }
  if (left.asArray() != nullptr && right.asArray() != nullptr) {
    return std::equal(left.asArray()->begin(), left.asArray()->end(), right.asArray()->begin(), right.asArray()->end(),
                      areSame);
  }
  if (left.asDictionary() != nullptr && right.asDictionary() != nullptr) {
    using Entry = Dictionary::value_type;
    return std::equal(left.asDictionary()->begin(), left.asDictionary()->end(), right.asDictionary()->begin(),
                      right.asDictionary()->end(),
                      [](const Entry& a, const Entry& b) { return a.first == b.first && areSame(a.second, b.second); });
  }
  return left == right;
}

int depthOf(const PropertyListValue& value) {
  int deepest = -1;
  if (const Array* array = value.asArray()) {
    deepest = 0;
    for (const PropertyListValue& element : *array) deepest = std::max(deepest, depthOf(element));
  } else if (const Dictionary* dictionary = value.asDictionary()) {
    deepest = 0;
    for (const auto& entry : *dictionary) deepest = std::max(deepest, depthOf(entry.second));
  }
  return deepest + 1;
}

}  // namespace hotfix::laws
