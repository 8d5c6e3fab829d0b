#include "tarnlib/composition.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "access/queries.h"
#include "core/schema.h"
#include "objects/carriers.h"
#include "objects/class_support.h"

namespace tarnlib {

// ---- CompositionType

struct CompositionType::Impl {
  ObjectState state;
  OdString name;
};

TARNLIB_DEFINE_OBJECT(CompositionType, Object)
TARNLIB_DEFINE_PERSISTENT(CompositionType)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(CompositionType);
TARNLIB_INSTANTIATE_KEY_LOOKUP(CompositionType, NameKey)

TnSmartPtr<CompositionType> CompositionType::create(const OdString& name) {
  objects::ensureClasses();
  TnSmartPtr<CompositionType> type(new CompositionType());
  type->impl_->name = name;
  return type;
}

const OdString& CompositionType::name() const { return impl_->name; }
void CompositionType::set_name(const OdString& name) {
  objects::assignIfChanged(impl_->name, name, impl_->state);
}

bool CompositionType::operator==(const CompositionType& other) const {
  return Object::operator==(other) && impl_->name == other.impl_->name;
}

const access::Mapping& objects::compositionTypeMapping() {
  static access::Mapping mapping(ObjectType::CompositionType, "CompositionType", nullptr,
                                 &objects::instantiate<CompositionType>);
  static const access::Mapping& sealed = mapping.table("tarnlib_CompositionType")
                                             .field(TARNLIB_FIELD(CompositionType, OdString, "name", name))
                                             .seal();
  return sealed;
}

// ---- Composition

struct Composition::Impl {
  ObjectState state;
  OdString name;
  Type type = Generic;
  TnSmartPtr<CompositionType> composition_type;
  OdString description;
  TnSmartPtr<const Layer> layer;
  OdString comments;
  std::vector<Ply> plies;
  std::uint32_t first_core_ply = 0;
  std::uint32_t last_core_ply = 0;
  std::uint32_t structural_ply = 0;
  std::optional<std::uint32_t> variable_ply;
  double variable_ply_min_thickness = 0.0;
  std::optional<double> variable_ply_max_thickness;
  // Empty until create() draws one: loading reads the stored GUID instead.
  Guid guid{OdString()};
  std::set<Guid> merge_guids;
  objects::TagList tags;
  CustomValues custom_values;
};

TARNLIB_DEFINE_OBJECT(Composition, Object)
TARNLIB_DEFINE_PERSISTENT(Composition)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(Composition);
TARNLIB_INSTANTIATE_KEY_LOOKUP(Composition, NameKey)

TnSmartPtr<Composition> Composition::create() {
  objects::ensureClasses();
  TnSmartPtr<Composition> composition(new Composition());
  composition->impl_->guid = Guid();
  return composition;
}

TnSmartPtr<Composition> Composition::create(const OdString& name) {
  TnSmartPtr<Composition> composition = create();
  composition->impl_->name = name;
  return composition;
}

#define TARNLIB_COMPOSITION_FIELD(Type, member)                     \
  const Type& Composition::member() const { return impl_->member; } \
  void Composition::set_##member(const Type& value) {               \
    objects::assignIfChanged(impl_->member, value, impl_->state);   \
  }

TARNLIB_COMPOSITION_FIELD(OdString, name)
TARNLIB_COMPOSITION_FIELD(TnSmartPtr<CompositionType>, composition_type)
TARNLIB_COMPOSITION_FIELD(OdString, description)
TARNLIB_COMPOSITION_FIELD(OdString, comments)
TARNLIB_COMPOSITION_FIELD(TnSmartPtr<const Layer>, layer)
TARNLIB_COMPOSITION_FIELD(Guid, guid)

#undef TARNLIB_COMPOSITION_FIELD

Composition::Type Composition::type() const { return impl_->type; }

void Composition::set_type(std::uint32_t bits) {
  // The priority is not the numeric order.
  static const Type kPriority[] = {Wall, Slab, Roof, Beam, Column, Member, Footing, Covering, Plate, Other};
  Type chosen = Generic;
  for (Type t : kPriority) {
    if (bits & t) {
      chosen = t;
      break;
    }
  }
  objects::assignIfChanged(impl_->type, chosen, impl_->state);
}

