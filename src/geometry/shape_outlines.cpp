// The outline of each parametric shape: its corners, their roundings and the
// rules its dimensions must keep, in the shape's natural position; then every
// outline is moved so that its bounding box is centred on the origin. The
// corner arithmetic, the mirroring and the checks that a rounding fits are in
// loop_builder.
#include <algorithm>
#include <cmath>

#include "geometry/loop_builder.h"
#include "tarnlib/profile_outline.h"

namespace tarnlib {
namespace {

using geometry::Line;
using geometry::meet;
using geometry::Plate;
using geometry::Polygon;
using geometry::rounded;
using geometry::roundedLoop;
using geometry::ShapeDims;

ProfileOutline solid(const Polygon& outer, const ShapeDims& d) { return {roundedLoop(outer, d), {}}; }

ProfileOutline circle(const ShapeDims& d) {
  const double r = d.size("radius");
  return {geometry::ellipseLoop({}, r, r, true), {}};
}

ProfileOutline circleHollow(const ShapeDims& d) {
  const double r = d.size("radius");
  const double t = d.size("wallThickness");
  d.require(t < r, "wallThickness", "must be less than the " + d.text("radius"));
  return {geometry::ellipseLoop({}, r, r, true), {geometry::ellipseLoop({}, r - t, r - t, false)}};
}

ProfileOutline ellipse(const ShapeDims& d) {
  return {geometry::ellipseLoop({}, d.size("semiAxis1"), d.size("semiAxis2"), true), {}};
}

ProfileOutline rectangle(const ShapeDims& d) {
  return solid(geometry::rectangle(0, 0, d.size("xDim"), d.size("yDim")), d);
}

ProfileOutline roundedRectangle(const ShapeDims& d) {
  return solid(geometry::rectangle(0, 0, d.size("xDim"), d.size("yDim"), d.radius("roundingRadius"), "roundingRadius"),
               d);
}

ProfileOutline rectangleHollow(const ShapeDims& d) {
  const double x = d.size("xDim"), y = d.size("yDim"), t = d.size("wallThickness");
  const double ro = d.radius("outerFilletRadius"), ri = d.radius("innerFilletRadius");
  d.require(2 * t < std::min(x, y), "wallThickness",
            "must be less than half of " + d.text("xDim") + " and " + d.text("yDim"));
  // Where the two corner arcs are nearest, on the diagonal, the wall keeps
  // t·√2 − (ro − ri)(√2 − 1).
  d.require(ro - ri < (2 + std::sqrt(2.0)) * t, "outerFilletRadius",
            "leaves no wall at the corners inside the " + d.text("innerFilletRadius"));
  const Polygon outer = geometry::rectangle(0, 0, x, y, ro, "outerFilletRadius");
  const Polygon inner = geometry::rectangle(t, t, x - t, y - t, ri, "innerFilletRadius");
  return {roundedLoop(outer, d), {roundedLoop(geometry::reversed(inner), d)}};
}

ProfileOutline trapezium(const ShapeDims& d) {
  const double bottom = d.size("bottomXDim"), top = d.size("topXDim"), y = d.size("yDim");
  const double offset = d.position("topXOffset");
  return solid({{{0, 0}}, {{bottom, 0}}, {{offset + top, y}}, {{offset, y}}}, d);
}

// One flange of an I-shape, read from the dimensions it is named by.
struct IFlange {
  const char* widthName;
  const char* thicknessName;
  const char* filletName;
  double width, thickness, fillet;
};

IFlange flangeOf(const ShapeDims& d, const char* width, const char* thickness, const char* fillet) {
  return {width, thickness, fillet, d.size(width), d.size(thickness), d.radius(fillet)};
}

ProfileOutline iShape(const ShapeDims& d, const IFlange& bottom, const IFlange& top) {
  const double h = d.size("overallDepth"), tw = d.size("webThickness");
  for (const IFlange* f : {&bottom, &top})
    d.require(tw < f->width, "webThickness", "must be less than the " + d.text(f->widthName));
  d.require(bottom.thickness + top.thickness < h, top.thicknessName,
            "leaves no web: the flanges together must be thinner than the " + d.text("overallDepth"));
  return solid(geometry::mirroredAcrossY({{{0, 0}},
                                          {{bottom.width / 2, 0}},
                                          {{bottom.width / 2, bottom.thickness}},
                                          {{tw / 2, bottom.thickness}, bottom.fillet, bottom.filletName},
                                          {{tw / 2, h - top.thickness}, top.fillet, top.filletName},
                                          {{top.width / 2, h - top.thickness}},
                                          {{top.width / 2, h}},
                                          {{0, h}}}),
               d);
}

IFlange bottomFlange(const ShapeDims& d) { return flangeOf(d, "overallWidth", "flangeThickness", "filletRadius"); }

ProfileOutline symmetricI(const ShapeDims& d) { return iShape(d, bottomFlange(d), bottomFlange(d)); }

// Without a thickness of its own the top flange is as thick as the bottom one.
ProfileOutline asymmetricI(const ShapeDims& d) {
  const char* thickness = d.has("topFlangeThickness") ? "topFlangeThickness" : "flangeThickness";
  return iShape(d, bottomFlange(d), flangeOf(d, "topFlangeWidth", thickness, "topFlangeFilletRadius"));
}

ProfileOutline tShape(const ShapeDims& d) {
  const double depth = d.size("depth"), b = d.size("flangeWidth");
  const double tw = d.size("webThickness"), tf = d.size("flangeThickness");
  d.require(tw < b, "webThickness", "must be less than the " + d.text("flangeWidth"));
  d.require(tf < depth, "flangeThickness", "must be less than the " + d.text("depth"));
  // Half the flange from the centre line to the toe; half the web from the
  // centre line to its right face, from the top down to the tip.
  const Plate flange{{0, depth}, {1, 0}, {0, -1}, b / 2, tf, d.slope("flangeSlope"), "flangeSlope"};
  const Plate web{{0, depth}, {0, -1}, {1, 0}, depth, tw / 2, d.slope("webSlope"), "webSlope"};
  flange.check(d);
  web.check(d);
  const Point2d root = meet(web.innerFace(), flange.innerFace(), d, "webSlope");
  d.require(root.x < b / 2 && root.y > 0, d.has("webSlope") ? "webSlope" : "flangeSlope",
            "runs the web's face past the flange's toe");
  return solid(geometry::mirroredAcrossY({{web.toeOuter()},
                                          rounded(web.toeInner(), d, "webEdgeRadius"),
                                          rounded(root, d, "filletRadius"),
                                          rounded(flange.toeInner(), d, "flangeEdgeRadius"),
                                          {flange.toeOuter()},
                                          {{0, depth}}}),
               d);
}

ProfileOutline uShape(const ShapeDims& d) {
  const double h = d.size("depth"), b = d.size("flangeWidth");
  const double tw = d.size("webThickness"), tf = d.size("flangeThickness");
  d.require(tw < b, "webThickness", "must be less than the " + d.text("flangeWidth"));
  const Plate flange{{0, h}, {1, 0}, {0, -1}, b, tf, d.slope("flangeSlope"), "flangeSlope"};
  flange.check(d);
  const Point2d root = meet(flange.innerFace(), Line{{tw, 0}, {0, 1}}, d, "flangeSlope");
  d.require(root.y > h / 2, "flangeThickness",
            "leaves no web: the flanges at the web must be thinner than half the " + d.text("depth"));
  return solid(geometry::mirroredAcrossX({{{tw, h / 2}},
                                          rounded(root, d, "filletRadius"),
                                          rounded(flange.toeInner(), d, "edgeRadius"),
                                          {flange.toeOuter()},
                                          {{0, h}},
                                          {{0, h / 2}}},
                                         h / 2),
               d);
}

ProfileOutline lShape(const ShapeDims& d) {
  const double depth = d.size("depth"), width = d.sizeOr("width", depth), t = d.size("thickness");
  d.require(t < depth, "thickness", "must be less than the " + d.text("depth"));
  d.require(t < width, "thickness", "must be less than the " + d.text("width"));
  const double slope = d.slope("legSlope");
  const Plate across{{0, 0}, {1, 0}, {0, 1}, width, t, slope, "legSlope"};
  const Plate up{{0, 0}, {0, 1}, {1, 0}, depth, t, slope, "legSlope"};
  across.check(d);
  up.check(d);
  const Point2d root = meet(across.innerFace(), up.innerFace(), d, "legSlope");
  return solid({{{0, 0}},
                {across.toeOuter()},
                rounded(across.toeInner(), d, "edgeRadius"),
                rounded(root, d, "filletRadius"),
                rounded(up.toeInner(), d, "edgeRadius"),
                {up.toeOuter()}},
               d);
}

ProfileOutline zShape(const ShapeDims& d) {
  const double h = d.size("depth"), b = d.size("flangeWidth");
  const double tw = d.size("webThickness"), tf = d.size("flangeThickness");
  d.require(tw < b, "webThickness", "must be less than the " + d.text("flangeWidth"));
  d.require(2 * tf < h, "flangeThickness", "must be less than half the " + d.text("depth"));
  // The bottom flange and the web's right face; the rest is the same turned
  // about the web's centre.
  return solid(geometry::withHalfTurn({{{tw / 2 - b, 0}},
                                       {{tw / 2, 0}},
                                       rounded({tw / 2, h - tf}, d, "filletRadius"),
                                       rounded({b - tw / 2, h - tf}, d, "edgeRadius")},
                                      {0, h / 2}),
               d);
}

ProfileOutline cShape(const ShapeDims& d) {
  const double h = d.size("depth"), b = d.size("width"), t = d.size("wallThickness"), g = d.size("girth");
  d.require(2 * t < std::min(h, b), "wallThickness",
            "must be less than half of " + d.text("depth") + " and " + d.text("width"));
  d.require(g > t, "girth", "must be more than the " + d.text("wallThickness"));
  d.require(2 * g < h, "girth", "must be less than half the " + d.text("depth"));
  // A bent plate: the outer corners round with the inner radius plus the wall.
  const double ri = d.radius("internalFilletRadius");
  const double ro = ri > 0 ? ri + t : 0.0;
  const char* name = "internalFilletRadius";
  return solid(geometry::mirroredAcrossX({{{t, h / 2}},
                                          {{t, h - t}, ri, name},
                                          {{b - t, h - t}, ri, name},
                                          {{b - t, h - g}},
                                          {{b, h - g}},
                                          {{b, h}, ro, name},
                                          {{0, h}, ro, name},
                                          {{0, h / 2}}},
                                         h / 2),
               d);
}

// A crane rail from its foot's right half (from the axis at the bottom up to
// the web's foot): the web, the head and its crown, mirrored.
ProfileOutline rail(const ShapeDims& d, Polygon half, double webFoot, const char* webFootName) {
  const double height = d.size("overallHeight"), head = d.size("headWidth"), tw = d.size("webThickness");
  const double side = d.size("headDepth2"), underside = d.size("headDepth3");
  const double crown = d.radius("radius");
  d.require(tw < head, "webThickness", "must be less than the " + d.text("headWidth"));
  d.require(side <= underside, "headDepth2", "must not be more than the " + d.text("headDepth3"));
  d.require(webFoot + underside < height, "headDepth3",
            "leaves no web between the head and " + d.text(webFootName) + " in the " + d.text("overallHeight"));
  // The crown lowers the head's top corners by its rise over half the head.
  double rise = 0.0;
  if (crown > 0) {
    d.require(crown >= head / 2, "radius", "must be at least half the " + d.text("headWidth"));
    rise = crown - std::sqrt(crown * crown - head * head / 4);
    d.require(rise < side, "radius", "crowns the head deeper than its " + d.text("headDepth2"));
  }
  half.push_back({{tw / 2, height - underside}});
  half.push_back({{head / 2, height - side}});
  half.push_back({{head / 2, height - rise}});
  Polygon loop = geometry::mirroredAcrossY(half);
  if (crown > 0) {
    loop[half.size() - 1].crown = crown;
    loop[half.size() - 1].crownName = "radius";
  }
  return solid(loop, d);
}

ProfileOutline railA(const ShapeDims& d) {
  const double base = d.size("baseWidth2"), step = d.size("baseWidth4"), tw = d.size("webThickness");
  const double edge = d.size("baseDepth1"), atStep = d.size("baseDepth2"), atWeb = d.size("baseDepth3");
  d.require(tw < step, "webThickness", "must be less than the " + d.text("baseWidth4"));
  d.require(step <= base, "baseWidth4", "must not be more than the " + d.text("baseWidth2"));
  d.require(edge <= atStep, "baseDepth1", "must not be more than the " + d.text("baseDepth2"));
  d.require(atStep <= atWeb, "baseDepth2", "must not be more than the " + d.text("baseDepth3"));
  return rail(d, {{{0, 0}}, {{base / 2, 0}}, {{base / 2, edge}}, {{step / 2, atStep}}, {{tw / 2, atWeb}}}, atWeb,
              "baseDepth3");
}

ProfileOutline railF(const ShapeDims& d) {
  // No base width of its own: the foot is as wide as the head.
  const double base = d.size("headWidth"), tw = d.size("webThickness");
  const double edge = d.size("baseDepth1"), atWeb = d.size("baseDepth2");
  d.require(edge <= atWeb, "baseDepth1", "must not be more than the " + d.text("baseDepth2"));
  return rail(d, {{{0, 0}}, {{base / 2, 0}}, {{base / 2, edge}}, {{tw / 2, atWeb}}}, atWeb, "baseDepth2");
}

struct Builder {
  ObjectType type;
  const char* className;
  ProfileOutline (*build)(const ShapeDims&);
};

const Builder kBuilders[] = {
    {ObjectType::CircleProfile, "CircleProfile", circle},
    {ObjectType::CircleHollowProfile, "CircleHollowProfile", circleHollow},
    {ObjectType::EllipseProfile, "EllipseProfile", ellipse},
    {ObjectType::RectangleProfile, "RectangleProfile", rectangle},
    {ObjectType::RectangleHollowProfile, "RectangleHollowProfile", rectangleHollow},
    {ObjectType::RoundedRectangleProfile, "RoundedRectangleProfile", roundedRectangle},
    {ObjectType::TrapeziumProfile, "TrapeziumProfile", trapezium},
    {ObjectType::CraneRailAShapeProfile, "CraneRailAShapeProfile", railA},
    {ObjectType::CraneRailFShapeProfile, "CraneRailFShapeProfile", railF},
    {ObjectType::TShapeProfile, "TShapeProfile", tShape},
    {ObjectType::ZShapeProfile, "ZShapeProfile", zShape},
    {ObjectType::CShapeProfile, "CShapeProfile", cShape},
    {ObjectType::UShapeProfile, "UShapeProfile", uShape},
    {ObjectType::LShapeProfile, "LShapeProfile", lShape},
    {ObjectType::IShapeProfile, "IShapeProfile", symmetricI},
    {ObjectType::AsymmetricIShapeProfile, "AsymmetricIShapeProfile", asymmetricI},
};

void move(Point2d& p, Point2d by) {
  p.x += by.x;
  p.y += by.y;
}

ProfileOutline centred(ProfileOutline outline) {
  const OutlineBounds box = outlineBounds(outline);
  const Point2d by{-(box.min.x + box.max.x) / 2, -(box.min.y + box.max.y) / 2};
  auto shift = [by](OutlineLoop& loop) {
    for (OutlineSegment& s : loop.segments) {
      move(s.start, by);
      move(s.end, by);
      if (s.kind != OutlineSegment::Kind::Line) move(s.centre, by);
    }
  };
  shift(outline.outer);
  for (OutlineLoop& loop : outline.inner) shift(loop);
  return outline;
}

}  // namespace

ProfileOutline profileOutline(const ParametrizedProfile& profile) {
  const ObjectType type = profile.tarnlibType();
  for (const Builder& b : kBuilders)
    if (b.type == type) return centred(b.build(ShapeDims(profile, b.className)));
  throw OutlineError(OdString(), OdString(), L"the profile is not one of the parametric shapes");
}

}  // namespace tarnlib
