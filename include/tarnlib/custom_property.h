// CustomProperty: the declaration of a user-defined text property, with the
// object type it may be attached to (Material, Composition, or 0 for both).
// A name is unique per object type. CustomPropertyKey is the key of the
// custom-value maps of materials and compositions: ordered by the property's
// name, so that one object holds at most one value per property name.
#ifndef TARNLIB_CUSTOM_PROPERTY_H_
#define TARNLIB_CUSTOM_PROPERTY_H_

#include <cstddef>
#include <memory>
#include <vector>

#include "tarnlib/criteria.h"
#include "tarnlib/keys.h"
#include "tarnlib/object.h"

namespace tarnlib {

class Library;

namespace detail {
class CustomPropertyKeyAccess;
}

class TARNLIB_EXPORT CustomProperty : public Object {
  TARNLIB_DECLARE_OBJECT(CustomProperty)
  TARNLIB_DECLARE_PERSISTENT(CustomProperty)

  // `objectType`: the type the property may be attached to; 0 for any.
  static TnSmartPtr<CustomProperty> create(const OdString& name, ObjectType objectType);

  const OdString& name() const;
  void set_name(const OdString& name);
  ObjectType object_type() const;

  // Same runtime class, name and object type; the id is not compared.
  bool operator==(const CustomProperty& other) const;
  bool operator!=(const CustomProperty& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<CustomProperty> {
  static constexpr ObjectType type = ObjectType::CustomProperty;
  using unique_key_type = NameTypeKey;
  using criteria_type = CustomPropertyCriteria;
};

class TARNLIB_EXPORT CustomPropertyKey {
 public:
  CustomPropertyKey(TnSmartPtr<const CustomProperty> property) : property_(std::move(property)) {}  // NOLINT

  const CustomProperty* operator->() const { return property_.get(); }
  const CustomProperty& operator*() const { return *property_; }
  operator const TnSmartPtr<const CustomProperty>&() const { return property_; }  // NOLINT
  const TnSmartPtr<const CustomProperty>& property() const { return property_; }

  // By the property's name, code unit by code unit.
  bool operator<(const CustomPropertyKey& other) const { return property_->name() < other.property_->name(); }
  // The same property, or equal properties.
  bool operator==(const CustomPropertyKey& other) const {
    return property_ == other.property_ || *property_ == *other.property_;
  }

 private:
  // Saving re-points a key at the stored property of the same name, which
  // leaves the key's place in its map unchanged.
  friend class detail::CustomPropertyKeyAccess;
  CustomPropertyKey() = default;
  TnSmartPtr<const CustomProperty> property_;
};

// Whether a material or composition of `library` holds a value for a property of
// the name of `property`. False for a null library or property or an empty name.
TARNLIB_EXPORT bool isCustomPropUsed(std::shared_ptr<const Library> library,
                                     TnSmartPtr<CustomProperty> property);

// Replaces `out` with the properties applicable to `objectType` (its own and
// the generic ones; every property for 0); returns how many.
TARNLIB_EXPORT std::size_t getCustomProperties(std::vector<TnSmartPtr<CustomProperty>>& out,
                                               std::shared_ptr<const Library> library,
                                               ObjectType objectType);

}  // namespace tarnlib

#endif  // TARNLIB_CUSTOM_PROPERTY_H_