const std::set<Guid>& Composition::merge_guids() const { return impl_->merge_guids; }
std::set<Guid>& Composition::set_merge_guids() {
  impl_->state.dirty = true;
  return impl_->merge_guids;
}

// ---- Core range

namespace {

using Ply = Composition::Ply;

bool isStructure(const std::vector<Ply>& plies, std::uint64_t index) {
  return index < plies.size() && plies[index].function == MaterialFunction::Structure;
}

// The first (or last) Structure ply of [lo, hi] among the plies there are.
std::optional<std::uint32_t> structureIn(const std::vector<Ply>& plies, std::uint32_t lo, std::uint32_t hi,
                                         bool upward) {
  if (plies.empty() || lo > hi) return std::nullopt;
  const std::uint64_t top = std::min<std::uint64_t>(hi, plies.size() - 1);
  if (upward) {
    for (std::uint64_t i = lo; i <= top; ++i)
      if (isStructure(plies, i)) return static_cast<std::uint32_t>(i);
  } else {
    for (std::uint64_t i = top + 1; i-- > lo;)
      if (isStructure(plies, i)) return static_cast<std::uint32_t>(i);
  }
  return std::nullopt;
}

}  // namespace

std::uint32_t Composition::first_core_ply() const { return impl_->first_core_ply; }
std::uint32_t Composition::last_core_ply() const { return impl_->last_core_ply; }
std::uint32_t Composition::structural_ply() const { return impl_->structural_ply; }

void Composition::set_first_core_ply(std::uint32_t index) {
  Impl& c = *impl_;
  objects::assignIfChanged(c.first_core_ply, index, c.state);
  if (index > c.last_core_ply) set_last_core_ply(index);
  set_structural_ply(c.structural_ply);
}

void Composition::set_last_core_ply(std::uint32_t index) {
  Impl& c = *impl_;
  // Unsigned on purpose: without plies the bound wraps to 4294967295.
  const std::uint32_t bound = static_cast<std::uint32_t>(c.plies.size()) - 1u;
  const std::uint32_t last = std::min(index, bound);
  objects::assignIfChanged(c.last_core_ply, last, c.state);
  if (last < c.first_core_ply) set_first_core_ply(last);
  set_structural_ply(c.structural_ply);
}

void Composition::set_structural_ply(std::uint32_t index) {
  Impl& c = *impl_;
  std::uint32_t candidate = index;
  if (candidate < c.first_core_ply)
    candidate = structureIn(c.plies, c.first_core_ply, c.last_core_ply, true).value_or(c.first_core_ply);
  if (candidate > c.last_core_ply)
    candidate = structureIn(c.plies, c.first_core_ply, c.last_core_ply, false).value_or(c.last_core_ply);
  objects::assignIfChanged(c.structural_ply, candidate, c.state);
}

bool Composition::has_variable_ply() const { return impl_->variable_ply.has_value(); }
std::uint32_t Composition::variable_ply() const { return impl_->variable_ply.value_or(0); }
void Composition::set_variable_ply(std::uint32_t index) {
  objects::assignIfChanged(impl_->variable_ply, std::optional<std::uint32_t>(index), impl_->state);
}
void Composition::clear_variable_ply() {
  objects::assignIfChanged(impl_->variable_ply, std::optional<std::uint32_t>(), impl_->state);
}
double Composition::variable_ply_min_thickness() const { return impl_->variable_ply_min_thickness; }
void Composition::set_variable_ply_min_thickness(double value) {
  objects::assignIfChanged(impl_->variable_ply_min_thickness, value, impl_->state);
}
bool Composition::has_variable_ply_max_thickness() const {
  return impl_->variable_ply_max_thickness.has_value();
}
double Composition::variable_ply_max_thickness() const {
  return impl_->variable_ply_max_thickness.value_or(0.0);
}
void Composition::set_variable_ply_max_thickness(double value) {
  objects::assignIfChanged(impl_->variable_ply_max_thickness, std::optional<double>(value), impl_->state);
}
void Composition::clear_variable_ply_max_thickness() {
  objects::assignIfChanged(impl_->variable_ply_max_thickness, std::optional<double>(), impl_->state);
}

// ---- Plies

