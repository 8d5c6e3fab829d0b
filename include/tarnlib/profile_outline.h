// Outlines and section properties of the parametric shapes (profile_shapes.h).
//
// profileOutline() turns a shape's dimensions into its closed outline: one outer
// loop and, for the hollow shapes, one inner loop, made of straight lines and
// arcs. A host draws or extrudes it as it is, or turns the arcs into chords with
// polylines(). sectionProperties() integrates over the same outline (exactly,
// arcs included), so the area, centroid and second moments always describe the
// section that is drawn.
//
// Coordinates. Every outline is in the profile's own length unit and centred on
// its bounding box: the box runs from -w/2 to w/2 and from -h/2 to h/2. The
// profile's insertion offset is not applied; it is the host's to add. Outer loops
// run counter-clockwise, inner loops clockwise. Where a shape is not symmetric
// it is drawn this way round: the I-shapes and T-shapes with the (top) flange at
// +y, channels (U, C) opening towards +x, the angle with its heel at the
// bottom left, the Z with its top flange towards +x, crane rails head up.
//
// Dimensions, where their names leave a choice:
// - An absent optional radius or slope is a sharp corner or no slope; a radius
//   of 0 is the same. An absent top-flange thickness of an asymmetric I-shape is
//   the bottom flange's; an absent angle width is the depth.
// - Slopes (webSlope, flangeSlope, legSlope) are in percent: the inner face
//   closes in on the outer face by that many units per 100 towards the toe.
//   A sloped plate keeps its nominal thickness halfway across its width, where
//   rolling tables measure it: a channel's flange at half the flange width
//   from the web's back, a T's flange a quarter of the flange width in from the
//   toe, a T's web at half the depth, an angle's leg halfway from the heel.
// - edgeRadius, flangeEdgeRadius: the inner corners at the toes; webEdgeRadius:
//   both corners of the T's web tip. A C-shape's outer corners have the inner
//   radius plus the wall thickness; its girth is the lip length measured
//   outside.
// - The asymmetric I-shape's overallWidth, flangeThickness and filletRadius are
//   its bottom flange's; topFlange* its top flange's.
// - Crane rails: overallHeight from the foot to the top of the head; the head is
//   headWidth wide with vertical sides headDepth2 deep, below which its underside
//   slopes in to meet the web headDepth3 below the top. The foot is baseWidth2
//   wide (an F rail's is as wide as the head) with vertical edges baseDepth1
//   high; its top rises to baseDepth2 at baseWidth4 (A rail) and meets the web
//   at baseDepth3 (A) or baseDepth2 (F). radius, when present, crowns the head.
// - The stored centres of gravity are informative only: the outline does not use
//   them, and sectionProperties() computes the centroid.
//
// Every function here is a pure computation on values: safe from any thread.
#ifndef TARNLIB_PROFILE_OUTLINE_H_
#define TARNLIB_PROFILE_OUTLINE_H_

#include <vector>

#include "tarnlib/exceptions.h"
#include "tarnlib/export.h"
#include "tarnlib/library.h"
#include "tarnlib/platform/OdString.h"
#include "tarnlib/profile.h"

