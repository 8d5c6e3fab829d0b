// The outline's own error, its bounds and its chords.
#include <algorithm>
#include <cmath>
#include <limits>

#include "tarnlib/profile_outline.h"

namespace tarnlib {

OutlineError::OutlineError(const OdString& shape, const OdString& dimension, const OdString& message)
    : shape_(shape), dimension_(dimension), message_(message) {}

// Out of line: the one home of the class's vtable, which catching across the
// library boundary relies on.
OutlineError::~OutlineError() = default;

const wchar_t* OutlineError::what() const { return message_.c_str(); }

namespace {

const double kPi = std::acos(-1.0);
constexpr double kMaxChordsPerArc = 8192;

Point2d arcPoint(const OutlineSegment& s, double angle) {
  return {s.centre.x + s.radius * std::cos(angle), s.centre.y + s.radius_y * std::sin(angle)};
}

// Chords of an angle step t stray at most r·(1 - cos(t/2)) = 2r·sin²(t/4) from
// the circle of radius r; an elliptic arc is a circle of its larger semi-axis
// squeezed along one axis, which only brings the chords nearer.
int chordCount(const OutlineSegment& s, double tolerance) {
  const double r = std::max(s.radius, s.radius_y);
  double step = kPi / 2;
  if (tolerance < 2 * r) step = std::min(step, 4 * std::asin(std::sqrt(tolerance / (2 * r))));
  const double sweep = std::fabs(s.end_angle - s.start_angle);
  const double count = step > 0 ? std::ceil(sweep / step - 1e-9) : kMaxChordsPerArc;
  return static_cast<int>(std::clamp(count, 1.0, kMaxChordsPerArc));
}

void include(OutlineBounds& box, Point2d p) {
  box.min.x = std::min(box.min.x, p.x);
  box.min.y = std::min(box.min.y, p.y);
  box.max.x = std::max(box.max.x, p.x);
  box.max.y = std::max(box.max.y, p.y);
}

}  // namespace

std::vector<std::vector<Point2d>> polylines(const ProfileOutline& outline, double chordTolerance) {
  if (!(chordTolerance > 0) || !std::isfinite(chordTolerance))
    throw OutlineError(OdString(), OdString(), L"the chord tolerance must be a positive finite number");
  std::vector<std::vector<Point2d>> out;
  auto add = [&out, chordTolerance](const OutlineLoop& loop) {
    std::vector<Point2d> points;
    for (const OutlineSegment& s : loop.segments) {
      points.push_back(s.start);
      if (s.kind == OutlineSegment::Kind::Line) continue;
      const int n = chordCount(s, chordTolerance);
      for (int k = 1; k < n; ++k) points.push_back(arcPoint(s, s.start_angle + (s.end_angle - s.start_angle) * k / n));
    }
    out.push_back(std::move(points));
  };
  add(outline.outer);
  for (const OutlineLoop& loop : outline.inner) add(loop);
  return out;
}

OutlineBounds outlineBounds(const ProfileOutline& outline) {
  const double inf = std::numeric_limits<double>::infinity();
  OutlineBounds box{{inf, inf}, {-inf, -inf}};
  auto add = [&box](const OutlineLoop& loop) {
    for (const OutlineSegment& s : loop.segments) {
      include(box, s.start);
      include(box, s.end);
      if (s.kind == OutlineSegment::Kind::Line) continue;
      // The arc's extremes are where it crosses a multiple of a quarter turn.
      const double lo = std::min(s.start_angle, s.end_angle), hi = std::max(s.start_angle, s.end_angle);
      // An arc turns at most once round, so five quarter turns are the most.
      const double first = std::ceil(lo / (kPi / 2));
      for (double k = first; k * (kPi / 2) <= hi && k < first + 5; ++k) include(box, arcPoint(s, k * (kPi / 2)));
    }
  };
  add(outline.outer);
  for (const OutlineLoop& loop : outline.inner) add(loop);
  if (box.min.x > box.max.x) return OutlineBounds{};
  return box;
}

}  // namespace tarnlib
