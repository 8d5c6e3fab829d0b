// The sixteen parametric shapes: their descriptions, the comparisons and the
// rescaling common to all, their table bindings and their classes.
#include "objects/shape.h"

#include <cmath>
#include <map>
#include <stdexcept>

#include "db/error.h"
#include "objects/class_support.h"
#include "objects/profile_support.h"
#include "tarnlib/library.h"
#include "tarnlib/profile_shapes.h"

namespace tarnlib {
namespace objects {

std::size_t Shape::index(const std::string& column) const {
  for (std::size_t i = 0; i < all.size(); ++i)
    if (column == all[i].column) return i;
  throw std::logic_error(std::string(className) + " has no dimension " + column);
}

namespace {

constexpr bool kRequired = false;
constexpr bool kOptional = true;

struct ShapeEntry {
  ObjectType type;
  const char* className;
  ObjectType base;
  std::vector<Dimension> own;
};

#define TARNLIB_SHAPE(Class, Base, ...) \
  ShapeEntry { ObjectType::Class, #Class, ObjectType::Base, std::vector<Dimension> __VA_ARGS__ }

std::vector<Shape> describeShapes() {
  // Bases before derived shapes; dimensions in column order.
  const std::vector<ShapeEntry> entries = {
      TARNLIB_SHAPE(CircleProfile, ParametrizedProfile, {{"radius", kRequired}}),
      TARNLIB_SHAPE(CircleHollowProfile, CircleProfile, {{"wallThickness", kRequired}}),
      TARNLIB_SHAPE(EllipseProfile, ParametrizedProfile, {{"semiAxis1", kRequired}, {"semiAxis2", kRequired}}),
      TARNLIB_SHAPE(RectangleProfile, ParametrizedProfile, {{"xDim", kRequired}, {"yDim", kRequired}}),
      TARNLIB_SHAPE(RectangleHollowProfile, RectangleProfile, {{"wallThickness", kRequired}, {"innerFilletRadius", kOptional}, {"outerFilletRadius", kOptional}}),
      TARNLIB_SHAPE(RoundedRectangleProfile, RectangleProfile, {{"roundingRadius", kRequired}}),
      TARNLIB_SHAPE(TrapeziumProfile, ParametrizedProfile, {{"bottomXDim", kRequired}, {"topXDim", kRequired}, {"yDim", kRequired}, {"topXOffset", kRequired}}),
      TARNLIB_SHAPE(CraneRailAShapeProfile, ParametrizedProfile, {{"overallHeight", kRequired}, {"baseWidth2", kRequired}, {"radius", kOptional}, {"headWidth", kRequired}, {"headDepth2", kRequired}, {"headDepth3", kRequired}, {"webThickness", kRequired}, {"baseWidth4", kRequired}, {"baseDepth1", kRequired}, {"baseDepth2", kRequired}, {"baseDepth3", kRequired}, {"centreOfGravityInY", kOptional}}),
      TARNLIB_SHAPE(CraneRailFShapeProfile, ParametrizedProfile, {{"overallHeight", kRequired}, {"headWidth", kRequired}, {"radius", kOptional}, {"headDepth2", kRequired}, {"headDepth3", kRequired}, {"webThickness", kRequired}, {"baseDepth1", kRequired}, {"baseDepth2", kRequired}, {"centreOfGravityInY", kOptional}}),
      TARNLIB_SHAPE(TShapeProfile, ParametrizedProfile, {{"depth", kRequired}, {"flangeWidth", kRequired}, {"webThickness", kRequired}, {"flangeThickness", kRequired}, {"filletRadius", kOptional}, {"flangeEdgeRadius", kOptional}, {"webEdgeRadius", kOptional}, {"webSlope", kOptional}, {"flangeSlope", kOptional}, {"centreOfGravityInY", kOptional}}),
      TARNLIB_SHAPE(ZShapeProfile, ParametrizedProfile, {{"depth", kRequired}, {"flangeWidth", kRequired}, {"webThickness", kRequired}, {"flangeThickness", kRequired}, {"filletRadius", kOptional}, {"edgeRadius", kOptional}}),
      TARNLIB_SHAPE(CShapeProfile, ParametrizedProfile, {{"depth", kRequired}, {"width", kRequired}, {"wallThickness", kRequired}, {"girth", kRequired}, {"internalFilletRadius", kOptional}, {"centreOfGravityInX", kOptional}}),
      TARNLIB_SHAPE(UShapeProfile, ParametrizedProfile, {{"depth", kRequired}, {"flangeWidth", kRequired}, {"webThickness", kRequired}, {"flangeThickness", kRequired}, {"filletRadius", kOptional}, {"edgeRadius", kOptional}, {"flangeSlope", kOptional}, {"centreOfGravityInX", kOptional}}),
      TARNLIB_SHAPE(LShapeProfile, ParametrizedProfile, {{"depth", kRequired}, {"width", kOptional}, {"thickness", kRequired}, {"filletRadius", kOptional}, {"edgeRadius", kOptional}, {"legSlope", kOptional}, {"centreOfGravityInX", kOptional}, {"centreOfGravityInY", kOptional}}),
      TARNLIB_SHAPE(IShapeProfile, ParametrizedProfile, {{"overallWidth", kRequired}, {"overallDepth", kRequired}, {"webThickness", kRequired}, {"flangeThickness", kRequired}, {"filletRadius", kOptional}}),
      TARNLIB_SHAPE(AsymmetricIShapeProfile, IShapeProfile, {{"topFlangeWidth", kRequired}, {"topFlangeThickness", kOptional}, {"topFlangeFilletRadius", kOptional}, {"centreOfGravityInY", kOptional}}),
  };
  std::vector<Shape> out;
  out.reserve(entries.size());  // `base` points into it
  for (const ShapeEntry& e : entries) {
    Shape s{e.type, e.className, nullptr, e.own, {}, 0};
    for (const Shape& earlier : out)
      if (earlier.type == e.base) s.base = &earlier;
    if (s.base) s.all = s.base->all;
    s.firstOwn = s.all.size();
    s.all.insert(s.all.end(), e.own.begin(), e.own.end());
    if (s.all.size() > kMaxDimensions)
      throw std::logic_error(std::string(e.className) + " has more dimensions than a profile record holds");
    out.push_back(std::move(s));
  }
  return out;
}

// The factor that converts `a`'s lengths into `b`'s unit.
double unitFactor(const Profile& a, const Profile& b) {
  const std::shared_ptr<Library> la = a.library();
  const std::shared_ptr<Library> lb = b.library();
  if (!la || !lb || la->unit() == lb->unit()) return 1.0;
  return la->unit() == LibraryUnit::Inch ? 25.4 : 1.0 / 25.4;
}

Vector2d offsetOf(const Profile::Impl& p) { return p.offset.value_or(Vector2d{}); }

}  // namespace

const std::vector<Shape>& shapes() {
  static const std::vector<Shape> all = describeShapes();
  return all;
}

const Shape* shapeOf(ObjectType type) {
  for (const Shape& s : shapes())
    if (s.type == type) return &s;
  return nullptr;
}

std::unique_ptr<Profile::Impl> newProfileImpl(ObjectType type) {
  auto impl = std::make_unique<Profile::Impl>();
  if (const Shape* shape = shapeOf(type)) {
    for (std::size_t i = 0; i < shape->all.size(); ++i) impl->present[i] = !shape->all[i].optional;
  }
  return impl;
}

bool tolerantEqual(const ParametrizedProfile& a, const ParametrizedProfile& b, const Shape& shape) {
  const double f = unitFactor(a, b);
  const double t = std::max(1.0, f) * 0.0001;
  const Profile::Impl& pa = a.impl();
  const Profile::Impl& pb = b.impl();
  // An absent dimension holds 0, which is what it counts as.
  for (std::size_t i = 0; i < shape.all.size(); ++i)
    if (!(std::fabs(f * pa.dimensions[i] - pb.dimensions[i]) <= t)) return false;
  const Vector2d oa = offsetOf(pa);
  const Vector2d ob = offsetOf(pb);
  return std::fabs(f * oa.x - ob.x) <= t && std::fabs(f * oa.y - ob.y) <= t;
}

namespace {

bool isZero(double v) { return std::fabs(v) <= 1e-10; }

// The ratio of one pair of values, snapped to the unit factors when within
// reach of them; -1 for a zero against a non-zero; `running` for two zeros.
double pairRatio(double x, double y, double running) {
  if (isZero(x) && isZero(y)) return running;
  if (isZero(x) || isZero(y)) return -1.0;
  const double q = y / x;
  const double e = 0.0004 / x;
  if (std::fabs(q - 25.4) <= 25.4 * e) return 25.4;
  if (std::fabs(q - 1.0 / 25.4) <= e / 25.4) return 1.0 / 25.4;
  if (std::fabs(q - 1.0) <= e) return 1.0;
  return q;
}

}  // namespace

bool scaledEqual(const ParametrizedProfile& a, const ParametrizedProfile& b, const Shape& shape,
                 double& scale) {
  scale = 0.0;
  const double f = unitFactor(a, b);
  const Profile::Impl& pa = a.impl();
  const Profile::Impl& pb = b.impl();
  std::vector<std::pair<double, double>> pairs;
  for (std::size_t i = 0; i < shape.all.size(); ++i) pairs.emplace_back(pa.dimensions[i], pb.dimensions[i]);
  const Vector2d oa = offsetOf(pa);
  const Vector2d ob = offsetOf(pb);
  pairs.emplace_back(oa.x, ob.x);
  pairs.emplace_back(oa.y, ob.y);
  double r = 0.0;  // not yet known; -1 once two pairs disagree
  for (const auto& [da, db] : pairs) {
    const double q = pairRatio(f * da, db, r);
    if (r == 0.0) r = q;
    else if (std::fabs(r - q) > 0.0001) r = -1.0;
  }
  if (r <= 1e-10) return false;
  scale = r;
  return true;
}

void scaleDimensions(ParametrizedProfile& profile, const Shape& shape, double factor) {
  if (std::fabs(factor - 1.0) <= 1e-10) return;
  Profile::Impl& p = profile.impl();
  auto scaleValue = [&p, factor](double& v) {
    const double scaled = v * factor;
    if (scaled == v) return;
    v = scaled;
    p.state.dirty = true;
  };
  // Slopes and centres of gravity too: the family treats every dimension as a
  // length, and files written so far were converted that way.
  for (std::size_t i = 0; i < shape.all.size(); ++i)
    if (p.present[i]) scaleValue(p.dimensions[i]);
  if (p.offset) {
    scaleValue(p.offset->x);
    scaleValue(p.offset->y);
  }
}

namespace {

// A dimension column: NULL when an optional one is absent. SQLite would keep an
// infinity but hand back a NaN as NULL, and neither is a length: refused.
access::FieldBinding dimensionField(const Dimension& d, std::size_t index) {
  access::FieldBinding b;
  b.column = d.column;
  const bool optional = d.optional;
  const std::string column = d.column;
  b.bind = [index, column](const Object& o, db::Statement& s, int param) {
    const Profile::Impl& p = static_cast<const Profile&>(o).impl();
    if (!p.present[index]) {
      s.bindNull(param);
      return;
    }
    const double v = p.dimensions[index];
    if (!std::isfinite(v))
      throw db::Error(db::Condition::Database, 20, 20,
                      "the dimension " + column + " of profile \"" + p.size.toUtf8() + "\" is not a finite number");
    s.bind(param, v);
  };
  b.read = [index, optional](Object& o, const db::Statement& row, int c) {
    Profile::Impl& p = static_cast<Profile&>(o).impl();
    const bool null = row.isNull(c);
    p.dimensions[index] = null ? 0.0 : row.real(c);
    p.present[index] = !(optional && null);
  };
  return b;
}

}  // namespace

const access::Mapping& shapeMapping(ObjectType type);

}  // namespace objects

namespace {

// The position of a dimension of `profile`'s shape by its stored name.
std::optional<std::size_t> dimensionIndex(const ParametrizedProfile& profile, const OdString& name) {
  const objects::Shape* shape = objects::shapeOf(profile.tarnlibType());
  if (!shape) return std::nullopt;
  const std::string column = name.toUtf8();
  for (std::size_t i = 0; i < shape->all.size(); ++i)
    if (column == shape->all[i].column) return i;
  return std::nullopt;
}

}  // namespace

bool ParametrizedProfile::set_dimension(const OdString& name, double value) {
  const auto index = dimensionIndex(*this, name);
  if (!index) return false;
  objects::setDimension(*impl_, *index, value);
  return true;
}

bool ParametrizedProfile::clear_dimension(const OdString& name) {
  const auto index = dimensionIndex(*this, name);
  if (!index || !objects::shapeOf(tarnlibType())->all[*index].optional) return false;
  objects::clearDimension(*impl_, *index);
  return true;
}

std::vector<ParametrizedProfile::Dimension> ParametrizedProfile::dimensions() const {
  std::vector<Dimension> out;
  const objects::Shape* shape = objects::shapeOf(tarnlibType());
  if (!shape) return out;
  for (std::size_t i = 0; i < shape->all.size(); ++i)
    out.push_back(Dimension{shape->all[i].column, shape->all[i].optional, impl_->present[i], impl_->dimensions[i]});
  return out;
}

#define TARNLIB_DEFINE_SHAPE(Class, Base)                                                         \
  TARNLIB_DEFINE_OBJECT(Class, Base)                                                              \
  TARNLIB_DEFINE_PROFILE_CLASS(Class, Base)                                                       \
  bool Class::operator==(const Class& other) const {                                              \
    return objects::tolerantEqual(*this, other, *objects::shapeOf(ObjectType::Class));            \
  }                                                                                               \
  bool Class::scaledEqual(const Class& other, double& scale) const {                              \
    return objects::scaledEqual(*this, other, *objects::shapeOf(ObjectType::Class), scale);       \
  }                                                                                               \
  void Class::convertByScaling(double factor) {                                                   \
    objects::scaleDimensions(*this, *objects::shapeOf(ObjectType::Class), factor);                \
  }

// The accessors of one dimension, found by its column once.
#define TARNLIB_DIMENSION_INDEX(Class, column) \
  static const std::size_t index = objects::shapeOf(ObjectType::Class)->index(column)

#define TARNLIB_REQUIRED_DIMENSION(Class, name, column)                                           \
  double Class::name() const {                                                                    \
    TARNLIB_DIMENSION_INDEX(Class, column);                                                       \
    return impl_->dimensions[index];                                                              \
  }                                                                                               \
  void Class::set_##name(double value) {                                                          \
    TARNLIB_DIMENSION_INDEX(Class, column);                                                       \
    objects::setDimension(*impl_, index, value);                                                  \
  }

#define TARNLIB_OPTIONAL_DIMENSION(Class, name, column)                                           \
  TARNLIB_REQUIRED_DIMENSION(Class, name, column)                                                 \
  bool Class::has_##name() const {                                                                \
    TARNLIB_DIMENSION_INDEX(Class, column);                                                       \
    return impl_->present[index];                                                                 \
  }                                                                                               \
  void Class::clear_##name() {                                                                    \
    TARNLIB_DIMENSION_INDEX(Class, column);                                                       \
    objects::clearDimension(*impl_, index);                                                       \
  }

