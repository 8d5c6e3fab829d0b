#include "tarnlib/asset.h"

#include "access/queries.h"
#include "core/schema.h"
#include "objects/class_support.h"

namespace tarnlib {

// ---- Asset

TARNLIB_DEFINE_ABSTRACT_OBJECT(Asset, Object)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(Asset);
TARNLIB_INSTANTIATE_KEY_LOOKUP(Asset, AssetKey)

namespace access {

namespace {

// The ids of assets of any kind whose name meets `condition` (with "?" bound
// once per kind).
std::string anyKindWhose(const std::string& condition) {
  std::string ids;
  for (const char* table : {"tarnlib_InformationAsset", "tarnlib_PhysicalAsset", "tarnlib_BimAsset"}) {
    if (!ids.empty()) ids += " UNION ALL ";
    ids += std::string("SELECT \"id\" FROM \"") + table + "\" WHERE " + condition;
  }
  return "\"tarnlib_Asset\".\"id\" IN (" + ids + ")";
}

}  // namespace

Query queryFor(const Mapping&, const AssetKey& key) {
  // Kinds may share a name: the key names one asset, of the first kind in the
  // order information, physical, BIM, whatever the ids.
  std::string kinds;
  int order = 0;
  for (const char* table : {"tarnlib_InformationAsset", "tarnlib_PhysicalAsset", "tarnlib_BimAsset"}) {
    if (order) kinds += " UNION ALL ";
    kinds += "SELECT \"id\", " + std::to_string(order++) + " AS \"kind\" FROM \"" + table +
             "\" WHERE \"name\" = ?";
  }
  Query q;
  const std::string name = key.name.toUtf8();
  q.selection = Selection::matching(
      "\"tarnlib_Asset\".\"id\" = (SELECT \"id\" FROM (" + kinds + ") ORDER BY \"kind\" LIMIT 1)",
      {name, name, name});
  return q;
}

Query queryFor(const Mapping&, const AssetCriteria& criteria) {
  std::string condition;
  std::vector<SqlValue> values;
  appendCondition(criteria.name, "\"name\"", condition, values);
  Query q;
  if (condition.empty()) return q;
  std::vector<SqlValue> all;
  for (int kind = 0; kind < 3; ++kind) all.insert(all.end(), values.begin(), values.end());
  q.selection = Selection::matching(anyKindWhose(condition), std::move(all));
  return q;
}

}  // namespace access

const access::Mapping& objects::assetMapping() {
  static access::Mapping mapping(ObjectType::Asset, "Asset", nullptr, nullptr);
  static const access::Mapping& sealed = mapping.table("tarnlib_Asset").seal();
  return sealed;
}

// ---- InformationAsset

struct InformationAsset::Impl {
  ObjectState state;
  OdString name;
  OdString description;
  OdString label;
  OdString manufacturer;
  OdString mark;
  OdString model;
  OdString classification;
  OdString cost;
  OdString keynote;
  OdString url;
  std::optional<OdString> unique_code;

  bool operator==(const Impl& o) const {
    return name == o.name && description == o.description && label == o.label &&
           manufacturer == o.manufacturer && mark == o.mark && model == o.model &&
           classification == o.classification && cost == o.cost && keynote == o.keynote &&
           url == o.url && unique_code == o.unique_code;
  }
};

TARNLIB_DEFINE_OBJECT(InformationAsset, Asset)
TARNLIB_DEFINE_PERSISTENT(InformationAsset)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(InformationAsset);
TARNLIB_INSTANTIATE_KEY_LOOKUP(InformationAsset, NameKey)

TnSmartPtr<InformationAsset> InformationAsset::create(const OdString& name) {
  objects::ensureClasses();
  TnSmartPtr<InformationAsset> asset(new InformationAsset());
  asset->impl_->name = name;
  return asset;
}

#define TARNLIB_TEXT_FIELD(Class, member)                                                            \
  const OdString& Class::member() const { return impl_->member; }                                    \
  void Class::set_##member(const OdString& value) {                                                  \
    objects::assignIfChanged(impl_->member, value, impl_->state);                                    \
  }

TARNLIB_TEXT_FIELD(InformationAsset, name)
TARNLIB_TEXT_FIELD(InformationAsset, description)
TARNLIB_TEXT_FIELD(InformationAsset, label)
TARNLIB_TEXT_FIELD(InformationAsset, manufacturer)
TARNLIB_TEXT_FIELD(InformationAsset, mark)
TARNLIB_TEXT_FIELD(InformationAsset, model)
TARNLIB_TEXT_FIELD(InformationAsset, classification)
TARNLIB_TEXT_FIELD(InformationAsset, cost)
TARNLIB_TEXT_FIELD(InformationAsset, keynote)
TARNLIB_TEXT_FIELD(InformationAsset, url)

