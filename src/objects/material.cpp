#include "tarnlib/material.h"

#include "access/queries.h"
#include "core/schema.h"
#include "i18n/translate.h"
#include "objects/carriers.h"
#include "objects/class_support.h"

namespace tarnlib {

// ---- MaterialType

struct MaterialType::Impl {
  ObjectState state;
  OdString name;
};

TARNLIB_DEFINE_OBJECT(MaterialType, Object)
TARNLIB_DEFINE_PERSISTENT(MaterialType)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(MaterialType);
TARNLIB_INSTANTIATE_KEY_LOOKUP(MaterialType, NameKey)

TnSmartPtr<MaterialType> MaterialType::create(const OdString& name) {
  objects::ensureClasses();
  TnSmartPtr<MaterialType> type(new MaterialType());
  type->impl_->name = name;
  return type;
}

const OdString& MaterialType::name() const { return impl_->name; }
void MaterialType::set_name(const OdString& name) {
  objects::assignIfChanged(impl_->name, name, impl_->state);
}

bool MaterialType::operator==(const MaterialType& other) const {
  return Object::operator==(other) && impl_->name == other.impl_->name;
}

const access::Mapping& objects::materialTypeMapping() {
  static access::Mapping mapping(ObjectType::MaterialType, "MaterialType", nullptr,
                                 &objects::instantiate<MaterialType>);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_MaterialType").field(TARNLIB_FIELD(MaterialType, OdString, "name", name)).seal();
  return sealed;
}

// ---- Material

struct Material::Impl {
  ObjectState state;
  OdString name;
  TnSmartPtr<const MaterialType> type;
  objects::TagList tags;
  OdString description;
  OdString comments;
  OdString appearance;
  Pattern cut_pattern;
  Pattern surface_pattern;
  TnSmartPtr<InformationAsset> information_asset;
  TnSmartPtr<PhysicalAsset> physical_asset;
  TnSmartPtr<BimAsset> bim_asset;
  CustomValues custom_values;
};

TARNLIB_DEFINE_OBJECT(Material, Object)
TARNLIB_DEFINE_PERSISTENT(Material)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(Material);
TARNLIB_INSTANTIATE_KEY_LOOKUP(Material, NameKey)

TnSmartPtr<Material> Material::create() {
  objects::ensureClasses();
  return TnSmartPtr<Material>(new Material());
}

TnSmartPtr<Material> Material::create(const OdString& name, const TnSmartPtr<const MaterialType>& type) {
  TnSmartPtr<Material> material = create();
  material->impl_->name = name;
  material->impl_->type = type;
  return material;
}

#define TARNLIB_MATERIAL_FIELD(Type, member)                      \
  const Type& Material::member() const { return impl_->member; }  \
  void Material::set_##member(const Type& value) {                \
    objects::assignIfChanged(impl_->member, value, impl_->state); \
  }

TARNLIB_MATERIAL_FIELD(OdString, name)
TARNLIB_MATERIAL_FIELD(TnSmartPtr<const MaterialType>, type)
TARNLIB_MATERIAL_FIELD(OdString, description)
TARNLIB_MATERIAL_FIELD(OdString, comments)
TARNLIB_MATERIAL_FIELD(OdString, appearance)
TARNLIB_MATERIAL_FIELD(Pattern, cut_pattern)
TARNLIB_MATERIAL_FIELD(Pattern, surface_pattern)
TARNLIB_MATERIAL_FIELD(TnSmartPtr<InformationAsset>, information_asset)
TARNLIB_MATERIAL_FIELD(TnSmartPtr<PhysicalAsset>, physical_asset)
TARNLIB_MATERIAL_FIELD(TnSmartPtr<BimAsset>, bim_asset)

#undef TARNLIB_MATERIAL_FIELD

TnSmartPtr<InformationAsset>& Material::information_asset(bool markDirty) {
  if (markDirty) impl_->state.dirty = true;
  return impl_->information_asset;
}
TnSmartPtr<PhysicalAsset>& Material::physical_asset(bool markDirty) {
  if (markDirty) impl_->state.dirty = true;
  return impl_->physical_asset;
}
TnSmartPtr<BimAsset>& Material::bim_asset(bool markDirty) {
  if (markDirty) impl_->state.dirty = true;
  return impl_->bim_asset;
}