TARNLIB_DEFINE_SHAPE(CircleProfile, ParametrizedProfile)
TARNLIB_REQUIRED_DIMENSION(CircleProfile, radius, "radius")

TARNLIB_DEFINE_SHAPE(CircleHollowProfile, CircleProfile)
TARNLIB_REQUIRED_DIMENSION(CircleHollowProfile, wall_thickness, "wallThickness")

TARNLIB_DEFINE_SHAPE(EllipseProfile, ParametrizedProfile)
TARNLIB_REQUIRED_DIMENSION(EllipseProfile, semi_axis_1, "semiAxis1")
TARNLIB_REQUIRED_DIMENSION(EllipseProfile, semi_axis_2, "semiAxis2")

TARNLIB_DEFINE_SHAPE(RectangleProfile, ParametrizedProfile)
TARNLIB_REQUIRED_DIMENSION(RectangleProfile, x_dim, "xDim")
TARNLIB_REQUIRED_DIMENSION(RectangleProfile, y_dim, "yDim")

TARNLIB_DEFINE_SHAPE(RectangleHollowProfile, RectangleProfile)
TARNLIB_REQUIRED_DIMENSION(RectangleHollowProfile, wall_thickness, "wallThickness")
TARNLIB_OPTIONAL_DIMENSION(RectangleHollowProfile, inner_fillet_radius, "innerFilletRadius")
TARNLIB_OPTIONAL_DIMENSION(RectangleHollowProfile, outer_fillet_radius, "outerFilletRadius")

