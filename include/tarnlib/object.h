// Object: the base of every persistent catalogue class, and its smart pointer.
//
// Every tag, material, profile, unit and the rest is an Object: a runtime-class
// object with an atomic intrusive reference count, a numeric type (ObjectType,
// stored in files, so the numbers never change), save entry points that dispatch
// to the type's own persistence, and observers (ObjectReactor) that are told when
// the object dies. Objects are handled through TnSmartPtr.
//
// Threads: smart pointers to one object may be copied and dropped on several
// threads. Everything else about an object, its reactor links included, belongs
// to one thread at a time; attaching, detaching and the last release of an
// observed object must not race.
#ifndef TARNLIB_OBJECT_H_
#define TARNLIB_OBJECT_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <type_traits>
#include <utility>

#include "tarnlib/export.h"
#include "tarnlib/platform/OdRxObject.h"
#include "tarnlib/platform/OdString.h"

namespace tarnlib {

class Library;
class IdMapping;
class Object;
class ObjectReactor;

namespace detail {
class ObjectAccess;
}

// The type tag of each persistent class. The numbers are stored in tables, keys
// and XML; 8, 9, 10 and 12 belonged to retired classes and stay unused.
enum class ObjectType : std::uint32_t {
  Tag = 1,
  Asset = 2,
  MaterialType = 3,
  Material = 4,
  Composition = 5,
  CustomProperty = 6,
  Layer = 7,
  PhysicalAsset = 11,
  InformationAsset = 13,
  BimAsset = 14,
  ProfileStandard = 15,
  ProfileName = 16,
  Profile = 17,
  CustomProfile = 18,
  ParametrizedProfile = 19,
  CircleProfile = 20,
  CircleHollowProfile = 21,
  EllipseProfile = 22,
  RectangleProfile = 23,
  RectangleHollowProfile = 24,
  RoundedRectangleProfile = 25,
  TrapeziumProfile = 26,
  CraneRailAShapeProfile = 27,
  CraneRailFShapeProfile = 28,
  TShapeProfile = 29,
  ZShapeProfile = 30,
  CShapeProfile = 31,
  UShapeProfile = 32,
  LShapeProfile = 33,
  IShapeProfile = 34,
  AsymmetricIShapeProfile = 35,
  CompositionType = 36,
  Measure = 37,
  Unit = 38,
  PropertyNamespace = 39,
  EntityType = 40,
  AbstractDefinition = 41,
  PropertyDefinition = 42,
  ValueDefinition = 43,
  PropertySet = 44,
};

// Compile-time facts about a persistent class, one specialisation per class:
//   static constexpr ObjectType type;   its tag above
//   using unique_key_type = ...;        the key it is unique by in a library
// There is deliberately no primary definition: using a class without one fails
// to compile.
template <class T>
struct ObjectTraits;

// The unique key of a named object.
struct TARNLIB_EXPORT NameKey {
  NameKey() = default;
  explicit NameKey(const OdString& n) : name(n) {}
  OdString name;
};
inline bool operator==(const NameKey& a, const NameKey& b) { return a.name == b.name; }
inline bool operator!=(const NameKey& a, const NameKey& b) { return a.name != b.name; }
inline bool operator<(const NameKey& a, const NameKey& b) { return a.name < b.name; }

// Any stored object of any type. Ordered by type, then id.
struct TARNLIB_EXPORT ObjectKey {
  ObjectKey() = default;
  ObjectKey(ObjectType t, std::uint32_t i) : type(t), id(i) {}
  ObjectType type = ObjectType::Tag;
  std::uint32_t id = 0;
};
inline bool operator==(const ObjectKey& a, const ObjectKey& b) { return a.type == b.type && a.id == b.id; }
inline bool operator!=(const ObjectKey& a, const ObjectKey& b) { return !(a == b); }
inline bool operator<(const ObjectKey& a, const ObjectKey& b) {
  return a.type != b.type ? a.type < b.type : a.id < b.id;
}

// Intrusive pointer to an Object (or any runtime-class object with a desc()).
// Copying adds a reference, destruction releases one. Converts implicitly to a
// pointer to a base class and to const. The downcast is explicit,
// TnSmartPtr<Material>(objectPtr) or TnSmartPtr<Material>::cast(rawObject):
// it asks the object through queryX and yields null when the object is not a
// Material (or when Material's runtime class is not initialised).
template <class T>
class TnSmartPtr {
  using Mutable = std::remove_const_t<T>;

