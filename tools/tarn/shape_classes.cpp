#include "shape_classes.h"

#include <utility>

#include "types.h"

namespace tarn {

using namespace tarnlib;  // the sixteen class names, many times over

namespace {

template <class S>
struct Column {
  const char* name;
  void (S::*set)(double);
};

template <class S>
using Columns = std::vector<Column<S>>;

// A derived shape's columns: its base's, then its own. The base's setters are
// setters of the derived class too.
template <class S, class Base>
Columns<S> extend(const Columns<Base>& base, Columns<S> own) {
  Columns<S> all;
  for (const Column<Base>& c : base) all.push_back(Column<S>{c.name, c.set});
  all.insert(all.end(), own.begin(), own.end());
  return all;
}

template <class S>
ShapeClass shape(Columns<S> columns) {
  ShapeClass c;
  c.type = ObjectTraits<S>::type;
  c.name = typeName(c.type);
  c.create = [](const TnSmartPtr<ProfileName>& series,
                const OdString& size) -> TnSmartPtr<ParametrizedProfile> { return S::create(series, size); };
  c.set = [columns = std::move(columns)](ParametrizedProfile& profile, const std::string& column,
                                         double value) {
    for (const Column<S>& c : columns) {
      if (column == c.name) {
        (static_cast<S&>(profile).*c.set)(value);
        return true;
      }
    }
    return false;
  };
  return c;
}

// The column names are those of ParametrizedProfile::dimensions(); the demo
// checks a series' names against that list before it sets any.
std::vector<ShapeClass> describeShapes() {
  const Columns<CircleProfile> circle = {{"radius", &CircleProfile::set_radius}};
  const Columns<RectangleProfile> rectangle = {{"xDim", &RectangleProfile::set_x_dim},
                                               {"yDim", &RectangleProfile::set_y_dim}};
  const Columns<IShapeProfile> ishape = {{"overallWidth", &IShapeProfile::set_overall_width},
                                         {"overallDepth", &IShapeProfile::set_overall_depth},
                                         {"webThickness", &IShapeProfile::set_web_thickness},
                                         {"flangeThickness", &IShapeProfile::set_flange_thickness},
                                         {"filletRadius", &IShapeProfile::set_fillet_radius}};
  return {
      shape(circle),
      shape(
          extend<CircleHollowProfile>(circle, {{"wallThickness", &CircleHollowProfile::set_wall_thickness}})),
      shape(Columns<EllipseProfile>{{"semiAxis1", &EllipseProfile::set_semi_axis_1},
                                    {"semiAxis2", &EllipseProfile::set_semi_axis_2}}),
      shape(rectangle),
      shape(extend<RectangleHollowProfile>(
          rectangle, {{"wallThickness", &RectangleHollowProfile::set_wall_thickness},
                      {"innerFilletRadius", &RectangleHollowProfile::set_inner_fillet_radius},
                      {"outerFilletRadius", &RectangleHollowProfile::set_outer_fillet_radius}})),
      shape(extend<RoundedRectangleProfile>(
          rectangle, {{"roundingRadius", &RoundedRectangleProfile::set_rounding_radius}})),
      shape(Columns<TrapeziumProfile>{{"bottomXDim", &TrapeziumProfile::set_bottom_x_dim},
                                      {"topXDim", &TrapeziumProfile::set_top_x_dim},
                                      {"yDim", &TrapeziumProfile::set_y_dim},
                                      {"topXOffset", &TrapeziumProfile::set_top_x_offset}}),
      shape(Columns<CraneRailAShapeProfile>{
          {"overallHeight", &CraneRailAShapeProfile::set_overall_height},
          {"baseWidth2", &CraneRailAShapeProfile::set_base_width_2},
          {"radius", &CraneRailAShapeProfile::set_radius},
          {"headWidth", &CraneRailAShapeProfile::set_head_width},
          {"headDepth2", &CraneRailAShapeProfile::set_head_depth_2},
          {"headDepth3", &CraneRailAShapeProfile::set_head_depth_3},
          {"webThickness", &CraneRailAShapeProfile::set_web_thickness},
          {"baseWidth4", &CraneRailAShapeProfile::set_base_width_4},
          {"baseDepth1", &CraneRailAShapeProfile::set_base_depth_1},
          {"baseDepth2", &CraneRailAShapeProfile::set_base_depth_2},
          {"baseDepth3", &CraneRailAShapeProfile::set_base_depth_3},
          {"centreOfGravityInY", &CraneRailAShapeProfile::set_centre_of_gravity_in_y}}),
      shape(Columns<CraneRailFShapeProfile>{
          {"overallHeight", &CraneRailFShapeProfile::set_overall_height},
          {"headWidth", &CraneRailFShapeProfile::set_head_width},
          {"radius", &CraneRailFShapeProfile::set_radius},
          {"headDepth2", &CraneRailFShapeProfile::set_head_depth_2},
          {"headDepth3", &CraneRailFShapeProfile::set_head_depth_3},
          {"webThickness", &CraneRailFShapeProfile::set_web_thickness},
          {"baseDepth1", &CraneRailFShapeProfile::set_base_depth_1},
          {"baseDepth2", &CraneRailFShapeProfile::set_base_depth_2},
          {"centreOfGravityInY", &CraneRailFShapeProfile::set_centre_of_gravity_in_y}}),
      shape(Columns<TShapeProfile>{{"depth", &TShapeProfile::set_depth},
                                   {"flangeWidth", &TShapeProfile::set_flange_width},
                                   {"webThickness", &TShapeProfile::set_web_thickness},
                                   {"flangeThickness", &TShapeProfile::set_flange_thickness},
                                   {"filletRadius", &TShapeProfile::set_fillet_radius},
                                   {"flangeEdgeRadius", &TShapeProfile::set_flange_edge_radius},
                                   {"webEdgeRadius", &TShapeProfile::set_web_edge_radius},
                                   {"webSlope", &TShapeProfile::set_web_slope},
                                   {"flangeSlope", &TShapeProfile::set_flange_slope},
                                   {"centreOfGravityInY", &TShapeProfile::set_centre_of_gravity_in_y}}),
      shape(Columns<ZShapeProfile>{{"depth", &ZShapeProfile::set_depth},
                                   {"flangeWidth", &ZShapeProfile::set_flange_width},
                                   {"webThickness", &ZShapeProfile::set_web_thickness},
                                   {"flangeThickness", &ZShapeProfile::set_flange_thickness},
                                   {"filletRadius", &ZShapeProfile::set_fillet_radius},
                                   {"edgeRadius", &ZShapeProfile::set_edge_radius}}),
      shape(Columns<CShapeProfile>{{"depth", &CShapeProfile::set_depth},
                                   {"width", &CShapeProfile::set_width},
                                   {"wallThickness", &CShapeProfile::set_wall_thickness},
                                   {"girth", &CShapeProfile::set_girth},
                                   {"internalFilletRadius", &CShapeProfile::set_internal_fillet_radius},
                                   {"centreOfGravityInX", &CShapeProfile::set_centre_of_gravity_in_x}}),
      shape(Columns<UShapeProfile>{{"depth", &UShapeProfile::set_depth},
                                   {"flangeWidth", &UShapeProfile::set_flange_width},
                                   {"webThickness", &UShapeProfile::set_web_thickness},
                                   {"flangeThickness", &UShapeProfile::set_flange_thickness},
                                   {"filletRadius", &UShapeProfile::set_fillet_radius},
                                   {"edgeRadius", &UShapeProfile::set_edge_radius},
                                   {"flangeSlope", &UShapeProfile::set_flange_slope},
                                   {"centreOfGravityInX", &UShapeProfile::set_centre_of_gravity_in_x}}),
      shape(Columns<LShapeProfile>{{"depth", &LShapeProfile::set_depth},
                                   {"width", &LShapeProfile::set_width},
                                   {"thickness", &LShapeProfile::set_thickness},
                                   {"filletRadius", &LShapeProfile::set_fillet_radius},
                                   {"edgeRadius", &LShapeProfile::set_edge_radius},
                                   {"legSlope", &LShapeProfile::set_leg_slope},
                                   {"centreOfGravityInX", &LShapeProfile::set_centre_of_gravity_in_x},
                                   {"centreOfGravityInY", &LShapeProfile::set_centre_of_gravity_in_y}}),
      shape(ishape),
      shape(extend<AsymmetricIShapeProfile>(
          ishape, {{"topFlangeWidth", &AsymmetricIShapeProfile::set_top_flange_width},
                   {"topFlangeThickness", &AsymmetricIShapeProfile::set_top_flange_thickness},
                   {"topFlangeFilletRadius", &AsymmetricIShapeProfile::set_top_flange_fillet_radius},
                   {"centreOfGravityInY", &AsymmetricIShapeProfile::set_centre_of_gravity_in_y}})),
  };
}

}  // namespace

const std::vector<ShapeClass>& shapeClasses() {
  static const std::vector<ShapeClass> all = describeShapes();
  return all;
}

const ShapeClass* shapeClassNamed(const std::string& name) {
  for (const ShapeClass& c : shapeClasses())
    if (c.name == name) return &c;
  return nullptr;
}

}  // namespace tarn
