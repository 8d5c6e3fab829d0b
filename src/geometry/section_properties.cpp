// Section properties integrated over the outline itself.
//
// For g = 1, x, y, x², xy, y² (of degree k), the area integral of g equals the
// loop integral of g/(k+2)·(x dy - y dx): the form's exterior derivative is
// (x g_x + y g_y + 2g) dx∧dy, which Euler's identity makes (k+2)·g dx∧dy. On a
// line x dy - y dx is constant; on an arc (c + a cos t, d + b sin t) it is
// ab + bc cos t + ad sin t. Either way the integrand is a polynomial in one
// parameter or in cos t and sin t, and integrates in closed form: the results
// are exact up to rounding, with no chords in between.
#include <cmath>

#include "tarnlib/profile_outline.h"

namespace tarnlib {
namespace {

// ∫1, ∫x, ∫y, ∫x², ∫xy, ∫y² over the region.
struct Moments {
  double a = 0, sx = 0, sy = 0, xx = 0, xy = 0, yy = 0;
  Moments& operator+=(const Moments& o) {
    a += o.a, sx += o.sx, sy += o.sy, xx += o.xx, xy += o.xy, yy += o.yy;
    return *this;
  }
};

Moments lineMoments(Point2d p, Point2d q) {
  const double c = p.x * q.y - q.x * p.y;
  Moments m;
  m.a = c / 2;
  m.sx = c * (p.x + q.x) / 6;
  m.sy = c * (p.y + q.y) / 6;
  m.xx = c * (p.x * p.x + p.x * q.x + q.x * q.x) / 12;
  m.yy = c * (p.y * p.y + p.y * q.y + q.y * q.y) / 12;
  m.xy = c * (2 * p.x * p.y + p.x * q.y + q.x * p.y + 2 * q.x * q.y) / 24;
  return m;
}

// A polynomial in cos t and sin t of degree three at most: k[m][n] is the
// coefficient of cos^m t · sin^n t.
struct Trig {
  double k[4][4] = {};
};

Trig operator*(const Trig& p, const Trig& q) {
  Trig r;
  for (int m1 = 0; m1 < 4; ++m1)
    for (int n1 = 0; m1 + n1 < 4; ++n1)
      for (int m2 = 0; m1 + n1 + m2 < 4; ++m2)
        for (int n2 = 0; m1 + n1 + m2 + n2 < 4; ++n2) r.k[m1 + m2][n1 + n2] += p.k[m1][n1] * q.k[m2][n2];
  return r;
}

Trig operator*(const Trig& p, double f) {
  Trig r = p;
  for (auto& row : r.k)
    for (double& v : row) v *= f;
  return r;
}

// An antiderivative of cos^m t · sin^n t, m + n <= 3.
double antiderivative(int m, int n, double t) {
  const double c = std::cos(t), s = std::sin(t);
  switch (m * 4 + n) {
    case 0: return t;
    case 4: return s;
    case 1: return -c;
    case 8: return t / 2 + std::sin(2 * t) / 4;
    case 5: return s * s / 2;
    case 2: return t / 2 - std::sin(2 * t) / 4;
    case 12: return s - s * s * s / 3;
    case 9: return -c * c * c / 3;
    case 6: return s * s * s / 3;
    case 3: return -c + c * c * c / 3;
    default: return 0.0;  // beyond degree three: never formed
  }
}

double integrate(const Trig& p, double t0, double t1) {
  double sum = 0.0;
  for (int m = 0; m < 4; ++m)
    for (int n = 0; m + n < 4; ++n)
      if (p.k[m][n] != 0.0) sum += p.k[m][n] * (antiderivative(m, n, t1) - antiderivative(m, n, t0));
  return sum;
}

// `s` is an arc whose centre is already relative to the reference point.
Moments arcMoments(const OutlineSegment& s) {
  const double a = s.radius, b = s.radius_y, cx = s.centre.x, cy = s.centre.y;
  Trig x, y, form;
  x.k[0][0] = cx, x.k[1][0] = a;
  y.k[0][0] = cy, y.k[0][1] = b;
  form.k[0][0] = a * b, form.k[1][0] = b * cx, form.k[0][1] = a * cy;  // x dy - y dx per dt
  const double t0 = s.start_angle, t1 = s.end_angle;
  Moments m;
  m.a = integrate(form * 0.5, t0, t1);
  m.sx = integrate(x * form * (1.0 / 3), t0, t1);
  m.sy = integrate(y * form * (1.0 / 3), t0, t1);
  m.xx = integrate(x * x * form * 0.25, t0, t1);
  m.xy = integrate(x * y * form * 0.25, t0, t1);
  m.yy = integrate(y * y * form * 0.25, t0, t1);
  return m;
}

Point2d relative(Point2d p, Point2d origin) { return {p.x - origin.x, p.y - origin.y}; }

// Taken about `origin`, near the section's middle, so that shifting the second
// moments to the centroid cancels little.
Moments loopMoments(const OutlineLoop& loop, Point2d origin) {
  Moments sum;
  for (const OutlineSegment& s : loop.segments) {
    if (s.kind == OutlineSegment::Kind::Line) {
      sum += lineMoments(relative(s.start, origin), relative(s.end, origin));
    } else {
      OutlineSegment local = s;
      local.centre = relative(s.centre, origin);
      sum += arcMoments(local);
    }
  }
  return sum;
}

}  // namespace

SectionProperties sectionProperties(const ProfileOutline& outline) {
  SectionProperties p;
  p.bounds = outlineBounds(outline);
  const Point2d origin{(p.bounds.min.x + p.bounds.max.x) / 2, (p.bounds.min.y + p.bounds.max.y) / 2};
  Moments m = loopMoments(outline.outer, origin);
  for (const OutlineLoop& loop : outline.inner) m += loopMoments(loop, origin);
  if (!(m.a > 0) || !std::isfinite(m.a))
    throw OutlineError(OdString(), OdString(), L"the outline encloses no area: an empty outline or one run clockwise");

  p.area = m.a;
  const double cx = m.sx / m.a, cy = m.sy / m.a;  // relative to `origin`
  p.centroid = {origin.x + cx, origin.y + cy};
  p.ix = m.yy - m.a * cy * cy;
  p.iy = m.xx - m.a * cx * cx;
  p.ixy = m.xy - m.a * cx * cy;

  const double mean = (p.ix + p.iy) / 2, half = (p.ix - p.iy) / 2;
  const double r = std::hypot(half, p.ixy);
  p.i1 = mean + r;
  p.i2 = mean - r;
  // Alike about every axis (a circle, a square) up to rounding: no axis is major.
  p.principal_angle = r > 1e-12 * mean ? std::atan2(-p.ixy, half) / 2 : 0.0;

  p.wx_top = p.ix / (p.bounds.max.y - p.centroid.y);
  p.wx_bottom = p.ix / (p.centroid.y - p.bounds.min.y);
  p.wy_right = p.iy / (p.bounds.max.x - p.centroid.x);
  p.wy_left = p.iy / (p.centroid.x - p.bounds.min.x);
  p.rx = std::sqrt(std::max(0.0, p.ix / p.area));
  p.ry = std::sqrt(std::max(0.0, p.iy / p.area));
  return p;
}

SectionProperties sectionProperties(const ParametrizedProfile& profile) {
  return sectionProperties(profileOutline(profile));
}

double massPerMetre(const SectionProperties& properties, double densityKgPerM3, LibraryUnit unit) {
  const double metres = unit == LibraryUnit::Inch ? 0.0254 : 0.001;
  return properties.area * metres * metres * densityKgPerM3;
}

}  // namespace tarnlib
