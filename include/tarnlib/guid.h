// Guid: the identity of an object across libraries, kept as text.
//
// A Guid holds one string, normally the canonical form of a UUID: 36 characters,
// lower-case hexadecimal in groups of 8-4-4-4-12 joined by "-", no braces. Text
// given to the constructor is kept exactly as given, so two spellings of one
// UUID that differ in case are different Guids; equality and ordering are those
// of the text. The free functions below make canonical UUID text.
//
// Threads: a Guid is a value; distinct objects may be used on distinct threads.
// The functions are thread-safe.
#ifndef TARNLIB_GUID_H_
#define TARNLIB_GUID_H_

#include <utility>

#include "tarnlib/export.h"
#include "tarnlib/platform/OdString.h"

namespace tarnlib {

class TARNLIB_EXPORT Guid {
 public:
  // A new random (version 4) GUID from the system's cryptographic source.
  // Throws std::system_error naming the failing call when the source fails.
  Guid();
  // Keeps `text` as it is: no parsing, no normalising.
  explicit Guid(const OdString& text) : text_(text) {}
  explicit Guid(OdString&& text) : text_(std::move(text)) {}

  const OdString& toString() const { return text_; }
  bool isEmpty() const { return text_.isEmpty(); }

 private:
  OdString text_;
};

inline bool operator==(const Guid& a, const Guid& b) { return a.toString() == b.toString(); }
inline bool operator!=(const Guid& a, const Guid& b) { return a.toString() != b.toString(); }
inline bool operator<(const Guid& a, const Guid& b) { return a.toString() < b.toString(); }

// The namespace in which deriveGuid makes name-based GUIDs.
TARNLIB_EXPORT extern const wchar_t* const kGuidDerivationNamespace;
// Stands in for a library's GUID as the namespace of GUIDs derived for its
// objects when the library's own GUID is empty.
TARNLIB_EXPORT extern const wchar_t* const kLibraryGuidFallbackNamespace;

// A new random (version 4) GUID in canonical text. Throws as Guid().
TARNLIB_EXPORT OdString randomGuid();

// The name-based (version 5, SHA-1) GUID of `name` in the namespace UUID
// `namespaceUuid` (any spelling deriveGuid accepts), in canonical text. The same
// name in the same namespace always gives the same GUID. The hash is fed each
// UTF-16 code unit of the name as four bytes (low, high, 0, 0), as GUIDs already
// stored in libraries were made. Throws std::invalid_argument when
// `namespaceUuid` is not a UUID, and std::runtime_error("sha1 too many bytes")
// for a name too long for SHA-1.
TARNLIB_EXPORT OdString nameBasedGuid(const OdString& namespaceUuid, const OdString& name);

// A GUID for `text`, in canonical form: the UUID `text` spells, if it is one
// (either case, with or without the dashes, optionally in braces); a random GUID
// if `text` is empty; else the name-based GUID of `text` in
// kGuidDerivationNamespace.
TARNLIB_EXPORT OdString deriveGuid(const OdString& text);

}  // namespace tarnlib

#endif  // TARNLIB_GUID_H_
