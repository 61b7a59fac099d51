// Lines of any bytes: each is answered with one line, as a helper that has just been started
// answers it.
#include <utf8.h>

#include <sstream>

#include "tests/fuzz/target.h"

namespace {

// No deletion succeeds and access is never asked for, so that answers do not depend on what was
// answered before.
constexpr const char* description = R"({
  "authorization": 3, "userLibraryAlbum": "ALBUM/L0/020", "opensURLs": true,
  "deletion": {"success": false, "error": "The user said no\nand \"no\" again"},
  "assets": [
    {"localIdentifier": "PHOTO/L0/001", "creationDate": 1600000000.5, "resources": [
      {"type": 1, "originalFilename": "IMG\u00001.JPG", "text": "abc", "chunks": [2, 0]},
      {"type": 4, "originalFilename": "\ud83d\ude00\n.DNG", "size": 100, "cloud": true}]},
    {"localIdentifier": "BROKEN/L0/001", "mediaType": 2, "creationDate": -1e300, "resources": [
      {"type": 2, "originalFilename": "", "text": "all of it", "failure": {"afterBytes": 5, "error": "no"}}]},
    {"localIdentifier": "///", "creationDate": 1600000000.5},
    {"localIdentifier": "A B/L0/001"}]})";

constexpr const char* discover = R"({"command":"discover"})";

}  // namespace

const std::vector<std::string> fuzz::seeds = {
    {"\0\n\r\n{\"command\":\"discover\"", 24},
    "{\"command\":\"\xFF\xC0\x80\"}\n{\"command\":\"help\",\"destination\":\"\xED\xA0\x80\"}",
    R"({"command":"discover","limit":1,"cutoff":1e300}
       {"command":"reclaim","assetIDs":["PHOTO/L0/001"]}
       {"command":"discover","offset":1}
       {"command":"estimate","assetID":"PHOTO/L0/001","photoKitResourceType":4.0}
       {"command":"open","assetID":"A B/L0/001"})",
    R"({"command":"export","assetID":"PHOTO/L0/001","photoKitResourceType":1,"destination":"\n\u0000"}
       {"command":"export","assetID":"PHOTO/L0/001","photoKitResourceType":1,"destination":"../a"})",
};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::filesystem::path library = fuzz::makeLibrary(description);
  static const auto listing = fuzz::Helper(library).answer(discover);
  fuzz::Helper helper(library);
  std::istringstream lines(std::string(data, data + size));
  for (std::string line; std::getline(lines, line);) {
    fuzz::Helper fresh(library);
    fuzz::require(helper.answer(line) == fresh.answer(utf8::replace_invalid(line)),
                  "an answer depends on nothing but its line, with U+FFFD for what is not UTF-8");
  }
  fuzz::require(helper.answer(discover) == listing, "no line changes what the next is answered");
  return 0;
}
