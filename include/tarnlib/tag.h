// Tag: a free label that materials and compositions carry in an ordered list.
// A tag's name is fixed at creation: another name is another tag. Names are
// unique in a library. Objects are used by one thread at a time (object.h).
#ifndef TARNLIB_TAG_H_
#define TARNLIB_TAG_H_

#include "tarnlib/criteria.h"
#include "tarnlib/object.h"

namespace tarnlib {

class TARNLIB_EXPORT Tag : public Object {
  TARNLIB_DECLARE_OBJECT(Tag)
  TARNLIB_DECLARE_PERSISTENT(Tag)

  // A new, unsaved tag.
  static TnSmartPtr<Tag> create(const OdString& name);

  const OdString& name() const;

  // Same runtime class and name; the id is not compared.
  bool operator==(const Tag& other) const;
  bool operator!=(const Tag& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<Tag> {
  static constexpr ObjectType type = ObjectType::Tag;
  using unique_key_type = NameKey;
  using criteria_type = NameCriteria;
};

}  // namespace tarnlib

#endif  // TARNLIB_TAG_H_
