#include "tarnlib/guid.h"

#include <sys/random.h>

#include <boost/uuid/detail/sha1.hpp>

#include <array>
#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <system_error>

namespace tarnlib {

const wchar_t* const kGuidDerivationNamespace = L"4b7009ef-0317-4504-a674-282d1b5bb08f";
const wchar_t* const kLibraryGuidFallbackNamespace = L"ede5cbb9-34d1-402a-92f2-894430583e67";

namespace {

using UuidBytes = std::array<std::uint8_t, 16>;

void fillRandom(std::uint8_t* out, std::size_t size) {
  std::size_t filled = 0;
  while (filled < size) {
    ssize_t got = getrandom(out + filled, size - filled, 0);
    if (got < 0) {
      if (errno == EINTR) continue;
      throw std::system_error(errno, std::system_category(), "getrandom");
    }
    filled += static_cast<std::size_t>(got);
  }
}

void setVersion(UuidBytes& bytes, std::uint8_t version) {
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | (version << 4));
}

OdString format(const UuidBytes& bytes) {
  static const wchar_t kHex[] = L"0123456789abcdef";
  std::wstring text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += L'-';
    text += kHex[bytes[i] >> 4];
    text += kHex[bytes[i] & 0x0F];
  }
  return OdString(std::move(text));
}

int hexValue(wchar_t c) {
  if (c >= L'0' && c <= L'9') return c - L'0';
  if (c >= L'a' && c <= L'f') return c - L'a' + 10;
  if (c >= L'A' && c <= L'F') return c - L'A' + 10;
  return -1;
}

// Accepts 32 hexadecimal digits, either all in the 8-4-4-4-12 dashed grouping or
// with no dashes at all, optionally enclosed in one pair of braces.
bool parseUuid(const std::wstring& text, UuidBytes& out) {
  std::size_t begin = 0;
  std::size_t end = text.size();
  if (end > 0 && text[0] == L'{') {
    if (text[end - 1] != L'}') return false;
    ++begin;
    --end;
  }
  const std::size_t length = end - begin;
  if (length != 36 && length != 32) return false;
  const bool dashed = length == 36;
  std::size_t pos = begin;
  for (std::size_t i = 0; i < out.size(); ++i) {
    if (dashed && (i == 4 || i == 6 || i == 8 || i == 10)) {
      if (text[pos] != L'-') return false;
      ++pos;
    }
    const int high = hexValue(text[pos]);
    const int low = hexValue(text[pos + 1]);
    if (high < 0 || low < 0) return false;
    out[i] = static_cast<std::uint8_t>(high << 4 | low);
    pos += 2;
  }
  return pos == end;
}

UuidBytes randomBytes() {
  UuidBytes bytes;
  fillRandom(bytes.data(), bytes.size());
  setVersion(bytes, 4);
  return bytes;
}

}  // namespace

Guid::Guid() : text_(randomGuid()) {}

OdString randomGuid() { return format(randomBytes()); }

OdString nameBasedGuid(const OdString& namespaceUuid, const OdString& name) {
  UuidBytes space;
  if (!parseUuid(namespaceUuid.str(), space)) {
    throw std::invalid_argument("namespace of a name-based GUID is not a UUID: " + namespaceUuid.toUtf8());
  }
  boost::uuids::detail::sha1 sha;
  sha.process_bytes(space.data(), space.size());
  // Each UTF-16 code unit widened to four bytes: what stored GUIDs were made
  // from. wchar_t is 32 bits here, so go through UTF-16 for surrogate pairs.
  for (char16_t unit : name.toUtf16()) {
    const unsigned char widened[4] = {static_cast<unsigned char>(unit & 0xFF),
                                      static_cast<unsigned char>(unit >> 8), 0, 0};
    sha.process_bytes(widened, sizeof widened);
  }
  boost::uuids::detail::sha1::digest_type digest;
  sha.get_digest(digest);
  UuidBytes bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(digest[i / 4] >> (24 - 8 * (i % 4)));
  }
  setVersion(bytes, 5);
  return format(bytes);
}

OdString deriveGuid(const OdString& text) {
  UuidBytes bytes;
  if (parseUuid(text.str(), bytes)) return format(bytes);
  if (text.isEmpty()) return randomGuid();
  return nameBasedGuid(OdString(kGuidDerivationNamespace), text);
}

}  // namespace tarnlib
