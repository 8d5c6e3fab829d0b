#include "common.h"

#include <cstdio>
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

namespace {

// The length of the UTF-8 sequence at `i` and its code point; 0 when the bytes
// there are not one (a stray continuation byte, a truncated or overlong
// sequence, a surrogate, a value past U+10FFFF).
std::size_t decode(const std::string& text, std::size_t i, char32_t& cp) {
  const auto lead = static_cast<unsigned char>(text[i]);
  if (lead < 0x80) {
    cp = lead;
    return 1;
  }
  std::size_t length = 0;
  char32_t least = 0;  // the smallest code point that needs this length
  if ((lead & 0xE0) == 0xC0) {
    length = 2;
    least = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3;
    least = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4;
    least = 0x10000;
  } else {
    return 0;
  }
  cp = lead & (0x7F >> length);
  if (i + length > text.size()) return 0;
  for (std::size_t k = 1; k < length; ++k) {
    const auto next = static_cast<unsigned char>(text[i + k]);
    if ((next & 0xC0) != 0x80) return 0;
    cp = cp << 6 | (next & 0x3F);
  }
  if (cp < least || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
  return length;
}

// Beyond ASCII, the code points that end a line or change how a terminal shows
// what follows them.
bool unsafe(char32_t cp) {
  return (cp >= 0x80 && cp <= 0x9F) || cp == 0x2028 || cp == 0x2029 || (cp >= 0x202A && cp <= 0x202E) ||
         (cp >= 0x2066 && cp <= 0x2069);
}

std::string escape(const char* format, unsigned value) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, format, value);
  return buffer;
}

}  // namespace

std::string printable(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    char32_t cp = 0;
    const std::size_t length = decode(text, i, cp);
    if (length == 0) {
      out += escape("\\x%02x", static_cast<unsigned char>(text[i]));
      ++i;
      continue;
    }
    if (cp == '\\') {
      out += "\\\\";
    } else if (cp == '\n') {
      out += "\\n";
    } else if (cp == '\t') {
      out += "\\t";
    } else if (cp == '\r') {
      out += "\\r";
    } else if (cp < 0x20 || cp == 0x7F) {
      out += escape("\\x%02x", static_cast<unsigned>(cp));
    } else if (unsafe(cp)) {
      out += escape("\\u%04x", static_cast<unsigned>(cp));
    } else {
      out.append(text, i, length);
    }
    i += length;
  }
  return out;
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
