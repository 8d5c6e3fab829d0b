// tarn: create, inspect and repair tarnlib catalogue files from the command line.
//
// Exit status: 0 success, 1 a usage error (the command line could not be
// understood), 2 the command failed; a failure is one line on stderr,
// "tarn: SUBJECT: REASON", naming the file or argument at fault.
#include <exception>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "catalogue_file.h"
#include "commands.h"
#include "common.h"
#include "types.h"

namespace {

constexpr int kUsage = 1;
constexpr int kFailed = 2;

int usageError(const std::string& message) {
  std::cerr << "tarn: " << message << "\nRun 'tarn --help' or 'tarn help SUBCOMMAND' for usage.\n";
  return kUsage;
}

// The application's own help: App::help() would describe the subcommand that
// was parsed instead, and "help" is one.
std::string mainHelp(const CLI::App& app) {
  return app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal);
}

int failed(const std::string& message) {
  std::cerr << "tarn: " << message << '\n';
  return kFailed;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"tarn: create, inspect and repair tarnlib catalogue files.", "tarn"};
  app.set_version_flag("--version", std::string("tarn ") + TARNLIB_VERSION_STRING);
  app.require_subcommand(0, 1);
  // Global options may also follow the subcommand's name.
  app.fallthrough();
  bool readOnly = false;
  app.add_flag("--read-only", readOnly, "Open every file read-only, so that no command changes anything");
  app.footer("TYPE names (any case): " + tarn::typeNames() +
             ".\nFILE may be memvfs://NAME, a catalogue in memory for the life of the command"
             " (useful with create and demo).\nExit status: 0 done, 1 usage error, 2 failed.");

  tarn::Commands commands;
  tarn::addFileCommands(app, commands);
  tarn::addObjectCommands(app, commands);
  tarn::addUnitsCommand(app, commands);
  tarn::addXmlCommands(app, commands);
  tarn::addExchangeCommands(app, commands);
  tarn::addDemoCommand(app, commands);
  tarn::addPictureCommands(app, commands);

  std::string topic;
  CLI::App* help = app.add_subcommand("help", "Show the help of tarn or of one subcommand");
  help->add_option("SUBCOMMAND", topic, "The subcommand to explain");

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    return usageError(e.what());
  }

  try {
    tarn::setReadOnly(readOnly);
    if (help->parsed()) {
      if (topic.empty()) {
        std::cout << mainHelp(app);
        return 0;
      }
      CLI::App* sub = nullptr;
      try {
        sub = app.get_subcommand(topic);
      } catch (const CLI::OptionNotFound&) {
        return usageError("help: no subcommand \"" + topic + "\"");
      }
      std::cout << sub->help("tarn");
      return 0;
    }
    for (const auto& [sub, run] : commands) {
      if (sub->parsed()) {
        run();
        return 0;
      }
    }
    std::cout << mainHelp(app);
    return 0;
  } catch (const tarn::UsageError& e) {
    return usageError(e.what());
  } catch (const tarn::Diagnosed& e) {
    std::cerr << e.what() << '\n';
    return kFailed;
  } catch (const tarn::Failure& e) {
    return failed(e.what());
  } catch (const tarnlib::Exception& e) {
    return failed(tarn::messageOf(e));
  } catch (const std::exception& e) {
    return failed(e.what());
  }
}
