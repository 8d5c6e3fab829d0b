// Tables of the library metadata, tags, layers, custom properties and assets.
#include "objects/tables.h"

namespace tarnlib::tables {

using db::ContainerKind;
using db::Table;

std::vector<Table> meta() {
  // The single metadata row takes its id from SQLite, but the column is a plain
  // rowid alias: this table never had AUTOINCREMENT.
  Table t = Table::plain("tarnlib_Meta");
  t.integer("id").primaryKey()
      .text("guid")
      .integer("unit", "1")
      .text("locale")
      .text("region");
  return {t};
}

std::vector<Table> tagsLayersProperties() {
  std::vector<Table> out;
  out.push_back(Table::root("tarnlib_Tag").text("name").uniqueIndex("name", {"name"}));
  // A property name is unique per object type, so the same name can exist once
  // for any type, once for materials and once for compositions.
  out.push_back(Table::root("tarnlib_CustomProperty")
                    .text("name")
                    .integer("object_type", "0")
                    .uniqueIndex("object_type_name", {"object_type", "name"}));
  out.push_back(Table::root("tarnlib_Layer").text("name").uniqueIndex("name", {"name"}));
  return out;
}

std::vector<Table> assets() {
  std::vector<Table> out;
  out.push_back(Table::root("tarnlib_Asset", true));
  // Names are unique per kind of asset, not across kinds.
  out.push_back(Table::derived("tarnlib_InformationAsset", "tarnlib_Asset")
                    .text("name")
                    .text("description")
                    .text("label")
                    .text("manufacturer")
                    .text("mark")
                    .text("model")
                    .text("classification")
                    .text("cost")
                    .text("keynote")
                    .text("url")
                    .text("unique_code").nullable()
                    .uniqueIndex("name", {"name"})
                    .uniqueIndex("unique_code", {"unique_code"}));
  out.push_back(Table::derived("tarnlib_PhysicalAsset", "tarnlib_Asset")
                    .text("name")
                    .text("description")
                    .real("density").nullable()
                    .real("specific_heat").nullable()
                    .real("thermal_conductivity").nullable()
                    .uniqueIndex("name", {"name"}));
  out.push_back(Table::derived("tarnlib_BimAsset", "tarnlib_Asset")
                    .text("name")
                    .text("description")
                    .reference("layer_id", "tarnlib_Layer").nullable()
                    .reference("layer_elevation_id", "tarnlib_Layer").nullable().since(1006)
                    .integer("union_section", "0")
                    .integer("union_elevation", "0").since(1005)
                    .integer("default_function", "0")
                    .integer("variable_thickness", "1")
                    .uniqueIndex("name", {"name"}));
  out.push_back(Table::container("tarnlib_BimAsset_thicknesses", "tarnlib_BimAsset",
                                 ContainerKind::Set)
                    .real("thickness").nullable());
  return out;
}

}  // namespace tarnlib::tables
