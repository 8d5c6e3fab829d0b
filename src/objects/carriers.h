// What materials and compositions share: an ordered tag list and a map of
// custom values, with the rules of their mutators, their container codec and
// the resolution of custom properties on saving.
#ifndef TARNLIB_OBJECTS_CARRIERS_H_
#define TARNLIB_OBJECTS_CARRIERS_H_

#include <map>
#include <vector>

#include "access/containers.h"
#include "access/mapping.h"
#include "tarnlib/custom_property.h"
#include "tarnlib/tag.h"

namespace tarnlib {

namespace detail {

class CustomPropertyKeyAccess {
 public:
  // The pointer inside a key that sits in a map. Only re-point it at a property
  // of the same name: the key's place in the map depends on the name.
  static TnSmartPtr<const CustomProperty>& property(const CustomPropertyKey& key) {
    return const_cast<CustomPropertyKey&>(key).property_;
  }
};

}  // namespace detail

namespace objects {

using TagList = std::vector<TnSmartPtr<Tag>>;
using CustomValues = std::map<CustomPropertyKey, OdString>;

void addTag(TagList& tags, const TnSmartPtr<Tag>& tag, ObjectState& state);
void removeTag(TagList& tags, const TnSmartPtr<Tag>& tag, ObjectState& state);
void removeTag(TagList& tags, const OdString& name, ObjectState& state);

// The tag list's binding to its table "<owner>_tags".
std::unique_ptr<access::ContainerBinding> tagsBinding(const char* table, TagList* (*member)(Object&));

// The custom-value mutators of a carrier of type `carrier`, as material.h
// states them.
void setCustomValue(CustomValues& values, ObjectType carrier,
                    const TnSmartPtr<const CustomProperty>& property, const OdString& value,
                    ObjectState& state);
void setCustomValue(CustomValues& values, ObjectType carrier, const OdString& name, const OdString& value,
                    ObjectState& state);
bool hasCustomValue(const CustomValues& values, const TnSmartPtr<const CustomProperty>& property);
bool hasCustomValue(const CustomValues& values, const OdString& name);
OdString customValue(const CustomValues& values, const TnSmartPtr<const CustomProperty>& property);
OdString customValue(const CustomValues& values, const OdString& name);
void clearCustomValue(CustomValues& values, const TnSmartPtr<const CustomProperty>& property,
                      ObjectState& state);
void clearCustomValue(CustomValues& values, const OdString& name, ObjectState& state);
void clearCustomValues(CustomValues& values, ObjectState& state);

// Points every new property of the carrier's own type (as setting a value by
// name makes) at the stored property of that name applicable to the carrier,
// its own type's before a generic one. Properties without such a namesake are
// left to be inserted by the save.
void resolveCustomProperties(Object& owner, CustomValues& values, ObjectType carrier,
                             access::WriteContext& context);

// Rows of "<owner>_custom_values": "property_id", "value". A row whose
// property is missing is dropped on loading, a key needing a property.
struct CustomValueCodec {
  using Collection = CustomValues;
  struct Element {
    TnSmartPtr<const CustomProperty> property;
    OdString value;
  };
  static constexpr bool kHasRef = true;
  static constexpr ObjectType kRefTarget = ObjectType::CustomProperty;
  static void refs(Collection& values, std::vector<access::RefSlot>& out);
  static void write(const Collection& values, access::RowWriter& writer);
  static Element read(const db::Statement& row, int firstColumn);
  static access::RefSlot ref(Element& element) { return access::refSlot(element.property); }
  static void insert(Collection& values, Element&& element);
};

std::unique_ptr<access::ContainerBinding> customValuesBinding(const char* table,
                                                              CustomValues* (*member)(Object&));

// Same object or equal objects (null only equals null).
template <class P>
bool sameValue(const P& a, const P& b) {
  return a == b || (a && b && *a == *b);
}

bool sameTags(const TagList& a, const TagList& b);

}  // namespace objects
}  // namespace tarnlib

#endif  // TARNLIB_OBJECTS_CARRIERS_H_
