#include "shape_classes.h"

#include <algorithm>
#include <map>

#include "common.h"
#include "types.h"

namespace tarn {

using tarnlib::ParametrizedProfile;
using tarnlib::TnSmartPtr;

namespace {

// The dimension names an instance of `cls` has, in column order.
std::vector<std::string> dimensionNames(const OdRxClass& cls) {
  std::vector<std::string> names;
  auto probe = TnSmartPtr<ParametrizedProfile>::cast(cls.create().get());
  if (probe)
    for (const ParametrizedProfile::Dimension& d : probe->dimensions()) names.emplace_back(d.name);
  return names;
}

}  // namespace

const OdRxClass* shapeClassNamed(const std::string& name) {
  const OdRxClass* root = ParametrizedProfile::desc();
  const OdRxClass* cls = odrxFindClass(wide(name));
  // An abstract class has no pseudo-constructor that makes anything.
  if (!root || !cls || cls == root || !cls->isDerivedFrom(root) || !cls->create()) return nullptr;
  return cls;
}

std::vector<std::string> shapeClassNames() {
  std::vector<std::string> names;
  for (const TypeEntry& entry : typeTable())
    if (shapeClassNamed(entry.name)) names.push_back(entry.name);
  return names;
}

TnSmartPtr<ParametrizedProfile> createShape(const OdRxClass& shape,
                                            const TnSmartPtr<tarnlib::ProfileName>& series,
                                            const OdString& size) {
  auto profile = TnSmartPtr<ParametrizedProfile>::cast(shape.create().get());
  if (!profile) throw Failure(utf8(shape.name()), "not a shape class");
  profile->set_name(series);
  profile->set_size(size);
  return profile;
}

std::string dimensionTable(const ParametrizedProfile& profile, const std::string& dimension) {
  // A derived shape lists its bases' dimensions first: the dimension belongs
  // to the furthest base below ParametrizedProfile that has it. Worked out
  // once per class and name.
  static std::map<std::pair<const OdRxClass*, std::string>, std::string> tables;
  const OdRxClass* cls = profile.isA();
  const OdRxClass* root = ParametrizedProfile::desc();
  if (!cls || !root) return std::string();
  auto key = std::make_pair(cls, dimension);
  auto found = tables.find(key);
  if (found != tables.end()) return found->second;
  std::string table;
  for (const OdRxClass* c = cls; c && c != root && c->isDerivedFrom(root); c = c->myParent()) {
    const std::vector<std::string> names = dimensionNames(*c);
    if (std::find(names.begin(), names.end(), dimension) == names.end()) break;
    table = "tarnlib_" + utf8(c->name());
  }
  tables.emplace(key, table);
  return table;
}

}  // namespace tarn
