// Commands about a catalogue file as a whole: create, info, meta, vacuum, upgrade.
#include <unistd.h>

#include <iostream>
#include <memory>

#include "commands.h"
#include "common.h"
#include "describe.h"
#include "types.h"

namespace tarn {

using tarnlib::Library;
using tarnlib::LibraryUnit;

Catalogue openNoted(const std::string& file, Access access) {
  Catalogue catalogue = openCatalogue(file, access);
  if (catalogue.schema() == Schema::Older) {
    std::string version = std::to_string(catalogue.library().version());
    if (catalogue.isCopy())
      std::cerr << "tarn: " << file << ": older schema, read through a copy migrated to version " << version
                << "; the file is unchanged (tarn upgrade migrates it)\n";
    else
      std::cerr << "tarn: " << file << ": migrated to schema version " << version << '\n';
  }
  return catalogue;
}

void onFile(const std::string& file, const std::function<void()>& work) {
  try {
    work();
  } catch (const tarnlib::LibraryReadOnly&) {
    throw Failure(file, "the file is read-only; nothing changed");
  } catch (const tarnlib::RetryLimitExceeded&) {
    // The library gives up on a file another process keeps locked.
    throw busy(file);
  } catch (const tarnlib::Exception& e) {
    throw Failure(file, messageOf(e));
  }
}

namespace {

void addCreate(CLI::App& app, Commands& commands) {
  struct Options {
    std::string file;
    std::string unit = "mm";
    std::string guid;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand("create", "Create an empty catalogue");
  cmd->add_option("FILE", o->file, "The new file (or memvfs://NAME)")->required();
  cmd->add_option("--unit", o->unit, "Length unit of the catalogue, fixed for its life")
      ->type_name("mm|in")
      ->check(CLI::IsMember({"mm", "in"}))
      ->capture_default_str();
  cmd->add_option("--guid", o->guid,
                  "The catalogue's GUID: a UUID as it is, other text its name-based GUID; random if omitted");
  commands[cmd] = [o] {
    LibraryUnit unit = o->unit == "in" ? LibraryUnit::Inch : LibraryUnit::Millimeter;
    Catalogue catalogue = createCatalogue(o->file, unit, o->guid);
    const Library& library = catalogue.library();
    std::cout << "created " << o->file << ": unit " << unitName(library.unit()) << ", GUID "
              << utf8(library.guid()) << ", schema version " << library.version() << '\n';
    if (o->file.find("://") != std::string::npos)
      std::cout << "It lives in memory and is gone now that tarn ends.\n";
  };
}

void addInfo(CLI::App& app, Commands& commands) {
  struct Options {
    std::string file;
    bool json = false;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd =
      app.add_subcommand("info", "Show a catalogue's metadata and how many objects of each type it holds");
  cmd->add_option("FILE", o->file, "The catalogue")->required();
  cmd->add_flag("--json", o->json, "Write JSON");
  commands[cmd] = [o] {
    Catalogue catalogue = openNoted(o->file, Access::Read);
    onFile(o->file, [&] {
      const Library& library = catalogue.library();
      Json info;
      info["file"] = o->file;
      info["guid"] = utf8(library.guid());
      info["unit"] = unitName(library.unit());
      info["locale"] = utf8(library.locale());
      info["region"] = utf8(library.region());
      info["schema_version"] = library.version();
      info["schema"] = catalogue.schema() == Schema::Older   ? "older"
                       : catalogue.schema() == Schema::Newer ? "newer"
                                                             : "current";
      // A migrated copy in memory is always writable; what matters is the file.
      info["read_only"] = catalogue.isCopy() ? ::access(o->file.c_str(), W_OK) != 0 : library.isReadOnly();
      // Each object counted once, under its own class.
      Filter ownClass;
      ownClass.ownClassOnly = true;
      Json counts = Json::object();
      for (const TypeEntry& type : typeTable())
        if (type.kinds.empty()) counts[type.name] = type.count(library, ownClass);
      info["objects"] = counts;
      if (o->json)
        std::cout << info.dump(2) << '\n';
      else
        printFields(std::cout, info);
    });
  };
}

void addMeta(CLI::App& app, Commands& commands) {
  struct Options {
    std::string file;
    std::string locale;
    std::string region;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand("meta", "Show or set a catalogue's locale and region");
  cmd->add_option("FILE", o->file, "The catalogue")->required();
  CLI::Option* locale =
      cmd->add_option("--locale", o->locale, "Set the locale tag of its texts (\"\" clears)")
          ->type_name("TAG");
  CLI::Option* region =
      cmd->add_option("--region", o->region, "Set its region tag (\"\" clears)")->type_name("TAG");
  commands[cmd] = [o, locale, region] {
    bool change = locale->count() > 0 || region->count() > 0;
    Catalogue catalogue = openNoted(o->file, change ? Access::Write : Access::Read);
    onFile(o->file, [&] {
      Library& library = catalogue.library();
      if (locale->count() > 0) library.locale(wide(o->locale));
      if (region->count() > 0) library.region(wide(o->region));
      Json meta;
      meta["locale"] = utf8(library.locale());
      meta["region"] = utf8(library.region());
      printFields(std::cout, meta);
    });
  };
}

std::string sizeText(const std::optional<std::uint64_t>& size) {
  return size ? std::to_string(*size) + " bytes" : std::string("size unknown");
}

void addVacuum(CLI::App& app, Commands& commands) {
  auto file = std::make_shared<std::string>();
  CLI::App* cmd = app.add_subcommand("vacuum", "Compact a catalogue file");
  cmd->add_option("FILE", *file, "The catalogue")->required();
  commands[cmd] = [file] {
    auto before = fileSize(*file);
    {
      Catalogue catalogue = openNoted(*file, Access::Write);
      onFile(*file, [&] {
        if (catalogue.library().vacuum()) return;
        // SQLite compacts a file only when no other connection has it open.
        if (heldByOthers(*file, 0, true))
          throw Failure(*file,
                        "busy: another process has it open, and compacting needs it alone; try again when "
                        "it is done");
        throw Failure(*file, "could not be compacted");
      });
    }
    std::cout << "compacted " << *file << ": " << sizeText(before) << " -> " << sizeText(fileSize(*file))
              << '\n';
  };
}

void addUpgrade(CLI::App& app, Commands& commands) {
  auto file = std::make_shared<std::string>();
  CLI::App* cmd = app.add_subcommand(
      "upgrade", "Migrate a catalogue written by an older version to the current schema, in place");
  cmd->add_option("FILE", *file, "The catalogue")->required();
  commands[cmd] = [file] {
    Schema schema;
    std::uint64_t version;
    {
      // Looked at first, so that a current file is reported as such even when
      // it may not be written.
      Catalogue look = openCatalogue(*file, Access::Read);
      schema = look.schema();
      version = look.library().version();
    }
    if (schema == Schema::Current) {
      std::cout << *file << ": already at schema version " << version << "; nothing to do\n";
    } else if (schema == Schema::Newer) {
      std::cout << *file << ": written by a newer version (schema " << version
                << "), which this one reads as it is; nothing to do\n";
    } else {
      Catalogue catalogue = openCatalogue(*file, Access::Write);
      const std::uint64_t from = catalogue.library().openedVersion();
      std::cout << *file << ": migrated from "
                << (from == 0 ? std::string("a legacy layout") : "schema version " + std::to_string(from))
                << " to version " << catalogue.library().version() << '\n';
    }
  };
}

}  // namespace

void addFileCommands(CLI::App& app, Commands& commands) {
  addCreate(app, commands);
  addInfo(app, commands);
  addMeta(app, commands);
  addVacuum(app, commands);
  addUpgrade(app, commands);
}

}  // namespace tarn
