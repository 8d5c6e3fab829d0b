// Keys for single-object lookups beyond NameKey (object.h).
#ifndef TARNLIB_KEYS_H_
#define TARNLIB_KEYS_H_

#include "tarnlib/export.h"
#include "tarnlib/object.h"
#include "tarnlib/platform/OdString.h"

namespace tarnlib {

// A custom property is unique by its name within its object type.
struct TARNLIB_EXPORT NameTypeKey {
  NameTypeKey() = default;
  NameTypeKey(const OdString& n, ObjectType t) : name(n), object_type(t) {}
  OdString name;
  ObjectType object_type = ObjectType{0};
};

// The root-level key of assets: a name, found among assets of any kind (the
// kinds are tried in the order information, physical, BIM).
struct TARNLIB_EXPORT AssetKey {
  AssetKey() = default;
  explicit AssetKey(const OdString& n) : name(n) {}
  OdString name;
};

}  // namespace tarnlib

#endif  // TARNLIB_KEYS_H_
