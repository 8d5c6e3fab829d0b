// Definitions of the typed Library operations. They only narrow the results of
// the generic operations; each class's source file instantiates them for its
// type with the macros at the end, so hosts never compile them.
#ifndef TARNLIB_ACCESS_LIBRARY_TEMPLATES_H_
#define TARNLIB_ACCESS_LIBRARY_TEMPLATES_H_

#include "access/operations.h"
#include "exchange/copy.h"
#include "tarnlib/library.h"

namespace tarnlib {

namespace access {

template <class T>
TnSmartPtr<T> narrow(TnSmartPtr<Object>&& object) {
  return detail::staticNarrow<T>(std::move(object));
}

template <class T>
void appendNarrowed(std::vector<TnSmartPtr<Object>>& loaded, std::vector<TnSmartPtr<T>>& out) {
  out.reserve(out.size() + loaded.size());
  for (auto& object : loaded) out.push_back(narrow<T>(std::move(object)));
}

}  // namespace access

template <class T>
TnSmartPtr<T> Library::get(std::uint32_t id) const {
  if (id == 0) return TnSmartPtr<T>();
  return access::narrow<T>(access::getOne(*this, ObjectTraits<T>::type, access::Selection::of({id})));
}

template <class T>
TnSmartPtr<T> Library::get(const Guid& guid, const std::uint32_t& id) const {
  if (guid.isEmpty()) return TnSmartPtr<T>();
  return access::narrow<T>(access::getByGuid(*this, ObjectTraits<T>::type, guid, id));
}

template <class T>
void Library::get(std::vector<TnSmartPtr<T>>& out) const {
  std::vector<TnSmartPtr<Object>> loaded;
  access::getMany(*this, ObjectTraits<T>::type, access::Selection::all(), loaded);
  access::appendNarrowed(loaded, out);
}

template <class T>
void Library::get(std::vector<TnSmartPtr<T>>& out, const std::set<std::uint32_t>& ids) const {
  if (ids.empty()) return;
  std::vector<TnSmartPtr<Object>> loaded;
  access::getMany(*this, ObjectTraits<T>::type,
                  access::Selection::of(std::vector<std::uint32_t>(ids.begin(), ids.end())), loaded);
  access::appendNarrowed(loaded, out);
}

template <class T>
void Library::get(std::vector<TnSmartPtr<T>>& out,
                  const typename ObjectTraits<T>::criteria_type& criteria) const {
  const ObjectType type = ObjectTraits<T>::type;
  std::vector<TnSmartPtr<Object>> loaded;
  access::getMany(*this, type, access::queryFor(access::mappingOf(type), criteria).selection, loaded);
  access::appendNarrowed(loaded, out);
}

template <class T>
std::size_t Library::count() const {
  return access::countRows(*this, ObjectTraits<T>::type, access::Query{});
}

template <class T>
std::size_t Library::count(const typename ObjectTraits<T>::criteria_type& criteria) const {
  const ObjectType type = ObjectTraits<T>::type;
  return access::countRows(*this, type, access::queryFor(access::mappingOf(type), criteria));
}

template <class T>
TnSmartPtr<const T> Library::save(const TnSmartPtr<const T>& object, IdMapping& mapping) {
  if (!object) return TnSmartPtr<const T>();
  return access::narrow<const T>(access::saveObject(*this, *object, mapping));
}

template <class T>
TnSmartPtr<T> Library::save(const TnSmartPtr<T>& object, IdMapping& mapping) {
  if (!object) return TnSmartPtr<T>();
  return access::narrow<T>(access::saveObject(*this, *object, mapping));
}

template <class T>
TnSmartPtr<const T> Library::save(const TnSmartPtr<const T>& object) {
  IdMapping mapping(this);
  return save<T>(object, mapping);
}

template <class T>
TnSmartPtr<T> Library::save(const TnSmartPtr<T>& object) {
  IdMapping mapping(this);
  return save<T>(object, mapping);
}

template <class T>
Library::RemoveResult Library::remove(const TnSmartPtr<T>& object) {
  if (!object || object->library().get() != this) return RemoveResult::kNotFound;
  return access::removeOne(*this, ObjectTraits<T>::type, object->id());
}

template <class T>
Library::RemoveResult Library::remove(std::uint32_t id) {
  return access::removeOne(*this, ObjectTraits<T>::type, id);
}

template <class T>
void Library::remove(const std::set<std::uint32_t>& ids) {
  RemoveResults ignored;
  remove<T>(ids, ignored);
}

template <class T>
void Library::remove(const std::set<std::uint32_t>& ids, RemoveResults& results) {
  access::removeMany(*this, ObjectTraits<T>::type, ids, results);
}

template <class T>
void Library::purge() {
  RemoveResults ignored;
  purge<T>(ignored);
}

template <class T>
void Library::purge(RemoveResults& results) {
  access::purgeTypes(*this, {ObjectTraits<T>::type}, results);
}

template <class T>
void Library::copy(const std::shared_ptr<const Library>& source, const std::set<unsigned>& ids, IdMapping& mapping,
                   TransactionType transactionType) {
  exchange::copyObjects(*this, ObjectTraits<T>::type, source, &ids, mapping, transactionType, nullptr);
}

template <class T>
void Library::copy(const std::shared_ptr<const Library>& source, const std::set<unsigned>& ids,
                   TransactionType transactionType) {
  IdMapping mapping(this);
  copy<T>(source, ids, mapping, transactionType);
}

template <class T>
void Library::copyAll(const std::shared_ptr<const Library>& source, IdMapping& mapping,
                      TransactionType transactionType) {
  exchange::copyObjects(*this, ObjectTraits<T>::type, source, nullptr, mapping, transactionType, nullptr);
}

template <class T>
void Library::copyAll(const std::shared_ptr<const Library>& source, TransactionType transactionType) {
  IdMapping mapping(this);
  copyAll<T>(source, mapping, transactionType);
}

template <class T>
void Library::copy(const std::shared_ptr<const Library>& source, const std::set<unsigned>& ids, IdMapping& mapping,
                   TransactionType transactionType, CopyResults& results) {
  exchange::copyObjects(*this, ObjectTraits<T>::type, source, &ids, mapping, transactionType, &results);
}

template <class T>
void Library::copyAll(const std::shared_ptr<const Library>& source, IdMapping& mapping,
                      TransactionType transactionType, CopyResults& results) {
  exchange::copyObjects(*this, ObjectTraits<T>::type, source, nullptr, mapping, transactionType, &results);
}

}  // namespace tarnlib

