// The parametric shapes as data: each shape is its list of dimensions (stored
// column, required or optional) and its base shape. The profile record keeps a
// shape's dimensions in one array, in column order from the first base down, so
// that binding, comparing and rescaling are one piece of code for all sixteen;
// later the XML writer and reader and the outlines work from the same lists.
#ifndef TARNLIB_OBJECTS_SHAPE_H_
#define TARNLIB_OBJECTS_SHAPE_H_

#include <array>
#include <bitset>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tarnlib/guid.h"
#include "tarnlib/profile.h"

namespace tarnlib {

// The most dimensions a shape's chain has (the A-shaped crane rail's twelve).
constexpr std::size_t kMaxDimensions = 12;

// Every field of every profile class; which ones a class uses follows from it.
// A shape's dimensions live in the record itself rather than in vectors of
// their own: loading a catalogue makes one record per section.
struct Profile::Impl {
  ObjectState state;
  TnSmartPtr<ProfileName> name;
  OdString size;
  OdString description;
  TnSmartPtr<Material> material;
  std::optional<Vector2d> offset;
  Guid guid{OdString()};  // empty until a save gives it one
  std::set<Guid> merge_guids;
  OdString geometry;               // custom profiles
  // Shapes: every dimension of the class chain, in column order, and whether
  // each is present (a required one always).
  std::array<double, kMaxDimensions> dimensions{};
  std::bitset<kMaxDimensions> present;
};

namespace objects {

struct Dimension {
  const char* column;  // "flangeWidth"; the accessor is flange_width
  bool optional;
};

struct Shape {
  ObjectType type;
  const char* className;
  const Shape* base;  // null for a direct subclass of ParametrizedProfile
  std::vector<Dimension> own;
  std::vector<Dimension> all;  // the base's first, then the own ones
  std::size_t firstOwn = 0;    // where the own ones start in `all`

  // The position in `all` of a column of this shape's chain; std::logic_error
  // for a column it does not have.
  std::size_t index(const std::string& column) const;
};

// Every shape, bases before derived ones.
const std::vector<Shape>& shapes();
// The shape of a type; null for a type that is not a shape.
const Shape* shapeOf(ObjectType type);

// A record for a new profile of `type`: a shape's dimensions 0, required
// present, optional absent.
std::unique_ptr<Profile::Impl> newProfileImpl(ObjectType type);

// The two comparisons and the rescaling, over the dimensions of `shape`'s
// chain (a profile of a derived class compared as its base uses the base's).
bool tolerantEqual(const ParametrizedProfile& a, const ParametrizedProfile& b, const Shape& shape);
bool scaledEqual(const ParametrizedProfile& a, const ParametrizedProfile& b, const Shape& shape,
                 double& scale);
void scaleDimensions(ParametrizedProfile& profile, const Shape& shape, double factor);

}  // namespace objects
}  // namespace tarnlib

#endif  // TARNLIB_OBJECTS_SHAPE_H_
