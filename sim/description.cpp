#include "sim/description.h"

#include <fstream>
#include <span>
#include <string_view>
#include <system_error>
#include <unordered_map>
#include <utility>

#include "platform/local/local_identifier.h"
#include "platform/local/originals.h"
#include "sim/json_object.h"
#include "sim/json_reader.h"
#include "sim/new_library.h"

namespace sim {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;
using platform::local::DeliveryFailure;
using platform::local::LibraryWriter;
using platform::local::NewAsset;
using platform::local::NewResource;
using platform::local::Settings;

std::expected<std::string, Error> readText(const fs::path& file) {
  std::string text;
  auto error = platform::local::bytesOfFile(file)([&](std::span<const std::byte> bytes) {
    text.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return std::optional<Error>();
  });
  if (error) {
    return std::unexpected(
        Error{error->localizedDescription + "; name a description file that you may read"});
  }
  return text;
}

class Reader {
 public:
  explicit Reader(fs::path folder) : folder_(std::move(folder)) {}

  void read(const json::value& document);
  [[nodiscard]] const std::optional<std::string>& fault() const { return fault_.text(); }
  Description result() && { return std::move(description_); }

 private:
  void readSettings(JSONObject& library);
  void readOpensURLs(JSONObject& library);
  void readAsset(const json::value& value, const std::string& place);
  void readIdentifier(JSONObject& asset, const std::string& place);
  void readResource(const json::value& value, const std::string& place);
  void readFailure(JSONObject& resource, NewResource& row);
  DescribedContent readContent(JSONObject& resource, NewResource& row);
  void checkFile(JSONObject& resource, const fs::path& file);

