#include "geometry/loop_builder.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace tarnlib {
namespace geometry {

namespace {

const double kPi = std::acos(-1.0);

Point2d operator+(Point2d a, Point2d b) { return {a.x + b.x, a.y + b.y}; }
Point2d operator-(Point2d a, Point2d b) { return {a.x - b.x, a.y - b.y}; }
Point2d operator*(Point2d a, double k) { return {a.x * k, a.y * k}; }
double dot(Point2d a, Point2d b) { return a.x * b.x + a.y * b.y; }
double cross(Point2d a, Point2d b) { return a.x * b.y - a.y * b.x; }
double length(Point2d a) { return std::hypot(a.x, a.y); }
Point2d unit(Point2d a) { return a * (1.0 / length(a)); }
Point2d leftNormal(Point2d a) { return {-a.y, a.x}; }

std::string number(double v) {
  std::ostringstream out;
  out.precision(10);
  out << v;
  return out.str();
}

OdString wide(const std::string& utf8) { return OdString(utf8); }

}  // namespace

ShapeDims::ShapeDims(const ParametrizedProfile& profile, const char* className)
    : profile_(profile), className_(className), dims_(profile.dimensions()) {}

const ParametrizedProfile::Dimension& ShapeDims::find(const char* name) const {
  for (const ParametrizedProfile::Dimension& d : dims_)
    if (std::strcmp(d.name, name) == 0) return d;
  throw std::logic_error(std::string(className_) + " has no dimension " + name);
}

double ShapeDims::checkedValue(const char* name) const {
  const double v = find(name).value;
  if (!std::isfinite(v)) fail(name, "is not a finite number");
  if (std::fabs(v) > kLargestDimension) fail(name, "is beyond " + number(kLargestDimension) + " in magnitude");
  return v;
}

double ShapeDims::size(const char* name) const {
  const double v = checkedValue(name);
  require(v > 0.0, name, "must be greater than 0");
  return v;
}

double ShapeDims::sizeOr(const char* name, double fallback) const { return has(name) ? size(name) : fallback; }

double ShapeDims::radius(const char* name) const {
  if (!has(name)) return 0.0;
  const double v = checkedValue(name);
  require(v >= 0.0, name, "must not be negative");
  return v;
}

double ShapeDims::slope(const char* name) const { return radius(name) / 100.0; }

double ShapeDims::position(const char* name) const { return checkedValue(name); }

bool ShapeDims::has(const char* name) const { return find(name).present; }

void ShapeDims::require(bool ok, const char* name, const std::string& rule) const {
  if (!ok) fail(name, rule);
}

void ShapeDims::fail(const char* name, const std::string& rule) const {
  std::string message = std::string(className_) + " \"" + profile_.size().toUtf8() + "\": " + text(name) + " " + rule;
  throw OutlineError(wide(className_), wide(name), wide(message));
}

std::string ShapeDims::text(const char* name) const { return std::string(name) + " " + number(find(name).value); }

Corner rounded(Point2d at, const ShapeDims& dims, const char* name) { return Corner{at, dims.radius(name), name}; }

Polygon mirroredAcrossY(const Polygon& rightHalf) {
  Polygon loop = rightHalf;
  for (auto it = rightHalf.rbegin(); it != rightHalf.rend(); ++it) {
    Corner c = *it;
    c.at.x = -c.at.x;
    c.crown = 0.0;  // an edge of the half turns into the edge before its mirror
    loop.push_back(c);
  }
  return loop;
}

Polygon mirroredAcrossX(const Polygon& topHalf, double axisY) {
  Polygon loop = topHalf;
  for (auto it = topHalf.rbegin(); it != topHalf.rend(); ++it) {
    Corner c = *it;
    c.at.y = 2.0 * axisY - c.at.y;
    c.crown = 0.0;
    loop.push_back(c);
  }
  return loop;
}

Polygon withHalfTurn(const Polygon& half, Point2d centre) {
  Polygon loop = half;
  for (Corner c : half) {
    c.at = centre * 2.0 - c.at;
    loop.push_back(c);
  }
  return loop;
}

Polygon rectangle(double x0, double y0, double x1, double y1, double radius, const char* name) {
  return {{{x0, y0}, radius, name}, {{x1, y0}, radius, name}, {{x1, y1}, radius, name}, {{x0, y1}, radius, name}};
}

Polygon reversed(Polygon polygon) {
  // An edge's crown belongs to the corner the edge leaves; reversing the travel
  // hands it to the corner at the edge's other end.
  const std::size_t n = polygon.size();
  Polygon out(n);
  for (std::size_t i = 0; i < n; ++i) {
    out[i] = polygon[n - 1 - i];
    const Corner& from = polygon[(2 * n - 2 - i) % n];
    out[i].crown = from.crown;
    out[i].crownName = from.crownName;
  }
  return out;
}

namespace {

OutlineSegment lineSegment(Point2d a, Point2d b) {
  OutlineSegment s;
  s.kind = OutlineSegment::Kind::Line;
  s.start = a;
  s.end = b;
  return s;
}

OutlineSegment arcSegment(Point2d centre, double r, Point2d a, Point2d b, double startAngle, double sweep) {
  OutlineSegment s;
  s.kind = OutlineSegment::Kind::Arc;
  s.start = a;
  s.end = b;
  s.centre = centre;
  s.radius = r;
  s.radius_y = r;
  s.start_angle = startAngle;
  s.end_angle = startAngle + sweep;
  return s;
}

// Repeated corners (where a mirrored half meets itself on the axis) become one,
// keeping the larger rounding and the crown of the edge that leaves them.
Polygon withoutRepeats(const Polygon& in, double eps) {
  Polygon out;
  for (const Corner& c : in) {
    if (!out.empty() && length(c.at - out.back().at) <= eps) {
      Corner& kept = out.back();
      if (c.radius > kept.radius) {
        kept.radius = c.radius;
        kept.radiusName = c.radiusName;
      }
      kept.crown = c.crown;
      kept.crownName = c.crownName;
      continue;
    }
    out.push_back(c);
  }
  while (out.size() > 1 && length(out.back().at - out.front().at) <= eps) {
    Corner& first = out.front();
    if (out.back().radius > first.radius) {
      first.radius = out.back().radius;
      first.radiusName = out.back().radiusName;
    }
    out.pop_back();
  }
  return out;
}

// A corner where the outline goes straight on is no corner: dropped, whatever
// its radius, unless an edge beside it is an arc.
Polygon withoutStraightCorners(Polygon p) {
  bool dropped = true;
  while (dropped && p.size() > 3) {
    dropped = false;
    for (std::size_t i = 0; i < p.size(); ++i) {
      const Corner& prev = p[(i + p.size() - 1) % p.size()];
      const Corner& next = p[(i + 1) % p.size()];
      if (prev.crown > 0.0 || p[i].crown > 0.0) continue;
      const Point2d u = unit(p[i].at - prev.at);
      const Point2d w = unit(next.at - p[i].at);
      if (std::fabs(cross(u, w)) <= 1e-12 && dot(u, w) > 0.0) {
        p.erase(p.begin() + static_cast<std::ptrdiff_t>(i));
        dropped = true;
        break;
      }
    }
  }
  return p;
}

}  // namespace

OutlineLoop roundedLoop(Polygon polygon, const ShapeDims& dims) {
  double scale = 0.0;
  for (const Corner& c : polygon) scale = std::max({scale, std::fabs(c.at.x), std::fabs(c.at.y)});
  const double eps = 1e-9 * scale;
  Polygon p = withoutStraightCorners(withoutRepeats(polygon, eps));
  const std::size_t n = p.size();
  if (n < 3) throw std::logic_error("an outline polygon needs three corners");
  auto at = [&p, n](std::size_t i) -> const Corner& { return p[i % n]; };

  // Where each rounding leaves the edge before and joins the edge after its
  // corner: `cut` along each edge, the turn of the outline at the corner.
  std::vector<double> cut(n, 0.0), turn(n, 0.0);
  for (std::size_t i = 0; i < n; ++i) {
    const Corner& c = p[i];
    const Corner& prev = at(i + n - 1);
    const Point2d u = unit(c.at - prev.at);
    const Point2d w = unit(at(i + 1).at - c.at);
    turn[i] = std::atan2(cross(u, w), dot(u, w));
    if (c.radius <= 0.0) continue;
    if (prev.crown > 0.0 || c.crown > 0.0) throw std::logic_error("a rounded corner beside a crowned edge");
    if (std::fabs(turn[i]) >= kPi - 1e-9) dims.fail(c.radiusName, "rounds a corner that folds back on itself");
    cut[i] = c.radius * std::tan(std::fabs(turn[i]) / 2.0);
  }
  for (std::size_t i = 0; i < n; ++i) {
    const Corner& a = p[i];
    const Corner& b = at(i + 1);
    const double edge = length(b.at - a.at);
    if (a.crown > 0.0) {
      dims.require(a.crown >= edge / 2.0 - eps, a.crownName,
                   "is less than half the width " + number(edge) + " it spans");
      continue;
    }
    if (cut[i] + cut[(i + 1) % n] > edge + eps) {
      const Corner& larger = cut[i] >= cut[(i + 1) % n] ? a : b;
      dims.fail(larger.radiusName, "is too large: the rounded corner does not fit on the edges beside it");
    }
  }

  OutlineLoop loop;
  auto addLine = [&loop, eps](Point2d from, Point2d to) {
    if (length(to - from) > eps) loop.segments.push_back(lineSegment(from, to));
  };
  std::vector<Point2d> enter(n), leave(n);  // where the outline reaches and leaves each corner
  for (std::size_t i = 0; i < n; ++i) {
    const Point2d u = unit(p[i].at - at(i + n - 1).at);
    const Point2d w = unit(at(i + 1).at - p[i].at);
    enter[i] = p[i].at - u * cut[i];
    leave[i] = p[i].at + w * cut[i];
  }
  for (std::size_t i = 0; i < n; ++i) {
    const Corner& c = p[i];
    if (cut[i] > 0.0) {
      const Point2d u = unit(c.at - at(i + n - 1).at);
      const Point2d centre = enter[i] + leftNormal(u) * (turn[i] > 0.0 ? c.radius : -c.radius);
      const Point2d r = enter[i] - centre;
      loop.segments.push_back(arcSegment(centre, c.radius, enter[i], leave[i], std::atan2(r.y, r.x), turn[i]));
    }
    const Point2d next = enter[(i + 1) % n];
    if (c.crown > 0.0) {
      // The centre lies inside the loop, on the left of the chord.
      const Point2d chord = next - leave[i];
      const double half = length(chord) / 2.0;
      const double rise = std::sqrt(std::max(0.0, c.crown * c.crown - half * half));
      const Point2d centre = leave[i] + chord * 0.5 + leftNormal(unit(chord)) * rise;
      const Point2d r = leave[i] - centre;
      const double sweep = 2.0 * std::asin(std::min(1.0, half / c.crown));
      loop.segments.push_back(arcSegment(centre, c.crown, leave[i], next, std::atan2(r.y, r.x), sweep));
    } else {
      addLine(leave[i], next);
    }
  }
  return loop;
}

OutlineLoop ellipseLoop(Point2d centre, double rx, double ry, bool counterClockwise) {
  OutlineSegment s;
  s.kind = rx == ry ? OutlineSegment::Kind::Arc : OutlineSegment::Kind::EllipticArc;
  s.start = s.end = {centre.x + rx, centre.y};
  s.centre = centre;
  s.radius = rx;
  s.radius_y = ry;
  s.start_angle = 0.0;
  s.end_angle = counterClockwise ? 2.0 * kPi : -2.0 * kPi;
  return OutlineLoop{{s}};
}

Point2d meet(const Line& a, const Line& b, const ShapeDims& dims, const char* name) {
  const double den = cross(unit(a.direction), unit(b.direction));
  if (std::fabs(den) < 1e-9) dims.fail(name, "tilts two faces parallel");
  const double s = cross(b.at - a.at, unit(b.direction)) / den;
  return a.at + unit(a.direction) * s;
}

Point2d Plate::toeOuter() const { return back + along * length; }

Point2d Plate::toeInner() const { return toeOuter() + inward * (thickness - slope * length / 2.0); }

Line Plate::innerFace() const {
  return Line{back + along * (length / 2.0) + inward * thickness, along - inward * slope};
}

void Plate::check(const ShapeDims& dims) const {
  if (slope > 0.0) dims.require(thickness - slope * length / 2.0 > 0.0, slopeName, "leaves no thickness at the toe");
}

}  // namespace geometry
}  // namespace tarnlib
