// The text encodings of the library XML format: numbers, booleans, the names of
// the enumerations, and the UTF-8 boundary. The writer and the reader of every
// type use these and nothing else, so that they agree on each spelling.
#ifndef TARNLIB_EXCHANGE_XML_VALUES_H_
#define TARNLIB_EXCHANGE_XML_VALUES_H_

#include <pugixml.hpp>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "tarnlib/asset.h"
#include "tarnlib/composition.h"
#include "tarnlib/material.h"
#include "tarnlib/profile.h"
#include "tarnlib/property.h"

namespace tarnlib::exchange {

// Element text to wide text. False for bytes that are not UTF-8 or that
// encode a surrogate: such text could not be stored as it is.
bool fromXml(const char* text, OdString& out);
std::string toXml(const OdString& text);

// Sets a node's text or an attribute from wide text.
void setText(pugi::xml_node node, const OdString& text);
void setAttribute(pugi::xml_node node, const char* name, const OdString& text);

// Numbers and booleans. A text parses only when all of it is the value (no
// blanks, no garbage after it) and the value fits the type; NaN never parses,
// since a stored number cannot hold it.
bool parseValue(const char* text, double& out);
bool parseValue(const char* text, bool& out);
bool parseValue(const char* text, std::int64_t& out);
template <class V, std::enable_if_t<std::is_integral_v<V> && !std::is_same_v<V, bool>, int> = 0>
bool parseValue(const char* text, V& out) {
  std::int64_t wide = 0;
  if (!parseValue(text, wide)) return false;
  if (wide < static_cast<std::int64_t>(std::numeric_limits<V>::min())) return false;
  if (wide > 0 && static_cast<std::uint64_t>(wide) > static_cast<std::uint64_t>(std::numeric_limits<V>::max()))
    return false;
  out = static_cast<V>(wide);
  return true;
}

inline void formatValue(pugi::xml_text text, double v) { text.set(v); }
inline void formatValue(pugi::xml_text text, bool v) { text.set(v ? "true" : "false"); }
template <class V, std::enable_if_t<std::is_integral_v<V> && !std::is_same_v<V, bool>, int> = 0>
void formatValue(pugi::xml_text text, V v) {
  if constexpr (std::is_signed_v<V>) text.set(static_cast<long long>(v));
  else text.set(static_cast<unsigned long long>(v));
}

// ---- Enumerations by name.

template <class E>
struct EnumName {
  E value;
  const char* name;
};

template <class E>
struct EnumNames;  // static const EnumName<E> table[]; per enumeration below

#define TARNLIB_ENUM_NAMES(E) \
  template <>                 \
  struct EnumNames<E> {       \
    static const std::vector<EnumName<E>>& table(); \
  };

TARNLIB_ENUM_NAMES(MaterialFunction)
TARNLIB_ENUM_NAMES(Color::Type)
TARNLIB_ENUM_NAMES(Pattern::Type)
TARNLIB_ENUM_NAMES(ProfileType)
TARNLIB_ENUM_NAMES(PropertyType::Structure)
TARNLIB_ENUM_NAMES(PropertyType::Type)
TARNLIB_ENUM_NAMES(ObjectType)

#undef TARNLIB_ENUM_NAMES

template <class E>
const char* nameOf(E value) {
  for (const auto& entry : EnumNames<E>::table())
    if (entry.value == value) return entry.name;
  return nullptr;
}

template <class E>
bool parseName(const char* text, E& out) {
  for (const auto& entry : EnumNames<E>::table())
    if (std::strcmp(entry.name, text) == 0) {
      out = entry.value;
      return true;
    }
  return false;
}

// A composition's type: its bits' names joined by "|" ("Wall", "Wall|Roof");
// bits without a name, and no bits at all, in decimal.
std::string compositionTypeText(std::uint32_t bits);
bool parseCompositionType(const char* text, std::uint32_t& bits);

// The XML names of "object_type": the class names, "Any" for none (0).
std::string objectTypeText(ObjectType type);
bool parseObjectType(const char* text, ObjectType& out);

}  // namespace tarnlib::exchange

#endif  // TARNLIB_EXCHANGE_XML_VALUES_H_
