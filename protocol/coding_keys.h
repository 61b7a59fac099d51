// The fields of a record and their JSON keys: one key for each field, in the same order.
//
// A record R has an enumeration R::CodingKeys. Both are described to Boost.Describe, and
// keysAreFields<R>() holds.
#pragma once

#include <array>
#include <boost/describe.hpp>
#include <boost/mp11.hpp>
#include <cstddef>
#include <string_view>

namespace protocol {

/// Described members, in order; each has a `name` and a `pointer`.
template <class Record>
using Fields = boost::describe::describe_members<Record, boost::describe::mod_public>;

/// The names of what is described, in order.
template <class Described>
[[nodiscard]] constexpr auto namesOf(Described /*list*/) {
  std::array<std::string_view, boost::mp11::mp_size<Described>::value> names;
  std::size_t index = 0;
  boost::mp11::mp_for_each<Described>([&](auto described) { names.at(index++) = described.name; });
  return names;
}

/// The JSON keys of all fields, in order: the cases' own names.
template <class Record>
inline constexpr auto stringValues =
    namesOf(boost::describe::describe_enumerators<typename Record::CodingKeys>());

/// Whether the keys are the fields' names.
template <class Record>
[[nodiscard]] constexpr bool keysAreFields() {
  return stringValues<Record> == namesOf(Fields<Record>());
}

}  // namespace protocol
