#include "sim/review.h"

#include <algorithm>
#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>
#include <cstdint>
#include <expected>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "library/library.h"
#include "protocol/request_decoder.h"
#include "sim/existing_library.h"
#include "sim/transcript.h"

namespace sim {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;

/// A line of a record; one member besides `server` is there.
struct Entry {
  std::int64_t server = 0;
  bool isStart = false;
  const json::string* request = nullptr;
  const json::object* answer = nullptr;
};

/// Nothing when the value is no line of a record.
std::optional<Entry> entryOf(const json::value& line) {
  const json::object* const object = line.if_object();
  const json::value* const server = object == nullptr ? nullptr : object->if_contains("server");
  if (server == nullptr || !server->is_int64() || !object->contains("at")) {
    return std::nullopt;
  }
  Entry entry{.server = server->get_int64(), .isStart = object->contains("serves")};
  if (const json::value* const request = object->if_contains("request")) {
    entry.request = request->if_string();
  }
  if (const json::value* const answer = object->if_contains("answer")) {
    entry.answer = answer->if_object();
  }
  const bool isKnown = entry.isStart || entry.request != nullptr || entry.answer != nullptr;
  return isKnown ? std::optional(entry) : std::nullopt;
}

bool names(const protocol::Request& request, const std::vector<std::string>& assets) {
  const auto isNamed = [&](const std::string& asset) {
    return request.assetID == asset ||
           (request.assetIDs &&
            std::ranges::find(*request.assetIDs, asset) != request.assetIDs->end());
  };
  return std::ranges::any_of(assets, isNamed);
}

class Review {
 public:
  explicit Review(library::Library& library) : database_(library.database()) {}

  Result take(std::size_t line, const Entry& entry) {
    if (entry.isStart) {
      asked_.erase(entry.server);
      return {};
    }
    if (entry.request != nullptr) {
      ++requests_;
      const std::string_view text(entry.request->data(), entry.request->size());
      const auto request = decoder_.decode(text).value_or(protocol::Request());
      asked_[entry.server] = {line, request};
      return takeRequest(line, request);
    }
    if (const auto asked = asked_.extract(entry.server)) {
      const json::value* const ok = entry.answer->if_contains("ok");
      const json::value* const status = entry.answer->if_contains("status");
      const bool isDenied = status != nullptr && status->is_string() &&
                            status->get_string().starts_with("authorization_");
      takeAnswer(asked.mapped().first, asked.mapped().second, ok != nullptr && *ok == true,
                 isDenied);
    }
    return {};
  }

  /// What a careful host would not have done, by the lines of the record.
  [[nodiscard]] std::multimap<std::size_t, std::string> findings() const {
    auto all = findings_;
    for (const auto& [line, assets] : unanswered_) {
      all.emplace(line, "reclaims without an answer, and never looks up what came of it");
    }
    return all;
  }

  [[nodiscard]] std::string summary() const {
    const auto exported = std::ranges::count(exports_, true, &Exports::value_type::second);
    return counted(requests_, "request") + ", " + counted(exported, "resource") + " exported, " +
           counted(reclaimed_, "asset") + " reclaimed";
  }

 private:
  /// Whether the last export of the resource of an asset's identifier and a type has succeeded;
  /// those that were never tried are missing.
  using Exports = std::map<std::pair<std::string, std::int64_t>, bool>;

  Result takeRequest(std::size_t line, const protocol::Request& request) {
    if (const auto resource = exportedBy(request)) {
      const auto before = exports_.find(*resource);
      if (before != exports_.end() && before->second) {
        tell(line, "exports the resource of type " + std::to_string(resource->second) + " of " +
                       resource->first + " again");
        before->second = false;  // it may have been written over
      }
    }
    Result judged;
    if (request.command == "reclaim" && request.assetIDs && !request.assetIDs->empty()) {
      unanswered_[line] = *request.assetIDs;
      for (const std::string& asset : *request.assetIDs) {
        judged = judged ? judgeReclaim(line, asset) : judged;
      }
    }
    return judged;
  }

  /// Without access, an answer tells nothing of an asset.
  void takeAnswer(std::size_t line, const protocol::Request& request, bool isSuccess,
                  bool isDenied) {
    unanswered_.erase(line);
    std::erase_if(unanswered_, [&](const auto& reclaim) {
      return !isDenied && (request.command == "discover" || names(request, reclaim.second));
    });
    if (const auto resource = exportedBy(request)) {
      exports_[*resource] = isSuccess;
    } else if (request.command == "reclaim" && request.assetIDs && isSuccess) {
      reclaimed_ += request.assetIDs->size();
    }
  }