namespace tarnlib {

struct Point2d {
  double x = 0.0;
  double y = 0.0;
};

// One piece of a loop; each starts where the one before ends.
struct OutlineSegment {
  enum class Kind {
    Line,
    Arc,          // circular: radius_y == radius
    EllipticArc,  // only the ellipse profile's outline has these
  };
  Kind kind = Kind::Line;
  Point2d start;
  Point2d end;
  // Arcs only. The point at angle a (radians) is centre + (radius cos a,
  // radius_y sin a); the arc runs from start_angle to end_angle, counter-
  // clockwise when end_angle > start_angle, clockwise otherwise, at most a full
  // turn. For a circular arc the angles are the polar angles of start and end.
  Point2d centre;
  double radius = 0.0;
  double radius_y = 0.0;
  double start_angle = 0.0;
  double end_angle = 0.0;
};

struct OutlineLoop {
  std::vector<OutlineSegment> segments;
};

struct ProfileOutline {
  OutlineLoop outer;               // counter-clockwise
  std::vector<OutlineLoop> inner;  // clockwise; at most one for the shapes
};

// The dimensions cannot form an outline (or a tolerance or outline given to
// the functions below is unusable). what() names the shape, its size text and
// the offending dimension, for instance
//   IShapeProfile "IPE 200": flangeThickness 120 must be less than half the overallDepth 200
class TARNLIB_EXPORT OutlineError : public Exception {
 public:
  OutlineError(const OdString& shape, const OdString& dimension, const OdString& message);
  ~OutlineError() override;
  const wchar_t* what() const override;
  // The shape's class name ("IShapeProfile") and the stored name of the
  // dimension at fault ("flangeThickness"); empty when no dimension is.
  const OdString& shape() const { return shape_; }
  const OdString& dimension() const { return dimension_; }

 private:
  OdString shape_;
  OdString dimension_;
  OdString message_;
};

// The outline of `profile`, centred on its bounding box (see above).
// Throws OutlineError when a dimension is negative, zero where it is a size,
// not a finite number or beyond 1e12 in magnitude, or when the dimensions do not
// fit together (a wall thicker than half the section, a fillet larger than the
// flange, a slope that leaves no thickness at the toe...).
TARNLIB_EXPORT ProfileOutline profileOutline(const ParametrizedProfile& profile);

// Each loop as a closed polygon (the last point joins the first; the first is
// not repeated), outer loop first. Arcs become chords that stay within
// `chordTolerance` of the arc, but at least one chord per quarter turn and at
// most 8192 per arc. Throws OutlineError for a tolerance that is not a
// positive finite number.
TARNLIB_EXPORT std::vector<std::vector<Point2d>> polylines(const ProfileOutline& outline, double chordTolerance);

// The smallest axis-aligned box holding the outline, arcs included.
struct OutlineBounds {
  Point2d min;
  Point2d max;
};
TARNLIB_EXPORT OutlineBounds outlineBounds(const ProfileOutline& outline);

// Section properties in the outline's unit (area in unit², second moments in
// unit⁴, moduli in unit³). "About x" means about the axis through the centroid
// parallel to x.
struct SectionProperties {
  double area = 0.0;
  Point2d centroid;
  double ix = 0.0;   // ∫ (y - cy)² dA
  double iy = 0.0;   // ∫ (x - cx)² dA
  double ixy = 0.0;  // ∫ (x - cx)(y - cy) dA
  // Principal second moments, i1 >= i2, and the angle in radians from the x
  // axis to the axis of i1, in (-π/2, π/2]; 0 when all axes are alike.
  double i1 = 0.0;
  double i2 = 0.0;
  double principal_angle = 0.0;
  OutlineBounds bounds;
  // Elastic section moduli: ix over the distance from the centroid to the top
  // (bounds.max.y) and to the bottom fibre, iy over the distance to the right
  // and left fibres. Tables give the smaller of each pair.
  double wx_top = 0.0;
  double wx_bottom = 0.0;
  double wy_right = 0.0;
  double wy_left = 0.0;
  double rx = 0.0;  // radii of gyration, sqrt(ix / area) and sqrt(iy / area)
  double ry = 0.0;
};

// Exact for lines and arcs: Green's theorem in closed form, no chords.
// Throws OutlineError when the loops enclose no positive area (an outer loop
// run clockwise, an empty outline).
TARNLIB_EXPORT SectionProperties sectionProperties(const ProfileOutline& outline);
// sectionProperties(profileOutline(profile)).
TARNLIB_EXPORT SectionProperties sectionProperties(const ParametrizedProfile& profile);

// The mass of one metre of the section, in kg/m, for a density in kg/m³ and the
// length unit the outline is in.
TARNLIB_EXPORT double massPerMetre(const SectionProperties& properties, double densityKgPerM3, LibraryUnit unit);

}  // namespace tarnlib

#endif  // TARNLIB_PROFILE_OUTLINE_H_
