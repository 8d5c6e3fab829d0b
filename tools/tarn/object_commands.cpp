// Commands about the objects of a catalogue: list, count, show, remove, purge.
#include <algorithm>
#include <iostream>
#include <memory>
#include <set>
#include <vector>

#include "commands.h"
#include "common.h"
#include "describe.h"
#include "types.h"

namespace tarn {

using tarnlib::Library;
using tarnlib::ObjectKey;
using tarnlib::ObjectType;

namespace {

const char* const kTypeHelp = "Object type, e.g. Material or material (see tarn --help)";

struct Selection {
  std::string file;
  std::string type;
  std::string pattern;
  std::vector<std::string> tags;
  std::string series;
  std::string standard;
};

void addSelectionOptions(CLI::App* cmd, Selection& s) {
  cmd->add_option("FILE", s.file, "The catalogue")->required();
  cmd->add_option("TYPE", s.type, kTypeHelp)->required();
  cmd->add_option(
         "--name", s.pattern,
         "Names (a profile's size text) like PATTERN: % any text, _ one character, ASCII case ignored")
      ->type_name("PATTERN");
  cmd->add_option("--tag", s.tags, "Carrying this tag; repeat for any of several")
      ->type_name("NAME")
      ->allow_extra_args(false);
  cmd->add_option("--series", s.series, "Profiles of a series named like PATTERN")->type_name("PATTERN");
  cmd->add_option("--standard", s.standard, "Profiles and series of a standard named like PATTERN")
      ->type_name("PATTERN");
}

Filter filterOf(const Selection& s, const TypeEntry& type) {
  if (!s.tags.empty() && !type.tagged) throw UsageError("--tag: " + type.name + " objects carry no tags");
  if (!s.series.empty() && !type.bySeries)
    throw UsageError("--series: " + type.name + " objects belong to no series");
  if (!s.standard.empty() && !type.byStandard)
    throw UsageError("--standard: " + type.name + " objects belong to no standard");
  Filter filter;
  filter.namePattern = s.pattern;
  filter.tags.insert(s.tags.begin(), s.tags.end());
  filter.seriesPattern = s.series;
  filter.standardPattern = s.standard;
  return filter;
}

void addList(CLI::App& app, Commands& commands) {
  struct Options : Selection {
    bool json = false;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd =
      app.add_subcommand("list", "List the objects of one type: id and name, or full records with --json");
  addSelectionOptions(cmd, *o);
  cmd->add_flag("--json", o->json, "Write every record as a JSON array");
  commands[cmd] = [o] {
    const TypeEntry& type = typeNamed(o->type);
    Filter filter = filterOf(*o, type);
    Catalogue catalogue = openNoted(o->file, Access::Read);
    onFile(o->file, [&] {
      if (o->json) {
        Json records = Json::array();
        for (const ObjectPtr& object : type.list(catalogue.library(), filter))
          records.push_back(describe(*object));
        std::cout << records.dump(2) << '\n';
        return;
      }
      const std::vector<Line> lines = type.lines(catalogue.library(), filter);
      std::size_t width = 1;
      for (const Line& line : lines) width = std::max(width, std::to_string(line.id).size());
      std::string out;
      for (const Line& line : lines) {
        std::string id = std::to_string(line.id);
        out += std::string(width - id.size(), ' ') + id + "  " + printable(line.name);
        // Listed through a root or a base class: say which kind each one is.
        if (line.type != type.type) out += "  (" + typeName(line.type) + ')';
        out += '\n';
      }
      std::cout << out;
    });
  };
}

void addCount(CLI::App& app, Commands& commands) {
  auto o = std::make_shared<Selection>();
  CLI::App* cmd = app.add_subcommand("count", "Count the objects of one type, with the selection of list");
  addSelectionOptions(cmd, *o);
  commands[cmd] = [o] {
    const TypeEntry& type = typeNamed(o->type);
    Filter filter = filterOf(*o, type);
    Catalogue catalogue = openNoted(o->file, Access::Read);
    onFile(o->file, [&] { std::cout << type.count(catalogue.library(), filter) << '\n'; });
  };
}

void addShow(CLI::App& app, Commands& commands) {
  struct Options {
    std::string file;
    std::string type;
    std::string key;
    bool json = false;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand("show", "Show every field of one object, references by name");
  cmd->add_option("FILE", o->file, "The catalogue")->required();
  cmd->add_option("TYPE", o->type, kTypeHelp)->required();
  cmd->add_option("ID|NAME", o->key, "The object's id, or its exact name (a profile's size text)")
      ->required();
  cmd->add_flag("--json", o->json, "Write the record as JSON");
  commands[cmd] = [o] {
    const TypeEntry& type = typeNamed(o->type);
    if (o->key.empty()) throw Failure("\"\"", "an empty name names no object");
    Catalogue catalogue = openNoted(o->file, Access::Read);
    onFile(o->file, [&] {
      Json record = describe(*findObject(catalogue.library(), type, o->file, o->key));
      if (o->json)
        std::cout << record.dump(2) << '\n';
      else
        printRecord(std::cout, record);
    });
  };
}

// ---- Removal and purge report each object's outcome.

const char* outcomeName(const Library::RemoveResult& result) {
  switch (result.code) {
    case Library::RemoveResult::kRemoved:
      return "removed";
    case Library::RemoveResult::kVetoed:
      return "vetoed";
    case Library::RemoveResult::kReferenced:
      return "referenced";
    case Library::RemoveResult::kNotFound:
      return "not_found";
  }
  return "unknown";
}

const char* outcomeText(const Library::RemoveResult& result) {
  switch (result.code) {
    case Library::RemoveResult::kRemoved:
      return "removed";
    case Library::RemoveResult::kVetoed:
      return "kept, the host refused";
    case Library::RemoveResult::kReferenced:
      return "kept, still referenced";
    case Library::RemoveResult::kNotFound:
      return "not found";
  }
  return "unknown outcome";
}

using Names = std::map<ObjectKey, std::string>;

// Names are read before removing, since removed objects cannot tell them after.
void collectNames(const Library& library, const TypeEntry& type, Names& names) {
  for (const Line& line : type.lines(library, Filter{})) names[ObjectKey(type.type, line.id)] = line.name;
}

void report(const Library::RemoveResults& results, const Names& names, bool json) {
  if (json) {
    Json out = Json::array();
    for (const auto& [key, result] : results) {
      Json line;
      line["class"] = typeName(key.type);
      line["id"] = key.id;
      auto name = names.find(key);
      line["name"] = name != names.end() ? Json(name->second) : Json(nullptr);
      line["outcome"] = outcomeName(result);
      out.push_back(line);
    }
    std::cout << out.dump(2) << '\n';
    return;
  }
  std::size_t removed = 0;
  for (const auto& [key, result] : results) {
    if (result.code == Library::RemoveResult::kRemoved) ++removed;
    std::cout << typeName(key.type) << ' ' << key.id;
    auto name = names.find(key);
    if (name != names.end()) std::cout << " \"" << printable(name->second) << '"';
    std::cout << ": " << outcomeText(result) << '\n';
  }
  std::cout << removed << " removed, " << results.size() - removed << " not\n";
}

void addRemove(CLI::App& app, Commands& commands) {
  struct Options {
    std::string file;
    std::string type;
    std::vector<std::string> ids;
    bool json = false;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand("remove", "Remove objects by id; one still referenced stays");
  cmd->add_option("FILE", o->file, "The catalogue")->required();
  cmd->add_option("TYPE", o->type, kTypeHelp)->required();
  cmd->add_option("ID", o->ids, "Ids of the objects to remove")->required();
  cmd->add_flag("--json", o->json, "Write the outcomes as JSON");
  commands[cmd] = [o] {
    const TypeEntry& type = typeNamed(o->type);
    std::set<std::uint32_t> ids;
    for (const std::string& id : o->ids) ids.insert(parseId(id));
    Catalogue catalogue = openNoted(o->file, Access::Write);
    onFile(o->file, [&] {
      Library& library = catalogue.library();
      Names names;
      for (std::uint32_t id : ids)
        if (ObjectPtr object = type.get(library, id)) names[ObjectKey(type.type, id)] = nameOf(*object);
      Library::RemoveResults results;
      type.remove(library, ids, results);
      report(results, names, o->json);
    });
  };
}

void addPurge(CLI::App& app, Commands& commands) {
  struct Options {
    std::string file;
    std::vector<std::string> types;
    bool json = false;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand(
      "purge",
      "Remove every object of the given types (all types if none) that nothing refers to, then compact");
  cmd->add_option("FILE", o->file, "The catalogue")->required();
  cmd->add_option("TYPE", o->types, "Object types to purge");
  cmd->add_flag("--json", o->json, "Write the outcomes as JSON");
  commands[cmd] = [o] {
    std::set<ObjectType> chosen;
    for (const std::string& name : o->types) {
      const TypeEntry& type = typeNamed(name);
      if (type.kinds.empty())
        chosen.insert(type.type);
      else
        chosen.insert(type.kinds.begin(), type.kinds.end());
    }
    Catalogue catalogue = openNoted(o->file, Access::Write);
    onFile(o->file, [&] {
      Library& library = catalogue.library();
      Names names;
      for (const TypeEntry& type : typeTable())
        if (type.kinds.empty() && (chosen.empty() || chosen.count(type.type)))
          collectNames(library, type, names);
      Library::RemoveResults results;
      if (chosen.empty())
        library.purge(results);
      else
        library.purge(chosen, results);
      report(results, names, o->json);
    });
  };
}

}  // namespace

ObjectPtr findObject(const Library& library, const TypeEntry& type, const std::string& file,
                     const std::string& key) {
  if (allDigits(key)) {
    try {
      if (ObjectPtr object = type.get(library, parseId(key))) return object;
    } catch (const Failure&) {
      // Not a possible id ("0", too large): it can still be a name.
    }
  }
  // LIKE with the name itself finds at least the exact name; the wildcards and
  // the case blindness of LIKE are taken back out here.
  Filter filter;
  filter.namePattern = key;
  std::vector<ObjectPtr> named;
  for (ObjectPtr& object : type.list(library, filter))
    if (nameOf(*object) == key) named.push_back(std::move(object));
  if (named.empty())
    throw Failure(
        key, "no " + type.name + " with that " + (allDigits(key) ? "id or name" : "name") + " in " + file);
  if (named.size() > 1) {
    std::string ids;
    for (const ObjectPtr& object : named) ids += (ids.empty() ? "" : ", ") + std::to_string(object->id());
    throw Failure(key, std::to_string(named.size()) + " " + type.name + " objects have that name (ids " +
                           ids + "); give an id");
  }
  return named.front();
}

void addObjectCommands(CLI::App& app, Commands& commands) {
  addList(app, commands);
  addCount(app, commands);
  addShow(app, commands);
  addRemove(app, commands);
  addPurge(app, commands);
}

}  // namespace tarn
