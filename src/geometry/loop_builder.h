// The pieces the shape outlines are made of, written once for all shapes.
//
// A shape describes its outline as a polygon of sharp corners, each with the
// radius that rounds it (a fillet, a toe radius, a corner radius) and, for a
// crowned rail head, an edge that is an arc. roundedLoop() turns the polygon
// into lines and tangent arcs and checks that every rounding fits on the edges
// beside it, so no shape repeats that arithmetic. Symmetric shapes give half of
// their polygon and mirror it. Flanges, legs and tapered webs are Plates: one
// description of a plate with its thickness taken halfway across and an
// optional slope of its inner face.
//
// ShapeDims reads the dimensions of one profile by stored name, checks each
// value as it is read and words the OutlineError when a value or a rule between
// values is wrong.
#ifndef TARNLIB_GEOMETRY_LOOP_BUILDER_H_
#define TARNLIB_GEOMETRY_LOOP_BUILDER_H_

#include <string>
#include <vector>

#include "tarnlib/profile.h"
#include "tarnlib/profile_outline.h"

namespace tarnlib {
namespace geometry {

// The largest magnitude a dimension may have: a section's fourth powers (its
// second moments) must stay far from overflowing a double.
constexpr double kLargestDimension = 1e12;

class ShapeDims {
 public:
  ShapeDims(const ParametrizedProfile& profile, const char* className);

  // A required size: finite and > 0.
  double size(const char* name) const;
  // An optional size: `fallback` when absent, else finite and > 0.
  double sizeOr(const char* name, double fallback) const;
  // A radius (required or optional): finite and >= 0; 0 when absent.
  double radius(const char* name) const;
  // An optional slope in percent, as a ratio (8 gives 0.08): >= 0; 0 when absent.
  double slope(const char* name) const;
  // A position (an offset): any finite value.
  double position(const char* name) const;
  bool has(const char* name) const;

  // Throws OutlineError "<Class> "<size>": <name> <value> <rule>" unless `ok`.
  void require(bool ok, const char* name, const std::string& rule) const;
  [[noreturn]] void fail(const char* name, const std::string& rule) const;
  // "overallDepth 200", for rules that name a second dimension.
  std::string text(const char* name) const;

 private:
  const ParametrizedProfile::Dimension& find(const char* name) const;
  double checkedValue(const char* name) const;

  const ParametrizedProfile& profile_;
  const char* className_;
  std::vector<ParametrizedProfile::Dimension> dims_;
};

struct Corner {
  Point2d at;
  double radius = 0.0;               // rounds the corner with a tangent arc
  const char* radiusName = nullptr;  // the dimension it comes from, for errors
  // When > 0, the edge to the next corner is an arc of this radius bulging out
  // of the loop (to the right of a counter-clockwise loop's travel).
  double crown = 0.0;
  const char* crownName = nullptr;
};
using Polygon = std::vector<Corner>;

// A corner rounded by the dimension `name` (0 when it is absent).
Corner rounded(Point2d at, const ShapeDims& dims, const char* name);

// A loop symmetric about the y axis from its right half, given counter-
// clockwise from the bottom to the top (points on the axis are shared).
Polygon mirroredAcrossY(const Polygon& rightHalf);
// A loop symmetric about the line y = axisY from its top half, given counter-
// clockwise from the axis round to the axis.
Polygon mirroredAcrossX(const Polygon& topHalf, double axisY);
// A loop symmetric about the point `centre` from its first half.
Polygon withHalfTurn(const Polygon& half, Point2d centre);
// The rectangle [x0, x1] x [y0, y1], counter-clockwise, all corners rounded by
// `radius` from the dimension `name`.
Polygon rectangle(double x0, double y0, double x1, double y1, double radius = 0.0, const char* name = nullptr);
Polygon reversed(Polygon polygon);

// The loop of lines and tangent arcs of `polygon`, in its orientation. Drops
// repeated corners and straight-through corners first. Throws OutlineError
// naming the radius that does not fit on the edges beside its corner, or the
// crown that is narrower than its edge.
OutlineLoop roundedLoop(Polygon polygon, const ShapeDims& dims);

// A whole ellipse (a circle when rx == ry) round `centre`, counter-clockwise
// or clockwise.
OutlineLoop ellipseLoop(Point2d centre, double rx, double ry, bool counterClockwise);

struct Line {
  Point2d at;
  Point2d direction;
};
// Where two faces of a shape cross; throws OutlineError naming `name` (the
// slope that tilts them) when they are parallel.
Point2d meet(const Line& a, const Line& b, const ShapeDims& dims, const char* name);

// A flange, an angle's leg or half a tapered web. Its outer face runs `length`
// from `back` along `along` to the toe, and its material lies towards
// `inward`. `back` is where the plate's width is measured from: the web's
// centre line (I, T flanges), the web's back (channel flanges), the heel (angle
// legs), the flange's top (a T's web). The nominal thickness is halfway across
// that width, where the rolling tables measure it: a channel's flange at half
// its width, an I's or T's flange a quarter of the flange width in from the
// toe, a T's web at half the depth. A slope closes the inner face in on the
// outer face towards the toe, turning it about that halfway point.
struct Plate {
  Point2d back;
  Point2d along;   // unit
  Point2d inward;  // unit, perpendicular to along
  double length = 0.0;
  double thickness = 0.0;
  double slope = 0.0;  // a ratio
  const char* slopeName = nullptr;

  Point2d toeOuter() const;
  Point2d toeInner() const;
  Line innerFace() const;
  // Throws OutlineError naming the slope when it leaves no thickness at the toe.
  void check(const ShapeDims& dims) const;
};

}  // namespace geometry
}  // namespace tarnlib

#endif  // TARNLIB_GEOMETRY_LOOP_BUILDER_H_
