// Fields that the public interface fixes when an object is created, open to
// code inside the library that builds objects field by field (the XML reader).
#ifndef TARNLIB_OBJECTS_FIELD_ACCESS_H_
#define TARNLIB_OBJECTS_FIELD_ACCESS_H_

#include "tarnlib/custom_property.h"
#include "tarnlib/property.h"
#include "tarnlib/tag.h"
#include "tarnlib/unit.h"

namespace tarnlib::objects {

// The seven base-dimension exponents of a measure, in the order of its
// accessors (length, mass, time, temperature, current, intensity, amount).
constexpr int kMeasureExponents = 7;
void setMeasureExponent(Measure& measure, int index, short value);
short measureExponent(const Measure& measure, int index);

void setUnitScale(Unit& unit, double scale);
void setUnitMeasure(Unit& unit, const TnSmartPtr<const Measure>& measure);
void clearUnitName(Unit& unit);

void setNamespace(AbstractDefinition& definition, const TnSmartPtr<const PropertyNamespace>& ns);
void setNamespace(PropertySet& set, const TnSmartPtr<const PropertyNamespace>& ns);

void setObjectType(CustomProperty& property, ObjectType type);
void setTagName(Tag& tag, const OdString& name);

}  // namespace tarnlib::objects

#endif  // TARNLIB_OBJECTS_FIELD_ACCESS_H_
