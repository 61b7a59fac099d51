#include "sim/json_object.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/string.hpp>
#include <cmath>
#include <utility>

namespace sim {
namespace {

namespace json = boost::json;

const json::object noMembers;

}  // namespace

void FirstFault::add(std::string_view place, std::string_view problem) {
  if (!text_) {
    text_ = place.empty() ? std::string(problem) : std::string(place) + ": " + std::string(problem);
  }
}

std::optional<std::int64_t> integerOf(const json::value& value) {
  if (const auto* const integer = value.if_int64()) {
    return *integer;
  }
  const auto* const number = value.if_double();
  constexpr double bound = 9223372036854775808.0;  // 2^63, which is just too large
  if (number == nullptr || std::trunc(*number) != *number || *number < -bound || *number >= bound) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(*number);
}

JSONObject::JSONObject(const json::value& value, std::string place, FirstFault& fault)
    : members_(value.if_object()), place_(std::move(place)), fault_(&fault) {
  if (members_ == nullptr) {
    fault_->add(place_, "expected an object");
    members_ = &noMembers;
  }
}

std::optional<std::int64_t> JSONObject::integer(std::string_view key) {
  std::optional<std::int64_t> integer;
  value(key, [&](const json::value& member, const std::string& place) {
    integer = integerOf(member);
    if (!integer) {
      fault_->add(place, "expected an integer");
    }
  });
  return integer;
}

std::optional<std::int64_t> JSONObject::count(std::string_view key) {
  const auto number = integer(key);
  if (number && *number < 0) {
    fault(key, "expected an integer that is not negative");
  }
  return number;
}

std::optional<bool> JSONObject::boolean(std::string_view key) {
  const json::value* const member = find(key);
  if (member != nullptr && !member->is_bool()) {
    fault(key, "expected true or false");
  }
  return member != nullptr && member->is_bool() ? std::optional(member->get_bool()) : std::nullopt;
}

std::optional<std::string> JSONObject::string(std::string_view key) {
  const json::value* const member = find(key);
  if (member == nullptr) {
    return std::nullopt;
  }
  if (!member->is_string()) {
    fault(key, "expected a string");
    return std::nullopt;
  }
  return std::string(member->get_string().data(), member->get_string().size());
}

std::optional<double> JSONObject::date(std::string_view key) {
  const json::value* const member = find(key);
  if (member == nullptr || member->is_null()) {
    return std::nullopt;
  }
  const double seconds = member->is_number() ? member->to_number<double>() : NAN;
  if (!std::isfinite(seconds)) {
    fault(key, "expected a finite number of seconds, or null");
    return std::nullopt;
  }
  return seconds;
}

std::vector<std::int64_t> JSONObject::counts(std::string_view key, std::int64_t largest) {
  std::vector<std::int64_t> counts;
  each(key, [&](const json::value& element, const std::string& place) {
    const auto number = integerOf(element);
    if (!number || *number < 0 || *number > largest) {
      fault_->add(place, "expected an integer from 0 to " + std::to_string(largest));
    }
    counts.push_back(number.value_or(0));
  });
  return counts;
}

void JSONObject::value(std::string_view key, const ReadValue& read) {
  if (const json::value* const member = find(key)) {
    read(*member, placeOf(key));
  }
}

void JSONObject::each(std::string_view key, const ReadValue& read) {
  const json::value* const member = find(key);
  if (member == nullptr) {
    return;
  }
  if (!member->is_array()) {
    fault(key, "expected a list");
    return;
  }
  std::size_t index = 0;
  for (const json::value& element : member->get_array()) {
    read(element, placeOf(key) + "[" + std::to_string(index) + "]");
    ++index;
  }
}

bool JSONObject::has(std::string_view key) { return find(key) != nullptr; }

bool JSONObject::isNull(std::string_view key) {
  const json::value* const member = find(key);
  return member != nullptr && member->is_null();
}

void JSONObject::require(std::string_view key) {
  if (!has(key)) {
    fault(key, "is required");
  }
}

void JSONObject::refuseOthers() {
  for (const auto& member : *members_) {
    const std::string_view key(member.key().data(), member.key().size());
    if (std::find(asked_.begin(), asked_.end(), key) == asked_.end()) {
      fault(key, "is no key that a description has here");
    }
  }
}

void JSONObject::fault(std::string_view key, std::string_view problem) {
  fault_->add(placeOf(key), problem);
}

void JSONObject::fault(std::string_view problem) { fault_->add(place_, problem); }

const json::value* JSONObject::find(std::string_view key) {
  asked_.emplace_back(key);
  return members_->if_contains({key.data(), key.size()});
}

std::string JSONObject::placeOf(std::string_view key) const {
  return place_.empty() ? std::string(key) : place_ + "." + std::string(key);
}

}  // namespace sim