  template <class U>
  using EnableUpcast = std::enable_if_t<std::is_convertible<U*, T*>::value, int>;
  template <class U>
  using EnableDowncast = std::enable_if_t<!std::is_convertible<U*, T*>::value &&
                                              (std::is_const<T>::value || !std::is_const<U>::value),
                                          int>;

 public:
  using element_type = T;

  TnSmartPtr() noexcept = default;
  TnSmartPtr(std::nullptr_t) noexcept {}  // NOLINT
  // Takes a reference to `object`. Explicit because a temporary smart pointer
  // around an object that nobody else holds destroys it.
  explicit TnSmartPtr(T* object) : p_(object) { addRef(); }
  // Takes over a reference already added (as queryX returns).
  TnSmartPtr(T* object, OdRxObjMod) noexcept : p_(object) {}
  TnSmartPtr(const TnSmartPtr& other) : p_(other.p_) { addRef(); }
  TnSmartPtr(TnSmartPtr&& other) noexcept : p_(other.detach()) {}
  template <class U, EnableUpcast<U> = 0>
  TnSmartPtr(const TnSmartPtr<U>& other) : p_(other.get()) {  // NOLINT
    addRef();
  }
  template <class U, EnableUpcast<U> = 0>
  TnSmartPtr(TnSmartPtr<U>&& other) noexcept : p_(other.detach()) {}  // NOLINT
  template <class U, EnableDowncast<U> = 0>
  explicit TnSmartPtr(const TnSmartPtr<U>& other) : p_(query(other.get())) {}
  ~TnSmartPtr() { reset(); }

  TnSmartPtr& operator=(const TnSmartPtr& other) {
    TnSmartPtr(other).swap(*this);
    return *this;
  }
  TnSmartPtr& operator=(TnSmartPtr&& other) noexcept {
    TnSmartPtr(std::move(other)).swap(*this);
    return *this;
  }
  TnSmartPtr& operator=(std::nullptr_t) {
    reset();
    return *this;
  }

  // `object` as a T when it is one, else null; adds a reference.
  static TnSmartPtr cast(const OdRxObject* object) { return TnSmartPtr(query(object), kOdRxObjAttach); }

  T* get() const noexcept { return p_; }
  T* operator->() const noexcept { return p_; }
  T& operator*() const noexcept { return *p_; }
  explicit operator bool() const noexcept { return p_ != nullptr; }
  bool isNull() const noexcept { return p_ == nullptr; }

  // Gives up the pointer without releasing it.
  T* detach() noexcept {
    T* p = p_;
    p_ = nullptr;
    return p;
  }
  void reset() noexcept {
    if (p_) const_cast<Mutable*>(p_)->release();
    p_ = nullptr;
  }
  void swap(TnSmartPtr& other) noexcept { std::swap(p_, other.p_); }

 private:
  void addRef() {
    if (p_) const_cast<Mutable*>(p_)->addRef();
  }

  // queryX adds the reference the result carries.
  static T* query(const OdRxObject* object) {
    if (!object) return nullptr;
    const OdRxClass* cls = Mutable::desc();
    OdRxObject* found = cls ? object->queryX(cls) : nullptr;
    if (found && !found->isKindOf(cls)) {
      found->release();
      return nullptr;
    }
    return static_cast<Mutable*>(found);
  }

