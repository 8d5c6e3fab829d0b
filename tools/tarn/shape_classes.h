// The parametric shapes by class name, for building profiles from data and for
// finding where a dimension is stored. Nothing here names a shape: the classes
// come from the library's runtime class registry, which a library fills when
// it is created or opened, and a shape sets a dimension by its stored name
// through ParametrizedProfile::set_dimension.
#ifndef TARN_SHAPE_CLASSES_H_
#define TARN_SHAPE_CLASSES_H_

#include <string>
#include <vector>

#include "tarnlib/profile.h"

namespace tarn {

// The runtime class of the concrete shape named `name` exactly
// ("IShapeProfile"); null for any other name, ParametrizedProfile itself
// included.
const OdRxClass* shapeClassNamed(const std::string& name);

// Every concrete shape's class name, in the order of the type table.
std::vector<std::string> shapeClassNames();

// A new profile of `shape` in `series`: required dimensions 0, optional ones
// absent.
tarnlib::TnSmartPtr<tarnlib::ParametrizedProfile> createShape(
    const OdRxClass& shape, const tarnlib::TnSmartPtr<tarnlib::ProfileName>& series, const OdString& size);

// The table a dimension of `profile` is stored in: that of the shape class
// that declares it, "tarnlib_CircleProfile" for the "radius" of a
// CircleHollowProfile. Empty for a name the shape does not have.
std::string dimensionTable(const tarnlib::ParametrizedProfile& profile, const std::string& dimension);

}  // namespace tarn

#endif  // TARN_SHAPE_CLASSES_H_
