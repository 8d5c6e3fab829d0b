// Tables of material types, materials, composition types and compositions.
#include "objects/tables.h"

namespace tarnlib::tables {

using db::ContainerKind;
using db::Table;

namespace {

// A pattern is stored flattened under its prefix; the annotative flag and the
// background colour came with later schema versions.
void patternColumns(Table& t, const std::string& prefix) {
  t.integer(prefix + "type", "-1")
      .text(prefix + "name")
      .real(prefix + "scale", "1")
      .real(prefix + "angle", "0")
      .integer(prefix + "cross", "0")
      .integer(prefix + "annotative", "0").since(1010)
      .integer(prefix + "background_color_type", "-1").since(1013)
      .real(prefix + "background_color_red", "0").since(1013)
      .real(prefix + "background_color_green", "0").since(1013)
      .real(prefix + "background_color_blue", "0").since(1013)
      .real(prefix + "background_color_alpha", "0").since(1013);
}

Table tags(const std::string& owner) {
  return Table::container(owner + "_tags", owner, ContainerKind::Ordered)
      .reference("tag_id", "tarnlib_Tag");
}

Table customValues(const std::string& owner) {
  return Table::container(owner + "_custom_values", owner, ContainerKind::Map)
      .reference("property_id", "tarnlib_CustomProperty").nullable()
      .text("value");
}

}  // namespace

std::vector<Table> materials() {
  std::vector<Table> out;
  out.push_back(Table::root("tarnlib_MaterialType").text("name").uniqueIndex("name", {"name"}));

  Table material = Table::root("tarnlib_Material");
  material.text("name")
      .reference("type_id", "tarnlib_MaterialType")
      .text("description")
      .text("comments")
      .text("appearance");
  patternColumns(material, "cut_pattern_");
  patternColumns(material, "surface_pattern_");
  material.reference("information_asset_id", "tarnlib_InformationAsset").nullable()
      .reference("physical_asset_id", "tarnlib_PhysicalAsset").nullable()
      .reference("bim_asset_id", "tarnlib_BimAsset").nullable()
      .uniqueIndex("name", {"name"});
  out.push_back(std::move(material));

  out.push_back(tags("tarnlib_Material"));
  out.push_back(customValues("tarnlib_Material"));
  return out;
}

std::vector<Table> compositions() {
  std::vector<Table> out;
  out.push_back(Table::root("tarnlib_CompositionType")
                    .text("name")
                    .uniqueIndex("name", {"name"})
                    .since_table(1008));
  out.push_back(Table::root("tarnlib_Composition")
                    .text("name")
                    .integer("type", "128")
                    .reference("composition_type_id", "tarnlib_CompositionType").nullable()
                    .since(1008)
                    .text("description")
                    .reference("layer_id", "tarnlib_Layer").nullable()
                    .text("comments")
                    .integer("first_core_ply", "0")
                    .integer("last_core_ply", "0")
                    .integer("structural_ply", "0")
                    .integer("variable_ply").nullable()
                    .real("variable_ply_min_thickness", "0")
                    .real("variable_ply_max_thickness").nullable()
                    .text("guid", "''").since(1012)
                    .uniqueIndex("name", {"name"}));
  out.push_back(tags("tarnlib_Composition"));
  out.push_back(Table::container("tarnlib_Composition_plies", "tarnlib_Composition",
                                 ContainerKind::Ordered)
                    .reference("material_id", "tarnlib_Material")
                    .integer("function", "0")
                    .real("thickness", "1").nullable());
  out.push_back(customValues("tarnlib_Composition"));
  out.push_back(Table::container("tarnlib_Composition_merge_guids", "tarnlib_Composition",
                                 ContainerKind::Set)
                    .text("value", "''")
                    .since_table(1012));
  return out;
}

}  // namespace tarnlib::tables