  T* p_ = nullptr;
};

template <class A, class B>
bool operator==(const TnSmartPtr<A>& a, const TnSmartPtr<B>& b) {
  return a.get() == b.get();
}
template <class A, class B>
bool operator!=(const TnSmartPtr<A>& a, const TnSmartPtr<B>& b) {
  return a.get() != b.get();
}
template <class T>
bool operator==(const TnSmartPtr<T>& a, std::nullptr_t) {
  return a.isNull();
}
template <class T>
bool operator!=(const TnSmartPtr<T>& a, std::nullptr_t) {
  return !a.isNull();
}
template <class T>
bool operator<(const TnSmartPtr<T>& a, const TnSmartPtr<T>& b) {
  return std::less<T*>()(a.get(), b.get());
}

// What every concrete class keeps of its persistent identity: the database id
// (0 until saved), the library it was read from or saved to (empty for a new
// object) and whether it changed since.
struct ObjectState {
  std::uint32_t id = 0;
  std::shared_ptr<Library> library;
  bool dirty = true;
};

class TARNLIB_EXPORT TnRxObject : public OdRxObject {
 protected:
  TnRxObject() = default;
  TnRxObject(const TnRxObject&) = default;
  TnRxObject& operator=(const TnRxObject&) = default;
};

class TARNLIB_EXPORT Object : public TnRxObject {
 public:
  ~Object() override;

  // The runtime class "Object", derived from OdRxObject's; null until rxInit.
  static OdRxClass* desc();
  // Creates the class. Throws OdError(eAlreadyInitialized) when it exists.
  // Runs before the rxInit of any derived class.
  static void rxInit();
  // Deletes the class. Throws OdError(eNotInitialized) when there is none.
  // Runs after the rxUninit of every derived class.
  static void rxUninit();
  // `object` as an Object, with a reference; null when it is none.
  static TnSmartPtr<Object> queryX(const OdRxObject* object);
  // An instance made through the class; always null, Object being abstract.
  // Throws OdError(eNotInitialized) before rxInit.
  static OdSmartPtr<Object> createVirtualObject();

  OdRxObject* queryX(const OdRxClass* protocolClass) const override;
  OdRxClass* isA() const override;
  void addRef() override;
  // On the last reference, tells every reactor (detaching it first), then
  // destroys the object.
  void release() override;
  long numRefs() const override;

  // The database id; 0 for an object that was never saved.
  virtual std::uint32_t id() const;
  virtual ObjectType tarnlibType() const = 0;
  // True when the object changed since it was last read or saved.
  virtual bool isDirty() const;
  // The library the object was read from or saved to; empty for a new object.
  virtual std::shared_ptr<Library> library() const;

  // A new, unsaved copy: clone() as an Object (null if clone() gives none).
  TnSmartPtr<Object> cloneObject() const;

  // Writes the object into `library`, recording in `mapping` what became of
  // objects from other libraries; returns the stored object. An object of
  // another library is stored as a copy; the source is never changed. The forms
  // without a mapping use a fresh one. Failures are the
  // library's exceptions.
  TnSmartPtr<Object> save(const std::shared_ptr<Library>& library, IdMapping& mapping);
  TnSmartPtr<const Object> save(const std::shared_ptr<Library>& library, IdMapping& mapping) const;
  TnSmartPtr<Object> save(const std::shared_ptr<Library>& library);
  TnSmartPtr<const Object> save(const std::shared_ptr<Library>& library) const;
  // Saves into library(); returns whether a stored object came back. An object
  // without a library hands an empty pointer down, which saving rejects.
  bool save();

  // Attach or detach an observer; both sides keep the link. Null is ignored.
  void addReactor(ObjectReactor* reactor);
  void removeReactor(ObjectReactor* reactor);

 protected:
  Object() = default;
  // A copy starts unreferenced and unobserved.
  Object(const Object& other);
  Object& operator=(const Object& other);

  // True when both objects are of the same runtime class; derived classes build
  // their value equality on it.
  bool operator==(const Object& other) const;