const std::vector<Composition::Ply>& Composition::plies() const { return impl_->plies; }
std::size_t Composition::plies_size() const { return impl_->plies.size(); }
const Composition::Ply& Composition::ply(std::uint32_t index) const { return impl_->plies.at(index); }
Composition::Ply& Composition::set_ply(std::uint32_t index) {
  Ply& ply = impl_->plies.at(index);
  impl_->state.dirty = true;
  return ply;
}
std::vector<Composition::Ply>::iterator Composition::set_plies_begin() {
  impl_->state.dirty = true;
  return impl_->plies.begin();
}
std::vector<Composition::Ply>::iterator Composition::set_plies_end() {
  impl_->state.dirty = true;
  return impl_->plies.end();
}

void Composition::append_ply(const Ply& ply) {
  impl_->plies.push_back(ply);
  impl_->state.dirty = true;
}

// The marks are compared and shifted as they were before the edit: a cascade
// inside one setter (first raising last) must not count as a second shift.
void Composition::insert_ply(std::uint32_t index, const Ply& ply) {
  Impl& c = *impl_;
  if (index > c.plies.size()) throw std::out_of_range("ply index out of range");
  c.plies.insert(c.plies.begin() + index, ply);
  c.state.dirty = true;
  const std::uint32_t first = c.first_core_ply;
  const std::uint32_t last = c.last_core_ply;
  const std::uint32_t structural = c.structural_ply;
  if (index <= first) set_first_core_ply(first + 1);
  if (index <= last) set_last_core_ply(last + 1);
  if (index <= structural) set_structural_ply(structural + 1);
  if (c.variable_ply && index <= *c.variable_ply) ++*c.variable_ply;
}

void Composition::remove_ply(std::uint32_t index) {
  Impl& c = *impl_;
  if (index >= c.plies.size()) throw std::out_of_range("ply index out of range");
  c.plies.erase(c.plies.begin() + index);
  c.state.dirty = true;
  const std::uint32_t first = c.first_core_ply;
  const std::uint32_t last = c.last_core_ply;
  const std::uint32_t structural = c.structural_ply;
  if (index < first) set_first_core_ply(first - 1);
  if (index <= last) set_last_core_ply(last - 1);
  if (index <= structural) set_structural_ply(structural - 1);
  if (c.variable_ply) {
    if (index < *c.variable_ply) {
      --*c.variable_ply;
    } else if (index == *c.variable_ply) {
      c.variable_ply.reset();
    }
  }
}

void Composition::move_ply(std::uint32_t from, std::uint32_t to) {
  Impl& c = *impl_;
  const Ply moved = c.plies.at(from);
  const bool variable = c.variable_ply == from;
  remove_ply(from);
  const std::uint32_t target = std::min<std::uint32_t>(to, static_cast<std::uint32_t>(c.plies.size()));
  insert_ply(target, moved);
  if (variable) c.variable_ply = target;
}

// ---- Tags and custom values

const std::vector<TnSmartPtr<Tag>>& Composition::tags() const { return impl_->tags; }
std::vector<TnSmartPtr<Tag>>& Composition::set_tags() {
  impl_->state.dirty = true;
  return impl_->tags;
}
void Composition::add_tag(const TnSmartPtr<Tag>& tag) { objects::addTag(impl_->tags, tag, impl_->state); }
void Composition::add_tag(const OdString& name) {
  objects::addTag(impl_->tags, Tag::create(name), impl_->state);
}
void Composition::remove_tag(const TnSmartPtr<Tag>& tag) {
  objects::removeTag(impl_->tags, tag, impl_->state);
}
void Composition::remove_tag(const OdString& name) { objects::removeTag(impl_->tags, name, impl_->state); }
void Composition::remove_tag(const wchar_t* name) { remove_tag(OdString(name ? name : L"")); }

