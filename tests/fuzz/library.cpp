// A library whose database was damaged: every request is answered, and nothing else is touched.
//
// An input is edits, each of three bytes: where (two, little-endian) and the byte to put there.
#include "library/library.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <boost/json/serialize.hpp>
#include <fstream>
#include <iterator>

#include "tests/fuzz/target.h"

namespace {

namespace fs = std::filesystem;
using fuzz::require;

constexpr const char* description = R"({
  "userLibraryAlbum": "ALBUM/L0/020", "opensURLs": false, "assets": [
    {"localIdentifier": "A", "creationDate": 1600000000.5, "modificationDate": 1, "resources": [
      {"type": 1, "originalFilename": "1.JPG", "text": "abc", "chunks": [2, 0]},
      {"type": 4, "originalFilename": "1.DNG", "size": 300, "cloud": true}]},
    {"localIdentifier": "B", "creationDate": 1600000001.5, "resources": [
      {"type": 1, "originalFilename": "2.JPG", "text": "abcd"}]},
    {"localIdentifier": "C", "mediaType": 2, "creationDate": 1600000002.5, "resources": [
      {"type": 2, "originalFilename": "3.MOV", "text": "", "failure": {"afterBytes": 5, "error": "no"}}]},
    {"localIdentifier": "D", "creationDate": 1600000003.5}, {"localIdentifier": "E"}]})";

constexpr const char* requests[] = {
    R"({"command":"authorize"})",
    R"({"command":"discover"})",
    R"({"command":"discover","limit":1,"offset":1,"cutoff":1600000002.5,"includeVideos":false})",
    R"({"command":"estimate","assetID":"A","photoKitResourceType":1})",
    R"({"command":"estimate","assetID":"A","photoKitResourceType":4})",
    R"({"command":"export","assetID":"B","photoKitResourceType":1,"destination":"copy"})",
    R"({"command":"open","assetID":"C"})",
    R"({"command":"reclaim","assetIDs":["B","C"]})",
    R"({"command":"discover","offset":1})",
};

/// The bytes of a database in small pages, which has more of them to damage.
std::string makeDatabase(const fs::path& file) {
  SQLite::Database(file.string(), SQLite::OPEN_READWRITE)
      .exec(
          "PRAGMA journal_mode = DELETE; PRAGMA page_size = 512; VACUUM;"
          "PRAGMA journal_mode = WAL");
  std::ifstream bytes(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(bytes), {}};
}

}  // namespace

// Whole, of a schema version to come, and no database at all.
const std::vector<std::string> fuzz::seeds = {"", {"\x3F\x00\x02", 3}, {"\x00\x00\x01", 3}};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fs::path folder = fuzz::makeLibrary(description);
  static const fs::path file = library::databaseFile(folder);
  static const std::string whole = makeDatabase(file);

  std::string damaged = whole;
  for (; size >= 3; data += 3, size -= 3) {
    damaged[(data[0] + 256U * data[1]) % damaged.size()] = static_cast<char>(data[2]);
  }
  fs::remove(file.string() + "-wal");
  fs::remove(file.string() + "-shm");
  std::ofstream(file, std::ios::binary) << damaged;
  {
    fuzz::Helper helper(folder);
    for (const char* request : requests) {
      const auto answer = helper.answer(request);
      require(damaged != whole || answer.at("ok") == true, "a whole library serves all requests");
      require(boost::json::serialize(answer).find("database is locked") == std::string::npos,
              "the helper does not wait for itself");
    }
  }
  require(std::distance(fs::directory_iterator(fuzz::scratch()), {}) == 2,
          "nothing is written but the library and exports");
  return 0;
}
