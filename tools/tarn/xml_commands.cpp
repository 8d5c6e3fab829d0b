// tarn export and tarn import: a catalogue, some of its types or some of its
// objects written as an XML document, and such a document read into a catalogue.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <pugixml.hpp>

#include "commands.h"
#include "common.h"
#include "output_file.h"
#include "progress_bar.h"
#include "tarnlib/tarnlib.h"
#include "types.h"
#include "xml_source.h"

namespace tarn {

namespace fs = std::filesystem;
using tarnlib::Library;
using tarnlib::ObjectKey;
using tarnlib::ObjectType;

namespace {

// The types --type names, each with the types derived from it (the library
// takes those in too; listing them keeps that plain).
std::set<ObjectType> typesNamed(const std::vector<std::string>& names) {
  std::set<ObjectType> types;
  for (const std::string& name : names) {
    const TypeEntry& entry = typeNamed(name);
    types.insert(entry.type);
    types.insert(entry.kinds.begin(), entry.kinds.end());
  }
  return types;
}

// ---- export

struct ObjectArgument {
  std::string text;  // as given, to name it in a failure
  const TypeEntry* type;
  std::uint32_t id;
};

ObjectArgument parseObject(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string::npos) throw Failure(text, "not TYPE:ID (for instance Material:12)");
  return ObjectArgument{text, &typeNamed(text.substr(0, colon)), parseId(text.substr(colon + 1))};
}

void addExport(CLI::App& app, Commands& commands) {
  struct Options {
    std::string file;
    std::string out = "-";
    std::vector<std::string> types;
    std::vector<std::string> objects;
    bool byName = false;
    bool keepEmpty = false;
    bool noMeta = false;
    bool guid = false;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand("export", "Write a catalogue, some of its types or some objects as XML");
  cmd->add_option("FILE", o->file, "The catalogue")->required();
  cmd->add_option("OUT", o->out, "The XML file to write; standard output when omitted or -");
  cmd->add_option("--type", o->types,
                  "Only the objects of this type (and its subclasses); repeat for several")
      ->type_name("TYPE")
      ->allow_extra_args(false);
  cmd->add_option("--object", o->objects, "Only this object; repeat for several")
      ->type_name("TYPE:ID")
      ->allow_extra_args(false);
  cmd->add_flag("--by-name", o->byName,
                "References name their targets instead of giving their ids, for another catalogue to read");
  cmd->add_flag("--keep-empty", o->keepEmpty, "Keep a reference to a missing object as an empty element");
  cmd->add_flag("--no-meta", o->noMeta, "Leave out the meta element (unit, locale, region)");
  cmd->add_flag("--guid", o->guid, "Write the catalogue's GUID in the meta element");
  commands[cmd] = [o] {
    if (!o->types.empty() && !o->objects.empty())
      throw UsageError("--object: not with --type; export either types or objects");
    if (o->guid && o->noMeta)
      throw UsageError("--guid: the GUID goes in the meta element, which --no-meta leaves out");
    const std::set<ObjectType> types = typesNamed(o->types);
    std::vector<ObjectArgument> objects;
    for (const std::string& text : o->objects) objects.push_back(parseObject(text));

    const bool toStdout = o->out.empty() || o->out == "-";
    std::unique_ptr<OutputFile> out;
    if (!toStdout) {
      std::error_code ec;
      if (fs::equivalent(fs::u8path(o->out), fs::u8path(o->file), ec))
        throw Failure(o->out, "is the catalogue itself; give another file");
      out = std::make_unique<OutputFile>(o->out);
    }

    Catalogue catalogue = openNoted(o->file, Access::Read);
    pugi::xml_document document;
    onFile(o->file, [&] {
      const Library& library = catalogue.library();
      Library::ExportOptions options;
      options.referencesByName = o->byName;
      options.keepEmptyReferences = o->keepEmpty;
      options.exportMeta = !o->noMeta;
      options.exportGuid = o->guid;
      ProgressBar progress("exporting");
      options.progress = progress.callback();
      // The library names the root element.
      pugi::xml_node root = document.append_child(pugi::node_element);
      if (!objects.empty()) {
        // The library groups objects by their own class, which the command
        // line need not give (Profile:12): each is looked up for it.
        std::set<ObjectKey> keys;
        for (const ObjectArgument& object : objects) {
          const ObjectPtr found = object.type->get(library, object.id);
          if (!found)
            throw Failure(object.text, "no " + object.type->name + " with id " + std::to_string(object.id) +
                                           " in " + o->file);
          keys.insert(ObjectKey(found->tarnlibType(), object.id));
        }
        library.exportToXml(root, keys, options);
      } else if (!types.empty()) {
        library.exportToXml(root, types, options);
      } else {
        library.exportToXml(root, options);
      }
    });

    if (out) {
      out->write(document);
      return;
    }
    document.save(std::cout, kIndent, pugi::format_default, pugi::encoding_utf8);
    std::cout.flush();
    if (!std::cout) throw Failure("standard output", "cannot be written");
  };
}

// ---- import

struct Message {
  bool error;  // else a warning
  std::string text;
  std::ptrdiff_t offset;
};

std::string readDocument(const std::string& path) {
  std::error_code ec;
  if (fs::is_directory(fs::u8path(path), ec)) throw Failure(path, "is a folder");
  std::ifstream in(fs::u8path(path), std::ios::binary);
  if (!in) throw Failure(path, "cannot be read: " + std::string(std::strerror(errno)));
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) throw Failure(path, "cannot be read");
  return bytes;
}

// How many objects of each class the catalogue holds, each under its own class.
std::map<ObjectType, std::size_t> ownClassCounts(const Library& library) {
  Filter ownClass;
  ownClass.ownClassOnly = true;
  std::map<ObjectType, std::size_t> counts;
  for (const TypeEntry& type : typeTable())
    if (type.kinds.empty()) counts[type.type] = type.count(library, ownClass);
  return counts;
}

std::string plural(std::size_t n, const std::string& word) {
  return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

void addImport(CLI::App& app, Commands& commands) {
  struct Options {
    std::string file;
    std::string in;
    std::vector<std::string> types;
    bool strict = false;
    bool dryRun = false;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand(
      "import", "Read the objects of an XML document into a catalogue, reporting what cannot be read");
  cmd->add_option("FILE", o->file, "The catalogue")->required();
  cmd->add_option("IN", o->in, "The XML document")->required();
  cmd->add_option("--type", o->types,
                  "Only the objects of this type (and its subclasses); repeat for several")
      ->type_name("TYPE")
      ->allow_extra_args(false);
  cmd->add_flag("--strict", o->strict, "Keep nothing when an element cannot be read (exit status 2)");
  cmd->add_flag("--dry-run", o->dryRun, "Report what the import would do, and keep nothing");
  cmd->footer(
      "Each problem is reported on stderr as IN:LINE:COLUMN: warning|error: TEXT, and an element with an "
      "error is skipped. The objects imported are counted per type on stdout.");
  commands[cmd] = [o] {
    const std::set<ObjectType> types = typesNamed(o->types);
    // The document is read whole before the catalogue is opened: one that is
    // not XML changes nothing.
    pugi::xml_document document;
    const XmlSource source(readDocument(o->in), document);
    if (!source.parsed())
      throw Diagnosed(o->in + ":" + source.position(source.parsed().offset) +
                      ": not well-formed XML: " + source.parsed().description());
    pugi::xml_node root = document.document_element();

    // A dry run reads an older file through a migrated copy, like any reading
    // command, so that it changes nothing even by migrating.
    Catalogue catalogue = openNoted(o->file, o->dryRun ? Access::Read : Access::Write);
    Library& library = catalogue.library();
    std::vector<Message> messages;
    std::map<ObjectType, std::size_t> before, after;
    bool kept = false;
    onFile(o->file, [&] {
      Library::ImportOptions options;
      options.messageHandler = [&](int severity, const OdString& text, std::ptrdiff_t offset) {
        messages.push_back({severity >= tarnlib::kMessageError, printable(utf8(text)), offset});
      };
      ProgressBar progress("importing");
      options.progress = progress.callback();
      // One transaction around the import and the counts, so that the counts
      // are of this import alone and a strict or dry run can take it all back.
      tarnlib::Transaction transaction(catalogue.shared(), tarnlib::Transaction::kBeginCurrent);
      before = ownClassCounts(library);
      try {
        if (types.empty())
          library.importFromXml(root, options);
        else
          library.importFromXml(root, types, options);
      } catch (const tarnlib::ReadError& e) {
        throw Failure(o->in, "a property value cannot be read (" + messageOf(e) + "); nothing imported");
      } catch (const tarnlib::KeyError& e) {
        throw Failure(o->in, "a property value cannot be read (" + messageOf(e) + "); nothing imported");
      }
      after = ownClassCounts(library);
      progress.clear();
      const bool errors =
          std::any_of(messages.begin(), messages.end(), [](const Message& m) { return m.error; });
      kept = !o->dryRun && !(o->strict && errors);
      if (kept)
        transaction.commit();
      else
        transaction.rollback();
    });

    std::stable_sort(messages.begin(), messages.end(),
                     [](const Message& a, const Message& b) { return a.offset < b.offset; });
    std::size_t errors = 0;
    for (const Message& m : messages) {
      errors += m.error ? 1 : 0;
      const std::string at = source.position(m.offset);
      std::cerr << o->in << (at.empty() ? "" : ":" + at) << (m.error ? ": error: " : ": warning: ") << m.text
                << '\n';
    }
    if (o->strict && errors > 0)
      throw Failure(o->in, plural(errors, "error") + "; nothing imported (--strict)");

    // What the file holds more of, by class, in the order "tarn info" counts them.
    std::vector<std::pair<std::string, std::size_t>> rows;
    std::size_t width = 0, total = 0;
    for (const TypeEntry& type : typeTable()) {
      if (!type.kinds.empty() || after[type.type] <= before[type.type]) continue;
      rows.emplace_back(type.name, after[type.type] - before[type.type]);
      width = std::max(width, type.name.size());
      total += rows.back().second;
    }
    std::string out;
    for (const auto& [name, n] : rows)
      out += name + std::string(width - name.size() + 2, ' ') + std::to_string(n) + '\n';
    const std::string reported = plural(messages.size() - errors, "warning") + ", " + plural(errors, "error");
    if (kept)
      out += plural(total, "object") + " imported; " + reported + '\n';
    else
      out += plural(total, "object") + " would be imported; " + reported + "; nothing kept (--dry-run)\n";
    std::cout << out;
  };
}

}  // namespace

void addXmlCommands(CLI::App& app, Commands& commands) {
  addExport(app, commands);
  addImport(app, commands);
}

}  // namespace tarn
