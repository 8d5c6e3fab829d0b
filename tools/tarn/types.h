// The catalogue types tarn can work with, as one table. Each entry binds the
// library's typed operations for one class to plain functions, so that commands
// take a type name from the command line and never name a class themselves.
// Adding a class is one line in types.cpp plus its describeFields (describe.h).
// Profiles are selected by their size text as their name, and by series and
// standard, units by their label; a class entry selects its subclasses'
// objects too, as the library does.
#ifndef TARN_TYPES_H_
#define TARN_TYPES_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "tarnlib/library.h"
#include "tarnlib/object.h"

namespace tarn {

using ObjectPtr = tarnlib::TnSmartPtr<tarnlib::Object>;

// A selection given on the command line. An empty pattern selects every name.
struct Filter {
  std::string namePattern;      // SQL LIKE: % any text, _ one character; ASCII case ignored
  std::set<std::string> tags;   // objects that carry at least one of these
  std::string seriesPattern;    // profiles: the name of their series (LIKE)
  std::string standardPattern;  // profiles and series: the name of their standard (LIKE)
  // Only objects whose own class is the type, not one derived from it (some
  // profile classes have subclasses: a CircleHollowProfile is a CircleProfile).
  bool ownClassOnly = false;
};

// What a plain list prints of one object.
struct Line {
  std::uint32_t id = 0;
  tarnlib::ObjectType type{};  // its own class
  std::string name;            // as nameOf (describe.h) gives it
};

struct TypeEntry {
  tarnlib::ObjectType type;
  std::string name;                        // the class name, as the command line spells it
  bool tagged;                             // its criteria can select by tag
  bool bySeries;                           // ... by series (--series)
  bool byStandard;                         // ... by standard (--standard)
  std::vector<tarnlib::ObjectType> kinds;  // an abstract root: the concrete types below it

  // Objects matching `filter`, in id order; a class with subclasses includes
  // their objects unless filter.ownClassOnly.
  std::vector<ObjectPtr> (*list)(const tarnlib::Library&, const Filter&);
  // The same selection as plain lines, in id order; for profiles one query
  // that loads no objects.
  std::vector<Line> (*lines)(const tarnlib::Library&, const Filter&);
  std::size_t (*count)(const tarnlib::Library&, const Filter&);
  ObjectPtr (*get)(const tarnlib::Library&, std::uint32_t id);
  void (*remove)(tarnlib::Library&, const std::set<std::uint32_t>& ids,
                 tarnlib::Library::RemoveResults& results);
  // Copies into `destination` the objects of `source` with `ids`, or all of
  // them when `ids` is null, with the library's copy of this class.
  void (*copy)(tarnlib::Library& destination, const std::shared_ptr<const tarnlib::Library>& source,
               const std::set<unsigned>* ids, tarnlib::IdMapping& mapping,
               tarnlib::Library::TransactionType transactionType, tarnlib::Library::CopyResults& results);
  // Adds the object's fields to its record (describe.h); null for an abstract
  // root, whose objects are described by their own kind.
  void (*fields)(const tarnlib::Object&, nlohmann::ordered_json& record);
  // The name an object of this class is listed and found by: its name, a
  // profile's size text or a unit's label.
  std::string (*label)(const tarnlib::Object&);
};

// Every type this build offers, in the order "tarn info" counts them.
const std::vector<TypeEntry>& typeTable();

// The entry whose name equals `name` ignoring ASCII case; Failure naming the
// argument (and listing the known names) when there is none.
const TypeEntry& typeNamed(const std::string& name);
// The entry of a type, or null when this build's table lacks it.
const TypeEntry* typeOf(tarnlib::ObjectType type);
// The type's name, or "type N" for a type outside the table.
std::string typeName(tarnlib::ObjectType type);
// The names of the table, joined by ", ".
std::string typeNames();

}  // namespace tarn

#endif  // TARN_TYPES_H_