  virtual TnSmartPtr<Object> saveImpl(const std::shared_ptr<Library>& library, IdMapping& mapping) = 0;
  virtual TnSmartPtr<const Object> saveImpl(const std::shared_ptr<Library>& library,
                                            IdMapping& mapping) const = 0;

  // The concrete class's persistent identity, behind id(), isDirty(), library().
  virtual ObjectState& state() = 0;
  virtual const ObjectState& state() const = 0;

 private:
  friend class ObjectReactor;
  friend class detail::ObjectAccess;

  std::atomic<std::uint32_t> refs_{0};
  std::set<ObjectReactor*> reactors_;
};

// An observer of objects, told when one of them dies. The set of observed
// objects is kept in step with each object's set of reactors.
class TARNLIB_EXPORT ObjectReactor {
 public:
  ObjectReactor() = default;
  // Copies the list of observed objects but does not register the copy with
  // them: only the reactor that attached itself is told, and the copy must not
  // outlive those objects.
  ObjectReactor(const ObjectReactor& other);
  // Detaches from the objects observed so far, then copies as above.
  ObjectReactor& operator=(const ObjectReactor& other);
  // Detaches from every observed object without telling anyone.
  virtual ~ObjectReactor();

  // Called during the last release of an observed object, after this reactor
  // was detached from it and before it is destroyed. The object may still be
  // inspected and referenced; a reference kept past the call keeps it alive.
  virtual void objectDeleted(Object* object) = 0;

  const std::set<Object*>& objects() const { return objects_; }

 private:
  friend class Object;

  void addObject(Object* object);
  void removeObject(Object* object);
  void detachAll();

  std::set<Object*> objects_;
};

namespace detail {

// Narrows a pointer whose dynamic type is known to be T, as the typed save and
// clone forms know it; no runtime-class lookup involved.
template <class T, class U>
TnSmartPtr<T> staticNarrow(TnSmartPtr<U>&& p) {
  return TnSmartPtr<T>(static_cast<T*>(p.detach()), kOdRxObjAttach);
}

// The pieces of the class boilerplate below that need no knowledge of the class.
TARNLIB_EXPORT void rxInitClass(OdRxClass*& slot, const wchar_t* name, OdRxClass* parent,
                                OdPseudoConstructorType constructor);
TARNLIB_EXPORT void rxUninitClass(OdRxClass*& slot);
TARNLIB_EXPORT OdRxObjectPtr createInstance(const OdRxClass* cls);
// `self` with a reference when `protocolClass` is `own`, else the extension
// `own` has for it, else null.
TARNLIB_EXPORT OdRxObject* queryOwnClass(const OdRxObject* self, const OdRxClass* protocolClass,
                                         const OdRxClass* own);

}  // namespace detail
}  // namespace tarnlib

