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

constexpr double kFarthest = 1e15;

}  // namespace

PropertyListValue afterWriting(const PropertyListValue& value) {
  if (const Date* date = value.asDate()) {
    const double seconds = std::isnan(date->secondsSince2001) ? 0 : date->secondsSince2001;
    return PropertyListValue(Date{std::floor(std::max(-kFarthest, std::min(seconds, kFarthest)))});
  }
  if (const Array* array = value.asArray()) {
    Array written;
    for (const PropertyListValue& element : *array) written.push_back(afterWriting(element));
    return PropertyListValue(std::move(written));
  }
  if (const Dictionary* dictionary = value.asDictionary()) {
    Dictionary written;
    for (const auto& [key, element] : *dictionary) written.emplace(key, afterWriting(element));
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
