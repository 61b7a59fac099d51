// A tour of the protocol, as a host would take it: starts the helper on a local library, sends it a
// session of requests and shows each with its answer.
//
// usage: tour PHOTOS_SIM LIBRARY FOLDER   the exported file goes to FOLDER
//        tour PHOTOS_SIM --play LIBRARY < REQUESTS

#include <algorithm>
#include <boost/json.hpp>
#include <ctime>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "examples/helper_process.h"

namespace {

namespace json = boost::json;
using examples::HelperProcess;

std::string dateText(double secondsSince1970) {
  const auto whole = static_cast<std::time_t>(secondsSince1970);
  std::tm parts{};
  gmtime_r(&whole, &parts);
  std::string text(32, '\0');
  text.resize(std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", &parts));
  return text;
}

/// One summary of a page as a line: when, what, which flags, whose.
std::string summaryText(const json::object& summary) {
  std::string text = dateText(summary.at("createdAt").to_number<double>());
  const auto add = [&text](std::string_view word) { text.append("  ").append(word); };
  add(summary.at("mediaType").as_string());
  std::string filename(summary.at("filename").as_string());
  filename.resize(std::max<std::size_t>(filename.size(), 16), ' ');
  add(filename);
  add("type " + std::to_string(summary.at("photoKitResourceType").as_int64()));
  for (const char* flag : {"isRaw", "isLivePhotoCompanion", "isLivePhotoImage", "isCurrentEdit"}) {
    if (summary.at(flag).as_bool()) {
      add(flag);
    }
  }
  add(summary.at("assetID").as_string());
  return text;
}

/// Sends a request and shows it with its answer, which it returns.
json::object show(HelperProcess& helper, std::string_view what, const std::string& request) {
  if (!what.empty()) {
    std::cout << "\n" << what << "\n";
  }
  std::cout << "  -> " << request << "\n";
  const std::string line = helper.ask(request);
  json::error_code error;
  const json::value answer = json::parse(line, error);
  if (error || !answer.is_object()) {
    std::cout << "  <- (no answer)" << "\n" << std::flush;
    return {};
  }
  json::object rest = answer.as_object();
  const json::value* const assets = answer.as_object().if_contains("assets");
  rest.erase("assets");
  std::cout << "  <- " << json::serialize(rest);
  if (assets != nullptr) {
    std::cout << " and assets:";
    for (const json::value& summary : assets->as_array()) {
      std::cout << "\n       " << summaryText(summary.as_object());
    }
    std::cout << (assets->as_array().empty() ? " none" : "");
  }
  std::cout << "\n" << std::flush;
  return answer.as_object();
}

std::string request(const json::object& fields) { return json::serialize(fields); }

void tour(HelperProcess& helper, const std::string& folder) {
  show(helper, "Nothing is answered before the user has granted access ...",
       request({{"command", "discover"}}));
  show(helper, "... which \"authorize\" asks for.", request({{"command", "authorize"}}));
  const json::object page = show(helper, "The library's photos and videos, oldest first ...",
                                 request({{"command", "discover"}, {"limit", 5}}));
  if (const json::value* const next = page.if_contains("nextOffset")) {
    show(helper, "... page by page.",
         request({{"command", "discover"}, {"limit", 5}, {"offset", *next}}));
  }
  show(helper, "Only videos, and only those from before 2024.",
       request({{"command", "discover"}, {"includePhotos", false}, {"cutoff", 1704067200}}));
  if (!page.contains("assets") || page.at("assets").as_array().empty()) {
    std::cout << "\nThe library is empty: no asset to show more with." << "\n" << std::flush;
    return;
  }
  const json::object first = page.at("assets").as_array().front().as_object();
  const json::value& asset = first.at("assetID");
  const json::value& type = first.at("photoKitResourceType");
  show(helper, "How many bytes one resource has.",
       request({{"command", "estimate"}, {"assetID", asset}, {"photoKitResourceType", type}}));
  show(helper, "A copy of it, with its digest.",
       request({{"command", "export"},
                {"assetID", asset},
                {"photoKitResourceType", type},
                {"destination", folder + "/" + std::string(first.at("filename").as_string())}}));
  show(helper, "The asset in the Photos application (here: whatever opens photos: URLs).",
       request({{"command", "open"}, {"assetID", asset}}));
  show(helper, "Moved to Recently Deleted: it leaves the library at once, but is not lost.",
       request({{"command", "reclaim"}, {"assetIDs", json::array{asset}}}));
  show(helper, "", request({{"command", "reclaim"}, {"assetIDs", json::array{asset}}}));
  show(helper, "A line that is no request gets its answer too, and the next one works.",
       "{\"command\":");
  show(helper, "", request({{"command", "discover"}, {"limit", 1}}));
}

/// Shows each line of standard input as a request.
void play(HelperProcess& helper) {
  for (std::string line; std::getline(std::cin, line);) {
    show(helper, "", line);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv, argv + argc);
  if (arguments.size() != 4) {
    std::cerr << "usage: tour PHOTOS_SIM LIBRARY FOLDER\n"
                 "       tour PHOTOS_SIM --play LIBRARY < REQUESTS\n";
    return 2;
  }
  const bool isPlay = arguments[2] == "--play";
  HelperProcess helper({arguments[1], "serve", arguments[isPlay ? 3 : 2]});
  if (isPlay) {
    play(helper);
  } else {
    tour(helper, arguments[3]);
  }
  return 0;
}
