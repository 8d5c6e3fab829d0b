// tarn copy and tarn sync: objects of one catalogue brought into another. The
// source is only read, through a read-only opening; everything that can be
// checked (the arguments, the objects named, the renames) is checked before
// the destination is written, so that a refused command changes nothing.
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <pugixml.hpp>

#include "commands.h"
#include "common.h"
#include "describe.h"
#include "output_file.h"
#include "tarnlib/tarnlib.h"
#include "types.h"

namespace tarn {

namespace fs = std::filesystem;
using tarnlib::IdMapping;
using tarnlib::Library;
using tarnlib::ObjectKey;
using tarnlib::ObjectType;

namespace {

// Whether two command-line names are one file: the destination opened beside
// its own source would be written through one connection while read through
// another, and the library could not tell that it copies onto itself.
bool sameFile(const std::string& a, const std::string& b) {
  if (a == b) return true;
  std::error_code ec;
  return fs::equivalent(fs::u8path(a), fs::u8path(b), ec);
}

// The catalogue objects are brought from. A newer schema may hold fields this
// version does not know; their objects would arrive without them.
Catalogue openSource(const std::string& file) {
  Catalogue source = openNoted(file, Access::ReadOnly);
  if (source.schema() == Schema::Newer)
    throw Failure(file, "written by a newer version (schema " + std::to_string(source.library().version()) +
                            "), whose objects this one cannot copy whole; nothing changed");
  return source;
}

std::string quoted(const std::string& name) { return '"' + printable(name) + '"'; }

// ---- copy

using Names = std::map<ObjectKey, std::string>;

// "Material 12 "Brick"", the object under its own class.
std::string objectText(const ObjectKey& key, const Names& names) {
  std::string text = typeName(key.type) + ' ' + std::to_string(key.id);
  const auto name = names.find(key);
  if (name != names.end()) text += ' ' + quoted(name->second);
  return text;
}

std::string plural(std::size_t n, const std::string& word) {
  return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

void addCopy(CLI::App& app, Commands& commands) {
  struct Options {
    std::string source;
    std::string destination;
    std::string type;
    std::vector<std::string> ids;
    bool all = false;
    bool perObject = false;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand(
      "copy", "Copy objects of one type, with what they refer to, from one catalogue into another");
  cmd->add_option("SOURCE", o->source, "The catalogue to copy from; only read")->required();
  cmd->add_option("DEST", o->destination, "The catalogue to copy into")->required();
  cmd->add_option("TYPE", o->type, "Object type, e.g. Material or material (see tarn --help)")->required();
  cmd->add_option("ID", o->ids, "Ids in SOURCE of the objects to copy");
  cmd->add_flag("--all", o->all, "Copy every object of the type");
  cmd->add_flag("--per-object", o->perObject,
                "Leave out an object that cannot be copied and keep the others; by default such an object "
                "fails the command and nothing is kept");
  cmd->footer(
      "Each object is reported as added (with its id in DEST), reused (DEST already has it) or left out "
      "(with the reason), and so is each object it refers to that came along with it.");
  commands[cmd] = [o] {
    if (o->ids.empty() && !o->all) throw UsageError("copy: give the ids of the objects to copy, or --all");
    if (!o->ids.empty() && o->all) throw UsageError("--all: not with ids; copy either some objects or all");
    const TypeEntry& type = typeNamed(o->type);
    std::set<unsigned> ids;
    for (const std::string& id : o->ids) ids.insert(parseId(id));
    if (sameFile(o->source, o->destination))
      throw Failure(o->destination, "is the source itself; give another catalogue");

    Catalogue source = openSource(o->source);
    // The source's names, read now: the report names each object as the user
    // knows it, and an id the source lacks is refused before anything is written.
    Names names;
    onFile(o->source, [&] {
      const Library& library = source.library();
      if (o->all) {
        for (const Line& line : type.lines(library, Filter{}))
          names[ObjectKey(line.type, line.id)] = line.name;
        return;
      }
      for (unsigned id : ids) {
        const ObjectPtr object = type.get(library, id);
        if (!object)
          throw Failure(std::to_string(id), "no " + type.name + " with id " + std::to_string(id) + " in " +
                                                o->source + "; nothing copied");
        names[ObjectKey(object->tarnlibType(), id)] = nameOf(*object);
      }
    });

    Catalogue destination = openNoted(o->destination, Access::Write);
    Library& library = destination.library();
    const std::shared_ptr<const Library> from = source.shared();
    IdMapping mapping(&library);
    Library::CopyResults results;
    onFile(o->destination, [&] {
      try {
        type.copy(library, from, o->all ? nullptr : &ids, mapping,
                  o->perObject ? Library::kPerObject : Library::kOneTransaction, results);
      } catch (const tarnlib::LibraryReadOnly&) {
        throw;
      } catch (const tarnlib::RetryLimitExceeded&) {
        throw;
      } catch (const tarnlib::Exception& e) {
        throw Failure(o->destination, messageOf(e) + "; nothing copied" +
                                          (o->perObject ? "" : " (--per-object keeps the others)"));
      }
    });

    // What each object of the call became, then what came along with them:
    // the mapping holds every source object brought over, references included.
    std::string out;
    std::size_t added = 0, reused = 0, leftOut = 0;
    for (const auto& [key, result] : results) {
      out += objectText(key, names) + ": ";
      switch (result.code) {
        case Library::CopyResult::kAdded:
          ++added;
          out += "added as " + std::to_string(result.id);
          break;
        case Library::CopyResult::kReused:
          ++reused;
          out += "reused " + std::to_string(result.id);
          break;
        case Library::CopyResult::kLeftOut:
          ++leftOut;
          out += "left out: " + printable(utf8(result.reason));
          break;
      }
      out += '\n';
    }
    std::size_t referencedAdded = 0, referencedReused = 0;
    onFile(o->source, [&] {
      for (const auto& [entry, value] : mapping) {
        const ObjectKey key(static_cast<ObjectType>(entry.type), entry.id);
        if (entry.library != from.get() || results.count(key)) continue;
        const TypeEntry* referenced = typeOf(key.type);
        if (referenced)
          if (const ObjectPtr object = referenced->get(*from, key.id)) names[key] = nameOf(*object);
        const bool existing = value.result == 1;
        ++(existing ? referencedReused : referencedAdded);
        out += objectText(key, names) + ": " + (existing ? "reused " : "added as ") +
               std::to_string(value.id) + " (referenced)\n";
      }
    });
    out += std::to_string(added) + " added, " + std::to_string(reused) + " reused, " +
           std::to_string(leftOut) + " left out";
    if (referencedAdded + referencedReused > 0)
      out += "; " + plural(referencedAdded + referencedReused, "referenced object") + " (" +
             std::to_string(referencedAdded) + " added, " + std::to_string(referencedReused) + " reused)";
    std::cout << out << '\n';
  };
}

// ---- sync

// "OLD=NEW" of --rename, split at the first "=": a name may hold "=" only in
// its new form.
std::pair<std::string, std::string> parseRename(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0 || equals + 1 == text.size())
    throw UsageError("--rename: \"" + printable(text) + "\" is not OLD=NEW");
  return {text.substr(0, equals), text.substr(equals + 1)};
}

// Whether the catalogue has an object of the type named exactly `name`: LIKE
// with the name itself finds at least that name; its wildcards and case
// blindness are taken back out here.
bool hasNamed(const Library& library, const TypeEntry& type, const std::string& name) {
  Filter filter;
  filter.namePattern = name;
  for (const Line& line : type.lines(library, filter))
    if (line.name == name) return true;
  return false;
}

void addSync(CLI::App& app, Commands& commands) {
  struct Options {
    std::string source;
    std::string destination;
    std::vector<std::string> renames;
    std::vector<std::string> ids;
    std::string report;
    bool dryRun = false;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand(
      "sync",
      "Bring the materials and compositions of a catalogue up to date with those of another, by name");
  cmd->add_option("SOURCE", o->source, "The catalogue to take them from; only read")->required();
  cmd->add_option("DEST", o->destination, "The catalogue to bring up to date")->required();
  cmd->add_option("--rename", o->renames,
                  "Match the source's OLD with DEST's NEW, which must exist; repeat for several")
      ->type_name("OLD=NEW")
      ->allow_extra_args(false);
  cmd->add_option("--ids", o->ids, "Only the source's materials and compositions with these ids")
      ->type_name("ID...");
  cmd->add_option("--report", o->report, "Also write the objects synced as an XML document")
      ->type_name("FILE.xml");
  cmd->add_flag("--dry-run", o->dryRun, "Report what would be synced, and change nothing");
  cmd->footer(
      "A source object without a namesake in DEST is added; one whose namesake differs updates it in place. "
      "The objects synced are listed per type on stdout.");
  commands[cmd] = [o] {
    std::map<OdString, OdString> renames;
    std::vector<std::pair<std::string, std::string>> renameList;
    for (const std::string& text : o->renames) {
      const auto [from, to] = parseRename(text);
      const auto [at, inserted] = renames.emplace(wide(from), wide(to));
      if (!inserted && at->second != wide(to))
        throw UsageError("--rename: \"" + printable(from) + "\" is renamed twice, differently");
      renameList.emplace_back(from, to);
    }
    std::set<unsigned> ids;
    for (const std::string& id : o->ids) ids.insert(parseId(id));
    if (sameFile(o->source, o->destination))
      throw Failure(o->destination, "is the source itself; give another catalogue");
    std::unique_ptr<OutputFile> report;
    if (!o->report.empty()) {
      for (const std::string* file : {&o->source, &o->destination})
        if (sameFile(o->report, *file)) throw Failure(o->report, "is a catalogue; give another file");
      report = std::make_unique<OutputFile>(o->report);
    }

    const TypeEntry& material = typeNamed("Material");
    const TypeEntry& composition = typeNamed("Composition");
    Catalogue source = openSource(o->source);
    onFile(o->source, [&] {
      for (unsigned id : ids)
        if (!material.get(source.library(), id) && !composition.get(source.library(), id))
          throw Failure(std::to_string(id), "no Material or Composition with id " + std::to_string(id) +
                                                " in " + o->source + "; nothing changed");
    });

    // A dry run reads an older file through a migrated copy, like any reading
    // command, so that it changes nothing even by migrating.
    Catalogue destination = openNoted(o->destination, o->dryRun ? Access::Read : Access::Write);
    Library& library = destination.library();
    OdString text;
    pugi::xml_document document;
    pugi::xml_node root = document.append_child("sync");
    if (o->dryRun) root.append_attribute("dry-run") = true;
    onFile(o->destination, [&] {
      // A target missing here would leave its source object unmatched and
      // added under its old name: the rename would silently do nothing.
      for (const auto& [from, to] : renameList)
        if (!hasNamed(library, material, to) && !hasNamed(library, composition, to))
          throw Failure(o->destination, "no Material or Composition named " + quoted(to) + " to match " +
                                            quoted(from) + " with (--rename); nothing changed");
      // The dry run's sync writes as the real one does, inside a transaction
      // that is then taken back: what it reports is exactly what would change.
      tarnlib::Transaction transaction(destination.shared(), tarnlib::Transaction::kBeginCurrent);
      if (o->ids.empty())
        library.syncAll(source.shared(), renames, &text, &root);
      else
        library.sync(source.shared(), ids, renames, &text, &root);
      if (o->dryRun)
        transaction.rollback();
      else
        transaction.commit();
    });

    // The library's report line by line, each name made safe for a terminal.
    const std::string reported = utf8(text);
    std::string out;
    for (std::size_t start = 0; start <= reported.size();) {
      std::size_t end = reported.find('\n', start);
      if (end == std::string::npos) end = reported.size();
      out += printable(reported.substr(start, end - start));
      if (end < reported.size()) out += '\n';
      start = end + 1;
    }
    std::cout << out << std::flush;
    if (report) report->write(document);
    if (o->dryRun) std::cerr << "tarn: " << o->destination << ": dry run; nothing changed\n";
  };
}

}  // namespace

void addExchangeCommands(CLI::App& app, Commands& commands) {
  addCopy(app, commands);
  addSync(app, commands);
}

}  // namespace tarn