  /// All resources count, also those that discover does not list.
  Result judgeReclaim(std::size_t line, const std::string& asset) {
    // For an asset without resources, one row that counts none.
    const auto types = database_.rows(
        "SELECT type, count(type) FROM asset LEFT JOIN resource ON asset = asset.id "
        "WHERE localIdentifier = ? GROUP BY type",
        [](SQLite::Statement& row) {
          return std::pair(row.getColumn(0).getInt64(), row.getColumn(1).getInt64());
        },
        asset);
    if (!types) {
      return std::unexpected(types.error());
    }
    if (types->empty()) {
      tell(line, "reclaims " + asset + ", which is not in the library");
    }
    for (const auto& [type, count] : *types) {
      const auto exported = exports_.find({asset, type});
      const char* const fault = count > 1 ? " twice, and only the first can be exported"
                                : count == 0 || (exported != exports_.end() && exported->second)
                                    ? nullptr
                                : exported == exports_.end() ? ", which was not exported"
                                                             : ", whose export failed";
      if (fault != nullptr) {
        tell(line, "reclaims " + asset + ", which has a resource of type " + std::to_string(type) +
                       fault);
      }
    }
    return {};
  }

  static std::optional<Exports::key_type> exportedBy(const protocol::Request& request) {
    return request.command == "export" && request.assetID && request.photoKitResourceType
               ? std::optional(Exports::key_type(*request.assetID, *request.photoKitResourceType))
               : std::nullopt;
  }

  void tell(std::size_t line, const std::string& what) { findings_.emplace(line, what); }

  library::Database& database_;
  protocol::RequestDecoder decoder_;
  /// The request that each server is at, with its line.
  std::map<std::int64_t, std::pair<std::size_t, protocol::Request>> asked_;
  Exports exports_;
  /// Reclaims of unknown outcome, by their lines, with their assets.
  std::map<std::size_t, std::vector<std::string>> unanswered_;
  std::multimap<std::size_t, std::string> findings_;
  std::size_t requests_ = 0;
  std::size_t reclaimed_ = 0;
};

/// Gives all lines to the review, and counts those that are cut. On a full disk the next line of
/// another server may stand behind half of one.
std::expected<std::size_t, Error> readRecord(const fs::path& file, Review& review) {
  std::ifstream stream(file);
  std::size_t number = 0;
  std::size_t cut = 0;
  bool isRecord = false;
  const auto refusal = [&](std::size_t line) {
    return std::unexpected(failure(linePlace(file, line), "no line of a record",
                                   "name a file that serve --record has written"));
  };
  for (std::string line; std::getline(stream, line);) {
    ++number;
    boost::system::error_code error;
    const json::value value = json::parse(line, error);
    const auto entry = error ? std::nullopt : entryOf(value);
    if (!entry && !error) {
      return refusal(number);
    }
    cut += error ? 1U : 0U;
    isRecord = isRecord || entry;
    if (const Result taken = entry ? review.take(number, *entry) : Result(); !taken) {
      return std::unexpected(failure(linePlace(file, number), taken.error().localizedDescription));
    }
  }
  if (!stream.is_open() || stream.bad()) {
    return std::unexpected(failure(file, lastSystemError(), "name a record that can be read"));
  }
  return isRecord ? std::expected<std::size_t, Error>(cut) : refusal(1);
}

}  // namespace

Result reviewRecord(const fs::path& library, const fs::path& record) {
  auto opened = openLibrary(library);
  if (!opened) {
    return std::unexpected(std::move(opened.error()));
  }
  Review review(*opened);
  const auto cut = readRecord(record, review);
  if (!cut) {
    return std::unexpected(cut.error());
  }
  const auto findings = review.findings();
  for (const auto& [line, finding] : findings) {
    say(linePlace(record, line) + ": " + finding);
  }
  const std::string read =
      review.summary() + (*cut == 0 ? "" : "; cut lines passed over: " + std::to_string(*cut));
  if (!findings.empty()) {
    return std::unexpected(failure(record, counted(findings.size(), "finding") + " in " + read));
  }
  say(record.string() + ": no findings in " + read);
  return {};
}

}  // namespace sim
