#include "tarnlib/custom_property.h"

#include "objects/class_support.h"
#include "objects/field_access.h"
#include "tarnlib/composition.h"
#include "tarnlib/material.h"

namespace tarnlib {

struct CustomProperty::Impl {
  ObjectState state;
  OdString name;
  ObjectType object_type = ObjectType{0};
};

TARNLIB_DEFINE_OBJECT(CustomProperty, Object)
TARNLIB_DEFINE_PERSISTENT(CustomProperty)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(CustomProperty);
TARNLIB_INSTANTIATE_KEY_LOOKUP(CustomProperty, NameTypeKey)

TnSmartPtr<CustomProperty> CustomProperty::create(const OdString& name, ObjectType objectType) {
  objects::ensureClasses();
  TnSmartPtr<CustomProperty> property(new CustomProperty());
  property->impl_->name = name;
  property->impl_->object_type = objectType;
  return property;
}

const OdString& CustomProperty::name() const { return impl_->name; }
void CustomProperty::set_name(const OdString& name) {
  objects::assignIfChanged(impl_->name, name, impl_->state);
}
ObjectType CustomProperty::object_type() const { return impl_->object_type; }

bool CustomProperty::operator==(const CustomProperty& other) const {
  return Object::operator==(other) && impl_->name == other.impl_->name &&
         impl_->object_type == other.impl_->object_type;
}

const access::Mapping& objects::customPropertyMapping() {
  static access::Mapping mapping(ObjectType::CustomProperty, "CustomProperty", nullptr,
                                 &objects::instantiate<CustomProperty>);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_CustomProperty")
          .field(TARNLIB_FIELD(CustomProperty, OdString, "name", name))
          .field(TARNLIB_FIELD(CustomProperty, ObjectType, "object_type", object_type))
          .seal();
  return sealed;
}

// By name, as the value maps are keyed: a value for another property of the
// same name counts as a use.
bool isCustomPropUsed(std::shared_ptr<const Library> library, TnSmartPtr<CustomProperty> property) {
  if (!library || !property || property->name().isEmpty()) return false;
  std::vector<TnSmartPtr<Material>> materials;
  library->get<Material>(materials);
  for (const auto& material : materials)
    if (material->has_custom_value(property)) return true;
  std::vector<TnSmartPtr<Composition>> compositions;
  library->get<Composition>(compositions);
  for (const auto& composition : compositions)
    if (composition->has_custom_value(property)) return true;
  return false;
}

std::size_t getCustomProperties(std::vector<TnSmartPtr<CustomProperty>>& out,
                                std::shared_ptr<const Library> library, ObjectType objectType) {
  out.clear();
  if (!library) return 0;
  CustomPropertyCriteria criteria;
  criteria.object_type = objectType;
  library->get<CustomProperty>(out, criteria);
  return out.size();
}

void objects::setObjectType(CustomProperty& property, ObjectType type) {
  objects::assignIfChanged(property.impl().object_type, type, property.impl().state);
}

}  // namespace tarnlib