TARNLIB_DEFINE_SHAPE(RoundedRectangleProfile, RectangleProfile)
TARNLIB_REQUIRED_DIMENSION(RoundedRectangleProfile, rounding_radius, "roundingRadius")

TARNLIB_DEFINE_SHAPE(TrapeziumProfile, ParametrizedProfile)
TARNLIB_REQUIRED_DIMENSION(TrapeziumProfile, bottom_x_dim, "bottomXDim")
TARNLIB_REQUIRED_DIMENSION(TrapeziumProfile, top_x_dim, "topXDim")
TARNLIB_REQUIRED_DIMENSION(TrapeziumProfile, y_dim, "yDim")
TARNLIB_REQUIRED_DIMENSION(TrapeziumProfile, top_x_offset, "topXOffset")

TARNLIB_DEFINE_SHAPE(CraneRailAShapeProfile, ParametrizedProfile)
TARNLIB_REQUIRED_DIMENSION(CraneRailAShapeProfile, overall_height, "overallHeight")
TARNLIB_REQUIRED_DIMENSION(CraneRailAShapeProfile, base_width_2, "baseWidth2")
TARNLIB_OPTIONAL_DIMENSION(CraneRailAShapeProfile, radius, "radius")
TARNLIB_REQUIRED_DIMENSION(CraneRailAShapeProfile, head_width, "headWidth")
TARNLIB_REQUIRED_DIMENSION(CraneRailAShapeProfile, head_depth_2, "headDepth2")
TARNLIB_REQUIRED_DIMENSION(CraneRailAShapeProfile, head_depth_3, "headDepth3")
TARNLIB_REQUIRED_DIMENSION(CraneRailAShapeProfile, web_thickness, "webThickness")
TARNLIB_REQUIRED_DIMENSION(CraneRailAShapeProfile, base_width_4, "baseWidth4")
TARNLIB_REQUIRED_DIMENSION(CraneRailAShapeProfile, base_depth_1, "baseDepth1")
TARNLIB_REQUIRED_DIMENSION(CraneRailAShapeProfile, base_depth_2, "baseDepth2")
TARNLIB_REQUIRED_DIMENSION(CraneRailAShapeProfile, base_depth_3, "baseDepth3")
TARNLIB_OPTIONAL_DIMENSION(CraneRailAShapeProfile, centre_of_gravity_in_y, "centreOfGravityInY")

