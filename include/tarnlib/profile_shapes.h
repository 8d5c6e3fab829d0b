// The sixteen parametric shapes of the profile catalogue. A shape is a
// ParametrizedProfile (profile.h) with plain double dimensions in the library's
// length unit: required ones (d(), set_d()) and optional ones, which also have
// has_d() and clear_d() and read as 0 while absent. A setter that stores the
// value already there leaves the profile clean. create() leaves every required
// dimension 0 and every optional one absent.
//
// Each shape has two comparisons and a rescaling, the same for all:
// - operator== is tolerance equality: every dimension of the class chain (an
//   absent one as 0) and the offset (absent as 0, 0) agree within
//   max(1, f) * 0.0001 after converting the first profile's lengths into the
//   second's unit with f (1, 25.4 or 1/25.4 by the libraries' units, 1 when
//   either belongs to none). Series, size, description and material do not
//   take part: equal shapes are the same geometry.
// - scaledEqual tells whether `other` is this profile uniformly scaled and
//   puts the factor into `scale` (0 when it is not); ratios within 0.0004 of
//   25.4, 1/25.4 or 1 snap to them, a zero against a non-zero dimension never
//   matches, and a pair of all-zero profiles is never scaled-equal.
// - convertByScaling multiplies every dimension (slopes and centres of gravity
//   too) and a present offset by the factor, and leaves the size text alone.
//   A factor within 1e-10 of 1 changes nothing.
//
// Objects are used by one thread at a time (object.h).
#ifndef TARNLIB_PROFILE_SHAPES_H_
#define TARNLIB_PROFILE_SHAPES_H_

#include "tarnlib/profile.h"

namespace tarnlib {

// What every shape declares beside its dimensions.
#define TARNLIB_DECLARE_SHAPE(Class)                                       \
  TARNLIB_DECLARE_PROFILE(Class)                                          \
  bool operator==(const Class& other) const;                              \
  bool operator!=(const Class& other) const { return !(*this == other); } \
  bool scaledEqual(const Class& other, double& scale) const;              \
  void convertByScaling(double factor) override;

class TARNLIB_EXPORT CircleProfile : public ParametrizedProfile {
  TARNLIB_DECLARE_OBJECT(CircleProfile)
  TARNLIB_DECLARE_SHAPE(CircleProfile)

  double radius() const;
  void set_radius(double value);
};

class TARNLIB_EXPORT CircleHollowProfile : public CircleProfile {
  TARNLIB_DECLARE_OBJECT(CircleHollowProfile)
  TARNLIB_DECLARE_SHAPE(CircleHollowProfile)

  double wall_thickness() const;
  void set_wall_thickness(double value);
};

class TARNLIB_EXPORT EllipseProfile : public ParametrizedProfile {
  TARNLIB_DECLARE_OBJECT(EllipseProfile)
  TARNLIB_DECLARE_SHAPE(EllipseProfile)

  double semi_axis_1() const;
  void set_semi_axis_1(double value);
  double semi_axis_2() const;
  void set_semi_axis_2(double value);
};

class TARNLIB_EXPORT RectangleProfile : public ParametrizedProfile {
  TARNLIB_DECLARE_OBJECT(RectangleProfile)
  TARNLIB_DECLARE_SHAPE(RectangleProfile)

  double x_dim() const;
  void set_x_dim(double value);
  double y_dim() const;
  void set_y_dim(double value);
};

class TARNLIB_EXPORT RectangleHollowProfile : public RectangleProfile {
  TARNLIB_DECLARE_OBJECT(RectangleHollowProfile)
  TARNLIB_DECLARE_SHAPE(RectangleHollowProfile)

  double wall_thickness() const;
  void set_wall_thickness(double value);
  double inner_fillet_radius() const;
  void set_inner_fillet_radius(double value);
  bool has_inner_fillet_radius() const;
  void clear_inner_fillet_radius();
  double outer_fillet_radius() const;
  void set_outer_fillet_radius(double value);
  bool has_outer_fillet_radius() const;
  void clear_outer_fillet_radius();
};

class TARNLIB_EXPORT RoundedRectangleProfile : public RectangleProfile {
  TARNLIB_DECLARE_OBJECT(RoundedRectangleProfile)
  TARNLIB_DECLARE_SHAPE(RoundedRectangleProfile)

  double rounding_radius() const;
  void set_rounding_radius(double value);
};

class TARNLIB_EXPORT TrapeziumProfile : public ParametrizedProfile {
  TARNLIB_DECLARE_OBJECT(TrapeziumProfile)
  TARNLIB_DECLARE_SHAPE(TrapeziumProfile)

  double bottom_x_dim() const;
  void set_bottom_x_dim(double value);
  double top_x_dim() const;
  void set_top_x_dim(double value);
  double y_dim() const;
  void set_y_dim(double value);
  double top_x_offset() const;
  void set_top_x_offset(double value);
};

class TARNLIB_EXPORT CraneRailAShapeProfile : public ParametrizedProfile {
  TARNLIB_DECLARE_OBJECT(CraneRailAShapeProfile)
  TARNLIB_DECLARE_SHAPE(CraneRailAShapeProfile)

