// Keys for single-object lookups beyond NameKey (object.h).
#ifndef TARNLIB_KEYS_H_
#define TARNLIB_KEYS_H_

#include <cstdint>

#include "tarnlib/export.h"
#include "tarnlib/object.h"
#include "tarnlib/platform/OdString.h"

namespace tarnlib {

class IdMapping;
class Profile;
class ProfileName;
enum class ProfileType : std::int32_t;

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

// A profile is unique by its series and size.
struct TARNLIB_EXPORT ProfileKey {
  ProfileKey() = default;
  ProfileKey(std::uint32_t nameId, const OdString& sizeText) : name_id(nameId), size(sizeText) {}
  // The profile's size and the id of its series; the id of the series'
  // counterpart when `mapping` has one (a key for the destination of a copy).
  static ProfileKey make(const Profile& profile, const IdMapping& mapping);

  std::uint32_t name_id = 0;  // id of the ProfileName
  OdString size;
};

// A series is unique by its name, standard and type.
struct TARNLIB_EXPORT ProfileNameKey {
  ProfileNameKey();
  ProfileNameKey(const OdString& n, std::uint32_t standardId, ProfileType t)
      : name(n), standard_id(standardId), type(t) {}
  // Translates the standard's id through `mapping` as ProfileKey::make does.
  static ProfileNameKey make(const ProfileName& name, const IdMapping& mapping);

  OdString name;
  std::uint32_t standard_id = 0;  // 0: a series outside any standard
  ProfileType type;
};

// A definition or a property set is unique by its name within its namespace.
struct TARNLIB_EXPORT DefinitionKey {
  DefinitionKey() = default;
  DefinitionKey(const OdString& n, std::uint32_t namespaceId) : name(n), namespace_id(namespaceId) {}

  OdString name;
  std::uint32_t namespace_id = 0;  // id of the PropertyNamespace
};

}  // namespace tarnlib

#endif  // TARNLIB_KEYS_H_