// Every typed operation for one class.
#define TARNLIB_INSTANTIATE_LIBRARY_OPERATIONS(T)                                                    \
  template TnSmartPtr<T> Library::get<T>(std::uint32_t) const;                                       \
  template TnSmartPtr<T> Library::get<T>(const Guid&, const std::uint32_t&) const;                   \
  template void Library::get<T>(std::vector<TnSmartPtr<T>>&) const;                                  \
  template void Library::get<T>(std::vector<TnSmartPtr<T>>&, const std::set<std::uint32_t>&) const;  \
  template void Library::get<T>(std::vector<TnSmartPtr<T>>&,                                         \
                                const typename ObjectTraits<T>::criteria_type&) const;               \
  template std::size_t Library::count<T>() const;                                                    \
  template std::size_t Library::count<T>(const typename ObjectTraits<T>::criteria_type&) const;      \
  template TnSmartPtr<const T> Library::save<T>(const TnSmartPtr<const T>&, IdMapping&);             \
  template TnSmartPtr<T> Library::save<T>(const TnSmartPtr<T>&, IdMapping&);                         \
  template TnSmartPtr<const T> Library::save<T>(const TnSmartPtr<const T>&);                         \
  template TnSmartPtr<T> Library::save<T>(const TnSmartPtr<T>&);                                     \
  template Library::RemoveResult Library::remove<T>(const TnSmartPtr<T>&);                           \
  template Library::RemoveResult Library::remove<T>(std::uint32_t);                                  \
  template void Library::remove<T>(const std::set<std::uint32_t>&);                                  \
  template void Library::remove<T>(const std::set<std::uint32_t>&, RemoveResults&);                  \
  template void Library::purge<T>();                                                                 \
  template void Library::purge<T>(RemoveResults&);                                                   \
  template void Library::copy<T>(const std::shared_ptr<const Library>&, const std::set<unsigned>&,    \
                                 IdMapping&, TransactionType);                                        \
  template void Library::copy<T>(const std::shared_ptr<const Library>&, const std::set<unsigned>&,    \
                                 TransactionType);                                                    \
  template void Library::copyAll<T>(const std::shared_ptr<const Library>&, IdMapping&, TransactionType); \
  template void Library::copyAll<T>(const std::shared_ptr<const Library>&, TransactionType);          \
  template void Library::copy<T>(const std::shared_ptr<const Library>&, const std::set<unsigned>&,    \
                                 IdMapping&, TransactionType, CopyResults&);                          \
  template void Library::copyAll<T>(const std::shared_ptr<const Library>&, IdMapping&, TransactionType, \
                                    CopyResults&)

