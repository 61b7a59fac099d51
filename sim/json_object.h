// Reads the members of a JSON object that has a known set of them. The first fault is kept with
// its place, and reading goes on: callers check once, at the end.
//
// Objects and places refer to one another's values; all live within the reading of one document.
#pragma once

#include <boost/json/value.hpp>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// The first fault of a document: "assets[3].mediaType: expected an integer".
class FirstFault {
 public:
  void add(std::string_view place, std::string_view problem);
  [[nodiscard]] const std::optional<std::string>& text() const { return text_; }

 private:
  std::optional<std::string> text_;
};

/// The integer that a JSON number of whole value is, however it is written (5, 5.0, 5e0); nothing
/// when it does not fit 64 bits, or is something else.
std::optional<std::int64_t> integerOf(const boost::json::value& value);

class JSONObject {
 public:
  /// A value that is no object is a fault, and reads as an object without members.
  JSONObject(const boost::json::value& value, std::string place, FirstFault& fault);

  // Each reads a member that may be missing. A wrong type is a fault, and reads as missing.

  std::optional<std::int64_t> integer(std::string_view key);
  /// An integer that is not negative.
  std::optional<std::int64_t> count(std::string_view key);
  std::optional<bool> boolean(std::string_view key);
  std::optional<std::string> string(std::string_view key);
  /// A finite number; null reads as missing.
  std::optional<double> date(std::string_view key);
  std::vector<std::int64_t> counts(std::string_view key, std::int64_t largest);

  using ReadValue = std::function<void(const boost::json::value&, const std::string& place)>;
  /// Gives the member to `read`, if there is one.
  void value(std::string_view key, const ReadValue& read);
  /// Gives each element of a list to `read`.
  void each(std::string_view key, const ReadValue& read);

  [[nodiscard]] bool has(std::string_view key);
  [[nodiscard]] bool isNull(std::string_view key);
  /// Makes it a fault that the member is missing.
  void require(std::string_view key);
  /// Makes it a fault that there is a member which nobody has asked for.
  void refuseOthers();

  /// Makes something else about a member, or about the object itself, a fault.
  void fault(std::string_view key, std::string_view problem);
  void fault(std::string_view problem);

 private:
  const boost::json::value* find(std::string_view key);
  [[nodiscard]] std::string placeOf(std::string_view key) const;

  const boost::json::object* members_;
  std::string place_;
  FirstFault* fault_;
  std::vector<std::string> asked_;
};

}  // namespace sim
