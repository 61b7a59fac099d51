// photos-sim: makes, fills, changes and serves local libraries.
#include <CLI/CLI.hpp>
#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/serve.h"
#include "platform/local/library_writer.h"
#include "platform/local/local_platform.h"
#include "sim/access.h"
#include "sim/description.h"
#include "sim/existing_library.h"
#include "sim/import.h"
#include "sim/message.h"
#include "sim/new_library.h"
#include "sim/recently_deleted.h"
#include "sim/synthetic.h"

namespace {

namespace fs = std::filesystem;
using platform::local::LibraryWriter;
using sim::Error;

/// What the command line asks for.
using Command = std::function<std::optional<Error>()>;

CLI::App* addCommand(CLI::App& app, const char* name, const char* purpose, std::string& library) {
  CLI::App* const command = app.add_subcommand(name, purpose);
  command->add_option("LIBRARY", library, "The library's folder")->required();
  return command;
}

[[noreturn]] void serve(const fs::path& library) {
  if (const auto error = sim::checkLibraryIsThere(library)) {
    sim::say(error->localizedDescription + " (until then access is restricted)");
  }
  // Destroyed by exit(), which closes the library.
  static platform::local::LocalPlatform platform(library);
  app::serve(platform);
}

void addServe(CLI::App& app, Command& chosen) {
  const auto library = std::make_shared<std::string>();
  addCommand(app, "serve", "Serve the helper's protocol on a library", *library)
      ->callback([=, &chosen] { chosen = [=]() -> std::optional<Error> { serve(*library); }; });
}

struct CreateOptions {
  std::string library;
  std::optional<std::string> description;
  std::string synthetic;
};

std::optional<Error> create(const CreateOptions& options) {
  if (options.description) {
    auto description = sim::readDescription(*options.description);
    if (!description) {
      return std::move(description.error());
    }
    return sim::makeLibrary(options.library, description->settings, [&](LibraryWriter& library) {
      return sim::addDescribedAssets(library, std::move(*description));
    });
  }
  if (const auto count = sim::parseInteger(options.synthetic)) {
    return sim::makeLibrary(options.library, sim::syntheticSettings(), [&](LibraryWriter& library) {
      return sim::addSyntheticAssets(library, *count);
    });
  }
  return sim::makeLibrary(options.library, sim::defaultSettings(),
                          [](LibraryWriter&) { return std::optional<Error>(); });
}

std::string checkCount(const std::string& text) {
  return sim::parseInteger(text).value_or(-1) >= 0 ? "" : text + " is no number of assets";
}

void addCreate(CLI::App& app, Command& chosen) {
  const auto options = std::make_shared<CreateOptions>();
  CLI::App* const command =
      addCommand(app, "create", "Make a library where nothing is yet", options->library);
  CLI::Option* const from =
      command->add_option("--from", options->description, "Make what this JSON file describes")
          ->type_name("FILE");
  command->add_option("--synthetic", options->synthetic, "Make this many assets, for measuring")
      ->type_name("N")
      ->check(checkCount)
      ->excludes(from);
  command->callback([=, &chosen] { chosen = [=] { return create(*options); }; });
}

struct ImportOptions {
  std::string library;
  std::vector<std::string> folders;
};

void addImport(CLI::App& app, Command& chosen) {
  const auto options = std::make_shared<ImportOptions>();
  CLI::App* const command =
      addCommand(app, "import", "Add the photos and videos below folders", options->library);
  command->add_option("FOLDER", options->folders, "Folders, which are never changed")->required();
  command->callback([=, &chosen] {
    chosen = [=] {
      const std::vector<fs::path> folders(options->folders.begin(), options->folders.end());
      return sim::importFolders(options->library, folders);
    };
  });
}

struct AccessOptions {
  std::string library;
  std::string status;
  std::string promptAnswer;
};

std::string checkStatus(const std::string& text) {
  return sim::parseStatus(text)
             ? ""
             : text +
                   " is no status; give a number, or one of not-determined, restricted, "
                   "denied, authorized, limited";
}

void addAccess(CLI::App& app, Command& chosen) {
  const auto options = std::make_shared<AccessOptions>();
  CLI::App* const command =
      addCommand(app, "access", "Print or set the access status", options->library);
  command->add_option("STATUS", options->status, "The status to set, as a number or a name")
      ->check(checkStatus);
  command->add_option("--prompt-answer", options->promptAnswer, "What the next prompt answers")
      ->type_name("STATUS")
      ->check(checkStatus);
  command->callback([=, &chosen] {
    chosen = [=] {
      const auto status = sim::parseStatus(options->status);
      const auto promptAnswer = sim::parseStatus(options->promptAnswer);
      return status || promptAnswer ? sim::setAccess(options->library, status, promptAnswer)
                                    : sim::printAccess(options->library);
    };
  });
}

struct RecentlyDeletedOptions {
  std::string library;
  std::vector<std::string> restored;
};

void addRecentlyDeleted(CLI::App& app, Command& chosen) {
  const auto options = std::make_shared<RecentlyDeletedOptions>();
  CLI::App* const command = addCommand(
      app, "recently-deleted", "List what reclaim has moved, or put it back", options->library);
  command->add_option("--restore", options->restored, "Put the assets of these identifiers back")
      ->type_name("ID");
  command->callback([=, &chosen] {
    chosen = [=] {
      return options->restored.empty() ? sim::printRecentlyDeleted(options->library)
                                       : sim::restore(options->library, options->restored);
    };
  });
}

constexpr std::array commands{addServe, addCreate, addImport, addAccess, addRecentlyDeleted};

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Makes, fills, changes and serves local photo libraries.", "photos-sim");
  app.require_subcommand(1);
  Command chosen;
  for (auto* const add : commands) {
    add(app, chosen);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& asked) {
    return app.exit(asked);
  } catch (const CLI::ParseError& wrong) {
    sim::say(std::string(wrong.what()) + "; see photos-sim --help");
    return 2;
  }
  if (const auto error = chosen()) {
    sim::say(error->localizedDescription);
    return 1;
  }
  return 0;
}