bool InformationAsset::has_unique_code() const { return impl_->unique_code.has_value(); }
const OdString& InformationAsset::unique_code() const {
  static const OdString none;
  return impl_->unique_code ? *impl_->unique_code : none;
}
void InformationAsset::set_unique_code(const OdString& code) {
  objects::assignIfChanged(impl_->unique_code, std::optional<OdString>(code), impl_->state);
}
void InformationAsset::clear_unique_code() {
  objects::assignIfChanged(impl_->unique_code, std::optional<OdString>(), impl_->state);
}

bool InformationAsset::operator==(const InformationAsset& other) const {
  return Object::operator==(other) && *impl_ == *other.impl_;
}

const access::Mapping& objects::informationAssetMapping() {
  using C = InformationAsset;
  static access::Mapping mapping(ObjectType::InformationAsset, "InformationAsset", &assetMapping(),
                                 &objects::instantiate<C>);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_InformationAsset")
          .field(TARNLIB_FIELD(C, OdString, "name", name))
          .field(TARNLIB_FIELD(C, OdString, "description", description))
          .field(TARNLIB_FIELD(C, OdString, "label", label))
          .field(TARNLIB_FIELD(C, OdString, "manufacturer", manufacturer))
          .field(TARNLIB_FIELD(C, OdString, "mark", mark))
          .field(TARNLIB_FIELD(C, OdString, "model", model))
          .field(TARNLIB_FIELD(C, OdString, "classification", classification))
          .field(TARNLIB_FIELD(C, OdString, "cost", cost))
          .field(TARNLIB_FIELD(C, OdString, "keynote", keynote))
          .field(TARNLIB_FIELD(C, OdString, "url", url))
          .field(TARNLIB_FIELD(C, std::optional<OdString>, "unique_code", unique_code))
          .seal();
  return sealed;
}

// ---- PhysicalAsset

struct PhysicalAsset::Impl {
  ObjectState state;
  OdString name;
  OdString description;
  std::optional<double> density;
  std::optional<double> specific_heat;
  std::optional<double> thermal_conductivity;

  bool operator==(const Impl& o) const {
    return name == o.name && description == o.description && density == o.density &&
           specific_heat == o.specific_heat && thermal_conductivity == o.thermal_conductivity;
  }
};

TARNLIB_DEFINE_OBJECT(PhysicalAsset, Asset)
TARNLIB_DEFINE_PERSISTENT(PhysicalAsset)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(PhysicalAsset);
TARNLIB_INSTANTIATE_KEY_LOOKUP(PhysicalAsset, NameKey)

TnSmartPtr<PhysicalAsset> PhysicalAsset::create(const OdString& name) {
  objects::ensureClasses();
  TnSmartPtr<PhysicalAsset> asset(new PhysicalAsset());
  asset->impl_->name = name;
  return asset;
}

TARNLIB_TEXT_FIELD(PhysicalAsset, name)
TARNLIB_TEXT_FIELD(PhysicalAsset, description)

#define TARNLIB_OPTIONAL_DOUBLE(Class, member)                                                       \
  bool Class::has_##member() const { return impl_->member.has_value(); }                             \
  double Class::member() const { return impl_->member.value_or(0.0); }                               \
  void Class::set_##member(double value) {                                                           \
    objects::assignIfChanged(impl_->member, std::optional<double>(value), impl_->state);             \
  }                                                                                                  \
  void Class::clear_##member() {                                                                     \
    objects::assignIfChanged(impl_->member, std::optional<double>(), impl_->state);                  \
  }

TARNLIB_OPTIONAL_DOUBLE(PhysicalAsset, density)
TARNLIB_OPTIONAL_DOUBLE(PhysicalAsset, specific_heat)
TARNLIB_OPTIONAL_DOUBLE(PhysicalAsset, thermal_conductivity)

bool PhysicalAsset::operator==(const PhysicalAsset& other) const {
  return Object::operator==(other) && *impl_ == *other.impl_;
}

const access::Mapping& objects::physicalAssetMapping() {
  using C = PhysicalAsset;
  static access::Mapping mapping(ObjectType::PhysicalAsset, "PhysicalAsset", &assetMapping(),
                                 &objects::instantiate<C>);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_PhysicalAsset")
          .field(TARNLIB_FIELD(C, OdString, "name", name))
          .field(TARNLIB_FIELD(C, OdString, "description", description))
          .field(TARNLIB_FIELD(C, std::optional<double>, "density", density))
          .field(TARNLIB_FIELD(C, std::optional<double>, "specific_heat", specific_heat))
          .field(TARNLIB_FIELD(C, std::optional<double>, "thermal_conductivity", thermal_conductivity))
          .seal();
  return sealed;
}

// ---- BimAsset

