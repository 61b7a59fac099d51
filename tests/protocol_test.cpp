// How an answer is written, to the byte.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "protocol/response_encoder.h"

namespace tests {
namespace {

using namespace std::string_literals;
using protocol::AssetSummary;
using protocol::Response;

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

TEST(ResponseEncoder, WritesNothingForADateThatIsNoMoment) {
  for (const double date : {HUGE_VAL, -HUGE_VAL, std::nan("")}) {
    Response response{.ok = true, .status = "", .assets = std::vector<AssetSummary>(2)};
    response.assets->back().createdAt = date;
    EXPECT_EQ(encode(response), std::nullopt);
    response.assets->back() = {};
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
