#include "tarnlib/platform/OdString.h"

#include <utf8cpp/utf8.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <iterator>
#include <vector>

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isScalarValue(char32_t c) { return c < 0xD800 || (c > 0xDFFF && c <= 0x10FFFF); }

}  // namespace

OdString::OdString(const char* utf8) {
  if (utf8) *this = fromUtf8(utf8, std::strlen(utf8));
}

OdString::OdString(const std::string& utf8) { *this = fromUtf8(utf8.data(), utf8.size()); }

OdString OdString::fromUtf8(const char* utf8, std::size_t length) {
  std::wstring out;
  out.reserve(length);
  const char* it = utf8;
  const char* end = utf8 + length;
  while (it != end) {
    // Plain ASCII dominates catalogue text; skip the decoder for it.
    auto byte = static_cast<unsigned char>(*it);
    if (byte < 0x80) {
      out.push_back(static_cast<wchar_t>(byte));
      ++it;
      continue;
    }
    const char* start = it;
    try {
      out.push_back(static_cast<wchar_t>(utf8::next(it, end)));
    } catch (const utf8::exception&) {
      // Replace the offending byte and the continuation bytes that follow it.
      out.push_back(static_cast<wchar_t>(kReplacement));
      it = start + 1;
      while (it != end && (static_cast<unsigned char>(*it) & 0xC0) == 0x80) ++it;
    }
  }
  return OdString(std::move(out));
}

std::string OdString::toUtf8() const {
  std::string out;
  out.reserve(s_.size());
  for (wchar_t w : s_) {
    auto c = static_cast<char32_t>(w);
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
      continue;
    }
    utf8::unchecked::append(isScalarValue(c) ? c : kReplacement, std::back_inserter(out));
  }
  return out;
}

std::u16string OdString::toUtf16() const {
  std::u16string out;
  out.reserve(s_.size());
  for (wchar_t w : s_) {
    auto c = static_cast<char32_t>(w);
    if (c > 0x10FFFF) c = kReplacement;
    if (c >= 0x10000) {
      c -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(c));
    }
  }
  return out;
}

OdString OdString::fromUtf16(const std::u16string& utf16) {
  std::wstring out;
  out.reserve(utf16.size());
  for (std::size_t i = 0; i < utf16.size(); ++i) {
    char32_t c = utf16[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < utf16.size() && utf16[i + 1] >= 0xDC00 &&
        utf16[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (utf16[i + 1] - 0xDC00);
      ++i;
    }
    out.push_back(static_cast<wchar_t>(c));
  }
  return OdString(std::move(out));
}

int OdString::iCompare(const OdString& other) const {
  const std::size_t n = std::min(s_.size(), other.s_.size());
  for (std::size_t i = 0; i < n; ++i) {
    const auto a = std::towlower(static_cast<wint_t>(s_[i]));
    const auto b = std::towlower(static_cast<wint_t>(other.s_[i]));
    if (a != b) return a < b ? -1 : 1;
  }
  if (s_.size() == other.s_.size()) return 0;
  return s_.size() < other.s_.size() ? -1 : 1;
}

int OdString::replace(wchar_t oldChar, wchar_t newChar) {
  int count = 0;
  for (wchar_t& c : s_) {
    if (c == oldChar) {
      c = newChar;
      ++count;
    }
  }
  return count;
}

int OdString::replace(const OdString& oldText, const OdString& newText) {
  if (oldText.isEmpty()) return 0;
  int count = 0;
  std::wstring out;
  std::size_t pos = 0;
  for (std::size_t hit; (hit = s_.find(oldText.s_, pos)) != std::wstring::npos;
       pos = hit + oldText.s_.size()) {
    out.append(s_, pos, hit - pos);
    out += newText.s_;
    ++count;
  }
  if (count == 0) return 0;
  out.append(s_, pos, std::wstring::npos);
  s_.swap(out);
  return count;
}

OdString& OdString::format(const wchar_t* fmt, ...) {
  std::vector<wchar_t> buffer(256);
  for (;;) {
    va_list args;
    va_start(args, fmt);
    const int n = std::vswprintf(buffer.data(), buffer.size(), fmt, args);
    va_end(args);
    if (n >= 0 && static_cast<std::size_t>(n) < buffer.size()) {
      s_.assign(buffer.data(), static_cast<std::size_t>(n));
      return *this;
    }
    // vswprintf reports overflow as -1 without the needed size: grow and retry, up
    // to a bound that catches a malformed format instead of looping forever.
    if (buffer.size() > (std::size_t{1} << 26)) {
      s_.clear();
      return *this;
    }
    buffer.resize(buffer.size() * 4);
  }
}

int OdString::find(wchar_t ch, int start) const {
  if (start < 0) start = 0;
  const auto pos = s_.find(ch, static_cast<std::size_t>(start));
  return pos == std::wstring::npos ? -1 : static_cast<int>(pos);
}

int OdString::find(const OdString& text, int start) const {
  if (start < 0) start = 0;
  const auto pos = s_.find(text.s_, static_cast<std::size_t>(start));
  return pos == std::wstring::npos ? -1 : static_cast<int>(pos);
}

OdString OdString::left(int count) const {
  if (count <= 0) return OdString();
  return OdString(s_.substr(0, static_cast<std::size_t>(count)));
}

OdString OdString::right(int count) const {
  if (count <= 0) return OdString();
  const auto n = std::min(s_.size(), static_cast<std::size_t>(count));
  return OdString(s_.substr(s_.size() - n));
}

OdString OdString::mid(int start) const { return mid(start, getLength()); }

OdString OdString::mid(int start, int count) const {
  if (start < 0) start = 0;
  if (count <= 0 || static_cast<std::size_t>(start) >= s_.size()) return OdString();
  return OdString(s_.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(count)));
}

OdString& OdString::makeUpper() {
  for (wchar_t& c : s_) c = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c)));
  return *this;
}

OdString& OdString::makeLower() {
  for (wchar_t& c : s_) c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
  return *this;
}

OdString& OdString::trimLeft() {
  const auto pos = s_.find_first_not_of(L" \t\r\n");
  s_.erase(0, pos == std::wstring::npos ? s_.size() : pos);
  return *this;
}

OdString& OdString::trimRight() {
  const auto pos = s_.find_last_not_of(L" \t\r\n");
  s_.erase(pos == std::wstring::npos ? 0 : pos + 1);
  return *this;
}