const std::vector<TnSmartPtr<Tag>>& Material::tags() const { return impl_->tags; }
std::vector<TnSmartPtr<Tag>>& Material::set_tags() {
  impl_->state.dirty = true;
  return impl_->tags;
}
void Material::add_tag(const TnSmartPtr<Tag>& tag) { objects::addTag(impl_->tags, tag, impl_->state); }
void Material::add_tag(const OdString& name) {
  objects::addTag(impl_->tags, Tag::create(name), impl_->state);
}
void Material::remove_tag(const TnSmartPtr<Tag>& tag) { objects::removeTag(impl_->tags, tag, impl_->state); }
void Material::remove_tag(const OdString& name) { objects::removeTag(impl_->tags, name, impl_->state); }
void Material::remove_tag(const wchar_t* name) { remove_tag(OdString(name ? name : L"")); }

void Material::set_custom_value(const TnSmartPtr<const CustomProperty>& property, const OdString& value) {
  objects::setCustomValue(impl_->custom_values, ObjectType::Material, property, value, impl_->state);
}
void Material::set_custom_value(const OdString& name, const OdString& value) {
  objects::setCustomValue(impl_->custom_values, ObjectType::Material, name, value, impl_->state);
}
bool Material::has_custom_value(const TnSmartPtr<const CustomProperty>& property) const {
  return objects::hasCustomValue(impl_->custom_values, property);
}
bool Material::has_custom_value(const OdString& name) const {
  return objects::hasCustomValue(impl_->custom_values, name);
}
OdString Material::custom_value(const TnSmartPtr<const CustomProperty>& property) const {
  return objects::customValue(impl_->custom_values, property);
}
OdString Material::custom_value(const OdString& name) const {
  return objects::customValue(impl_->custom_values, name);
}
void Material::clear_custom_value(const TnSmartPtr<const CustomProperty>& property) {
  objects::clearCustomValue(impl_->custom_values, property, impl_->state);
}
void Material::clear_custom_value(const OdString& name) {
  objects::clearCustomValue(impl_->custom_values, name, impl_->state);
}
void Material::clear_custom_values() { objects::clearCustomValues(impl_->custom_values, impl_->state); }
const Material::CustomValues& Material::custom_values() const { return impl_->custom_values; }
Material::CustomValues::iterator Material::set_custom_values_begin() {
  impl_->state.dirty = true;
  return impl_->custom_values.begin();
}
Material::CustomValues::iterator Material::set_custom_values_end() {
  impl_->state.dirty = true;
  return impl_->custom_values.end();
}

bool Material::operator==(const Material& other) const {
  const Impl& a = *impl_;
  const Impl& b = *other.impl_;
  using objects::sameValue;
  return Object::operator==(other) && a.name == b.name && sameValue(a.type, b.type) &&
         objects::sameTags(a.tags, b.tags) && a.description == b.description && a.comments == b.comments &&
         a.appearance == b.appearance && a.cut_pattern == b.cut_pattern &&
         a.surface_pattern == b.surface_pattern && sameValue(a.information_asset, b.information_asset) &&
         sameValue(a.physical_asset, b.physical_asset) && sameValue(a.bim_asset, b.bim_asset) &&
         a.custom_values == b.custom_values;
}

namespace access {

Query queryFor(const Mapping& mapping, const MaterialCriteria& criteria) {
  return tagFilteredQuery(
      mapping, criteria.tags,
      [&criteria](const std::string& table, std::string& where, std::vector<SqlValue>& values) {
        appendCondition(criteria.name, table + ".\"name\"", where, values);
        if (criteria.type != 0) {
          appendAnd(where, table + ".\"type_id\" = ?");
          values.emplace_back(static_cast<std::int64_t>(criteria.type));
        }
      });
}

}  // namespace access

