// Measures and units. A Measure is a physical quantity given by its exponents
// over the seven SI base quantities; a Unit is one way of showing a measure's
// values, with a display label and the scale factor to the measure's base unit.
// Per measure a library may prefer one unit (DefaultUnit), and per stored
// numeric column it may record the unit its values are kept in (ColumnUnit);
// both are plain records read and written through Library (library.h).
//
// Apart from these tables every library has one length system, LibraryUnit;
// convertUnit brings an object from one system into the other.
//
// Objects are used by one thread at a time (object.h).
#ifndef TARNLIB_UNIT_H_
#define TARNLIB_UNIT_H_

#include <cstdint>
#include <optional>

#include "tarnlib/criteria.h"
#include "tarnlib/library.h"
#include "tarnlib/object.h"

namespace tarnlib {

class TARNLIB_EXPORT Measure : public Object {
  TARNLIB_DECLARE_OBJECT(Measure)
  TARNLIB_DECLARE_PERSISTENT(Measure)

  // The exponents in the order of the table's columns; they are fixed once made.
  static TnSmartPtr<Measure> create(const OdString& name, short length, short mass, short time,
                                    short thermodynamic_temperature, short electric_current,
                                    short luminous_intensity, short amount_of_substance);

  const OdString& name() const;
  void set_name(const OdString& name);
  const OdString& description() const;
  void set_description(const OdString& description);
  short length() const;
  short mass() const;
  short time() const;
  short thermodynamic_temperature() const;
  short electric_current() const;
  short luminous_intensity() const;
  short amount_of_substance() const;

  // Same runtime class, name, description and every exponent.
  bool operator==(const Measure& other) const;
  bool operator!=(const Measure& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<Measure> {
  static constexpr ObjectType type = ObjectType::Measure;
  using unique_key_type = NameKey;
  using criteria_type = NameCriteria;
};

class TARNLIB_EXPORT Unit : public Object {
  TARNLIB_DECLARE_OBJECT(Unit)
  TARNLIB_DECLARE_PERSISTENT(Unit)

  // `scale` converts a value in this unit into the measure's base unit. Saving
  // refuses a unit without a measure (NullPointer) and a scale that is not a
  // positive finite number (DatabaseError); nothing is written then.
  static TnSmartPtr<Unit> create(const OdString& label, double scale, const TnSmartPtr<const Measure>& measure);
  static TnSmartPtr<Unit> create(const OdString& name, const OdString& label, double scale,
                                 const TnSmartPtr<const Measure>& measure);

  // Optional: unnamed units are told apart by measure and label alone.
  const OdString& name() const;  // empty when absent
  bool has_name() const;
  void set_name(const OdString& name);
  // The plain label ("kg/m^3"); formatUnitString gives its display form.
  const OdString& label() const;
  void set_label(const OdString& label);
  double scale() const;
  const TnSmartPtr<const Measure>& measure() const;

  // The exponents of the unit's measure; 0 without one.
  short length() const;
  short mass() const;
  short time() const;
  short thermodynamic_temperature() const;
  short electric_current() const;
  short luminous_intensity() const;
  short amount_of_substance() const;

  // Same runtime class; names by presence only (how units are matched across
  // libraries); labels equal; scales exactly equal; measures the same or equal.
  bool operator==(const Unit& other) const;
  bool operator!=(const Unit& other) const { return !(*this == other); }
};

// Units by name, label and the name of their measure; unset() on `name` keeps
// the unnamed ones.
struct TARNLIB_EXPORT UnitCriteria {
  StringCriteria name;
  StringCriteria label;
  StringCriteria measure;
};

template <>
struct ObjectTraits<Unit> {
  static constexpr ObjectType type = ObjectType::Unit;
  using unique_key_type = NameKey;
  using criteria_type = UnitCriteria;
};

// The unit a library prefers for one measure; one per measure.
class TARNLIB_EXPORT DefaultUnit {
 public:
  DefaultUnit(const TnSmartPtr<const Measure>& measure, const TnSmartPtr<const Unit>& unit)
      : measure_(measure), unit_(unit) {}
  const TnSmartPtr<const Measure>& measure() const { return measure_; }
  const TnSmartPtr<const Unit>& unit() const { return unit_; }
  void set_unit(const TnSmartPtr<const Unit>& unit) { unit_ = unit; }

 private:
  TnSmartPtr<const Measure> measure_;
  TnSmartPtr<const Unit> unit_;
};

// The unit the values of one stored column are kept in ("tarnlib_PhysicalAsset",
// "density"); one per table and column.
class TARNLIB_EXPORT ColumnUnit {
 public:
  ColumnUnit(const OdString& table, const OdString& column, const TnSmartPtr<const Unit>& unit)
      : table_(table), column_(column), unit_(unit) {}
  const OdString& table() const { return table_; }
  const OdString& column() const { return column_; }
  const TnSmartPtr<const Unit>& unit() const { return unit_; }
  void set_unit(const TnSmartPtr<const Unit>& unit) { unit_ = unit; }

 private:
  OdString table_;
  OdString column_;
  TnSmartPtr<const Unit> unit_;
};

// The display form of a plain unit label: "^" starts an exponent whose digits
// are raised (m^2 gives m², W/(m^2.K) gives W/(m²·K)); anything but a digit
// ends it, so a minus sign stays on the line (s^-1 gives s-1); "." becomes the
// middle dot. Never fails, whatever the text.
TARNLIB_EXPORT OdString formatUnitString(const OdString& text);

// The factor that takes a length from `from` into `to`: 25.4, 1/25.4 or 1.
TARNLIB_EXPORT double lengthFactor(LibraryUnit from, LibraryUnit to);

// Converts the lengths of `object` in place from one length system into the
// other: a shape's dimensions and offset, a composition's ply thicknesses and
// variable-ply bounds, a BIM asset's thicknesses (equal ones collapse). The
// other types have no lengths to convert, and equal systems change nothing.
// Instantiated for every catalogue class.
template <class T>
void convertUnit(const TnSmartPtr<T>& object, LibraryUnit from, LibraryUnit to);

}  // namespace tarnlib

#endif  // TARNLIB_UNIT_H_