TARNLIB_DEFINE_SHAPE(CraneRailFShapeProfile, ParametrizedProfile)
TARNLIB_REQUIRED_DIMENSION(CraneRailFShapeProfile, overall_height, "overallHeight")
TARNLIB_REQUIRED_DIMENSION(CraneRailFShapeProfile, head_width, "headWidth")
TARNLIB_OPTIONAL_DIMENSION(CraneRailFShapeProfile, radius, "radius")
TARNLIB_REQUIRED_DIMENSION(CraneRailFShapeProfile, head_depth_2, "headDepth2")
TARNLIB_REQUIRED_DIMENSION(CraneRailFShapeProfile, head_depth_3, "headDepth3")
TARNLIB_REQUIRED_DIMENSION(CraneRailFShapeProfile, web_thickness, "webThickness")
TARNLIB_REQUIRED_DIMENSION(CraneRailFShapeProfile, base_depth_1, "baseDepth1")
TARNLIB_REQUIRED_DIMENSION(CraneRailFShapeProfile, base_depth_2, "baseDepth2")
TARNLIB_OPTIONAL_DIMENSION(CraneRailFShapeProfile, centre_of_gravity_in_y, "centreOfGravityInY")

TARNLIB_DEFINE_SHAPE(TShapeProfile, ParametrizedProfile)
TARNLIB_REQUIRED_DIMENSION(TShapeProfile, depth, "depth")
TARNLIB_REQUIRED_DIMENSION(TShapeProfile, flange_width, "flangeWidth")
TARNLIB_REQUIRED_DIMENSION(TShapeProfile, web_thickness, "webThickness")
TARNLIB_REQUIRED_DIMENSION(TShapeProfile, flange_thickness, "flangeThickness")
TARNLIB_OPTIONAL_DIMENSION(TShapeProfile, fillet_radius, "filletRadius")
TARNLIB_OPTIONAL_DIMENSION(TShapeProfile, flange_edge_radius, "flangeEdgeRadius")
TARNLIB_OPTIONAL_DIMENSION(TShapeProfile, web_edge_radius, "webEdgeRadius")
TARNLIB_OPTIONAL_DIMENSION(TShapeProfile, web_slope, "webSlope")
TARNLIB_OPTIONAL_DIMENSION(TShapeProfile, flange_slope, "flangeSlope")
TARNLIB_OPTIONAL_DIMENSION(TShapeProfile, centre_of_gravity_in_y, "centreOfGravityInY")

