// Tables of the profile catalogue: standards, series names, the profile root,
// custom profiles and the parametric shapes.
#include "objects/tables.h"

namespace tarnlib::tables {

using db::ContainerKind;
using db::Table;

namespace {

constexpr int kProfileCatalogue = 1004;  // the step that created all profile tables

// A shape table holds only its own dimensions; its base's come through the id
// chain. Required or optional, every dimension is nullable without a default.
Table shape(const std::string& name, const std::string& base,
            std::initializer_list<const char*> dimensions) {
  Table t = Table::derived("tarnlib_" + name, "tarnlib_" + base);
  for (const char* d : dimensions) t.real(d).nullable();
  t.since_table(kProfileCatalogue);
  return t;
}

}  // namespace

std::vector<Table> profiles() {
  std::vector<Table> out;
  out.push_back(Table::root("tarnlib_ProfileStandard")
                    .text("name")
                    .uniqueIndex("name", {"name"})
                    .since_table(kProfileCatalogue));
  out.push_back(Table::root("tarnlib_ProfileName")
                    .reference("standard_id", "tarnlib_ProfileStandard").nullable()
                    .text("name")
                    .integer("type", "1")
                    .uniqueIndex("type_standard_name", {"type", "standard_id", "name"})
                    .since_table(kProfileCatalogue));
  // Both offset columns are NULL for a profile without offset.
  out.push_back(Table::root("tarnlib_Profile", true)
                    .reference("name_id", "tarnlib_ProfileName")
                    .text("size")
                    .text("description")
                    .reference("material_id", "tarnlib_Material").nullable()
                    .real("offset_x", "0").nullable().since(1009)
                    .real("offset_y", "0").nullable().since(1009)
                    .text("guid", "''").since(1012)
                    .uniqueIndex("name_size", {"name_id", "size"})
                    .since_table(kProfileCatalogue));
  out.push_back(Table::container("tarnlib_Profile_merge_guids", "tarnlib_Profile",
                                 ContainerKind::Set)
                    .text("value", "''")
                    .since_table(1012));
  out.push_back(Table::derived("tarnlib_CustomProfile", "tarnlib_Profile")
                    .text("geometry")
                    .since_table(kProfileCatalogue));
  return out;
}

std::vector<Table> shapes() {
  std::vector<Table> out;
  out.push_back(
      Table::derived("tarnlib_ParametrizedProfile", "tarnlib_Profile").since_table(kProfileCatalogue));
  const char* p = "ParametrizedProfile";
  out.push_back(shape("CircleProfile", p, {"radius"}));
  out.push_back(shape("CircleHollowProfile", "CircleProfile", {"wallThickness"}));
  out.push_back(shape("EllipseProfile", p, {"semiAxis1", "semiAxis2"}));
  out.push_back(shape("RectangleProfile", p, {"xDim", "yDim"}));
  out.push_back(shape("RectangleHollowProfile", "RectangleProfile",
                      {"wallThickness", "innerFilletRadius", "outerFilletRadius"}));
  out.push_back(shape("RoundedRectangleProfile", "RectangleProfile", {"roundingRadius"}));
  out.push_back(shape("TrapeziumProfile", p, {"bottomXDim", "topXDim", "yDim", "topXOffset"}));
  out.push_back(shape("CraneRailAShapeProfile", p,
                      {"overallHeight", "baseWidth2", "radius", "headWidth", "headDepth2",
                       "headDepth3", "webThickness", "baseWidth4", "baseDepth1", "baseDepth2",
                       "baseDepth3", "centreOfGravityInY"}));
  out.push_back(shape("CraneRailFShapeProfile", p,
                      {"overallHeight", "headWidth", "radius", "headDepth2", "headDepth3",
                       "webThickness", "baseDepth1", "baseDepth2", "centreOfGravityInY"}));
  out.push_back(shape("TShapeProfile", p,
                      {"depth", "flangeWidth", "webThickness", "flangeThickness", "filletRadius",
                       "flangeEdgeRadius", "webEdgeRadius", "webSlope", "flangeSlope",
                       "centreOfGravityInY"}));
  out.push_back(shape("ZShapeProfile", p,
                      {"depth", "flangeWidth", "webThickness", "flangeThickness", "filletRadius",
                       "edgeRadius"}));
  out.push_back(shape("CShapeProfile", p,
                      {"depth", "width", "wallThickness", "girth", "internalFilletRadius",
                       "centreOfGravityInX"}));
  out.push_back(shape("UShapeProfile", p,
                      {"depth", "flangeWidth", "webThickness", "flangeThickness", "filletRadius",
                       "edgeRadius", "flangeSlope", "centreOfGravityInX"}));
  out.push_back(shape("LShapeProfile", p,
                      {"depth", "width", "thickness", "filletRadius", "edgeRadius", "legSlope",
                       "centreOfGravityInX", "centreOfGravityInY"})
                    .since(1007));  // the last column, added after the table
  out.push_back(shape("IShapeProfile", p,
                      {"overallWidth", "overallDepth", "webThickness", "flangeThickness",
                       "filletRadius"}));
  out.push_back(shape("AsymmetricIShapeProfile", "IShapeProfile",
                      {"topFlangeWidth", "topFlangeThickness", "topFlangeFilletRadius",
                       "centreOfGravityInY"}));
  return out;
}

}  // namespace tarnlib::tables
