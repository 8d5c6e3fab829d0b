// Layer: a named layer to which a BIM asset assigns its geometry. Names are
// unique in a library. Objects are used by one thread at a time (object.h).
#ifndef TARNLIB_LAYER_H_
#define TARNLIB_LAYER_H_

#include "tarnlib/criteria.h"
#include "tarnlib/object.h"

namespace tarnlib {

class TARNLIB_EXPORT Layer : public Object {
  TARNLIB_DECLARE_OBJECT(Layer)
  TARNLIB_DECLARE_PERSISTENT(Layer)

  static TnSmartPtr<Layer> create(const OdString& name);

  const OdString& name() const;
  // Marks the layer dirty when the name changes.
  void set_name(const OdString& name);

  // Same runtime class and name; the id is not compared.
  bool operator==(const Layer& other) const;
  bool operator!=(const Layer& other) const { return !(*this == other); }
};

template <>
struct ObjectTraits<Layer> {
  static constexpr ObjectType type = ObjectType::Layer;
  using unique_key_type = NameKey;
  using criteria_type = NameCriteria;
};

}  // namespace tarnlib

#endif  // TARNLIB_LAYER_H_
