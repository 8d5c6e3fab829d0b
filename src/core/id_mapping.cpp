#include "tarnlib/id_mapping.h"

#include <functional>

namespace tarnlib {

bool operator<(const IdMapping::Key& a, const IdMapping::Key& b) {
  // std::less gives a total order over pointers to unrelated objects, which
  // the built-in < does not promise.
  if (a.library != b.library) return std::less<const Library*>()(a.library, b.library);
  if (a.type != b.type) return a.type < b.type;
  return a.id < b.id;
}

bool operator==(const IdMapping::Key& a, const IdMapping::Key& b) {
  return a.library == b.library && a.type == b.type && a.id == b.id;
}

IdMapping::IdMapping(const IdMapping& other) : destination_(other.destination_), map_(other.map_) {}

IdMapping& IdMapping::operator=(const IdMapping& other) {
  destination_ = other.destination_;
  map_ = other.map_;
  return *this;
}

IdMapping::~IdMapping() {
  if (self_) *self_ = nullptr;
}

void IdMapping::assign(const Key& key, const Value& value) { map_[key] = value; }

bool IdMapping::compute(const Key& key, Value& out) const {
  auto it = map_.find(key);
  if (it == map_.end()) return false;
  out = it->second;
  return true;
}

bool IdMapping::has(const Key& key) const { return map_.count(key) != 0; }

bool IdMapping::remove(const Key& key) { return map_.erase(key) != 0; }

}  // namespace tarnlib
