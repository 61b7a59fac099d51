// photos-sim: makes, fills, changes and serves local libraries, judges helpers and reviews hosts.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "app/process.h"
#include "app/serve.h"
#include "platform/local/destination.h"
#include "platform/local/local_platform.h"
#include "sim/description.h"
#include "sim/existing_library.h"
#include "sim/import.h"
#include "sim/message.h"
#include "sim/new_library.h"
#include "sim/play.h"
#include "sim/recorder.h"
#include "sim/review.h"
#include "sim/synthetic.h"
#include "sim/words.h"

namespace {

namespace fs = std::filesystem;
using platform::local::DestinationGuard;
using sim::Result;

/// The words of the command line.
struct Words {
  std::string library;
  std::optional<std::string> description;
  std::string synthetic;
  std::string bytesPerResource = "65536";
  std::vector<std::string> folders;
  std::string status;
  std::string promptAnswer;
  std::string network;
  std::vector<std::string> restored;
  std::optional<std::string> record;
  sim::Play play;
};

Result serveLibrary(const Words& words) {
  if (const Result there = sim::checkLibraryIsThere(words.library); !there) {
    sim::say(there.error().localizedDescription + " (until then access is restricted)");
  }
  // Destroyed by exit(), as is the platform, which closes the library.
  static std::unique_ptr<sim::Recorder> recorder;
  if (words.record) {
    auto opened = sim::Recorder::open(*words.record, words.library);
    if (!opened) {
      return std::unexpected(opened.error());
    }
    recorder = std::move(*opened);
  }
  static platform::local::LocalPlatform platform(words.library);
  try {
    app::serve(platform, recorder.get());
  } catch (const std::exception& exception) {
    return std::unexpected(sim::Error{std::string("serving can't begin: ") + exception.what()});
  }
}

Result reviewRecord(const Words& words) {
  return sim::reviewRecord(words.library, words.record.value_or(""));
}

Result createLibrary(const Words& words) {
  if (words.description) {
    const auto description = sim::readDescription(*words.description);
    return description ? sim::makeDescribedLibrary(words.library, *description, *words.description)
                       : std::unexpected(description.error());
  }
  if (const auto count = sim::parseCount(words.synthetic)) {
    return sim::makeSyntheticLibrary(words.library, *count,
                                     *sim::parseCount(words.bytesPerResource));
  }
  return sim::makeLibrary(words.library, sim::defaultSettings(),
                          [](auto&, auto&) { return Result(); });
}

Result importFolders(const Words& words) {
  const std::vector<fs::path> folders(words.folders.begin(), words.folders.end());
  return sim::importFolders(words.library, folders);
}

Result accessStatus(const Words& words) {
  const auto status = sim::parseStatus(words.status);
  const auto promptAnswer = sim::parseStatus(words.promptAnswer);
  return status || promptAnswer ? sim::setAccess(words.library, status, promptAnswer)
                                : sim::printAccess(words.library);
}

Result networkReachability(const Words& words) {
  return words.network.empty() ? sim::printNetwork(words.library)
                               : sim::setNetwork(words.library, words.network == "reachable");
}

Result recentlyDeleted(const Words& words) {
  return words.restored.empty() ? sim::printRecentlyDeleted(words.library)
                                : sim::restore(words.library, words.restored);
}

std::string checkCount(const std::string& text) {
  return sim::parseCount(text) ? "" : text + " is no number of assets";
}

std::string checkSize(const std::string& text) {
  const auto size = sim::parseCount(text);
  return size && *size <= sim::mostBytesPerResource ? ""
                                                    : text + " is no number of bytes from 0 to " +
                                                          std::to_string(sim::mostBytesPerResource);
}

std::string checkStatus(const std::string& text) {
  constexpr const char* problem =
      " is no status; give a number from 0 on, or one of not-determined, restricted, denied, "
      "authorized, limited";
  return sim::parseStatus(text) ? "" : text + problem;
}

/// Declares all commands; the one that is called becomes `chosen`.
void declare(CLI::App& app, Words& words, std::function<Result()>& chosen) {
  const auto command = [&](const char* name, const char* purpose,
                           Result (*run)(const Words&)) -> CLI::App& {
    CLI::App& declared = *app.add_subcommand(name, purpose);
    declared.add_option("LIBRARY", words.library, "The library's folder")->required();
    declared.callback([&, run] { chosen = [&words, run] { return run(words); }; });
    return declared;
  };
  CLI::App& serve = command("serve", "Serve the helper's protocol on a library", serveLibrary);
  serve.add_option("--record", words.record, "Append each request and each answer to this file")
      ->type_name("FILE");
  serve.parse_complete_callback([&words] {
    if (words.record && DestinationGuard(words.library).leadsInto(*words.record)) {
      throw CLI::ValidationError("--record", *words.record + " is in the library's folder");
    }
  });

  CLI::App& play = *app.add_subcommand(
      "play", "Play transcripts against a helper, and tell where its answers differ");
  play.callback([&] { chosen = [&words] { return sim::playTranscripts(words.play); }; });
  play.footer(
      "A helper to judge is given behind all that: ... -- COMMAND ARG...\n"
      "{library} in it stands for the path of a session's library. Without one, photos-sim "
      "serves.\n"
      "It runs in a folder of the session's own: name files in ARG by absolute paths.");
  play.add_option("TRANSCRIPT", words.play.transcripts, "Transcripts to play")->required();
  play.add_flag("--show", words.play.shows, "Print each request with its answer");
  play.add_option("--seconds", words.play.seconds, "How long an answer may take")
      ->type_name("N")
      ->capture_default_str()
      ->check(CLI::Range(1, 86400));

  command("review", "Tell what a careful host would not have done", reviewRecord)
      .add_option("RECORD", words.record, "What serve --record has written")
      ->required();

  CLI::App& create = command("create", "Make a library where nothing is yet", createLibrary);
  CLI::Option* const from =
      create.add_option("--from", words.description, "Make what this JSON file describes")
          ->type_name("FILE");
  CLI::Option* const synthetic =
      create.add_option("--synthetic", words.synthetic, "Make this many assets, for measuring")
          ->type_name("N")
          ->check(checkCount)
          ->excludes(from);
  create
      .add_option("--bytes-per-resource", words.bytesPerResource,
                  "How long their resources are on average, 65536 if not given")
      ->type_name("B")
      ->check(checkSize)
      ->needs(synthetic);

  command("import", "Add the photos and videos below folders", importFolders)
      .add_option("FOLDER", words.folders, "Folders, which are never changed")
      ->required();

  CLI::App& access = command("access", "Print or set the access status", accessStatus);
  access.add_option("STATUS", words.status, "The status to set, as a number or a name")
      ->check(checkStatus);
  access.add_option("--prompt-answer", words.promptAnswer, "What the next prompt answers")
      ->type_name("STATUS")
      ->check(checkStatus);

  command("network", "Print or set whether the cloud can be reached", networkReachability)
      .add_option("STATE", words.network, "reachable or unreachable")
      ->check(CLI::IsMember({"reachable", "unreachable"}));

  command("recently-deleted", "List what reclaim has moved, or put it back", recentlyDeleted)
      .add_option("--restore", words.restored, "Put the assets of these identifiers back")
      ->type_name("ID");
}

int run(int argc, char** argv) {
  CLI::App app("Makes, fills, changes and serves local photo libraries.", "photos-sim");
  app.require_subcommand(1);
  app.set_version_flag("--version", "photos-sim " PROJECT_VERSION, "Print the version and exit");
  Words words;
  std::function<Result()> chosen;
  declare(app, words, chosen);
  words.play.command = {argv[0], "serve", "{library}"};
  if (argc > 1 && argv[1] == std::string_view("play")) {
    char** const end = std::find(argv, argv + argc, std::string_view("--"));
    if (argv + argc - end > 1) {
      words.play.command.assign(end + 1, argv + argc);
    }
    argc = static_cast<int>(end - argv);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& asked) {
    static_cast<void>(app.exit(asked));
    chosen = sim::flushOutput;
  } catch (const CLI::ParseError& wrong) {
    const auto called = app.get_subcommands();
    const auto unknown = called.empty() ? app.remaining() : std::vector<std::string>();
    const std::string problem =
        unknown.empty() ? wrong.what() : "A subcommand is required, not " + unknown.front();
    const std::string command = called.empty() ? "" : called.front()->get_name() + " ";
    sim::say(problem + "; see photos-sim " + command + "--help");
    return 2;
  }
  if (const Result done = chosen(); !done) {
    sim::say(done.error().localizedDescription);
    return 1;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  app::setUpProcess();
  try {
    return run(argc, argv);
  } catch (const std::bad_alloc&) {
    sim::say("there is not enough memory; make some free and try again");
  } catch (const std::exception& exception) {
    sim::say(exception.what());
  }
  return 1;
}
