// The persistent identity of objects, for the access layer only.
#ifndef TARNLIB_ACCESS_OBJECT_ACCESS_H_
#define TARNLIB_ACCESS_OBJECT_ACCESS_H_

#include "tarnlib/object.h"

namespace tarnlib::detail {

class ObjectAccess {
 public:
  static ObjectState& state(Object& object) { return object.state(); }
  static const ObjectState& state(const Object& object) { return object.state(); }
  static TnSmartPtr<Object> clone(const Object& object) { return object.cloneObject(); }
};

}  // namespace tarnlib::detail

#endif  // TARNLIB_ACCESS_OBJECT_ACCESS_H_
