// The subcommands of tarn, in groups. Each group adds its subcommands to the
// application and records what runs when parsing selects one; nothing runs
// while the command line is parsed, so that every parse error is a usage error.
#ifndef TARN_COMMANDS_H_
#define TARN_COMMANDS_H_

#include <functional>
#include <map>
#include <string>

#include <CLI/CLI.hpp>

#include "catalogue_file.h"
#include "types.h"

namespace tarn {

using Commands = std::map<const CLI::App*, std::function<void()>>;

// create, info, meta, vacuum, upgrade
void addFileCommands(CLI::App& app, Commands& commands);
// list, count, show, remove, purge
void addObjectCommands(CLI::App& app, Commands& commands);
// export, import
void addXmlCommands(CLI::App& app, Commands& commands);
// copy, sync
void addExchangeCommands(CLI::App& app, Commands& commands);
// demo
void addDemoCommand(CLI::App& app, Commands& commands);
// units
void addUnitsCommand(CLI::App& app, Commands& commands);
// draw, report
void addPictureCommands(CLI::App& app, Commands& commands);

// openCatalogue, telling the user on stderr when an older file is migrated or
// read through a migrated copy.
Catalogue openNoted(const std::string& file, Access access);

// The object of `type` that a command-line argument names: digits are tried as
// an id first, then as an exact name (a profile's size text). Throws Failure
// naming `key` when none or several objects have that name.
ObjectPtr findObject(const tarnlib::Library& library, const TypeEntry& type, const std::string& file,
                     const std::string& key);

// Runs `work`, turning the library's exceptions into Failures naming `file`.
void onFile(const std::string& file, const std::function<void()>& work);

}  // namespace tarn

#endif  // TARN_COMMANDS_H_
