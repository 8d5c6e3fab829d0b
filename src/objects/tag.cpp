#include "tarnlib/tag.h"

#include "objects/class_support.h"
#include "objects/field_access.h"

namespace tarnlib {

struct Tag::Impl {
  ObjectState state;
  OdString name;
};

TARNLIB_DEFINE_OBJECT(Tag, Object)
TARNLIB_DEFINE_PERSISTENT(Tag)
TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(Tag);
TARNLIB_INSTANTIATE_KEY_LOOKUP(Tag, NameKey)

TnSmartPtr<Tag> Tag::create(const OdString& name) {
  objects::ensureClasses();
  TnSmartPtr<Tag> tag(new Tag());
  tag->impl_->name = name;
  return tag;
}

const OdString& Tag::name() const { return impl_->name; }

bool Tag::operator==(const Tag& other) const {
  return Object::operator==(other) && impl_->name == other.impl_->name;
}

const access::Mapping& objects::tagMapping() {
  static access::Mapping mapping(ObjectType::Tag, "Tag", nullptr, &objects::instantiate<Tag>);
  static const access::Mapping& sealed =
      mapping.table("tarnlib_Tag").field(TARNLIB_FIELD(Tag, OdString, "name", name)).seal();
  return sealed;
}

void objects::setTagName(Tag& tag, const OdString& name) {
  objects::assignIfChanged(tag.impl().name, name, tag.impl().state);
}

}  // namespace tarnlib
