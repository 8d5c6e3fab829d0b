// The sixteen parametric shapes by class name, for building profiles from
// data: each makes a new profile of its class and sets a dimension by the name
// it is stored under ("flangeWidth"), the name ParametrizedProfile::dimensions()
// reports. The library sets dimensions only through typed setters, so each
// shape carries a table from those names to its setters.
#ifndef TARN_SHAPE_CLASSES_H_
#define TARN_SHAPE_CLASSES_H_

#include <functional>
#include <string>
#include <vector>

#include "tarnlib/profile_shapes.h"

namespace tarn {

struct ShapeClass {
  tarnlib::ObjectType type;
  std::string name;  // the class name, "IShapeProfile"
  // A new profile of the shape: required dimensions 0, optional ones absent.
  tarnlib::TnSmartPtr<tarnlib::ParametrizedProfile> (*create)(
      const tarnlib::TnSmartPtr<tarnlib::ProfileName>& series, const OdString& size);
  // Sets the dimension stored under `column` on a profile of this shape (one
  // that makes it present when optional); false when the shape has none of
  // that name.
  std::function<bool(tarnlib::ParametrizedProfile& profile, const std::string& column, double value)> set;
};

// Every shape, in the order of the type table.
const std::vector<ShapeClass>& shapeClasses();
// The shape whose class name is `name` exactly; null when there is none.
const ShapeClass* shapeClassNamed(const std::string& name);

}  // namespace tarn

#endif  // TARN_SHAPE_CLASSES_H_
