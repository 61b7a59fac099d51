#include "sim/show.h"

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <iostream>
#include <string>
#include <string_view>

namespace sim {
namespace {

namespace json = boost::json;

/// The summary without what is false.
std::string summaryText(const json::value& summary) {
  if (!summary.is_object()) {
    return json::serialize(summary);
  }
  json::object shown;
  for (const auto& [key, value] : summary.get_object()) {
    if (value != false) {
      shown[key] = value;
    }
  }
  return json::serialize(shown);
}

}  // namespace

void showSession(const Session& session) {
  std::cout << "\n" << session.comments << "=== Library: " << printable(session.library) << "\n";
}

void showExchange(const Exchange& exchange, const json::value& answer) {
  std::string_view request = exchange.request;
  request.remove_suffix(request.ends_with('\n') ? 1 : 0);
  std::cout << "\n" << exchange.comments << "  -> " << printable(request) << "\n  <- ";
  const json::value* const assets =
      answer.is_object() ? answer.get_object().if_contains("assets") : nullptr;
  if (assets == nullptr || !assets->is_array()) {
    std::cout << printable(json::serialize(answer)) << "\n";
    return;
  }
  json::object rest = answer.get_object();
  rest.erase("assets");
  std::cout << printable(json::serialize(rest)) << " and assets:\n";
  for (const json::value& summary : assets->get_array()) {
    std::cout << "       " << printable(summaryText(summary)) << "\n";
  }
}

}  // namespace sim