  fs::path folder_;
  FirstFault fault_;
  Description description_;
  std::unordered_map<std::string, std::string> placeOfIdentifier_;
};

void Reader::read(const json::value& document) {
  JSONObject library(document, "", fault_);
  readSettings(library);
  library.each("assets", [this](const json::value& value, const std::string& place) {
    readAsset(value, place);
  });
  library.refuseOthers();
}

void Reader::readSettings(JSONObject& library) {
  Settings settings = defaultSettings();
  settings.authorizationStatus =
      library.integer("authorization").value_or(settings.authorizationStatus);
  settings.promptAnswer = library.integer("promptAnswer").value_or(settings.promptAnswer);
  if (library.isNull("userLibraryAlbum")) {
    settings.userLibraryAlbum = std::nullopt;
  } else if (auto album = library.string("userLibraryAlbum")) {
    settings.userLibraryAlbum = std::move(album);
  }
  library.value("deletion", [&](const json::value& value, const std::string& place) {
    JSONObject deletion(value, place, fault_);
    deletion.require("success");
    settings.deletionSuccess = deletion.boolean("success").value_or(true);
    settings.deletionError = deletion.string("error");
    deletion.refuseOthers();
  });
  settings.networkReachable = library.boolean("networkReachable").value_or(true);
  description_.settings = std::move(settings);
  readOpensURLs(library);
}

void Reader::readOpensURLs(JSONObject& library) {
  library.value("opensURLs", [this](const json::value& value, const std::string& place) {
    if (value.is_bool()) {
      description_.settings.opensURLs = value.get_bool();
    } else if (!value.is_string() || value.get_string() != "system") {
      fault_.add(place, "expected true, false or \"system\"");
    }
  });
}

void Reader::readAsset(const json::value& value, const std::string& place) {
  JSONObject asset(value, place, fault_);
  NewAsset& row = description_.assets.emplace_back();
  description_.contents.emplace_back();
  readIdentifier(asset, place);
  row.mediaType = asset.integer("mediaType").value_or(row.mediaType);
  row.creationDate = asset.date("creationDate");
  row.modificationDate = asset.date("modificationDate");
  asset.each("resources", [this](const json::value& resource, const std::string& resourcePlace) {
    readResource(resource, resourcePlace);
  });
  asset.refuseOthers();
}

void Reader::readIdentifier(JSONObject& asset, const std::string& place) {
  NewAsset& row = description_.assets.back();
  auto identifier = asset.string("localIdentifier");
  row.localIdentifier =
      identifier ? std::move(*identifier) : platform::local::randomLocalIdentifier();
  const auto [holder, isNew] = placeOfIdentifier_.try_emplace(row.localIdentifier, place);
  if (!isNew) {
    asset.fault("localIdentifier", "is that of " + holder->second + " already");
  }
}

void Reader::readResource(const json::value& value, const std::string& place) {
  JSONObject resource(value, place, fault_);
  NewResource row;
  resource.require("type");
  row.type = resource.integer("type").value_or(0);
  resource.require("originalFilename");
  row.originalFilename = resource.string("originalFilename").value_or("");
  description_.contents.back().push_back(readContent(resource, row));
  row.cloud = resource.boolean("cloud").value_or(false);
  row.chunks = resource.counts("chunks", platform::local::longestChunk);
  readFailure(resource, row);
  resource.refuseOthers();
  description_.assets.back().resources.push_back(std::move(row));
}

void Reader::readFailure(JSONObject& resource, NewResource& row) {
  resource.value("failure", [&](const json::value& value, const std::string& place) {
    JSONObject failure(value, place, fault_);
    DeliveryFailure delivery;
    delivery.afterBytes = failure.count("afterBytes").value_or(0);
    delivery.error = failure.string("error").value_or("the resource could not be delivered");
    failure.refuseOthers();
    row.failure = std::move(delivery);
  });
}

DescribedContent Reader::readContent(JSONObject& resource, NewResource& row) {
  DescribedContent content;
  const int given =
      int{resource.has("file")} + int{resource.has("text")} + int{resource.has("size")};
  if (given != 1) {
    resource.fault("expected exactly one of file, text and size");
  }
  if (const auto file = resource.string("file")) {
    content.file = folder_ / *file;
    checkFile(resource, *content.file);
  }
  content.text = resource.string("text");
  row.content.size = resource.count("size").value_or(0);
  return content;
}

void Reader::checkFile(JSONObject& resource, const fs::path& file) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  // A path with a NUL in it would be cut short there.
  if (!fs::exists(status) || file.native().find('\0') != std::string::npos) {
    resource.fault("file", "there is no " + file.string());
  } else if (!fs::is_regular_file(status) || !std::ifstream(file)) {
    resource.fault("file", "can't read " + file.string());
  }
}

std::optional<Error> storeContents(LibraryWriter& library, NewAsset& asset,
                                   const std::vector<DescribedContent>& contents) {
  for (std::size_t index = 0; index < contents.size(); ++index) {
    const DescribedContent& content = contents[index];
    if (!content.file && !content.text) {
      continue;
    }
    auto stored =
        content.file ? library.storeFile(*content.file) : library.storeText(*content.text);
    if (!stored) {
      return std::move(stored.error());
    }
    asset.resources[index].content = std::move(*stored);
  }
  return std::nullopt;
}

}  // namespace

std::expected<Description, Error> readDescription(const fs::path& file) {
  const auto text = readText(file);
  if (!text) {
    return std::unexpected(text.error());
  }
  const auto document = parseJSON(*text);
  if (!document) {
    return std::unexpected(failure(file, document.error()));
  }
  Reader reader(file.parent_path());
  reader.read(*document);
  if (reader.fault()) {
    return std::unexpected(failure(file, *reader.fault()));
  }
  return std::move(reader).result();
}

std::optional<Error> addDescribedAssets(LibraryWriter& library, Description description) {
  return library.transaction([&]() -> std::optional<Error> {
    for (std::size_t index = 0; index < description.assets.size(); ++index) {
      NewAsset& asset = description.assets[index];
      if (auto error = storeContents(library, asset, description.contents[index])) {
        return error;
      }
      if (auto row = library.addAsset(asset); !row) {
        return std::move(row.error());
      }
    }
    return std::nullopt;
  });
}

}  // namespace sim