void Composition::set_custom_value(const TnSmartPtr<const CustomProperty>& property, const OdString& value) {
  objects::setCustomValue(impl_->custom_values, ObjectType::Composition, property, value, impl_->state);
}
void Composition::set_custom_value(const OdString& name, const OdString& value) {
  objects::setCustomValue(impl_->custom_values, ObjectType::Composition, name, value, impl_->state);
}
bool Composition::has_custom_value(const TnSmartPtr<const CustomProperty>& property) const {
  return objects::hasCustomValue(impl_->custom_values, property);
}
bool Composition::has_custom_value(const OdString& name) const {
  return objects::hasCustomValue(impl_->custom_values, name);
}
OdString Composition::custom_value(const TnSmartPtr<const CustomProperty>& property) const {
  return objects::customValue(impl_->custom_values, property);
}
OdString Composition::custom_value(const OdString& name) const {
  return objects::customValue(impl_->custom_values, name);
}
void Composition::clear_custom_value(const TnSmartPtr<const CustomProperty>& property) {
  objects::clearCustomValue(impl_->custom_values, property, impl_->state);
}
void Composition::clear_custom_value(const OdString& name) {
  objects::clearCustomValue(impl_->custom_values, name, impl_->state);
}
void Composition::clear_custom_values() { objects::clearCustomValues(impl_->custom_values, impl_->state); }
const Composition::CustomValues& Composition::custom_values() const { return impl_->custom_values; }
Composition::CustomValues::iterator Composition::set_custom_values_begin() {
  impl_->state.dirty = true;
  return impl_->custom_values.begin();
}
Composition::CustomValues::iterator Composition::set_custom_values_end() {
  impl_->state.dirty = true;
  return impl_->custom_values.end();
}

namespace {

bool samePlies(const std::vector<Ply>& a, const std::vector<Ply>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const Ply& x, const Ply& y) {
    return objects::sameValue(x.material, y.material) && x.function == y.function &&
           x.thickness == y.thickness;
  });
}

}  // namespace

bool Composition::operator==(const Composition& other) const {
  const Impl& a = *impl_;
  const Impl& b = *other.impl_;
  using objects::sameValue;
  return Object::operator==(other) && a.name == b.name && a.type == b.type &&
         sameValue(a.composition_type, b.composition_type) && a.description == b.description &&
         sameValue(a.layer, b.layer) && a.comments == b.comments && samePlies(a.plies, b.plies) &&
         a.first_core_ply == b.first_core_ply && a.last_core_ply == b.last_core_ply &&
         a.structural_ply == b.structural_ply && a.variable_ply == b.variable_ply &&
         a.variable_ply_min_thickness == b.variable_ply_min_thickness &&
         a.variable_ply_max_thickness == b.variable_ply_max_thickness && objects::sameTags(a.tags, b.tags) &&
         a.custom_values == b.custom_values;
}

// ---- Storage

namespace access {

Query queryFor(const Mapping& mapping, const CompositionCriteria& criteria) {
  return tagFilteredQuery(
      mapping, criteria.tags,
      [&criteria](const std::string& table, std::string& where, std::vector<SqlValue>& values) {
        appendCondition(criteria.name, table + ".\"name\"", where, values);
        if (criteria.types == 0 && criteria.type_ids.empty()) return;
        // One alternative per type bit, lowest first, and one for the
        // composition types: a composition matches any of them.
        std::string any;
        for (std::uint32_t bit = 1; bit != 0 && bit <= criteria.types; bit <<= 1) {
          if (!(criteria.types & bit)) continue;
          any += (any.empty() ? "" : " OR ") + table + ".\"type\" = ?";
          values.emplace_back(static_cast<std::int64_t>(bit));
        }
        if (!criteria.type_ids.empty()) {
          std::string marks;
          for (std::uint32_t id : criteria.type_ids) {
            marks += marks.empty() ? "?" : ", ?";
            values.emplace_back(static_cast<std::int64_t>(id));
          }
          any += (any.empty() ? "" : " OR ") + table + ".\"composition_type_id\" IN (" + marks + ")";
        }
        appendAnd(where, "(" + any + ")");
      });
}

}  // namespace access

