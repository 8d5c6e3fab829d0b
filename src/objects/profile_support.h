// What the source files of the profile classes share: the boilerplate of a
// concrete profile class and the setters of shape dimensions.
#ifndef TARNLIB_OBJECTS_PROFILE_SUPPORT_H_
#define TARNLIB_OBJECTS_PROFILE_SUPPORT_H_

#include <cstddef>

#include "objects/class_support.h"
#include "objects/shape.h"

namespace tarnlib::objects {

// Stores a dimension, making an optional one present; dirty only on a change.
inline void setDimension(Profile::Impl& p, std::size_t index, double value) {
  if (p.present[index] && p.dimensions[index] == value) return;
  p.dimensions[index] = value;
  p.present[index] = true;
  p.state.dirty = true;
}

// Makes an optional dimension absent; it then reads as 0.
inline void clearDimension(Profile::Impl& p, std::size_t index) {
  if (!p.present[index]) return;
  p.present[index] = false;
  p.dimensions[index] = 0.0;
  p.state.dirty = true;
}

// A copy of a profile's fields for a clone: same values, no identity.
inline std::unique_ptr<Profile::Impl> clonedImpl(const Profile::Impl& impl) {
  auto copy = std::make_unique<Profile::Impl>(impl);
  copy->state = ObjectState{};
  return copy;
}

void initShapeClasses();

}  // namespace tarnlib::objects

// Constructors, clone, create, save and the typed library operations of a
// concrete profile class.
#define TARNLIB_DEFINE_PROFILE_CLASS(Class, Base)                                                  \
  Class::Class() : Class(objects::newProfileImpl(ObjectType::Class)) {}                            \
  Class::Class(std::unique_ptr<Profile::Impl> impl) : Base(std::move(impl)) {}                     \
  OdRxObjectPtr Class::clone() const { return OdRxObjectPtr(new Class(objects::clonedImpl(*impl_))); } \
  TnSmartPtr<Class> Class::create(const TnSmartPtr<ProfileName>& name, const OdString& size) {     \
    objects::ensureClasses();                                                                      \
    TnSmartPtr<Class> profile(new Class());                                                        \
    profile->impl_->name = name;                                                                   \
    profile->impl_->size = size;                                                                   \
    return profile;                                                                                \
  }                                                                                                \
  TARNLIB_DEFINE_SAVE(Class)                                                                       \
  TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(Class);                                                   \
  TARNLIB_INSTANTIATE_KEY_LOOKUP(Class, ProfileKey)

#endif  // TARNLIB_OBJECTS_PROFILE_SUPPORT_H_