// Runtime-class boilerplate of a persistent class. Inside the class body:
//
//   class Material : public Object {
//     TARNLIB_DECLARE_OBJECT(Material)
//     ...
//
// declares desc/rxInit/rxUninit, the static and virtual queryX, isA,
// createVirtualObject, pseudoConstructor, staticTarnlibType/tarnlibType, and the
// typed cloneObject and save forms. It leaves the access at public. In the .cpp,
// inside namespace tarnlib:
//
//   TARNLIB_DEFINE_OBJECT(Material, Object)            for a concrete class
//   TARNLIB_DEFINE_ABSTRACT_OBJECT(Asset, Object)      for an abstract one
//
// define them; the class name becomes the runtime class name, the type comes
// from ObjectTraits<Class>, and a concrete class needs a default constructor
// (private is fine). saveImpl, clone() and state() are the class's own.
#define TARNLIB_DECLARE_OBJECT(Class)                                                                       \
 private:                                                                                                   \
  static OdRxClass* rxDesc_;                                                                                \
                                                                                                            \
 public:                                                                                                    \
  static OdRxClass* desc();                                                                                 \
  static void rxInit();                                                                                     \
  static void rxUninit();                                                                                   \
  static OdRxObjectPtr pseudoConstructor();                                                                 \
  static OdSmartPtr<Class> createVirtualObject();                                                           \
  static ::tarnlib::TnSmartPtr<Class> queryX(const OdRxObject* object);                                     \
  OdRxObject* queryX(const OdRxClass* protocolClass) const override;                                        \
  OdRxClass* isA() const override;                                                                          \
  static ::tarnlib::ObjectType staticTarnlibType();                                                         \
  ::tarnlib::ObjectType tarnlibType() const override;                                                       \
  ::tarnlib::TnSmartPtr<Class> cloneObject() const;                                                         \
  ::tarnlib::TnSmartPtr<Class> save(const std::shared_ptr<::tarnlib::Library>& library,                     \
                                    ::tarnlib::IdMapping& mapping);                                         \
  ::tarnlib::TnSmartPtr<const Class> save(const std::shared_ptr<::tarnlib::Library>& library,               \
                                          ::tarnlib::IdMapping& mapping) const;                             \
  ::tarnlib::TnSmartPtr<Class> save(const std::shared_ptr<::tarnlib::Library>& library);                    \
  ::tarnlib::TnSmartPtr<const Class> save(const std::shared_ptr<::tarnlib::Library>& library) const;        \
  bool save() { return ::tarnlib::Object::save(); }

// The persistent-class half of the boilerplate, for a class that keeps all its
// fields, its ObjectState `state` among them, in a private record `Impl`
// defined in its .cpp. Inside the class body, after TARNLIB_DECLARE_OBJECT:
//   TARNLIB_DECLARE_PERSISTENT(Material)
// and in the .cpp, after the definition of Material::Impl:
//   TARNLIB_DEFINE_PERSISTENT(Material)
// A clone copies the record with a fresh state: unsaved, dirty, no library.
// Leaves the access at public.
#define TARNLIB_DECLARE_PERSISTENT(Class)                                                          \
 public:                                                                                            \
  struct Impl;                                                                                      \
  ~Class() override;                                                                                \
  Impl& impl() { return *impl_; }                                                                   \
  const Impl& impl() const { return *impl_; }                                                       \
                                                                                                    \
 protected:                                                                                         \
  OdRxObjectPtr clone() const override;                                                             \
  ::tarnlib::TnSmartPtr<::tarnlib::Object> saveImpl(const std::shared_ptr<::tarnlib::Library>& library, \
                                                    ::tarnlib::IdMapping& mapping) override;        \
  ::tarnlib::TnSmartPtr<const ::tarnlib::Object> saveImpl(                                          \
      const std::shared_ptr<::tarnlib::Library>& library, ::tarnlib::IdMapping& mapping) const override; \
  ::tarnlib::ObjectState& state() override;                                                         \
  const ::tarnlib::ObjectState& state() const override;                                             \
                                                                                                    \
 private:                                                                                           \
  Class();                                                                                          \
  explicit Class(std::unique_ptr<Impl> impl);                                                       \
  std::unique_ptr<Impl> impl_;                                                                      \
                                                                                                    \
 public:

// The boilerplate of a concrete class of a tree whose root keeps every class's
// fields in one record, Root::Impl (profiles, property definitions).
#define TARNLIB_DECLARE_TREE_MEMBER(Class, Root)                                                    \
 protected:                                                                                         \
  Class();                                                                                          \
  explicit Class(std::unique_ptr<Root::Impl> impl);                                                 \
  OdRxObjectPtr clone() const override;                                                             \
  ::tarnlib::TnSmartPtr<::tarnlib::Object> saveImpl(const std::shared_ptr<::tarnlib::Library>& library, \
                                                    ::tarnlib::IdMapping& mapping) override;        \
  ::tarnlib::TnSmartPtr<const ::tarnlib::Object> saveImpl(                                          \
      const std::shared_ptr<::tarnlib::Library>& library, ::tarnlib::IdMapping& mapping) const override; \
                                                                                                    \
 public:

