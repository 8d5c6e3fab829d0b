#include "tarnlib/layer.h"

#include "objects/class_support.h"

namespace tarnlib {

struct Layer::Impl {
  ObjectState state;
  OdString name;
};

TARNLIB_DEFINE_OBJECT(Layer, Object)
TARNLIB_DEFINE_PERSISTENT(Layer)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(Layer);
TARNLIB_INSTANTIATE_KEY_LOOKUP(Layer, NameKey)

TnSmartPtr<Layer> Layer::create(const OdString& name) {
  objects::ensureClasses();
  TnSmartPtr<Layer> layer(new Layer());
  layer->impl_->name = name;
  return layer;
}

const OdString& Layer::name() const { return impl_->name; }
void Layer::set_name(const OdString& name) { objects::assignIfChanged(impl_->name, name, impl_->state); }

bool Layer::operator==(const Layer& other) const {
  return Object::operator==(other) && impl_->name == other.impl_->name;
}

const access::Mapping& objects::layerMapping() {
  static access::Mapping mapping(ObjectType::Layer, "Layer", nullptr, &objects::instantiate<Layer>);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_Layer").field(TARNLIB_FIELD(Layer, OdString, "name", name)).seal();
  return sealed;
}

}  // namespace tarnlib
