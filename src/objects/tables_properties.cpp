// Tables of measures and units, and of property namespaces, entity types,
// definitions and property sets. All of them came with step 1011.
#include "objects/tables.h"

namespace tarnlib::tables {

using db::ContainerKind;
using db::Table;

namespace {

constexpr int kUnitsAndProperties = 1011;

}  // namespace

std::vector<Table> units() {
  std::vector<Table> out;
  out.push_back(Table::root("tarnlib_Measure")
                    .text("name")
                    .text("description", "''")
                    .integer("length", "0")
                    .integer("mass", "0")
                    .integer("time", "0")
                    .integer("thermodynamic_temperature", "0")
                    .integer("electric_current", "0")
                    .integer("luminous_intensity", "0")
                    .integer("amount_of_substance", "0")
                    .uniqueIndex("name", {"name"}));
  // Unnamed units have a NULL name, which the unique name index lets repeat.
  out.push_back(Table::root("tarnlib_Unit")
                    .text("name").nullable()
                    .text("label")
                    .real("scale", "1")
                    .reference("measure_id", "tarnlib_Measure")
                    .uniqueIndex("name", {"name"})
                    .uniqueIndex("measure_label", {"measure_id", "label"}));
  out.push_back(Table::root("tarnlib_ColumnUnit")
                    .text("table")
                    .text("column")
                    .reference("unit_id", "tarnlib_Unit")
                    .uniqueIndex("table_column", {"table", "column"}));
  // Keyed by its measure: one default per measure.
  out.push_back(Table::plain("tarnlib_DefaultUnit")
                    .reference("measure_id", "tarnlib_Measure").primaryKey()
                    .reference("unit_id", "tarnlib_Unit").nullable());
  for (Table& t : out) t.since_table(kUnitsAndProperties);
  return out;
}

std::vector<Table> properties() {
  std::vector<Table> out;
  out.push_back(Table::root("tarnlib_EntityType").text("name").uniqueIndex("name", {"name"}));
  out.push_back(Table::root("tarnlib_PropertyNamespace")
                    .text("name")
                    .text("label").nullable()
                    .integer("editable", "1")
                    .integer("visible", "1")
                    .integer("revision", "0")
                    .uniqueIndex("name", {"name"})
                    .uniqueIndex("label", {"label"}));
  // A row written without type columns is a single text value.
  out.push_back(Table::root("tarnlib_AbstractDefinition", true)
                    .reference("namespace_id", "tarnlib_PropertyNamespace")
                    .text("name")
                    .text("label").nullable()
                    .text("description", "''")
                    .integer("type_structure", "1")
                    .integer("type_value_type", "11")
                    .integer("type_key_type", "0")
                    .reference("unit_id", "tarnlib_Unit").nullable()
                    .integer("visible", "1")
                    .uniqueIndex("name_ns", {"name", "namespace_id"}));
  out.push_back(Table::derived("tarnlib_PropertyDefinition", "tarnlib_AbstractDefinition")
                    .text("type_spec", "''")
                    .text("default_value", "''"));
  out.push_back(Table::derived("tarnlib_ValueDefinition", "tarnlib_AbstractDefinition")
                    .text("value_spec", "''"));
  out.push_back(Table::root("tarnlib_PropertySet")
                    .reference("namespace_id", "tarnlib_PropertyNamespace")
                    .text("name")
                    .text("label").nullable()
                    .integer("per_instance", "0")
                    .text("ifc_name").nullable()
                    .integer("visible", "1")
                    .uniqueIndex("name_ns", {"name", "namespace_id"}));
  out.push_back(Table::container("tarnlib_PropertySet_definitions", "tarnlib_PropertySet",
                                 ContainerKind::Ordered)
                    .reference("abstract_definition_id", "tarnlib_AbstractDefinition"));
  out.push_back(Table::container("tarnlib_PropertySet_entity_types", "tarnlib_PropertySet",
                                 ContainerKind::Ordered)
                    .reference("entity_type_id", "tarnlib_EntityType"));
  for (Table& t : out) t.since_table(kUnitsAndProperties);
  return out;
}

}  // namespace tarnlib::tables
