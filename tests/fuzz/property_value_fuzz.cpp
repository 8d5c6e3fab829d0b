// Fuzz target of the property-value readers: the check the XML import makes of
// a definition's default value and a definition's typed reads of it.
//
// An input is a line naming the type as library XML does ("Single Double",
// "Map String Int32": the structure, for a map the key type, then the value
// type), then the value's JSON text. Besides not crashing, a number read from
// any text must be written back as text that reads as the same number.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

#include "exchange/property_value.h"
#include "tarnlib/tarnlib.h"

namespace {

using tarnlib::PropertyType;

bool typeNamed(const std::string& word, PropertyType::Type& out) {
  for (std::uint32_t t = PropertyType::Any; t <= PropertyType::Binary; ++t) {
    const wchar_t* name = tarnlib::propertyTypeName(static_cast<PropertyType::Type>(t));
    if (name && OdString(name) == OdString(word)) {
      out = static_cast<PropertyType::Type>(t);
      return true;
    }
  }
  return false;
}

// The type of the first line; Single Any when the line names none.
PropertyType typeOf(const std::string& line) {
  std::istringstream words(line);
  std::string structure, first, second;
  words >> structure >> first >> second;
  PropertyType type = PropertyType::Single(PropertyType::Any);
  for (auto s : {PropertyType::Structure::Undefined, PropertyType::Structure::Single, PropertyType::Structure::Array,
                 PropertyType::Structure::Map}) {
    const wchar_t* name = tarnlib::propertyStructureName(s);
    if (name && OdString(name) == OdString(structure)) type.structure = s;
  }
  if (type.structure == PropertyType::Structure::Map) {
    typeNamed(first, type.key_type);
    typeNamed(second, type.value_type);
  } else {
    typeNamed(first, type.value_type);
  }
  return type;
}

void expect(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "property value: %s\n", what);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarnlib;
  const char* text = reinterpret_cast<const char*>(data);
  const char* newline = static_cast<const char*>(std::memchr(text, '\n', size));
  const std::size_t lineLength = newline ? static_cast<std::size_t>(newline - text) : 0;
  const PropertyType type = typeOf(std::string(text, lineLength));
  const std::size_t start = newline ? lineLength + 1 : 0;
  const OdString value = OdString::fromUtf8(text + start, size - start);

  try {
    exchange::checkPropertyValue(value, type);
  } catch (const ReadError&) {
  } catch (const KeyError& e) {
    expect(std::wcslen(e.what()) > 0, "a KeyError without a message");
  }

  static const auto ns = PropertyNamespace::create(L"Fuzz");
  auto definition = PropertyDefinition::create(ns, L"P", type);
  definition->set_default_value(value);
  expect(definition->default_value() == value, "the default value is not kept as given");
  OdString asText;
  expect(definition->default_value(asText) && asText == value, "the default value does not read as its text");
  bool flag = false;
  if (definition->default_value(flag)) {
    auto again = PropertyDefinition::create(ns, L"P", type);
    again->set_default_value(flag);
    bool back = !flag;
    expect(again->default_value(back) && back == flag, "a bool does not read back");
  }
  int integer = 0;
  if (definition->default_value(integer)) {
    auto again = PropertyDefinition::create(ns, L"P", type);
    again->set_default_value(integer);
    int back = ~integer;
    expect(again->default_value(back) && back == integer, "an int does not read back");
  }
  double number = 0.0;
  if (definition->default_value(number)) {
    // JSON has no NaN or infinity: a number too large for a double is not JSON.
    expect(std::isfinite(number), "a non-finite double read from JSON");
    auto again = PropertyDefinition::create(ns, L"P", type);
    again->set_default_value(number);
    double back = 0.0;
    expect(again->default_value(back) && back == number, "a double does not read back");
  }
  return 0;
}
