// Measures and units, the default and column unit records a library keeps of
// them, the label formatter and the conversion between length systems.
#include "tarnlib/unit.h"

#include <cmath>
#include <functional>
#include <map>

#include "access/loader.h"
#include "core/transaction_impl.h"
#include "db/error.h"
#include "objects/class_support.h"
#include "objects/field_access.h"
#include "tarnlib/asset.h"
#include "tarnlib/composition.h"
#include "tarnlib/custom_property.h"
#include "tarnlib/layer.h"
#include "tarnlib/material.h"
#include "tarnlib/profile_shapes.h"
#include "tarnlib/property.h"
#include "tarnlib/tag.h"

namespace tarnlib {

// ---- Measure

struct Measure::Impl {
  ObjectState state;
  OdString name;
  OdString description;
  short length = 0;
  short mass = 0;
  short time = 0;
  short thermodynamic_temperature = 0;
  short electric_current = 0;
  short luminous_intensity = 0;
  short amount_of_substance = 0;

  bool operator==(const Impl& o) const {
    return name == o.name && description == o.description && length == o.length && mass == o.mass &&
           time == o.time && thermodynamic_temperature == o.thermodynamic_temperature &&
           electric_current == o.electric_current && luminous_intensity == o.luminous_intensity &&
           amount_of_substance == o.amount_of_substance;
  }
};

TARNLIB_DEFINE_OBJECT(Measure, Object)
TARNLIB_DEFINE_PERSISTENT(Measure)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(Measure);
TARNLIB_INSTANTIATE_KEY_LOOKUP(Measure, NameKey)

TnSmartPtr<Measure> Measure::create(const OdString& name, short length, short mass, short time,
                                    short thermodynamic_temperature, short electric_current,
                                    short luminous_intensity, short amount_of_substance) {
  objects::ensureClasses();
  TnSmartPtr<Measure> measure(new Measure());
  Impl& m = *measure->impl_;
  m.name = name;
  m.length = length;
  m.mass = mass;
  m.time = time;
  m.thermodynamic_temperature = thermodynamic_temperature;
  m.electric_current = electric_current;
  m.luminous_intensity = luminous_intensity;
  m.amount_of_substance = amount_of_substance;
  return measure;
}

const OdString& Measure::name() const { return impl_->name; }
void Measure::set_name(const OdString& name) { objects::assignIfChanged(impl_->name, name, impl_->state); }
const OdString& Measure::description() const { return impl_->description; }
void Measure::set_description(const OdString& description) {
  objects::assignIfChanged(impl_->description, description, impl_->state);
}

#define TARNLIB_EXPONENTS(Class, of)                                                                \
  short Class::length() const { return of.length; }                                                 \
  short Class::mass() const { return of.mass; }                                                     \
  short Class::time() const { return of.time; }                                                     \
  short Class::thermodynamic_temperature() const { return of.thermodynamic_temperature; }           \
  short Class::electric_current() const { return of.electric_current; }                             \
  short Class::luminous_intensity() const { return of.luminous_intensity; }                         \
  short Class::amount_of_substance() const { return of.amount_of_substance; }

TARNLIB_EXPONENTS(Measure, (*impl_))

bool Measure::operator==(const Measure& other) const {
  return Object::operator==(other) && *impl_ == *other.impl_;
}

// ---- Unit

struct Unit::Impl {
  ObjectState state;
  std::optional<OdString> name;
  OdString label;
  double scale = 1.0;
  TnSmartPtr<const Measure> measure;
};

TARNLIB_DEFINE_OBJECT(Unit, Object)
TARNLIB_DEFINE_PERSISTENT(Unit)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(Unit);
TARNLIB_INSTANTIATE_KEY_LOOKUP(Unit, NameKey)

TnSmartPtr<Unit> Unit::create(const OdString& label, double scale, const TnSmartPtr<const Measure>& measure) {
  objects::ensureClasses();
  TnSmartPtr<Unit> unit(new Unit());
  unit->impl_->label = label;
  unit->impl_->scale = scale;
  unit->impl_->measure = measure;
  return unit;
}

TnSmartPtr<Unit> Unit::create(const OdString& name, const OdString& label, double scale,
                              const TnSmartPtr<const Measure>& measure) {
  TnSmartPtr<Unit> unit = create(label, scale, measure);
  unit->impl_->name = name;
  return unit;
}

const OdString& Unit::name() const {
  static const OdString none;
  return impl_->name ? *impl_->name : none;
}
bool Unit::has_name() const { return impl_->name.has_value(); }
void Unit::set_name(const OdString& name) {
  objects::assignIfChanged(impl_->name, std::optional<OdString>(name), impl_->state);
}
const OdString& Unit::label() const { return impl_->label; }
void Unit::set_label(const OdString& label) { objects::assignIfChanged(impl_->label, label, impl_->state); }
double Unit::scale() const { return impl_->scale; }
const TnSmartPtr<const Measure>& Unit::measure() const { return impl_->measure; }

#define TARNLIB_UNIT_EXPONENT(name) \
  short Unit::name() const { return impl_->measure ? impl_->measure->name() : 0; }
TARNLIB_UNIT_EXPONENT(length)
TARNLIB_UNIT_EXPONENT(mass)
TARNLIB_UNIT_EXPONENT(time)
TARNLIB_UNIT_EXPONENT(thermodynamic_temperature)
TARNLIB_UNIT_EXPONENT(electric_current)
TARNLIB_UNIT_EXPONENT(luminous_intensity)
TARNLIB_UNIT_EXPONENT(amount_of_substance)

bool Unit::operator==(const Unit& other) const {
  const Impl& a = *impl_;
  const Impl& b = *other.impl_;
  // Names by presence only: that is how units are matched across libraries.
  const bool sameMeasure = a.measure.get() == b.measure.get() || (a.measure && b.measure && *a.measure == *b.measure);
  return Object::operator==(other) && a.name.has_value() == b.name.has_value() && a.label == b.label &&
         a.scale == b.scale && sameMeasure;
}

// ---- Formatting and conversion

OdString formatUnitString(const OdString& text) {
  std::wstring out;
  bool exponent = false;
  const wchar_t* c = text.c_str();
  for (int i = 0; i < text.getLength(); ++i) {
    const wchar_t ch = c[i];
    if (exponent) {
      if (ch >= L'0' && ch <= L'9') {
        out.push_back(ch == L'1' ? L'\u00b9' : ch == L'2' ? L'\u00b2' : ch == L'3' ? L'\u00b3'
                                                                      : static_cast<wchar_t>(ch + 0x2040));
        continue;
      }
      exponent = false;
    }
    if (ch == L'^') exponent = true;
    else if (ch == L'.') out.push_back(L'\u00b7');
    else out.push_back(ch);
  }
  return OdString(out.c_str());
}

double lengthFactor(LibraryUnit from, LibraryUnit to) {
  if (from == LibraryUnit::Inch && to == LibraryUnit::Millimeter) return 25.4;
  if (from == LibraryUnit::Millimeter && to == LibraryUnit::Inch) return 1.0 / 25.4;
  return 1.0;
}

template <class T>
void convertUnit(const TnSmartPtr<T>& object, LibraryUnit from, LibraryUnit to) {
  if (!object || from == to) return;
  // The dynamic class decides: a Profile pointer may hold any shape.
  if (auto convert = access::mappingOf(object->tarnlibType()).lengthConversion())
    convert(*object, lengthFactor(from, to));
}

#define TARNLIB_INSTANTIATE_CONVERT_UNIT(T) \
  template void convertUnit<T>(const TnSmartPtr<T>&, LibraryUnit, LibraryUnit);

TARNLIB_INSTANTIATE_CONVERT_UNIT(Tag)
TARNLIB_INSTANTIATE_CONVERT_UNIT(Layer)
TARNLIB_INSTANTIATE_CONVERT_UNIT(CustomProperty)
TARNLIB_INSTANTIATE_CONVERT_UNIT(Asset)
TARNLIB_INSTANTIATE_CONVERT_UNIT(InformationAsset)
TARNLIB_INSTANTIATE_CONVERT_UNIT(PhysicalAsset)
TARNLIB_INSTANTIATE_CONVERT_UNIT(BimAsset)
TARNLIB_INSTANTIATE_CONVERT_UNIT(MaterialType)
TARNLIB_INSTANTIATE_CONVERT_UNIT(Material)
TARNLIB_INSTANTIATE_CONVERT_UNIT(CompositionType)
TARNLIB_INSTANTIATE_CONVERT_UNIT(Composition)
TARNLIB_INSTANTIATE_CONVERT_UNIT(ProfileStandard)
TARNLIB_INSTANTIATE_CONVERT_UNIT(ProfileName)
TARNLIB_INSTANTIATE_CONVERT_UNIT(Profile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(CustomProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(ParametrizedProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(CircleProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(CircleHollowProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(EllipseProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(RectangleProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(RectangleHollowProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(RoundedRectangleProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(TrapeziumProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(CraneRailAShapeProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(CraneRailFShapeProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(TShapeProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(ZShapeProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(CShapeProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(UShapeProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(LShapeProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(IShapeProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(AsymmetricIShapeProfile)
TARNLIB_INSTANTIATE_CONVERT_UNIT(Measure)
TARNLIB_INSTANTIATE_CONVERT_UNIT(Unit)
TARNLIB_INSTANTIATE_CONVERT_UNIT(PropertyNamespace)
TARNLIB_INSTANTIATE_CONVERT_UNIT(EntityType)
TARNLIB_INSTANTIATE_CONVERT_UNIT(AbstractDefinition)
TARNLIB_INSTANTIATE_CONVERT_UNIT(PropertyDefinition)
TARNLIB_INSTANTIATE_CONVERT_UNIT(ValueDefinition)
TARNLIB_INSTANTIATE_CONVERT_UNIT(PropertySet)

// ---- Queries and mappings

namespace access {

Query queryFor(const Mapping& mapping, const UnitCriteria& criteria) {
  std::string where;
  std::vector<SqlValue> values;
  appendCondition(criteria.name, columnOf(mapping, "name"), where, values);
  appendCondition(criteria.label, columnOf(mapping, "label"), where, values);
  if (criteria.measure) {
    std::string inner;
    appendCondition(criteria.measure, "\"name\"", inner, values);
    appendAnd(where, columnOf(mapping, "measure_id") + " IN (SELECT \"id\" FROM \"tarnlib_Measure\" WHERE " +
                         inner + ")");
  }
  return whereQuery(std::move(where), std::move(values));
}

}  // namespace access

namespace {

// A scale turns every value of the unit into the base unit: zero, a negative
// or a non-finite one would turn them into nonsense.
void beforeUnitWrite(Object& object, access::WriteContext&) {
  const double scale = static_cast<Unit&>(object).scale();
  if (std::isfinite(scale) && scale > 0) return;
  throw db::Error(db::Condition::Database, 20, 20,
                  "the scale of unit \"" + static_cast<Unit&>(object).label().toUtf8() +
                      "\" must be a positive finite number");
}

}  // namespace

const access::Mapping& objects::measureMapping() {
  using C = Measure;
  static access::Mapping mapping(ObjectType::Measure, "Measure", nullptr, &objects::instantiate<C>);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_Measure")
          .field(TARNLIB_FIELD(C, OdString, "name", name))
          .field(TARNLIB_FIELD(C, OdString, "description", description))
          .field(TARNLIB_FIELD(C, short, "length", length))
          .field(TARNLIB_FIELD(C, short, "mass", mass))
          .field(TARNLIB_FIELD(C, short, "time", time))
          .field(TARNLIB_FIELD(C, short, "thermodynamic_temperature", thermodynamic_temperature))
          .field(TARNLIB_FIELD(C, short, "electric_current", electric_current))
          .field(TARNLIB_FIELD(C, short, "luminous_intensity", luminous_intensity))
          .field(TARNLIB_FIELD(C, short, "amount_of_substance", amount_of_substance))
          .seal();
  return sealed;
}

const access::Mapping& objects::unitMapping() {
  using C = Unit;
  static access::Mapping mapping(ObjectType::Unit, "Unit", nullptr, &objects::instantiate<C>);
  static const access::Mapping& sealed = mapping.table("tarnlib_Unit")
                                             .field(TARNLIB_FIELD(C, std::optional<OdString>, "name", name))
                                             .field(TARNLIB_FIELD(C, OdString, "label", label))
                                             .field(TARNLIB_FIELD(C, double, "scale", scale))
                                             .reference("measure_id", ObjectType::Measure, TARNLIB_REF(C, measure))
                                             .beforeWrite(&beforeUnitWrite)
                                             .seal();
  return sealed;
}

// ---- Default and column units

namespace {

std::shared_ptr<Library> selfOf(const Library& library) {
  return std::const_pointer_cast<Library>(library.shared_from_this());
}

// The objects of `type` with the given ids, by id, loaded in one batch.
std::map<std::uint32_t, TnSmartPtr<Object>> loadById(const Library& library, Transaction::Impl& tx,
                                                     ObjectType type, const std::vector<std::uint32_t>& ids) {
  std::map<std::uint32_t, TnSmartPtr<Object>> out;
  if (ids.empty()) return out;
  std::vector<TnSmartPtr<Object>> loaded;
  access::Loader(selfOf(library), tx.connection()).load(access::mappingOf(type), access::Selection::of(ids), loaded);
  for (auto& object : loaded) out.emplace(object->id(), object);
  return out;
}

TnSmartPtr<const Unit> unitOf(const TnSmartPtr<Object>& object) {
  return TnSmartPtr<const Unit>(static_cast<const Unit*>(object.get()));
}

// The unit one row names, read inside the operation's transaction.
TnSmartPtr<const Unit> unitWhere(const Library& library, const std::string& sql,
                                 const std::vector<std::string>& values) {
  return inTransaction(library, Access::Read, [&](Transaction::Impl& tx) -> TnSmartPtr<const Unit> {
    auto stmt = tx.connection().prepare(sql);
    for (std::size_t i = 0; i < values.size(); ++i) stmt->bind(static_cast<int>(i), values[i]);
    if (!stmt->step() || stmt->isNull(0)) return TnSmartPtr<const Unit>();
    const std::uint32_t id = stmt->id(0);
    stmt->reset();
    return unitOf(access::Loader(selfOf(library), tx.connection()).loadOne(access::mappingOf(ObjectType::Unit), id));
  });
}

// Saves the unit, then points the record that `update` finds by `key` at it,
// or inserts the record when there is none yet. `update` binds the unit's id
// first and the key after it; `insert` the key first.
void recordUnit(Library& library, const TnSmartPtr<const Unit>& unit, const std::string& update,
                const std::string& insert,
                const std::function<std::vector<access::SqlValue>(const Unit& stored)>& key) {
  if (!unit) return;
  inTransaction(library, Access::Write, [&](Transaction::Impl& tx) {
    IdMapping mapping(&library);
    TnSmartPtr<Object> stored = access::saveObject(library, *unit, mapping);
    const std::uint32_t unitId = stored->id();
    const std::vector<access::SqlValue> values = key(static_cast<const Unit&>(*stored));
    auto stmt = tx.connection().prepare(update);
    stmt->bind(0, unitId);
    for (std::size_t i = 0; i < values.size(); ++i) access::bindSqlValue(*stmt, static_cast<int>(i + 1), values[i]);
    if (stmt->exec() > 0) return;
    auto add = tx.connection().prepare(insert);
    for (std::size_t i = 0; i < values.size(); ++i) access::bindSqlValue(*add, static_cast<int>(i), values[i]);
    add->bind(static_cast<int>(values.size()), unitId);
    add->exec();
  });
}

}  // namespace

TnSmartPtr<const Unit> Library::defaultUnit(const OdString& measureName) const {
  return unitWhere(*this,
                   "SELECT \"d\".\"unit_id\" FROM \"tarnlib_DefaultUnit\" AS \"d\" JOIN \"tarnlib_Measure\" AS \"m\" "
                   "ON \"m\".\"id\" = \"d\".\"measure_id\" WHERE \"m\".\"name\" = ?",
                   {measureName.toUtf8()});
}

void Library::setDefaultUnit(const TnSmartPtr<const Unit>& unit) {
  recordUnit(*this, unit, "UPDATE \"tarnlib_DefaultUnit\" SET \"unit_id\"=? WHERE \"measure_id\"=?",
             "INSERT INTO \"tarnlib_DefaultUnit\" (\"measure_id\", \"unit_id\") VALUES (?, ?)",
             [](const Unit& stored) {
               return std::vector<access::SqlValue>{static_cast<std::int64_t>(stored.measure()->id())};
             });
}

std::vector<DefaultUnit> Library::defaultUnits() const {
  return inTransaction(*this, Access::Read, [&](Transaction::Impl& tx) {
    std::vector<std::pair<std::uint32_t, std::uint32_t>> rows;
    {
      auto stmt = tx.connection().prepare(
          "SELECT \"d\".\"measure_id\", \"d\".\"unit_id\" FROM \"tarnlib_DefaultUnit\" AS \"d\" JOIN "
          "\"tarnlib_Measure\" AS \"m\" ON \"m\".\"id\" = \"d\".\"measure_id\" ORDER BY \"m\".\"name\"");
      while (stmt->step()) rows.emplace_back(stmt->id(0), stmt->isNull(1) ? 0 : stmt->id(1));
    }
    std::vector<std::uint32_t> measureIds, unitIds;
    for (const auto& [m, u] : rows) {
      measureIds.push_back(m);
      if (u) unitIds.push_back(u);
    }
    auto measures = loadById(*this, tx, ObjectType::Measure, measureIds);
    auto units = loadById(*this, tx, ObjectType::Unit, unitIds);
    std::vector<DefaultUnit> out;
    for (const auto& [m, u] : rows) {
      auto measure = measures.find(m);
      if (measure == measures.end()) continue;
      auto unit = units.find(u);
      out.emplace_back(TnSmartPtr<const Measure>(static_cast<const Measure*>(measure->second.get())),
                       unit == units.end() ? TnSmartPtr<const Unit>() : unitOf(unit->second));
    }
    return out;
  });
}

bool Library::removeDefaultUnit(const OdString& measureName) {
  return inTransaction(*this, Access::Write, [&](Transaction::Impl& tx) {
    auto stmt = tx.connection().prepare(
        "DELETE FROM \"tarnlib_DefaultUnit\" WHERE \"measure_id\" IN "
        "(SELECT \"id\" FROM \"tarnlib_Measure\" WHERE \"name\" = ?)");
    stmt->bind(0, measureName);
    return stmt->exec() > 0;
  });
}

TnSmartPtr<const Unit> Library::columnUnit(const OdString& table, const OdString& column) const {
  return unitWhere(*this, "SELECT \"unit_id\" FROM \"tarnlib_ColumnUnit\" WHERE \"table\" = ? AND \"column\" = ?",
                   {table.toUtf8(), column.toUtf8()});
}

void Library::setColumnUnit(const OdString& table, const OdString& column, const TnSmartPtr<const Unit>& unit) {
  recordUnit(*this, unit, "UPDATE \"tarnlib_ColumnUnit\" SET \"unit_id\"=? WHERE \"table\"=? AND \"column\"=?",
             "INSERT INTO \"tarnlib_ColumnUnit\" (\"table\", \"column\", \"unit_id\") VALUES (?, ?, ?)",
             [&](const Unit&) { return std::vector<access::SqlValue>{table.toUtf8(), column.toUtf8()}; });
}

std::vector<ColumnUnit> Library::columnUnits() const {
  return inTransaction(*this, Access::Read, [&](Transaction::Impl& tx) {
    struct Row {
      OdString table, column;
      std::uint32_t unit;
    };
    std::vector<Row> rows;
    std::vector<std::uint32_t> unitIds;
    {
      auto stmt = tx.connection().prepare(
          "SELECT \"table\", \"column\", \"unit_id\" FROM \"tarnlib_ColumnUnit\" ORDER BY \"table\", \"column\"");
      while (stmt->step()) {
        rows.push_back(Row{stmt->text(0), stmt->text(1), stmt->id(2)});
        unitIds.push_back(rows.back().unit);
      }
    }
    auto units = loadById(*this, tx, ObjectType::Unit, unitIds);
    std::vector<ColumnUnit> out;
    for (const Row& row : rows) {
      auto unit = units.find(row.unit);
      if (unit != units.end()) out.emplace_back(row.table, row.column, unitOf(unit->second));
    }
    return out;
  });
}

bool Library::removeColumnUnit(const OdString& table, const OdString& column) {
  return inTransaction(*this, Access::Write, [&](Transaction::Impl& tx) {
    auto stmt = tx.connection().prepare("DELETE FROM \"tarnlib_ColumnUnit\" WHERE \"table\" = ? AND \"column\" = ?");
    stmt->bind(0, table).bind(1, column);
    return stmt->exec() > 0;
  });
}

// ---- Field access for builders

namespace {

short Measure::Impl::*const kExponents[objects::kMeasureExponents] = {
    &Measure::Impl::length,           &Measure::Impl::mass,
    &Measure::Impl::time,             &Measure::Impl::thermodynamic_temperature,
    &Measure::Impl::electric_current, &Measure::Impl::luminous_intensity,
    &Measure::Impl::amount_of_substance};

}  // namespace

void objects::setMeasureExponent(Measure& measure, int index, short value) {
  objects::assignIfChanged(measure.impl().*kExponents[index], value, measure.impl().state);
}
short objects::measureExponent(const Measure& measure, int index) { return measure.impl().*kExponents[index]; }
void objects::setUnitScale(Unit& unit, double scale) {
  objects::assignIfChanged(unit.impl().scale, scale, unit.impl().state);
}
void objects::clearUnitName(Unit& unit) {
  if (!unit.impl().name) return;
  unit.impl().name.reset();
  unit.impl().state.dirty = true;
}
void objects::setUnitMeasure(Unit& unit, const TnSmartPtr<const Measure>& measure) {
  objects::assignIfChanged(unit.impl().measure, measure, unit.impl().state);
}

}  // namespace tarnlib
