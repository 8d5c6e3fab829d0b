// The reader of property-value texts (a definition's default value): JSON of
// the definition's type. Used where a value text arrives from outside.
#ifndef TARNLIB_EXCHANGE_PROPERTY_VALUE_H_
#define TARNLIB_EXCHANGE_PROPERTY_VALUE_H_

#include "tarnlib/property.h"

namespace tarnlib::exchange {

// Checks that `text` is a value for `type`: empty (no value) or JSON, whose
// vectors and points (alone, in an array or as a map's values) are objects
// holding "x", "y" and for three dimensions "z". Throws ReadError for text that
// is not JSON and KeyError for a missing coordinate.
void checkPropertyValue(const OdString& text, const PropertyType& type);

}  // namespace tarnlib::exchange

#endif  // TARNLIB_EXCHANGE_PROPERTY_VALUE_H_
