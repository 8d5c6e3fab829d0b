#include "xml_source.h"

#include <algorithm>
#include <utility>

namespace tarn {

namespace {

void appendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

// The code unit of `width` bytes at `at`, in either byte order.
char32_t unit(const std::string& bytes, std::size_t at, std::size_t width, bool bigEndian) {
  char32_t value = 0;
  for (std::size_t k = 0; k < width; ++k) {
    const auto byte = static_cast<unsigned char>(bytes[at + (bigEndian ? k : width - 1 - k)]);
    value = value << 8 | byte;
  }
  return value;
}

// `bytes` in `encoding` as UTF-8; what is not a character becomes U+FFFD, and
// a trailing part of a code unit is dropped.
std::string toUtf8(const std::string& bytes, pugi::xml_encoding encoding) {
  const char32_t kReplacement = 0xFFFD;
  std::string out;
  out.reserve(bytes.size());
  switch (encoding) {
    case pugi::encoding_latin1:
      for (char c : bytes) appendUtf8(out, static_cast<unsigned char>(c));
      return out;
    case pugi::encoding_utf16_le:
    case pugi::encoding_utf16_be: {
      const bool big = encoding == pugi::encoding_utf16_be;
      for (std::size_t i = 0; i + 2 <= bytes.size(); i += 2) {
        char32_t cp = unit(bytes, i, 2, big);
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 4 <= bytes.size()) {
          const char32_t low = unit(bytes, i + 2, 2, big);
          if (low >= 0xDC00 && low <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
            i += 2;
          }
        }
        appendUtf8(out, cp >= 0xD800 && cp <= 0xDFFF ? kReplacement : cp);
      }
      return out;
    }
    case pugi::encoding_utf32_le:
    case pugi::encoding_utf32_be:
      for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
        const char32_t cp = unit(bytes, i, 4, encoding == pugi::encoding_utf32_be);
        appendUtf8(out, cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF) ? kReplacement : cp);
      }
      return out;
    default:
      return bytes;
  }
}

}  // namespace

XmlSource::XmlSource(std::string bytes, pugi::xml_document& document) : text_(std::move(bytes)) {
  parsed_ = document.load_buffer(text_.data(), text_.size());
  if (parsed_.encoding != pugi::encoding_utf8) {
    text_ = toUtf8(text_, parsed_.encoding);
    parsed_ = document.load_buffer(text_.data(), text_.size(), pugi::parse_default, pugi::encoding_utf8);
  }
  lineStarts_.push_back(0);
  for (std::size_t i = 0; i < text_.size(); ++i) {
    // A line ends at LF, at CR LF, and at a CR alone, as XML reads them.
    if (text_[i] == '\n' || (text_[i] == '\r' && (i + 1 == text_.size() || text_[i + 1] != '\n')))
      lineStarts_.push_back(i + 1);
  }
}

std::string XmlSource::position(std::ptrdiff_t offset) const {
  if (offset < 0) return std::string();
  const std::size_t at = std::min(static_cast<std::size_t>(offset), text_.size());
  const auto next = std::upper_bound(lineStarts_.begin(), lineStarts_.end(), at);
  const std::size_t line = static_cast<std::size_t>(next - lineStarts_.begin());
  std::size_t start = *(next - 1);
  if (start == 0 && text_.compare(0, 3, "\xEF\xBB\xBF") == 0) start = std::min<std::size_t>(3, at);
  std::size_t column = 1;
  for (std::size_t i = start; i < at; ++i)
    if ((static_cast<unsigned char>(text_[i]) & 0xC0) != 0x80) ++column;
  return std::to_string(line) + ":" + std::to_string(column);
}

}  // namespace tarn
