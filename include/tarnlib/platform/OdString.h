// OdString: the text type of every tarnlib interface.
//
// A value type over wide characters with the method names of the CAD kernel's
// string class, so that host code written against the kernel compiles. wchar_t is
// 32 bits on Linux, so a character beyond U+FFFF is one element here; conversion to
// and from UTF-8 happens only at the database, XML and command-line boundaries.
//
// Distinct OdString objects may be used from different threads; one object is not
// to be changed while another thread reads it.
#ifndef TARNLIB_PLATFORM_ODSTRING_H_
#define TARNLIB_PLATFORM_ODSTRING_H_

#include <cstddef>
#include <string>

#include "tarnlib/export.h"

class TARNLIB_EXPORT OdString {
 public:
  OdString() = default;
  OdString(const wchar_t* text) : s_(text ? text : L"") {}  // NOLINT: implicit as in the kernel
  OdString(const wchar_t* text, int length) : s_(text ? std::wstring(text, length) : std::wstring()) {}
  OdString(wchar_t ch, int count) : s_(count > 0 ? static_cast<std::size_t>(count) : 0, ch) {}
  OdString(const std::wstring& text) : s_(text) {}  // NOLINT
  OdString(std::wstring&& text) : s_(std::move(text)) {}  // NOLINT
  // From UTF-8. Invalid sequences are replaced by U+FFFD rather than rejected, so
  // that a damaged row or attribute still reads as text.
  explicit OdString(const char* utf8);
  explicit OdString(const std::string& utf8);

  static OdString fromUtf8(const char* utf8, std::size_t length);
  // To UTF-8. A lone surrogate or a value beyond U+10FFFF becomes U+FFFD.
  std::string toUtf8() const;
  // The text as UTF-16 code units (a character beyond U+FFFF as its surrogate pair).
  std::u16string toUtf16() const;
  static OdString fromUtf16(const std::u16string& utf16);

  const wchar_t* c_str() const { return s_.c_str(); }
  operator const wchar_t*() const { return s_.c_str(); }  // NOLINT: as in the kernel
  int getLength() const { return static_cast<int>(s_.size()); }
  bool isEmpty() const { return s_.empty(); }
  void empty() { s_.clear(); }
  wchar_t getAt(int index) const { return s_.at(static_cast<std::size_t>(index)); }
  wchar_t operator[](int index) const { return s_[static_cast<std::size_t>(index)]; }
  const std::wstring& str() const { return s_; }

  int compare(const OdString& other) const { return s_.compare(other.s_); }
  int compare(const wchar_t* other) const { return s_.compare(other ? other : L""); }
  int iCompare(const OdString& other) const;

  OdString& operator+=(const OdString& other) { s_ += other.s_; return *this; }
  OdString& operator+=(const wchar_t* other) { s_ += other ? other : L""; return *this; }
  OdString& operator+=(wchar_t ch) { s_ += ch; return *this; }

  // Replaces every occurrence; returns how many were replaced.
  int replace(wchar_t oldChar, wchar_t newChar);
  int replace(const OdString& oldText, const OdString& newText);

  // printf-style formatting with the C library's wide rules: %ls takes a
  // const wchar_t*, %s a const char*, %d an int, %u an unsigned.
  OdString& format(const wchar_t* fmt, ...);

  int find(wchar_t ch, int start = 0) const;
  int find(const OdString& text, int start = 0) const;
  OdString left(int count) const;
  OdString right(int count) const;
  OdString mid(int start) const;
  OdString mid(int start, int count) const;
  OdString& makeUpper();
  OdString& makeLower();
  OdString& trimLeft();
  OdString& trimRight();

 private:
  std::wstring s_;
};

inline bool operator==(const OdString& a, const OdString& b) { return a.str() == b.str(); }
inline bool operator!=(const OdString& a, const OdString& b) { return a.str() != b.str(); }
inline bool operator<(const OdString& a, const OdString& b) { return a.str() < b.str(); }
inline bool operator>(const OdString& a, const OdString& b) { return a.str() > b.str(); }
inline bool operator<=(const OdString& a, const OdString& b) { return a.str() <= b.str(); }
inline bool operator>=(const OdString& a, const OdString& b) { return a.str() >= b.str(); }
inline bool operator==(const OdString& a, const wchar_t* b) { return a.compare(b) == 0; }
inline bool operator!=(const OdString& a, const wchar_t* b) { return a.compare(b) != 0; }
inline bool operator==(const wchar_t* a, const OdString& b) { return b.compare(a) == 0; }
inline bool operator!=(const wchar_t* a, const OdString& b) { return b.compare(a) != 0; }

inline OdString operator+(const OdString& a, const OdString& b) { OdString r(a); r += b; return r; }
inline OdString operator+(const OdString& a, const wchar_t* b) { OdString r(a); r += b; return r; }
inline OdString operator+(const wchar_t* a, const OdString& b) { OdString r(a); r += b; return r; }
inline OdString operator+(const OdString& a, wchar_t b) { OdString r(a); r += b; return r; }

#endif  // TARNLIB_PLATFORM_ODSTRING_H_