#define TARNLIB_DETAIL_DEFINE_OBJECT_COMMON(Class, Base)                                                    \
  OdRxClass* Class::rxDesc_ = nullptr;                                                                      \
  OdRxClass* Class::desc() { return rxDesc_; }                                                              \
  void Class::rxInit() {                                                                                    \
    ::tarnlib::detail::rxInitClass(rxDesc_, L"" #Class, Base::desc(), &Class::pseudoConstructor);          \
  }                                                                                                         \
  void Class::rxUninit() { ::tarnlib::detail::rxUninitClass(rxDesc_); }                                     \
  OdSmartPtr<Class> Class::createVirtualObject() {                                                          \
    return OdSmartPtr<Class>::cast(::tarnlib::detail::createInstance(rxDesc_).get());                      \
  }                                                                                                         \
  ::tarnlib::TnSmartPtr<Class> Class::queryX(const OdRxObject* object) {                                    \
    return ::tarnlib::TnSmartPtr<Class>::cast(object);                                                      \
  }                                                                                                         \
  OdRxObject* Class::queryX(const OdRxClass* protocolClass) const {                                         \
    if (OdRxObject* found = ::tarnlib::detail::queryOwnClass(this, protocolClass, rxDesc_)) return found;   \
    return Base::queryX(protocolClass);                                                                     \
  }                                                                                                         \
  OdRxClass* Class::isA() const { return rxDesc_; }                                                         \
  ::tarnlib::ObjectType Class::staticTarnlibType() { return ::tarnlib::ObjectTraits<Class>::type; }        \
  ::tarnlib::ObjectType Class::tarnlibType() const { return staticTarnlibType(); }                          \
  ::tarnlib::TnSmartPtr<Class> Class::cloneObject() const {                                                 \
    return ::tarnlib::detail::staticNarrow<Class>(::tarnlib::Object::cloneObject());                        \
  }                                                                                                         \
  ::tarnlib::TnSmartPtr<Class> Class::save(const std::shared_ptr<::tarnlib::Library>& library,              \
                                           ::tarnlib::IdMapping& mapping) {                                 \
    return ::tarnlib::detail::staticNarrow<Class>(::tarnlib::Object::save(library, mapping));               \
  }                                                                                                         \
  ::tarnlib::TnSmartPtr<const Class> Class::save(const std::shared_ptr<::tarnlib::Library>& library,        \
                                                 ::tarnlib::IdMapping& mapping) const {                     \
    return ::tarnlib::detail::staticNarrow<const Class>(::tarnlib::Object::save(library, mapping));         \
  }                                                                                                         \
  ::tarnlib::TnSmartPtr<Class> Class::save(const std::shared_ptr<::tarnlib::Library>& library) {            \
    return ::tarnlib::detail::staticNarrow<Class>(::tarnlib::Object::save(library));                        \
  }                                                                                                         \
  ::tarnlib::TnSmartPtr<const Class> Class::save(const std::shared_ptr<::tarnlib::Library>& library) const { \
    return ::tarnlib::detail::staticNarrow<const Class>(::tarnlib::Object::save(library));                  \
  }

#define TARNLIB_DEFINE_OBJECT(Class, Base)         \
  TARNLIB_DETAIL_DEFINE_OBJECT_COMMON(Class, Base) \
  OdRxObjectPtr Class::pseudoConstructor() { return OdRxObjectPtr(new Class()); }

#define TARNLIB_DEFINE_ABSTRACT_OBJECT(Class, Base) \
  TARNLIB_DETAIL_DEFINE_OBJECT_COMMON(Class, Base)  \
  OdRxObjectPtr Class::pseudoConstructor() { return OdRxObjectPtr(); }

#endif  // TARNLIB_OBJECT_H_
