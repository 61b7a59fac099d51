// What a line says, and how an answer is written.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/request_decoder.h"
#include "protocol/response_encoder.h"

namespace tests {
namespace {

using namespace std::string_literals;
using protocol::AssetSummary;
using protocol::Request;
using protocol::Response;

/// The fields that a request holds, or "fails".
std::string shown(const std::optional<Request>& request) {
  if (!request) {
    return "fails";
  }
  std::string text = request->command;
  const auto add = [&](const char* name, const auto& field) {
    text += field ? " "s + name + "=" + testing::PrintToString(*field) : "";
  };
  add("assetID", request->assetID);
  add("photoKitResourceType", request->photoKitResourceType);
  add("assetIDs", request->assetIDs);
  add("destination", request->destination);
  add("cutoff", request->cutoff);
  add("includePhotos", request->includePhotos);
  add("includeVideos", request->includeVideos);
  add("offset", request->offset);
  add("limit", request->limit);
  return text;
}

std::string nested(std::size_t depth) {
  return R"({"command":"c","x":)" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}";
}

TEST(RequestDecoder, TakesEachLineForWhatItSays) {
  protocol::RequestDecoder decoder;  // one for all, as a line leaves nothing behind
  const auto expect = [&](const std::string& line, const std::string& expected) {
    EXPECT_EQ(shown(decoder.decode(line)), expected) << line;
  };
  expect(R"({"command":"c","assetID":"a","photoKitResourceType":1,"assetIDs":["b","","b"],)"
         R"("destination":"/d","cutoff":1.5,"includePhotos":true,"includeVideos":false,)"
         R"("offset":-2,"limit":3})",
         R"(c assetID="a" photoKitResourceType=1 assetIDs={ "b", "", "b" } destination="/d" )"
         R"(cutoff=1.5 includePhotos=true includeVideos=false offset=-2 limit=3)");
  expect(R"({"command":"","assetID":null,"photoKitResourceType":null,"assetIDs":null,)"
         R"("destination":null,"cutoff":null,"includePhotos":null,"includeVideos":null,)"
         R"("offset":null,"limit":null})",
         "");
  expect(nested(512), "c");
  expect(nested(513), "fails");

  // What follows the command in a line that holds a request, and the fields that it gives.
  for (const auto& [members, fields] : std::vector<std::pair<std::string, std::string>>{
           {R"("limit":5.0)", " limit=5"},
           {R"("limit":5e0)", " limit=5"},
           {R"("limit":0.05E+2)", " limit=5"},
           {R"("limit":-0)", " limit=0"},
           {R"("limit":0e2147483647)", " limit=0"},
           {R"("limit":-9007199254740992.0)", " limit=-9007199254740992"},
           {R"("limit":9223372036854775807)", " limit=9223372036854775807"},
           {R"("limit":-9223372036854775808)", " limit=-9223372036854775808"},
           {R"("cutoff":-1)", " cutoff=-1"},
           {R"("cutoff":1e-400)", " cutoff=0"},
           {R"("cutoff":18446744073709551616)", " cutoff=1.84467e+19"},
           {R"("assetID":"","assetIDs":[])", R"( assetID="" assetIDs={})"},
           // Of two equal keys the last counts.
           {R"("limit":"5","limit":5)", " limit=5"},
           {R"("limit":5,"limit":null)", ""},
           {R"("assetIDs":["a","b"],"assetIDs":["c"])", R"( assetIDs={ "c" })"},
           {R"("assetIDs":[1],"assetIDs":[])", " assetIDs={}"},
           {R"("command":5,"command":"c")", ""},
           // Keys that mean nothing may hold anything.
           {R"("Limit":"5","limit ":{},"":[],"bytes":2.5)", ""},
           {R"("x":1e400,"y":-1e-400,"z":123456789012345678901234567890)", ""},
           {R"("x":{"limit":"5","command":1,"assetIDs":[1]},"y":[[{"limit":"5"}],"a"])", ""},
           {R"("x":["a"],"limit":5)", " limit=5"},
           // Escapes.
           {R"("comm\u0061nd":"c","\u006cimit":5)", " limit=5"},
           {R"("assetID":"\u0041\/\"\t")", R"( assetID="A/\"\t")"}}) {
    expect(R"({"command":"c",)" + members + "}", "c" + fields);
  }
  // The same in lines that hold none.
  for (const char* members : {R"("limit":9223372036854775808)",
                              R"("limit":-9223372036854775809)",
                              R"("limit":18446744073709551616)",
                              R"("limit":1e19)",
                              R"("limit":1e400)",
                              R"("limit":9007199254740994.0)",
                              R"("limit":1.5e-5)",
                              R"("limit":true)",
                              R"("limit":[5])",
                              R"("limit":{})",
                              R"("photoKitResourceType":1.5)",
                              R"("cutoff":-1e400)",
                              R"("cutoff":false)",
                              R"("includeVideos":[])",
                              R"("assetID":5)",
                              R"("assetID":["a"])",
                              R"("destination":true)",
                              R"("destination":{"x":"/d"})",
                              R"("assetIDs":[1,"a"])",
                              R"("assetIDs":["a",["b"]])",
                              R"("assetIDs":[{"assetIDs":"a"},"b"])",
                              R"("assetIDs":"a")",
                              R"("assetIDs":{"0":"a"})",
                              R"("assetIDs":["a",])",
                              R"("limit":5,"limit":"5")",
                              R"("assetIDs":[],"assetIDs":[1])",
                              R"("command":null)",
                              R"("x":1e)",
                              R"("x":[1,2)",
                              R"("x":"\ud800")",
                              R"("assetID":"\ude00\ud83d")",
                              R"("assetID":"\x41")",
                              "\"assetID\":\"a\tb\""}) {
    expect(R"({"command":"c",)"s + members + "}", "fails");
  }
  const auto request = decoder.decode(R"({"command":"\u00e9\ud83d\ude00\u0000"})");
  EXPECT_EQ(request.value_or(Request{}).command, "\u00e9\U0001F600\0"s);
}

TEST(ResponseEncoder, WritesWhatIsSetAndNothingElse) {
  Response response{.ok = false, .status = "s"};
  EXPECT_EQ(encode(response), R"({"ok":false,"status":"s"})");
  response.assets.emplace();
  EXPECT_EQ(encode(response), R"({"ok":false,"status":"s","assets":[]})");

  response = {.ok = true,
              .status = "s",
              .error = "",
              .sha256 = "00",
              .bytes = std::numeric_limits<std::int64_t>::max(),
              .assets = std::vector<AssetSummary>(2),
              .nextOffset = std::numeric_limits<std::int64_t>::min()};
  AssetSummary& full = response.assets->back();
  full = {.assetID = "A/L0/001",
          .filename = "\"\\\b\f\n\r\t\x01\x1E\x7F\u00e9\u2028\U0001F600/"s + '\0' + "<",
          .createdAt = -1,
          .modifiedAt = 1600000000,
          .mediaType = "video",
          .bytes = 0,
          .photoKitResourceType = -1};
  full.isRaw = full.isLivePhotoCompanion = full.isLivePhotoImage = full.isCurrentEdit = true;
  EXPECT_EQ(
      encode(response),
      R"({"ok":true,"status":"s","error":"","sha256":"00","bytes":9223372036854775807,"assets":[)"
      R"({"assetID":"","filename":"","createdAt":0,"mediaType":"","photoKitResourceType":0,)"
      R"("isRaw":false,"isLivePhotoCompanion":false,"isLivePhotoImage":false,"isCurrentEdit":false},)"
      R"({"assetID":"A\/L0\/001","filename":"\"\\\b\f\n\r\t\u0001\u001e)"
      "\x7F\u00e9\u2028\U0001F600"
      R"(\/\u0000<","createdAt":-1,"modifiedAt":1600000000,"mediaType":"video",)"
      R"("bytes":0,"photoKitResourceType":-1,"isRaw":true,"isLivePhotoCompanion":true,)"
      R"("isLivePhotoImage":true,"isCurrentEdit":true}],"nextOffset":-9223372036854775808})");
}

/// The number that an answer gives as createdAt.
std::string writtenDate(double date) {
  Response response{.ok = true, .status = "", .assets = std::vector<AssetSummary>(1)};
  response.assets->front().createdAt = date;
  const std::string text = encode(response).value_or("");
  const std::size_t begin = text.find("createdAt") + "createdAt\":"s.size();
  return text.substr(begin, text.find(',', begin) - begin);
}

TEST(ResponseEncoder, WritesDatesThatReadBackAsTheSame) {
  std::vector<double> dates{0.1, -0.0, 1e22, 5e-324, 1.7976931348623157e308, 1700000000.123456};
  std::mt19937_64 random;  // NOLINT(bugprone-random-generator-seed): the same dates each time
  while (dates.size() < 500) {
    dates.push_back(std::bit_cast<double>(random()));
    dates.push_back(std::ldexp(static_cast<double>(random()), -33) - 1e9);
  }
  protocol::RequestDecoder decoder;
  for (const double date : dates) {
    if (std::isfinite(date)) {
      const auto request = decoder.decode(R"({"command":"","cutoff":)" + writtenDate(date) + "}");
      EXPECT_EQ(request.value_or(Request{}).cutoff, date) << writtenDate(date);
    }
  }
}

TEST(ResponseEncoder, WritesNothingForADateThatIsNoMoment) {
  for (const double date : {HUGE_VAL, -HUGE_VAL, std::nan("")}) {
    Response response{.ok = true, .status = "", .assets = std::vector<AssetSummary>(2)};
    response.assets->back().createdAt = date;
    EXPECT_EQ(encode(response), std::nullopt);
    response.assets->back().createdAt = 0;
    response.assets->back().modifiedAt = date;
    EXPECT_EQ(encode(response), std::nullopt);
  }
}

TEST(ResponseEncoder, RepairsTextThatIsNotUTF8) {
  const Response response{.ok = false, .status = "s", .error = "\xFF/caf\xC3"};
  EXPECT_EQ(encode(response), "{\"ok\":false,\"status\":\"s\",\"error\":\"\uFFFD\\/caf\uFFFD\"}");
}

}  // namespace
}  // namespace tests