namespace {

// A material without a class is stored with the library's "Generic" class in
// the user's language, saved like any other class so that an existing one of
// that name is reused.
void beforeMaterialWrite(Object& object, access::WriteContext& context) {
  Material::Impl& m = static_cast<Material&>(object).impl();
  if (!m.type) {
    TnSmartPtr<Object> stored = context.store(*MaterialType::create(translateText(OdString(L"Generic"))));
    context.repoint(object, access::refSlot(m.type), stored.get());
  }
  objects::resolveCustomProperties(object, m.custom_values, ObjectType::Material, context);
}

// The two patterns are stored flattened into columns under their prefix, the
// background colour again under "background_color_".
template <Pattern Material::Impl::*P>
Pattern& patternOf(Object& o) {
  return static_cast<Material&>(o).impl().*P;
}

template <Pattern Material::Impl::*P>
Color& colorOf(Object& o) {
  return patternOf<P>(o).background_color;
}

template <Pattern Material::Impl::*P>
void patternFields(access::Mapping& mapping, const std::string& prefix) {
  using access::field;
  const std::string color = prefix + "background_color_";
  mapping.field(field<Pattern::Type>(prefix + "type", +[](Object& o) { return &patternOf<P>(o).type; }))
      .field(field<OdString>(prefix + "name", +[](Object& o) { return &patternOf<P>(o).name; }))
      .field(field<double>(prefix + "scale", +[](Object& o) { return &patternOf<P>(o).scale; }))
      .field(field<double>(prefix + "angle", +[](Object& o) { return &patternOf<P>(o).angle; }))
      .field(field<bool>(prefix + "cross", +[](Object& o) { return &patternOf<P>(o).cross; }))
      .field(field<bool>(prefix + "annotative", +[](Object& o) { return &patternOf<P>(o).annotative; }))
      .field(field<Color::Type>(color + "type", +[](Object& o) { return &colorOf<P>(o).type; }))
      .field(field<double>(color + "red", +[](Object& o) { return &colorOf<P>(o).red; }))
      .field(field<double>(color + "green", +[](Object& o) { return &colorOf<P>(o).green; }))
      .field(field<double>(color + "blue", +[](Object& o) { return &colorOf<P>(o).blue; }))
      .field(field<double>(color + "alpha", +[](Object& o) { return &colorOf<P>(o).alpha; }));
}

}  // namespace

const access::Mapping& objects::materialMapping() {
  using C = Material;
  static const access::Mapping& sealed = []() -> const access::Mapping& {
    static access::Mapping mapping(ObjectType::Material, "Material", nullptr, &objects::instantiate<C>);
    mapping.table("tarnlib_Material")
        .field(TARNLIB_FIELD(C, OdString, "name", name))
        .reference("type_id", ObjectType::MaterialType, TARNLIB_REF(C, type))
        .field(TARNLIB_FIELD(C, OdString, "description", description))
        .field(TARNLIB_FIELD(C, OdString, "comments", comments))
        .field(TARNLIB_FIELD(C, OdString, "appearance", appearance));
    patternFields<&C::Impl::cut_pattern>(mapping, "cut_pattern_");
    patternFields<&C::Impl::surface_pattern>(mapping, "surface_pattern_");
    return mapping
        .reference("information_asset_id", ObjectType::InformationAsset, TARNLIB_REF(C, information_asset))
        .reference("physical_asset_id", ObjectType::PhysicalAsset, TARNLIB_REF(C, physical_asset))
        .reference("bim_asset_id", ObjectType::BimAsset, TARNLIB_REF(C, bim_asset))
        .container(objects::tagsBinding(
            "tarnlib_Material_tags", +[](Object& o) { return &static_cast<C&>(o).impl().tags; }))
        .container(objects::customValuesBinding(
            "tarnlib_Material_custom_values",
            +[](Object& o) { return &static_cast<C&>(o).impl().custom_values; }))
        .beforeWrite(&beforeMaterialWrite)
        .seal();
  }();
  return sealed;
}

// ---- Free functions

bool isMaterialClassUsed(std::shared_ptr<const Library> library, OdString className) {
  if (!library) return false;
  std::vector<TnSmartPtr<Material>> materials;
  library->get<Material>(materials);
  for (const auto& material : materials)
    if (material->type() && material->type()->name() == className) return true;
  return false;
}

bool setClass(TnSmartPtr<Material>& material, OdString className) {
  if (!material || className.isEmpty()) return false;
  const std::shared_ptr<Library> library = material->library();
  if (!library) return false;
  TnSmartPtr<MaterialType> type = library->get<MaterialType>(NameKey(className));
  if (!type) return false;
  if (!objects::sameValue(material->type(), TnSmartPtr<const MaterialType>(type))) material->set_type(type);
  return true;
}

void syncPointerProps(TnSmartPtr<const Material> source, TnSmartPtr<Material> target) {
  if (!source || !target) return;
  target->set_type(source->type());
  target->set_information_asset(source->information_asset());
  target->set_physical_asset(source->physical_asset());
  target->set_bim_asset(source->bim_asset());
}

}  // namespace tarnlib
