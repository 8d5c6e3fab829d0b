// What every catalogue class's source file needs: the mapping machinery, the
// typed operations' definitions and small helpers for setters.
#ifndef TARNLIB_OBJECTS_CLASS_SUPPORT_H_
#define TARNLIB_OBJECTS_CLASS_SUPPORT_H_

#include <utility>

#include "access/containers.h"
#include "access/library_templates.h"
#include "access/mapping.h"
#include "objects/mappings.h"
#include "tarnlib/library.h"

namespace tarnlib::objects {

// An empty instance of C for loading.
template <class C>
TnSmartPtr<Object> instantiate() {
  OdRxObjectPtr created = C::pseudoConstructor();
  return TnSmartPtr<Object>(static_cast<C*>(created.get()));
}

// Assigns and marks dirty only when the value changes.
template <class V, class W>
void assignIfChanged(V& field, W&& value, ObjectState& state) {
  if (field == value) return;
  field = std::forward<W>(value);
  state.dirty = true;
}

// The field of class C's record that `member` names, for a FieldBinding.
#define TARNLIB_FIELD(Class, Type, column, member)                                                   \
  ::tarnlib::access::field<Type>(column, [](::tarnlib::Object& o) -> Type* {                         \
    return &static_cast<Class&>(o).impl().member;                                                    \
  })

// A reference member of class C's record, for a ReferenceBinding.
#define TARNLIB_REF(Class, member)                                                                   \
  [](::tarnlib::Object& o) { return ::tarnlib::access::refSlot(static_cast<Class&>(o).impl().member); }

}  // namespace tarnlib::objects

#endif  // TARNLIB_OBJECTS_CLASS_SUPPORT_H_
