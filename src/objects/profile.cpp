// Profile standards, series names, the profile root, custom profiles, their
// keys and criteria, the picker query, and the two comparisons over any pair.
#include "tarnlib/profile.h"

#include <algorithm>

#include "core/schema.h"
#include "access/row_query.h"
#include "objects/carriers.h"
#include "objects/profile_support.h"
#include "tarnlib/library.h"
#include "tarnlib/profile_shapes.h"

namespace tarnlib {

const wchar_t* profileTypeName(ProfileType type) {
  switch (type) {
    case ProfileType::Generic:
      return L"Generic";
    case ProfileType::StructuralConcrete:
      return L"StructuralConcrete";
    case ProfileType::StructuralSteel:
      return L"StructuralSteel";
    case ProfileType::HVAC:
      return L"HVAC";
    case ProfileType::Piping:
      return L"Piping";
    case ProfileType::Electrical:
      return L"Electrical";
  }
  return nullptr;
}

// ---- ProfileStandard

struct ProfileStandard::Impl {
  ObjectState state;
  OdString name;
};

TARNLIB_DEFINE_OBJECT(ProfileStandard, Object)
TARNLIB_DEFINE_PERSISTENT(ProfileStandard)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(ProfileStandard);
TARNLIB_INSTANTIATE_KEY_LOOKUP(ProfileStandard, NameKey)

TnSmartPtr<ProfileStandard> ProfileStandard::create(const OdString& name) {
  objects::ensureClasses();
  TnSmartPtr<ProfileStandard> standard(new ProfileStandard());
  standard->impl_->name = name;
  return standard;
}

const OdString& ProfileStandard::name() const { return impl_->name; }
void ProfileStandard::set_name(const OdString& name) { objects::assignIfChanged(impl_->name, name, impl_->state); }
bool ProfileStandard::operator==(const ProfileStandard& other) const { return impl_->name == other.impl_->name; }

// ---- ProfileName

struct ProfileName::Impl {
  ObjectState state;
  TnSmartPtr<ProfileStandard> standard;
  OdString name;
  ProfileType type = ProfileType::Generic;
};

TARNLIB_DEFINE_OBJECT(ProfileName, Object)
TARNLIB_DEFINE_PERSISTENT(ProfileName)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(ProfileName);
TARNLIB_INSTANTIATE_KEY_LOOKUP(ProfileName, ProfileNameKey)

TnSmartPtr<ProfileName> ProfileName::create(const OdString& name, ProfileType type) {
  return create(TnSmartPtr<ProfileStandard>(), name, type);
}

TnSmartPtr<ProfileName> ProfileName::create(const TnSmartPtr<ProfileStandard>& standard, const OdString& name,
                                            ProfileType type) {
  objects::ensureClasses();
  TnSmartPtr<ProfileName> series(new ProfileName());
  series->impl_->standard = standard;
  series->impl_->name = name;
  series->impl_->type = type;
  return series;
}

const TnSmartPtr<ProfileStandard>& ProfileName::standard() const { return impl_->standard; }
void ProfileName::set_standard(const TnSmartPtr<ProfileStandard>& standard) {
  objects::assignIfChanged(impl_->standard, standard, impl_->state);
}
const OdString& ProfileName::name() const { return impl_->name; }
void ProfileName::set_name(const OdString& name) { objects::assignIfChanged(impl_->name, name, impl_->state); }
ProfileType ProfileName::type() const { return impl_->type; }
void ProfileName::set_type(ProfileType type) { objects::assignIfChanged(impl_->type, type, impl_->state); }

bool ProfileName::operator==(const ProfileName& other) const {
  return Object::operator==(other) && objects::sameValue(impl_->standard, other.impl_->standard) &&
         impl_->name == other.impl_->name && impl_->type == other.impl_->type;
}

// ---- Keys

ProfileNameKey::ProfileNameKey() : type(ProfileType::Generic) {}

namespace {

// The id of `object` in the destination of `mapping`, or its own.
std::uint32_t mappedId(const Object* object, const IdMapping& mapping) {
  if (!object) return 0;
  IdMapping::Value value;
  if (mapping.compute(IdMapping::Key(object->tarnlibType(), object->id(), object->library().get()), value))
    return value.id;
  return object->id();
}

}  // namespace

ProfileKey ProfileKey::make(const Profile& profile, const IdMapping& mapping) {
  return ProfileKey(mappedId(profile.name().get(), mapping), profile.size());
}

ProfileNameKey ProfileNameKey::make(const ProfileName& name, const IdMapping& mapping) {
  return ProfileNameKey(name.name(), mappedId(name.standard().get(), mapping), name.type());
}

// ---- Profile

TARNLIB_DEFINE_ABSTRACT_OBJECT(Profile, Object)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(Profile);
TARNLIB_INSTANTIATE_KEY_LOOKUP(Profile, ProfileKey)

Profile::Profile() : impl_(std::make_unique<Impl>()) {}
Profile::Profile(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Profile::~Profile() = default;
ObjectState& Profile::state() { return impl_->state; }
const ObjectState& Profile::state() const { return impl_->state; }

const TnSmartPtr<ProfileName>& Profile::name() const { return impl_->name; }
void Profile::set_name(const TnSmartPtr<ProfileName>& name) { objects::assignIfChanged(impl_->name, name, impl_->state); }
const OdString& Profile::size() const { return impl_->size; }
void Profile::set_size(const OdString& size) { objects::assignIfChanged(impl_->size, size, impl_->state); }
const OdString& Profile::description() const { return impl_->description; }
void Profile::set_description(const OdString& description) {
  objects::assignIfChanged(impl_->description, description, impl_->state);
}
const TnSmartPtr<Material>& Profile::material() const { return impl_->material; }
void Profile::set_material(const TnSmartPtr<Material>& material) {
  objects::assignIfChanged(impl_->material, material, impl_->state);
}
const Vector2d& Profile::offset() const {
  static const Vector2d none;
  return impl_->offset ? *impl_->offset : none;
}
bool Profile::has_offset() const { return impl_->offset.has_value(); }
void Profile::set_offset(const Vector2d& offset) {
  objects::assignIfChanged(impl_->offset, std::optional<Vector2d>(offset), impl_->state);
}
void Profile::clear_offset() { objects::assignIfChanged(impl_->offset, std::optional<Vector2d>(), impl_->state); }
const Guid& Profile::guid() const { return impl_->guid; }
void Profile::set_guid(const Guid& guid) { objects::assignIfChanged(impl_->guid, guid, impl_->state); }
const std::set<Guid>& Profile::merge_guids() const { return impl_->merge_guids; }
std::set<Guid>& Profile::set_merge_guids() {
  impl_->state.dirty = true;
  return impl_->merge_guids;
}

void Profile::convertByScaling(double) {}

bool Profile::operator==(const Profile& other) const {
  const Impl& a = *impl_;
  const Impl& b = *other.impl_;
  // Only the presence of the offsets is compared, on purpose: their values
  // belong to the placement, not to the catalogue entry.
  return Object::operator==(other) && objects::sameValue(a.name, b.name) && a.size == b.size &&
         a.description == b.description && objects::sameValue(a.material, b.material) &&
         a.offset.has_value() == b.offset.has_value();
}

// ---- CustomProfile and ParametrizedProfile

TARNLIB_DEFINE_OBJECT(CustomProfile, Profile)
TARNLIB_DEFINE_PROFILE_CLASS(CustomProfile, Profile)

const OdString& CustomProfile::geometry() const { return impl_->geometry; }
void CustomProfile::set_geometry(const OdString& geometry) {
  objects::assignIfChanged(impl_->geometry, geometry, impl_->state);
}
bool CustomProfile::operator==(const CustomProfile& other) const {
  return Profile::operator==(other) && impl_->geometry == other.impl_->geometry;
}
bool CustomProfile::scaledEqual(const CustomProfile&, double& scale) const {
  scale = 0.0;
  return false;
}

TARNLIB_DEFINE_ABSTRACT_OBJECT(ParametrizedProfile, Profile)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(ParametrizedProfile);
TARNLIB_INSTANTIATE_KEY_LOOKUP(ParametrizedProfile, ProfileKey)

ParametrizedProfile::ParametrizedProfile(std::unique_ptr<Profile::Impl> impl) : Profile(std::move(impl)) {}

// ---- The comparisons over any pair

namespace {

struct Comparison {
  OdRxClass* (*desc)();
  bool (*equal)(const Profile& a, const Profile& b);
  bool (*scaled)(const Profile& a, const Profile& b, double& scale);
};

template <class C>
Comparison comparisonOf() {
  return {&C::desc,
          [](const Profile& a, const Profile& b) { return static_cast<const C&>(a) == static_cast<const C&>(b); },
          [](const Profile& a, const Profile& b, double& scale) {
            return static_cast<const C&>(a).scaledEqual(static_cast<const C&>(b), scale);
          }};
}

// Derived classes before their bases, so that the most-derived comparison
// applies. The order is part of the behaviour: keep it.
const std::vector<Comparison>& comparisons() {
  static const std::vector<Comparison> order = {
      comparisonOf<CustomProfile>(),          comparisonOf<AsymmetricIShapeProfile>(),
      comparisonOf<IShapeProfile>(),          comparisonOf<LShapeProfile>(),
      comparisonOf<UShapeProfile>(),          comparisonOf<CShapeProfile>(),
      comparisonOf<ZShapeProfile>(),          comparisonOf<TShapeProfile>(),
      comparisonOf<TrapeziumProfile>(),       comparisonOf<RoundedRectangleProfile>(),
      comparisonOf<RectangleHollowProfile>(), comparisonOf<RectangleProfile>(),
      comparisonOf<EllipseProfile>(),         comparisonOf<CircleHollowProfile>(),
      comparisonOf<CircleProfile>(),          comparisonOf<CraneRailFShapeProfile>(),
      comparisonOf<CraneRailAShapeProfile>(),
  };
  return order;
}

}  // namespace

bool equalProfiles(const TnSmartPtr<Profile>& a, const TnSmartPtr<Profile>& b) {
  if (!a || !b) return false;
  for (const Comparison& c : comparisons()) {
    if (!a->isKindOf(c.desc())) continue;
    // The class found for `a` decides; `b` must be one too.
    return b->isKindOf(c.desc()) && c.equal(*a, *b);
  }
  return false;
}

bool scaledEqualProfiles(const TnSmartPtr<Profile>& a, const TnSmartPtr<Profile>& b, double& scale) {
  scale = 0.0;
  if (!a || !b) return false;
  for (const Comparison& c : comparisons()) {
    // Unlike equalProfiles, a `b` of another class sends the search on to the
    // bases, so that related shapes compare as their common base.
    if (a->isKindOf(c.desc()) && b->isKindOf(c.desc())) return c.scaled(*a, *b, scale);
  }
  return false;
}

// ---- Queries

namespace access {

namespace {

const char* const kProfileJoins =
    " FROM \"tarnlib_Profile\" AS \"p\""
    " JOIN \"tarnlib_ProfileName\" AS \"n\" ON \"n\".\"id\" = \"p\".\"name_id\""
    " LEFT JOIN \"tarnlib_ProfileStandard\" AS \"s\" ON \"s\".\"id\" = \"n\".\"standard_id\"";

void appendTypeMask(std::uint32_t types, const std::string& column, std::string& where,
                    std::vector<SqlValue>& values) {
  if (types == 0) return;
  appendAnd(where, "(" + column + " & ?) <> 0");
  values.emplace_back(static_cast<std::int64_t>(types));
}

// The conditions of `criteria` over the aliases of kProfileJoins.
void profileConditions(const ProfileCriteria& criteria, std::string& where, std::vector<SqlValue>& values) {
  appendCondition(criteria.size, "\"p\".\"size\"", where, values);
  appendCondition(criteria.series, "\"n\".\"name\"", where, values);
  appendCondition(criteria.standard, "\"s\".\"name\"", where, values);
  appendTypeMask(criteria.types, "\"n\".\"type\"", where, values);
  if (!criteria.classes.empty()) {
    std::string marks;
    for (ObjectType type : criteria.classes) {
      marks += marks.empty() ? "?" : ", ?";
      values.emplace_back(mappingOf(type).typeId());
    }
    appendAnd(where, "\"p\".\"typeid\" IN (" + marks + ")");
  }
}

}  // namespace

Query queryFor(const Mapping& mapping, const ProfileKey& key) {
  return whereQuery(columnOf(mapping, "name_id") + " = ? AND " + columnOf(mapping, "size") + " = ?",
                    {static_cast<std::int64_t>(key.name_id), key.size.toUtf8()});
}

Query queryFor(const Mapping& mapping, const ProfileNameKey& key) {
  // "IS" matches a NULL standard when the key has none (bound as NULL).
  std::vector<SqlValue> values{key.name.toUtf8(), static_cast<std::int64_t>(key.type)};
  values.push_back(key.standard_id ? SqlValue(static_cast<std::int64_t>(key.standard_id)) : SqlValue(nullptr));
  return whereQuery(columnOf(mapping, "name") + " = ? AND " + columnOf(mapping, "type") + " = ? AND " +
                        columnOf(mapping, "standard_id") + " IS ?",
                    std::move(values));
}

Query queryFor(const Mapping& mapping, const ProfileNameCriteria& criteria) {
  std::string where;
  std::vector<SqlValue> values;
  appendCondition(criteria.name, columnOf(mapping, "name"), where, values);
  appendTypeMask(criteria.types, columnOf(mapping, "type"), where, values);
  if (criteria.standard.mode() == StringCriteria::Mode::unset) {
    appendAnd(where, columnOf(mapping, "standard_id") + " IS NULL");
  } else if (criteria.standard) {
    std::string inner;
    appendCondition(criteria.standard, "\"name\"", inner, values);
    appendAnd(where, columnOf(mapping, "standard_id") +
                         " IN (SELECT \"id\" FROM \"tarnlib_ProfileStandard\" WHERE " + inner + ")");
  }
  return whereQuery(std::move(where), std::move(values));
}

Query queryFor(const Mapping& mapping, const ProfileCriteria& criteria) {
  std::string where;
  std::vector<SqlValue> values;
  profileConditions(criteria, where, values);
  if (where.empty()) return whereQuery(std::string(), {});
  return whereQuery(db::quote(mapping.table().name()) + ".\"id\" IN (SELECT \"p\".\"id\"" + kProfileJoins +
                        " WHERE " + where + ")",
                    std::move(values));
}

}  // namespace access

template <>
void Library::get<ProfilesPanelQuery>(std::vector<ProfilesPanelQuery::Row>& out,
                                      const ProfilesPanelQuery& query) const {
  std::string where;
  std::vector<access::SqlValue> values;
  access::profileConditions(query.filter, where, values);
  const std::string sql =
      std::string("SELECT \"p\".\"id\", \"p\".\"typeid\", \"n\".\"name\", \"s\".\"name\", \"p\".\"size\", "
                  "\"n\".\"type\"") +
      access::kProfileJoins + (where.empty() ? "" : " WHERE " + where) +
      " ORDER BY \"s\".\"name\", \"n\".\"name\", \"p\".\"id\"";
  const auto rows = access::queryRows<ProfilesPanelQuery::Row>(*this, sql, values, [](const db::Statement& stmt) {
    ProfilesPanelQuery::Row row;
    row.id = stmt.id(0);
    const access::Mapping* mapping = access::mappingOfTypeId(stmt.utf8(1));
    row.profile_class = mapping ? mapping->type() : ObjectType::Profile;
    row.series = stmt.text(2);
    row.standard = stmt.text(3);
    row.size = stmt.text(4);
    row.type = static_cast<ProfileType>(stmt.int64(5));
    return row;
  });
  out.insert(out.end(), rows.begin(), rows.end());
}

// ---- Mappings

namespace {

// A profile saved without a GUID gets the one that opening an older file
// gives it: name-based on its standard, series and size, in the namespace of
// the library's GUID. The same entry in two copies of a library thus agrees.
void beforeProfileWrite(Object& object, access::WriteContext& context) {
  Profile::Impl& p = static_cast<Profile&>(object).impl();
  if (!p.guid.toString().isEmpty() || !p.name) return;
  OdString text;
  if (p.name->standard()) text += p.name->standard()->name();
  text += p.name->name();
  text += p.size;
  OdString ns = context.library().guid();
  if (ns.isEmpty()) ns = kLibraryGuidFallbackNamespace;
  p.guid = Guid(nameBasedGuid(ns, text));
}

// Both offset columns are NULL for a profile without an offset.
access::FieldBinding offsetField(const char* column, double Vector2d::*axis) {
  access::FieldBinding b;
  b.column = column;
  b.bind = [axis](const Object& o, db::Statement& s, int param) {
    const Profile::Impl& p = static_cast<const Profile&>(o).impl();
    if (p.offset) access::bindValue(s, param, (*p.offset).*axis);
    else s.bindNull(param);
  };
  b.read = [axis](Object& o, const db::Statement& row, int c) {
    Profile::Impl& p = static_cast<Profile&>(o).impl();
    if (row.isNull(c)) return;
    if (!p.offset) p.offset = Vector2d{};
    (*p.offset).*axis = row.real(c);
  };
  return b;
}

}  // namespace

const access::Mapping& objects::profileStandardMapping() {
  using C = ProfileStandard;
  static access::Mapping mapping(ObjectType::ProfileStandard, "ProfileStandard", nullptr, &objects::instantiate<C>);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_ProfileStandard").field(TARNLIB_FIELD(C, OdString, "name", name)).seal();
  return sealed;
}

const access::Mapping& objects::profileNameMapping() {
  using C = ProfileName;
  static access::Mapping mapping(ObjectType::ProfileName, "ProfileName", nullptr, &objects::instantiate<C>);
  static const access::Mapping& sealed = mapping.table("tarnlib_ProfileName")
                                             .reference("standard_id", ObjectType::ProfileStandard,
                                                        TARNLIB_REF(C, standard))
                                             .field(TARNLIB_FIELD(C, OdString, "name", name))
                                             .field(TARNLIB_FIELD(C, ProfileType, "type", type))
                                             .seal();
  return sealed;
}

const access::Mapping& objects::profileMapping() {
  using C = Profile;
  static access::Mapping mapping(ObjectType::Profile, "Profile", nullptr, nullptr);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_Profile")
          .reference("name_id", ObjectType::ProfileName, TARNLIB_REF(C, name))
          .field(TARNLIB_FIELD(C, OdString, "size", size))
          .field(TARNLIB_FIELD(C, OdString, "description", description))
          .reference("material_id", ObjectType::Material, TARNLIB_REF(C, material))
          .field(offsetField("offset_x", &Vector2d::x))
          .field(offsetField("offset_y", &Vector2d::y))
          .field(TARNLIB_FIELD(C, Guid, "guid", guid))
          .container(access::collection<access::ValueSetCodec<Guid>>(
              schema::table("tarnlib_Profile_merge_guids"),
              +[](Object& o) { return &static_cast<C&>(o).impl().merge_guids; }))
          .beforeWrite(&beforeProfileWrite)
          .seal();
  return sealed;
}

const access::Mapping& objects::customProfileMapping() {
  using C = CustomProfile;
  static access::Mapping mapping(ObjectType::CustomProfile, "CustomProfile", &profileMapping(),
                                 &objects::instantiate<C>);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_CustomProfile").field(TARNLIB_FIELD(C, OdString, "geometry", geometry)).seal();
  return sealed;
}

const access::Mapping& objects::parametrizedProfileMapping() {
  static access::Mapping mapping(ObjectType::ParametrizedProfile, "ParametrizedProfile", &profileMapping(),
                                 nullptr);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_ParametrizedProfile")
          .lengths(+[](Object& o, double factor) { static_cast<Profile&>(o).convertByScaling(factor); })
          .seal();
  return sealed;
}

}  // namespace tarnlib