TARNLIB_DEFINE_SHAPE(ZShapeProfile, ParametrizedProfile)
TARNLIB_REQUIRED_DIMENSION(ZShapeProfile, depth, "depth")
TARNLIB_REQUIRED_DIMENSION(ZShapeProfile, flange_width, "flangeWidth")
TARNLIB_REQUIRED_DIMENSION(ZShapeProfile, web_thickness, "webThickness")
TARNLIB_REQUIRED_DIMENSION(ZShapeProfile, flange_thickness, "flangeThickness")
TARNLIB_OPTIONAL_DIMENSION(ZShapeProfile, fillet_radius, "filletRadius")
TARNLIB_OPTIONAL_DIMENSION(ZShapeProfile, edge_radius, "edgeRadius")

TARNLIB_DEFINE_SHAPE(CShapeProfile, ParametrizedProfile)
TARNLIB_REQUIRED_DIMENSION(CShapeProfile, depth, "depth")
TARNLIB_REQUIRED_DIMENSION(CShapeProfile, width, "width")
TARNLIB_REQUIRED_DIMENSION(CShapeProfile, wall_thickness, "wallThickness")
TARNLIB_REQUIRED_DIMENSION(CShapeProfile, girth, "girth")
TARNLIB_OPTIONAL_DIMENSION(CShapeProfile, internal_fillet_radius, "internalFilletRadius")
TARNLIB_OPTIONAL_DIMENSION(CShapeProfile, centre_of_gravity_in_x, "centreOfGravityInX")