namespace {

// Rows of "tarnlib_Composition_plies": "material_id", "function", "thickness".
struct PlyCodec {
  using Collection = std::vector<Ply>;
  using Element = Ply;
  static constexpr bool kHasRef = true;
  static constexpr ObjectType kRefTarget = ObjectType::Material;
  static void refs(Collection& plies, std::vector<access::RefSlot>& out) {
    for (Ply& ply : plies) out.push_back(access::refSlot(ply.material));
  }
  static void write(const Collection& plies, access::RowWriter& writer) {
    const int first = writer.firstParam();
    for (const Ply& ply : plies) {
      writer.stmt().bind(first, ply.material->id());
      access::bindValue(writer.stmt(), first + 1, ply.function);
      writer.stmt().bind(first + 2, ply.thickness);
      writer.row();
    }
  }
  static Element read(const db::Statement& row, int firstColumn) {
    Ply ply;
    access::readValue(row, firstColumn, ply.function);
    // The thickness column admits NULL; such a ply has the default thickness.
    if (!row.isNull(firstColumn + 1)) ply.thickness = row.real(firstColumn + 1);
    return ply;
  }
  static access::RefSlot ref(Element& ply) { return access::refSlot(ply.material); }
  static void insert(Collection& plies, Element&& ply) { plies.push_back(std::move(ply)); }
};

// A change of length system: every ply, then the variable ply's bounds.
void convertCompositionLengths(Object& object, double factor) {
  Composition::Impl& c = static_cast<Composition&>(object).impl();
  c.state.dirty = true;
  for (Ply& ply : c.plies) ply.thickness *= factor;
  c.variable_ply_min_thickness *= factor;
  if (c.variable_ply_max_thickness) *c.variable_ply_max_thickness *= factor;
}

void beforeCompositionWrite(Object& object, access::WriteContext& context) {
  objects::resolveCustomProperties(object, static_cast<Composition&>(object).impl().custom_values,
                                   ObjectType::Composition, context);
}

}  // namespace

const access::Mapping& objects::compositionMapping() {
  using C = Composition;
  static access::Mapping mapping(ObjectType::Composition, "Composition", nullptr, &objects::instantiate<C>);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_Composition")
          .field(TARNLIB_FIELD(C, OdString, "name", name))
          .field(TARNLIB_FIELD(C, Composition::Type, "type", type))
          .reference("composition_type_id", ObjectType::CompositionType, TARNLIB_REF(C, composition_type))
          .field(TARNLIB_FIELD(C, OdString, "description", description))
          .reference("layer_id", ObjectType::Layer, TARNLIB_REF(C, layer))
          .field(TARNLIB_FIELD(C, OdString, "comments", comments))
          .field(TARNLIB_FIELD(C, std::uint32_t, "first_core_ply", first_core_ply))
          .field(TARNLIB_FIELD(C, std::uint32_t, "last_core_ply", last_core_ply))
          .field(TARNLIB_FIELD(C, std::uint32_t, "structural_ply", structural_ply))
          .field(TARNLIB_FIELD(C, std::optional<std::uint32_t>, "variable_ply", variable_ply))
          .field(TARNLIB_FIELD(C, double, "variable_ply_min_thickness", variable_ply_min_thickness))
          .field(TARNLIB_FIELD(C, std::optional<double>, "variable_ply_max_thickness",
                               variable_ply_max_thickness))
          .field(TARNLIB_FIELD(C, Guid, "guid", guid))
          .container(objects::tagsBinding(
              "tarnlib_Composition_tags", +[](Object& o) { return &static_cast<C&>(o).impl().tags; }))
          .container(access::collection<PlyCodec>(
              schema::table("tarnlib_Composition_plies"),
              +[](Object& o) { return &static_cast<C&>(o).impl().plies; }))
          .container(objects::customValuesBinding(
              "tarnlib_Composition_custom_values",
              +[](Object& o) { return &static_cast<C&>(o).impl().custom_values; }))
          .container(access::collection<access::ValueSetCodec<Guid>>(
              schema::table("tarnlib_Composition_merge_guids"),
              +[](Object& o) { return &static_cast<C&>(o).impl().merge_guids; }))
          .beforeWrite(&beforeCompositionWrite)
          .lengths(&convertCompositionLengths)
          .seal();
  return sealed;
}

// ---- Free functions

double calcCompositionThickness(TnSmartPtr<Composition> composition, int& variablePly) {
  variablePly = -1;
  if (!composition) return 0.0;
  if (composition->has_variable_ply()) variablePly = static_cast<int>(composition->variable_ply());
  double total = 0.0;
  const auto& plies = composition->plies();
  for (std::size_t i = 0; i < plies.size(); ++i)
    if (static_cast<int>(i) != variablePly) total += plies[i].thickness;
  return total;
}

void defaultPly(Composition::Ply& ply, TnSmartPtr<const Material> material) {
  ply.material = material;
  ply.function = MaterialFunction::None;
  ply.thickness = 0.0;
  if (!material || !material->bim_asset()) return;
  const BimAsset& asset = *material->bim_asset();
  ply.function = asset.default_function();
  if (!asset.thicknesses().empty()) ply.thickness = *asset.thicknesses().begin();
}

}  // namespace tarnlib