  double overall_height() const;
  void set_overall_height(double value);
  double base_width_2() const;
  void set_base_width_2(double value);
  double radius() const;
  void set_radius(double value);
  bool has_radius() const;
  void clear_radius();
  double head_width() const;
  void set_head_width(double value);
  double head_depth_2() const;
  void set_head_depth_2(double value);
  double head_depth_3() const;
  void set_head_depth_3(double value);
  double web_thickness() const;
  void set_web_thickness(double value);
  double base_width_4() const;
  void set_base_width_4(double value);
  double base_depth_1() const;
  void set_base_depth_1(double value);
  double base_depth_2() const;
  void set_base_depth_2(double value);
  double base_depth_3() const;
  void set_base_depth_3(double value);
  double centre_of_gravity_in_y() const;
  void set_centre_of_gravity_in_y(double value);
  bool has_centre_of_gravity_in_y() const;
  void clear_centre_of_gravity_in_y();
};

class TARNLIB_EXPORT CraneRailFShapeProfile : public ParametrizedProfile {
  TARNLIB_DECLARE_OBJECT(CraneRailFShapeProfile)
  TARNLIB_DECLARE_SHAPE(CraneRailFShapeProfile)

  double overall_height() const;
  void set_overall_height(double value);
  double head_width() const;
  void set_head_width(double value);
  double radius() const;
  void set_radius(double value);
  bool has_radius() const;
  void clear_radius();
  double head_depth_2() const;
  void set_head_depth_2(double value);
  double head_depth_3() const;
  void set_head_depth_3(double value);
  double web_thickness() const;
  void set_web_thickness(double value);
  double base_depth_1() const;
  void set_base_depth_1(double value);
  double base_depth_2() const;
  void set_base_depth_2(double value);
  double centre_of_gravity_in_y() const;
  void set_centre_of_gravity_in_y(double value);
  bool has_centre_of_gravity_in_y() const;
  void clear_centre_of_gravity_in_y();
};

class TARNLIB_EXPORT TShapeProfile : public ParametrizedProfile {
  TARNLIB_DECLARE_OBJECT(TShapeProfile)
  TARNLIB_DECLARE_SHAPE(TShapeProfile)

  double depth() const;
  void set_depth(double value);
  double flange_width() const;
  void set_flange_width(double value);
  double web_thickness() const;
  void set_web_thickness(double value);
  double flange_thickness() const;
  void set_flange_thickness(double value);
  double fillet_radius() const;
  void set_fillet_radius(double value);
  bool has_fillet_radius() const;
  void clear_fillet_radius();
  double flange_edge_radius() const;
  void set_flange_edge_radius(double value);
  bool has_flange_edge_radius() const;
  void clear_flange_edge_radius();
  double web_edge_radius() const;
  void set_web_edge_radius(double value);
  bool has_web_edge_radius() const;
  void clear_web_edge_radius();
  double web_slope() const;
  void set_web_slope(double value);
  bool has_web_slope() const;
  void clear_web_slope();
  double flange_slope() const;
  void set_flange_slope(double value);
  bool has_flange_slope() const;
  void clear_flange_slope();
  double centre_of_gravity_in_y() const;
  void set_centre_of_gravity_in_y(double value);
  bool has_centre_of_gravity_in_y() const;
  void clear_centre_of_gravity_in_y();
};

class TARNLIB_EXPORT ZShapeProfile : public ParametrizedProfile {
  TARNLIB_DECLARE_OBJECT(ZShapeProfile)
  TARNLIB_DECLARE_SHAPE(ZShapeProfile)

  double depth() const;
  void set_depth(double value);
  double flange_width() const;
  void set_flange_width(double value);
  double web_thickness() const;
  void set_web_thickness(double value);
  double flange_thickness() const;
  void set_flange_thickness(double value);
  double fillet_radius() const;
  void set_fillet_radius(double value);
  bool has_fillet_radius() const;
  void clear_fillet_radius();
  double edge_radius() const;
  void set_edge_radius(double value);
  bool has_edge_radius() const;
  void clear_edge_radius();
};

class TARNLIB_EXPORT CShapeProfile : public ParametrizedProfile {
  TARNLIB_DECLARE_OBJECT(CShapeProfile)
  TARNLIB_DECLARE_SHAPE(CShapeProfile)

  double depth() const;
  void set_depth(double value);
  double width() const;
  void set_width(double value);
  double wall_thickness() const;
  void set_wall_thickness(double value);
  double girth() const;
  void set_girth(double value);
  double internal_fillet_radius() const;
  void set_internal_fillet_radius(double value);
  bool has_internal_fillet_radius() const;
  void clear_internal_fillet_radius();
  double centre_of_gravity_in_x() const;
  void set_centre_of_gravity_in_x(double value);
  bool has_centre_of_gravity_in_x() const;
  void clear_centre_of_gravity_in_x();
};

class TARNLIB_EXPORT UShapeProfile : public ParametrizedProfile {
  TARNLIB_DECLARE_OBJECT(UShapeProfile)
  TARNLIB_DECLARE_SHAPE(UShapeProfile)

