// Objects as records: what "tarn show" prints and what --json writes.
//
// A record is a JSON object: "class" (the object's own class, so an asset
// listed as Asset says which kind it is), "id", then every field in the class's
// order under the library's names for them.
// A reference to another object is that object's name (null when absent), an
// absent optional value is null, an enumeration is its name. The text form is
// the same record as aligned lines.
//
// A profile's record names its series ("series", with the series' "standard"
// and "type"), and carries the library's length "unit", which its "offset" and
// a shape's "dimensions" (each by its stored name, in column order) are in. The
// text form writes the unit after each length, "absent" for an absent one, and
// no "unit" line.
//
// Where the library records the unit of a column (Library::columnUnit), a
// record of a physical asset or a shape has "units", the unit label of each
// such field, or of each such dimension; a dimension without one is in the
// length "unit". The text form writes the unit's display form (formatUnitString)
// after the value instead, and no "units" line. References to units are their
// plain labels; the text form shows those in display form too.
//
// A property set's record lists its "definitions" in order, each with its
// class, id, name, type, unit and default value; the text form shows them as
// a table.
#ifndef TARN_DESCRIBE_H_
#define TARN_DESCRIBE_H_

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>

#include "tarnlib/tarnlib.h"

namespace tarn {

using Json = nlohmann::ordered_json;

Json describe(const tarnlib::Object& object);
// The name the object is listed and found by: its name, or a profile's size
// text; empty for a class outside the type table.
std::string nameOf(const tarnlib::Object& object);

// One per concrete class, called through the type table (types.h).
void describeFields(const tarnlib::Tag& tag, Json& record);
void describeFields(const tarnlib::Layer& layer, Json& record);
void describeFields(const tarnlib::CustomProperty& property, Json& record);
void describeFields(const tarnlib::InformationAsset& asset, Json& record);
void describeFields(const tarnlib::PhysicalAsset& asset, Json& record);
void describeFields(const tarnlib::BimAsset& asset, Json& record);
void describeFields(const tarnlib::MaterialType& type, Json& record);
void describeFields(const tarnlib::Material& material, Json& record);
void describeFields(const tarnlib::CompositionType& type, Json& record);
void describeFields(const tarnlib::Composition& composition, Json& record);
void describeFields(const tarnlib::ProfileStandard& standard, Json& record);
void describeFields(const tarnlib::ProfileName& series, Json& record);
void describeFields(const tarnlib::CustomProfile& profile, Json& record);
void describeFields(const tarnlib::ParametrizedProfile& profile, Json& record);  // every shape
void describeFields(const tarnlib::Measure& measure, Json& record);
void describeFields(const tarnlib::Unit& unit, Json& record);
void describeFields(const tarnlib::PropertyNamespace& ns, Json& record);
void describeFields(const tarnlib::EntityType& type, Json& record);
void describeFields(const tarnlib::PropertyDefinition& definition, Json& record);
void describeFields(const tarnlib::ValueDefinition& definition, Json& record);
void describeFields(const tarnlib::PropertySet& set, Json& record);

// Enumerations as the records spell them; a value without a name as its number.
std::string functionName(tarnlib::MaterialFunction function);
std::string unitName(tarnlib::LibraryUnit unit);         // "mm" or "in"
std::string compositionTypeName(std::uint32_t type);     // one Composition::Type bit
std::string profileTypeText(tarnlib::ProfileType type);  // "StructuralSteel"
// The structure, then for a map the key type, then the value type:
// "Single Double", "Array String", "Map String Double"; "Undefined".
std::string propertyTypeText(const tarnlib::PropertyType& type);

// A measure's dimension in SI base units, the positive powers first, each in
// the order of the exponents (m, kg, s, K, A, cd, mol): "kg·m⁻³",
// "m·kg·s⁻³·K⁻¹"; "1" for a dimensionless measure.
std::string dimensionText(const tarnlib::Measure& measure);
// A plain unit label in its display form: "W/(m^2.K)" gives "W/(m²·K)".
std::string displayLabel(const std::string& label);
// The plain label of the unit the library records for a column; empty when
// it records none. Read once per library.
std::string columnUnitLabel(const tarnlib::Library& library, const std::string& table,
                            const std::string& column);
// The number of characters of a UTF-8 text, for aligning columns.
std::size_t displayWidth(const std::string& text);

// A scalar as text: a string through printable() (common.h), a number in its shortest exact form,
// yes/no for a boolean, "-" for null.
std::string text(const Json& value);

// Prints "CLASS ID" and then the fields as aligned lines, nested values indented.
void printRecord(std::ostream& out, const Json& record);
// Prints the members of a JSON object as aligned "key  value" lines.
void printFields(std::ostream& out, const Json& object, std::size_t indent = 0);

}  // namespace tarn

#endif  // TARN_DESCRIBE_H_
