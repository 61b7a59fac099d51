// Reads JSON that people write by hand into structs: strictly, and telling where it is wrong.
//
// A struct is described to Boost.Describe. A member that is a std::optional may be missing, any
// other is required; a key that is no member is refused. Of two equal keys the last counts.
#pragma once

#include <boost/describe.hpp>
#include <boost/json/value.hpp>
#include <boost/mp11.hpp>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "protocol/whole_number.h"

namespace sim {

/// An integer within bounds.
template <std::int64_t low, std::int64_t high>
struct IntegerWithin {
  std::int64_t value = low;
};

/// A value that may be null.
template <class T>
struct Nullable {
  std::optional<T> value = {};
};

// What a JSON value is as a T; nothing when it is none. A type of one's own has an overload of
// valueOf(), and one of expectation(), which says what a right value is.

template <class T>
struct As {};

inline std::optional<std::int64_t> valueOf(As<std::int64_t> /*type*/,
                                           const boost::json::value& value) {
  if (value.is_int64()) {
    return value.get_int64();
  }
  return value.is_double() ? protocol::wholeNumber(value.get_double()) : std::nullopt;
}
inline std::string expectation(As<std::int64_t> /*type*/) { return "an integer"; }

template <std::int64_t low, std::int64_t high>
std::optional<IntegerWithin<low, high>> valueOf(As<IntegerWithin<low, high>> /*type*/,
                                                const boost::json::value& value) {
  const auto number = valueOf(As<std::int64_t>(), value);
  return number && *number >= low && *number <= high
             ? std::optional(IntegerWithin<low, high>{*number})
             : std::nullopt;
}
template <std::int64_t low, std::int64_t high>
std::string expectation(As<IntegerWithin<low, high>> /*type*/) {
  return "an integer from " + std::to_string(low) + " to " + std::to_string(high);
}

inline std::optional<bool> valueOf(As<bool> /*type*/, const boost::json::value& value) {
  return value.is_bool() ? std::optional(value.get_bool()) : std::nullopt;
}
inline std::string expectation(As<bool> /*type*/) { return "true or false"; }

inline std::optional<std::string> valueOf(As<std::string> /*type*/,
                                          const boost::json::value& value) {
  return value.is_string() ? std::optional(std::string(value.get_string())) : std::nullopt;
}
inline std::string expectation(As<std::string> /*type*/) { return "a string"; }

inline std::optional<double> valueOf(As<double> /*type*/, const boost::json::value& value) {
  const double number = value.is_number() ? value.to_number<double>() : NAN;
  return std::isfinite(number) ? std::optional(number) : std::nullopt;
}
inline std::string expectation(As<double> /*type*/) { return "a finite number"; }

template <class T>
std::optional<Nullable<T>> valueOf(As<Nullable<T>> /*type*/, const boost::json::value& value) {
  auto inner = value.is_null() ? std::nullopt : valueOf(As<T>(), value);
  return value.is_null() || inner ? std::optional(Nullable<T>{std::move(inner)}) : std::nullopt;
}
template <class T>
std::string expectation(As<Nullable<T>> /*type*/) {
  return expectation(As<T>()) + " or null";
}

/// Reads one document; the first fault ends the reading.
class JSONReader {
 public:
  /// Such as "assets[3].resources[0].type: expected an integer".
  [[nodiscard]] const std::string& fault() const { return fault_; }

  /// Whether the value, which stands at that place, could be read.
  template <class T>
  [[nodiscard]] bool read(const boost::json::value& value, T& into, const std::string& place = "") {
    if constexpr (boost::describe::has_describe_members<T>::value) {
      return value.is_object() ? readMembers(value.get_object(), into, place)
                               : fails(place, "expected an object");
    } else {
      auto read = valueOf(As<T>(), value);
      if (read) {
        into = std::move(*read);
      }
      return read || fails(place, "expected " + expectation(As<T>()));
    }
  }

  template <class T>
  [[nodiscard]] bool read(const boost::json::value& value, std::optional<T>& into,
                          const std::string& place) {
    return read(value, into.emplace(), place);
  }

  template <class T>
  [[nodiscard]] bool read(const boost::json::value& value, std::vector<T>& into,
                          const std::string& place) {
    if (!value.is_array()) {
      return fails(place, "expected a list");
    }
    for (const boost::json::value& element : value.get_array()) {
      const std::string index = "[" + std::to_string(into.size()) + "]";
      if (!read(element, into.emplace_back(), place + index)) {
        return false;
      }
    }
    return true;
  }

 private:
  template <class T>
  struct IsOptional : std::false_type {};
  template <class T>
  struct IsOptional<std::optional<T>> : std::true_type {};

  template <class T>
  bool readMembers(const boost::json::object& object, T& into, const std::string& place) {
    using Members = boost::describe::describe_members<T, boost::describe::mod_public>;
    const std::string prefix = place.empty() ? "" : place + ".";
    bool isRead = true;
    std::size_t found = 0;
    boost::mp11::mp_for_each<Members>([&](auto member) {
      auto& field = into.*member.pointer;
      const boost::json::value* const value = object.if_contains(member.name);
      found += value == nullptr ? 0 : 1;
      if (isRead && value != nullptr) {
        isRead = read(*value, field, prefix + member.name);
      } else if (isRead && !IsOptional<std::remove_cvref_t<decltype(field)>>::value) {
        isRead = fails(prefix + member.name, "is required");
      }
    });
    return isRead && (found == object.size() || refuseUnknown<Members>(object, prefix));
  }

  template <class Members>
  bool refuseUnknown(const boost::json::object& object, const std::string& prefix) {
    for (const auto& member : object) {
      bool isKnown = false;
      boost::mp11::mp_for_each<Members>(
          [&](auto known) { isKnown = isKnown || member.key() == known.name; });
      if (!isKnown) {
        return fails(prefix + std::string(member.key()), "is no key that belongs here");
      }
    }
    return true;
  }

  bool fails(const std::string& place, const std::string& problem) {
    fault_ = place.empty() ? problem : place + ": " + problem;
    return false;
  }

  std::string fault_;
};

}  // namespace sim
