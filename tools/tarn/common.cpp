#include "common.h"

#include <limits>

namespace tarn {

std::string messageOf(const tarnlib::Exception& e) {
  const wchar_t* text = e.what();
  return text ? utf8(OdString(text)) : std::string("unknown error");
}

bool allDigits(const std::string& text) {
  if (text.empty()) return false;
  for (char c : text)
    if (c < '0' || c > '9') return false;
  return true;
}

std::uint32_t parseId(const std::string& text) {
  if (!allDigits(text)) throw Failure(text, "not an object id (a whole number from 1)");
  // Digits only, so the value can be built without a locale or sign surprises;
  // stop as soon as it leaves the 32-bit range.
  std::uint64_t value = 0;
  for (char c : text) {
    value = value * 10 + static_cast<std::uint64_t>(c - '0');
    if (value > std::numeric_limits<std::uint32_t>::max())
      throw Failure(text, "not an object id (too large)");
  }
  if (value == 0) throw Failure(text, "not an object id (ids start at 1)");
  return static_cast<std::uint32_t>(value);
}

}  // namespace tarn
