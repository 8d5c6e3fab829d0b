// IdMapping: which destination object each source object became.
//
// When objects are brought into one library from others (saving an object of
// another library, copy, sync, XML import), the mapping records for each source
// object, identified by its library, type and id, the id of its counterpart in
// the destination and the outcome of the save that produced it. Sharing one
// mapping across an operation brings an object referenced many times over once.
// Holding the source library in the key lets one mapping serve several sources.
//
// Entries made by saves in a transaction that is then rolled back are taken
// back again, so a mapping can be used for the retry.
//
// Threads: no locking; one mapping is used by one thread at a time.
#ifndef TARNLIB_ID_MAPPING_H_
#define TARNLIB_ID_MAPPING_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

#include "tarnlib/export.h"
#include "tarnlib/object.h"

namespace tarnlib {

class Library;

namespace detail {
class IdMappingAccess;
}

class TARNLIB_EXPORT IdMapping {
 public:
  // One object of one source library. Ordered by library pointer, then type
  // (signed), then id.
  struct Key {
    Key() = default;
    Key(ObjectType objectType, std::uint32_t objectId, const Library* sourceLibrary)
        : type(static_cast<std::int32_t>(objectType)), id(objectId), library(sourceLibrary) {}

    std::int32_t type = 0;  // an ObjectType value
    std::uint32_t id = 0;
    const Library* library = nullptr;
  };

  // What became of the object: its counterpart's id in the destination and the
  // outcome code of the save that produced it (1: the counterpart already
  // existed and nothing was written). A fresh value is {0, -1}.
  struct Value {
    std::uint32_t id = 0;
    std::int32_t result = -1;
  };

  using Map = std::map<Key, Value>;
  using const_iterator = Map::const_iterator;

  // An empty mapping into `destination`, which it does not own.
  explicit IdMapping(const Library* destination) : destination_(destination) {}
  // A copy has the entries and the destination; entries that a transaction
  // still open made in the original are taken back only from the original.
  IdMapping(const IdMapping& other);
  IdMapping& operator=(const IdMapping& other);
  ~IdMapping();

  const Library* destination() const { return destination_; }

  // Inserts the pair, or overwrites the value of an existing key.
  void assign(const Key& key, const Value& value);
  // Copies the value of `key` into `out` and returns true; returns false and
  // leaves `out` alone when the key is absent.
  bool compute(const Key& key, Value& out) const;
  bool has(const Key& key) const;
  // Erases the key; returns whether it was present.
  bool remove(const Key& key);
  std::size_t size() const { return map_.size(); }
  const_iterator begin() const { return map_.begin(); }
  const_iterator end() const { return map_.end(); }

 private:
  friend class detail::IdMappingAccess;

  const Library* destination_;
  Map map_;
  // Points at this mapping while it lives. A transaction that rolls back takes
  // back the entries it made, through this, unless the mapping is gone by then.
  std::shared_ptr<IdMapping*> self_;
};

TARNLIB_EXPORT bool operator<(const IdMapping::Key& a, const IdMapping::Key& b);
TARNLIB_EXPORT bool operator==(const IdMapping::Key& a, const IdMapping::Key& b);
inline bool operator!=(const IdMapping::Key& a, const IdMapping::Key& b) { return !(a == b); }
inline bool operator==(const IdMapping::Value& a, const IdMapping::Value& b) {
  return a.id == b.id && a.result == b.result;
}
inline bool operator!=(const IdMapping::Value& a, const IdMapping::Value& b) { return !(a == b); }

}  // namespace tarnlib

#endif  // TARNLIB_ID_MAPPING_H_
