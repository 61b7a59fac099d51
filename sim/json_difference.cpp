#include "sim/json_difference.h"

#include <algorithm>
#include <boost/json/serialize.hpp>

namespace sim {
namespace {

namespace json = boost::json;
using Difference = std::optional<std::string>;

Difference ofObjects(const json::object& expected, const json::object& actual,
                     const std::string& place) {
  const std::string prefix = place.empty() ? "" : place + ".";
  for (const auto& member : expected) {
    const json::value* const other = actual.if_contains(member.key());
    const std::string memberPlace = prefix + std::string(member.key());
    Difference difference = other == nullptr ? memberPlace + ": missing"
                                             : differenceOf(member.value(), *other, memberPlace);
    if (difference) {
      return difference;
    }
  }
  for (const auto& member : actual) {
    if (!expected.contains(member.key())) {
      return prefix + std::string(member.key()) + ": unexpected";
    }
  }
  return {};
}

Difference ofArrays(const json::array& expected, const json::array& actual,
                    const std::string& place) {
  for (std::size_t index = 0; index < std::min(expected.size(), actual.size()); ++index) {
    const std::string elementPlace = place + "[" + std::to_string(index) + "]";
    if (Difference difference = differenceOf(expected[index], actual[index], elementPlace)) {
      return difference;
    }
  }
  return expected.size() == actual.size()
             ? Difference()
             : place + ": " + std::to_string(actual.size()) + " elements instead of " +
                   std::to_string(expected.size());
}

bool areEqual(const json::value& one, const json::value& other) {
  if (one.is_double() || other.is_double()) {
    return one.is_number() && other.is_number() &&
           one.to_number<double>() == other.to_number<double>();
  }
  return one == other;
}

}  // namespace

Difference differenceOf(const json::value& expected, const json::value& actual,
                        const std::string& place) {
  if (expected.is_object() && actual.is_object()) {
    return ofObjects(expected.get_object(), actual.get_object(), place);
  }
  if (expected.is_array() && actual.is_array()) {
    return ofArrays(expected.get_array(), actual.get_array(), place);
  }
  return areEqual(expected, actual)
             ? Difference()
             : (place.empty() ? "" : place + ": ") + json::serialize(actual) + " instead of " +
                   json::serialize(expected);
}

}  // namespace sim