TARNLIB_DEFINE_SHAPE(UShapeProfile, ParametrizedProfile)
TARNLIB_REQUIRED_DIMENSION(UShapeProfile, depth, "depth")
TARNLIB_REQUIRED_DIMENSION(UShapeProfile, flange_width, "flangeWidth")
TARNLIB_REQUIRED_DIMENSION(UShapeProfile, web_thickness, "webThickness")
TARNLIB_REQUIRED_DIMENSION(UShapeProfile, flange_thickness, "flangeThickness")
TARNLIB_OPTIONAL_DIMENSION(UShapeProfile, fillet_radius, "filletRadius")
TARNLIB_OPTIONAL_DIMENSION(UShapeProfile, edge_radius, "edgeRadius")
TARNLIB_OPTIONAL_DIMENSION(UShapeProfile, flange_slope, "flangeSlope")
TARNLIB_OPTIONAL_DIMENSION(UShapeProfile, centre_of_gravity_in_x, "centreOfGravityInX")

TARNLIB_DEFINE_SHAPE(LShapeProfile, ParametrizedProfile)
TARNLIB_REQUIRED_DIMENSION(LShapeProfile, depth, "depth")
TARNLIB_OPTIONAL_DIMENSION(LShapeProfile, width, "width")
TARNLIB_REQUIRED_DIMENSION(LShapeProfile, thickness, "thickness")
TARNLIB_OPTIONAL_DIMENSION(LShapeProfile, fillet_radius, "filletRadius")
TARNLIB_OPTIONAL_DIMENSION(LShapeProfile, edge_radius, "edgeRadius")
TARNLIB_OPTIONAL_DIMENSION(LShapeProfile, leg_slope, "legSlope")
TARNLIB_OPTIONAL_DIMENSION(LShapeProfile, centre_of_gravity_in_x, "centreOfGravityInX")
TARNLIB_OPTIONAL_DIMENSION(LShapeProfile, centre_of_gravity_in_y, "centreOfGravityInY")

