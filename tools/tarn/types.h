// The catalogue types tarn can work with, as one table. Each entry binds the
// library's typed operations for one class to plain functions, so that commands
// take a type name from the command line and never name a class themselves.
// Adding a class is one line in types.cpp plus its describeFields (describe.h).
#ifndef TARN_TYPES_H_
#define TARN_TYPES_H_

#include <cstddef>
#include <cstdint>
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
  std::string namePattern;     // SQL LIKE: % any text, _ one character; ASCII case ignored
  std::set<std::string> tags;  // objects that carry at least one of these
};

struct TypeEntry {
  tarnlib::ObjectType type;
  std::string name;                        // the class name, as the command line spells it
  bool tagged;                             // its criteria can select by tag
  std::vector<tarnlib::ObjectType> kinds;  // an abstract root: the concrete types below it

  // Objects matching `filter`, in id order.
  std::vector<ObjectPtr> (*list)(const tarnlib::Library&, const Filter&);
  std::size_t (*count)(const tarnlib::Library&, const Filter&);
  ObjectPtr (*get)(const tarnlib::Library&, std::uint32_t id);
  void (*remove)(tarnlib::Library&, const std::set<std::uint32_t>& ids,
                 tarnlib::Library::RemoveResults& results);
  // Adds the object's fields to its record (describe.h); null for an abstract
  // root, whose objects are described by their own kind.
  void (*fields)(const tarnlib::Object&, nlohmann::ordered_json& record);
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