  double depth() const;
  void set_depth(double value);
  double flange_width() const;
  void set_flange_width(double value);
  double web_thickness() const;
  void set_web_thickness(double value);
  double flange_thickness() const;
  void set_flange_thickness(double value);
  double fillet_radius() const;
  void set_fillet_radius(double value);
  bool has_fillet_radius() const;
  void clear_fillet_radius();
  double edge_radius() const;
  void set_edge_radius(double value);
  bool has_edge_radius() const;
  void clear_edge_radius();
  double flange_slope() const;
  void set_flange_slope(double value);
  bool has_flange_slope() const;
  void clear_flange_slope();
  double centre_of_gravity_in_x() const;
  void set_centre_of_gravity_in_x(double value);
  bool has_centre_of_gravity_in_x() const;
  void clear_centre_of_gravity_in_x();
};

class TARNLIB_EXPORT LShapeProfile : public ParametrizedProfile {
  TARNLIB_DECLARE_OBJECT(LShapeProfile)
  TARNLIB_DECLARE_SHAPE(LShapeProfile)

  double depth() const;
  void set_depth(double value);
  double width() const;
  void set_width(double value);
  bool has_width() const;
  void clear_width();
  double thickness() const;
  void set_thickness(double value);
  double fillet_radius() const;
  void set_fillet_radius(double value);
  bool has_fillet_radius() const;
  void clear_fillet_radius();
  double edge_radius() const;
  void set_edge_radius(double value);
  bool has_edge_radius() const;
  void clear_edge_radius();
  double leg_slope() const;
  void set_leg_slope(double value);
  bool has_leg_slope() const;
  void clear_leg_slope();
  double centre_of_gravity_in_x() const;
  void set_centre_of_gravity_in_x(double value);
  bool has_centre_of_gravity_in_x() const;
  void clear_centre_of_gravity_in_x();
  double centre_of_gravity_in_y() const;
  void set_centre_of_gravity_in_y(double value);
  bool has_centre_of_gravity_in_y() const;
  void clear_centre_of_gravity_in_y();
};

class TARNLIB_EXPORT IShapeProfile : public ParametrizedProfile {
  TARNLIB_DECLARE_OBJECT(IShapeProfile)
  TARNLIB_DECLARE_SHAPE(IShapeProfile)

  double overall_width() const;
  void set_overall_width(double value);
  double overall_depth() const;
  void set_overall_depth(double value);
  double web_thickness() const;
  void set_web_thickness(double value);
  double flange_thickness() const;
  void set_flange_thickness(double value);
  double fillet_radius() const;
  void set_fillet_radius(double value);
  bool has_fillet_radius() const;
  void clear_fillet_radius();
};

class TARNLIB_EXPORT AsymmetricIShapeProfile : public IShapeProfile {
  TARNLIB_DECLARE_OBJECT(AsymmetricIShapeProfile)
  TARNLIB_DECLARE_SHAPE(AsymmetricIShapeProfile)

  double top_flange_width() const;
  void set_top_flange_width(double value);
  double top_flange_thickness() const;
  void set_top_flange_thickness(double value);
  bool has_top_flange_thickness() const;
  void clear_top_flange_thickness();
  double top_flange_fillet_radius() const;
  void set_top_flange_fillet_radius(double value);
  bool has_top_flange_fillet_radius() const;
  void clear_top_flange_fillet_radius();
  double centre_of_gravity_in_y() const;
  void set_centre_of_gravity_in_y(double value);
  bool has_centre_of_gravity_in_y() const;
  void clear_centre_of_gravity_in_y();
};

// Every shape is unique by its series and size, like every profile.
TARNLIB_PROFILE_TRAITS(CircleProfile)
TARNLIB_PROFILE_TRAITS(CircleHollowProfile)
TARNLIB_PROFILE_TRAITS(EllipseProfile)
TARNLIB_PROFILE_TRAITS(RectangleProfile)
TARNLIB_PROFILE_TRAITS(RectangleHollowProfile)
TARNLIB_PROFILE_TRAITS(RoundedRectangleProfile)
TARNLIB_PROFILE_TRAITS(TrapeziumProfile)
TARNLIB_PROFILE_TRAITS(CraneRailAShapeProfile)
TARNLIB_PROFILE_TRAITS(CraneRailFShapeProfile)
TARNLIB_PROFILE_TRAITS(TShapeProfile)
TARNLIB_PROFILE_TRAITS(ZShapeProfile)
TARNLIB_PROFILE_TRAITS(CShapeProfile)
TARNLIB_PROFILE_TRAITS(UShapeProfile)
TARNLIB_PROFILE_TRAITS(LShapeProfile)
TARNLIB_PROFILE_TRAITS(IShapeProfile)
TARNLIB_PROFILE_TRAITS(AsymmetricIShapeProfile)

}  // namespace tarnlib

#endif  // TARNLIB_PROFILE_SHAPES_H_