struct BimAsset::Impl {
  ObjectState state;
  OdString name;
  OdString description;
  TnSmartPtr<const Layer> layer;
  TnSmartPtr<const Layer> layer_elevation;
  bool union_section = false;
  bool union_elevation = false;
  MaterialFunction default_function = MaterialFunction::None;
  bool variable_thickness = true;
  std::set<double> thicknesses;
};

namespace {

bool sameLayer(const TnSmartPtr<const Layer>& a, const TnSmartPtr<const Layer>& b) {
  return a == b || (a && b && *a == *b);
}

}  // namespace

TARNLIB_DEFINE_OBJECT(BimAsset, Asset)
TARNLIB_DEFINE_PERSISTENT(BimAsset)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(BimAsset);
TARNLIB_INSTANTIATE_KEY_LOOKUP(BimAsset, NameKey)

TnSmartPtr<BimAsset> BimAsset::create(const OdString& name) {
  objects::ensureClasses();
  TnSmartPtr<BimAsset> asset(new BimAsset());
  asset->impl_->name = name;
  return asset;
}

TARNLIB_TEXT_FIELD(BimAsset, name)
TARNLIB_TEXT_FIELD(BimAsset, description)

const TnSmartPtr<const Layer>& BimAsset::layer() const { return impl_->layer; }
void BimAsset::set_layer(const TnSmartPtr<const Layer>& layer) {
  objects::assignIfChanged(impl_->layer, layer, impl_->state);
}
const TnSmartPtr<const Layer>& BimAsset::layer_elevation() const { return impl_->layer_elevation; }
void BimAsset::set_layer_elevation(const TnSmartPtr<const Layer>& layer) {
  objects::assignIfChanged(impl_->layer_elevation, layer, impl_->state);
}
bool BimAsset::union_section() const { return impl_->union_section; }
void BimAsset::set_union_section(bool value) { objects::assignIfChanged(impl_->union_section, value, impl_->state); }
bool BimAsset::union_elevation() const { return impl_->union_elevation; }
void BimAsset::set_union_elevation(bool value) {
  objects::assignIfChanged(impl_->union_elevation, value, impl_->state);
}
MaterialFunction BimAsset::default_function() const { return impl_->default_function; }
void BimAsset::set_default_function(MaterialFunction value) {
  objects::assignIfChanged(impl_->default_function, value, impl_->state);
}
bool BimAsset::variable_thickness() const { return impl_->variable_thickness; }
void BimAsset::set_variable_thickness(bool value) {
  objects::assignIfChanged(impl_->variable_thickness, value, impl_->state);
}
const std::set<double>& BimAsset::thicknesses() const { return impl_->thicknesses; }
std::set<double>& BimAsset::set_thicknesses() {
  impl_->state.dirty = true;
  return impl_->thicknesses;
}

bool BimAsset::operator==(const BimAsset& other) const {
  const Impl& a = *impl_;
  const Impl& b = *other.impl_;
  return Object::operator==(other) && a.name == b.name && a.description == b.description &&
         sameLayer(a.layer, b.layer) && sameLayer(a.layer_elevation, b.layer_elevation) &&
         a.union_section == b.union_section && a.union_elevation == b.union_elevation &&
         a.default_function == b.default_function && a.variable_thickness == b.variable_thickness &&
         a.thicknesses == b.thicknesses;
}

namespace {

// A change of length system: the set is rebuilt, so thicknesses that become
// equal collapse into one.
void convertBimAssetLengths(Object& object, double factor) {
  BimAsset::Impl& a = static_cast<BimAsset&>(object).impl();
  std::set<double> converted;
  for (double t : a.thicknesses) converted.insert(t * factor);
  a.thicknesses = std::move(converted);
  a.state.dirty = true;
}

}  // namespace

const access::Mapping& objects::bimAssetMapping() {
  using C = BimAsset;
  static access::Mapping mapping(ObjectType::BimAsset, "BimAsset", &assetMapping(),
                                 &objects::instantiate<C>);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_BimAsset")
          .field(TARNLIB_FIELD(C, OdString, "name", name))
          .field(TARNLIB_FIELD(C, OdString, "description", description))
          .reference("layer_id", ObjectType::Layer, TARNLIB_REF(C, layer))
          .reference("layer_elevation_id", ObjectType::Layer, TARNLIB_REF(C, layer_elevation))
          .field(TARNLIB_FIELD(C, bool, "union_section", union_section))
          .field(TARNLIB_FIELD(C, bool, "union_elevation", union_elevation))
          .field(TARNLIB_FIELD(C, MaterialFunction, "default_function", default_function))
          .field(TARNLIB_FIELD(C, bool, "variable_thickness", variable_thickness))
          .container(access::collection<access::ValueSetCodec<double>>(
              schema::table("tarnlib_BimAsset_thicknesses"),
              +[](Object& o) { return &static_cast<C&>(o).impl().thicknesses; }))
          .lengths(&convertBimAssetLengths)
          .seal();
  return sealed;
}

}  // namespace tarnlib