TARNLIB_DEFINE_SHAPE(IShapeProfile, ParametrizedProfile)
TARNLIB_REQUIRED_DIMENSION(IShapeProfile, overall_width, "overallWidth")
TARNLIB_REQUIRED_DIMENSION(IShapeProfile, overall_depth, "overallDepth")
TARNLIB_REQUIRED_DIMENSION(IShapeProfile, web_thickness, "webThickness")
TARNLIB_REQUIRED_DIMENSION(IShapeProfile, flange_thickness, "flangeThickness")
TARNLIB_OPTIONAL_DIMENSION(IShapeProfile, fillet_radius, "filletRadius")

TARNLIB_DEFINE_SHAPE(AsymmetricIShapeProfile, IShapeProfile)
TARNLIB_REQUIRED_DIMENSION(AsymmetricIShapeProfile, top_flange_width, "topFlangeWidth")
TARNLIB_OPTIONAL_DIMENSION(AsymmetricIShapeProfile, top_flange_thickness, "topFlangeThickness")
TARNLIB_OPTIONAL_DIMENSION(AsymmetricIShapeProfile, top_flange_fillet_radius, "topFlangeFilletRadius")
TARNLIB_OPTIONAL_DIMENSION(AsymmetricIShapeProfile, centre_of_gravity_in_y, "centreOfGravityInY")

namespace objects {

namespace {

template <class C>
void registerShapeClass(std::map<ObjectType, std::pair<void (*)(), TnSmartPtr<Object> (*)()>>& out) {
  out[ObjectTraits<C>::type] = {&C::rxInit, &instantiate<C>};
}

// What only the C++ classes know: their runtime class and their factory.
const std::map<ObjectType, std::pair<void (*)(), TnSmartPtr<Object> (*)()>>& shapeClasses() {
  static const auto classes = [] {
    std::map<ObjectType, std::pair<void (*)(), TnSmartPtr<Object> (*)()>> out;
    registerShapeClass<CircleProfile>(out);
    registerShapeClass<CircleHollowProfile>(out);
    registerShapeClass<EllipseProfile>(out);
    registerShapeClass<RectangleProfile>(out);
    registerShapeClass<RectangleHollowProfile>(out);
    registerShapeClass<RoundedRectangleProfile>(out);
    registerShapeClass<TrapeziumProfile>(out);
    registerShapeClass<CraneRailAShapeProfile>(out);
    registerShapeClass<CraneRailFShapeProfile>(out);
    registerShapeClass<TShapeProfile>(out);
    registerShapeClass<ZShapeProfile>(out);
    registerShapeClass<CShapeProfile>(out);
    registerShapeClass<UShapeProfile>(out);
    registerShapeClass<LShapeProfile>(out);
    registerShapeClass<IShapeProfile>(out);
    registerShapeClass<AsymmetricIShapeProfile>(out);
    return out;
  }();
  return classes;
}

}  // namespace

void initShapeClasses() {
  for (const Shape& s : shapes()) shapeClasses().at(s.type).first();
}

const access::Mapping& shapeMapping(ObjectType type) {
  static const std::map<ObjectType, std::unique_ptr<access::Mapping>> mappings = [] {
    std::map<ObjectType, std::unique_ptr<access::Mapping>> out;
    for (const Shape& s : shapes()) {
      const access::Mapping& base = s.base ? *out.at(s.base->type) : parametrizedProfileMapping();
      auto mapping = std::make_unique<access::Mapping>(s.type, s.className, &base,
                                                       shapeClasses().at(s.type).second);
      mapping->table(std::string("tarnlib_") + s.className);
      for (std::size_t i = 0; i < s.own.size(); ++i) mapping->field(dimensionField(s.own[i], s.firstOwn + i));
      mapping->seal();
      out.emplace(s.type, std::move(mapping));
    }
    return out;
  }();
  return *mappings.at(type);
}

}  // namespace objects
}  // namespace tarnlib
