#include "exchange/property_value.h"

#include <nlohmann/json.hpp>

#include "tarnlib/exceptions.h"

namespace tarnlib::exchange {

namespace {

int coordinatesOf(PropertyType::Type type) {
  switch (type) {
    case PropertyType::Vector2d:
    case PropertyType::Point2d:
      return 2;
    case PropertyType::Vector3d:
    case PropertyType::Point3d:
      return 3;
    default:
      return 0;
  }
}

void checkCoordinates(const nlohmann::json& value, int count) {
  if (!value.is_object()) return;
  static const char* const kKeys[] = {"x", "y", "z"};
  for (int i = 0; i < count; ++i)
    if (!value.contains(kKeys[i])) throw KeyError(OdString(kKeys[i]));
}

}  // namespace

void checkPropertyValue(const OdString& text, const PropertyType& type) {
  if (text.isEmpty()) return;
  // nlohmann's parser and destructor are iterative: deep nesting costs memory,
  // not stack.
  const nlohmann::json value = nlohmann::json::parse(text.toUtf8(), nullptr, false);
  if (value.is_discarded()) throw ReadError();
  const int count = coordinatesOf(type.value_type);
  if (count == 0) return;
  switch (type.structure) {
    case PropertyType::Structure::Single:
      checkCoordinates(value, count);
      break;
    case PropertyType::Structure::Array:
      if (value.is_array())
        for (const auto& item : value) checkCoordinates(item, count);
      break;
    case PropertyType::Structure::Map:
      if (value.is_object())
        for (const auto& item : value.items()) checkCoordinates(item.value(), count);
      break;
    case PropertyType::Structure::Undefined:
      break;
  }
}

}  // namespace tarnlib::exchange