// get and exists by one key type.
#define TARNLIB_INSTANTIATE_KEY_LOOKUP(T, Key)                                                       \
  template <>                                                                                        \
  TnSmartPtr<T> Library::get<T>(const Key& key) const {                                              \
    const ObjectType type = ObjectTraits<T>::type;                                                   \
    return access::narrow<T>(                                                                        \
        access::getOne(*this, type, access::queryFor(access::mappingOf(type), key).selection));      \
  }                                                                                                  \
  template <>                                                                                        \
  bool Library::exists<T>(const Key& key) const {                                                    \
    const ObjectType type = ObjectTraits<T>::type;                                                   \
    return access::existsAny(*this, type, access::queryFor(access::mappingOf(type), key).selection); \
  }

// The class boilerplate that needs the library: saveImpl through the typed save.
#define TARNLIB_DEFINE_SAVE(Class)                                                                   \
  TnSmartPtr<Object> Class::saveImpl(const std::shared_ptr<Library>& library, IdMapping& mapping) {  \
    if (!library) return TnSmartPtr<Object>();                                                       \
    TnSmartPtr<Class> self(this);                                                                    \
    return library->save<Class>(self, mapping);                                                      \
  }                                                                                                  \
  TnSmartPtr<const Object> Class::saveImpl(const std::shared_ptr<Library>& library,                  \
                                           IdMapping& mapping) const {                               \
    if (!library) return TnSmartPtr<const Object>();                                                 \
    TnSmartPtr<const Class> self(this);                                                              \
    return library->save<Class>(self, mapping);                                                      \
  }

// The persistent-class boilerplate declared by TARNLIB_DECLARE_PERSISTENT.
#define TARNLIB_DEFINE_PERSISTENT(Class)                                                             \
  Class::Class() : impl_(std::make_unique<Impl>()) {}                                                \
  Class::Class(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}                               \
  Class::~Class() = default;                                                                         \
  OdRxObjectPtr Class::clone() const {                                                               \
    auto copy = std::make_unique<Impl>(*impl_);                                                      \
    copy->state = ObjectState{};                                                                     \
    return OdRxObjectPtr(new Class(std::move(copy)));                                                \
  }                                                                                                  \
  ObjectState& Class::state() { return impl_->state; }                                               \
  const ObjectState& Class::state() const { return impl_->state; }                                   \
  TARNLIB_DEFINE_SAVE(Class)

#endif  // TARNLIB_ACCESS_LIBRARY_TEMPLATES_H_
