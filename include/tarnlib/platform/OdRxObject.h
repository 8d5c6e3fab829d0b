// The runtime-class system: reference-counted objects that know their class.
//
// OdRxObject is the root of every object handed across the library interface.
// Each object answers isA() with an OdRxClass, a named description registered in
// a process-wide registry, which knows its parent class, can create instances
// through a pseudo-constructor, and carries protocol extensions: objects attached
// to a class that queryX() hands out for it. This is what makes downcasts work
// across the shared-library boundary without relying on RTTI matching there.
//
// Threads: the registry (newOdRxClass, deleteOdRxClass, odrxFindClass) is
// locked. Protocol extensions of a class must not be changed while another
// thread queries them. Reference counting is up to each concrete class.
#ifndef TARNLIB_PLATFORM_ODRXOBJECT_H_
#define TARNLIB_PLATFORM_ODRXOBJECT_H_

#include <atomic>
#include <cstddef>
#include <map>
#include <type_traits>
#include <utility>

#include "tarnlib/export.h"
#include "tarnlib/platform/OdAlloc.h"
#include "tarnlib/platform/OdError.h"
#include "tarnlib/platform/OdString.h"

class OdRxClass;
class OdRxObject;
template <class T>
class OdSmartPtr;
using OdRxObjectPtr = OdSmartPtr<OdRxObject>;

namespace OdRx {
enum Ordering { kLessThan = -1, kEqual = 0, kGreaterThan = 1, kNotOrderable = 2 };
}

// Tag for taking over a reference that was already added (as queryX returns).
enum OdRxObjMod { kOdRxObjAttach };

class TARNLIB_EXPORT OdRxObject {
 public:
  OdRxObject() = default;
  virtual ~OdRxObject();

  // Returns this object or a protocol extension that is an instance of
  // `protocolClass`, with a reference added for the caller; null when there is
  // none. The default answers for OdRxObject's class itself and otherwise looks
  // for an extension on isA().
  virtual OdRxObject* queryX(const OdRxClass* protocolClass) const;
  // As queryX, but throws OdError(eNotThatKindOfClass) instead of returning null.
  virtual OdRxObject* x(const OdRxClass* protocolClass) const;
  // The class of the dynamic type; the default is OdRxObject's class.
  virtual OdRxClass* isA() const;

  virtual void addRef() = 0;
  // Drops a reference; the object destroys itself when none is left.
  virtual void release() = 0;
  // The current count; 1 for classes that keep no count of their own.
  virtual long numRefs() const;

  // A new object of the same class with this one's contents: creates through
  // isA() and calls copyFrom. Classes that can be copied override one or both.
  virtual OdRxObjectPtr clone() const;
  // Throws OdError(eNotImplemented) unless overridden.
  virtual void copyFrom(const OdRxObject* other);
  // kNotOrderable unless overridden.
  virtual OdRx::Ordering comparedTo(const OdRxObject* other) const;
  // Identity unless overridden.
  virtual bool isEqualTo(const OdRxObject* other) const;

  // The root class, named "OdRxObject"; it exists for the whole process.
  static OdRxClass* desc();
  bool isKindOf(const OdRxClass* cls) const;

  static void* operator new(std::size_t size);
  static void operator delete(void* block);
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void*, void*) noexcept {}

 protected:
  OdRxObject(const OdRxObject&) = default;
  OdRxObject& operator=(const OdRxObject&) = default;
};

// Intrusive pointer to a runtime-class object: copying adds a reference,
// destruction releases one. A raw pointer converts implicitly (adding a
// reference), as hosts written against the kernel expect.
template <class T>
class OdSmartPtr {
 public:
  OdSmartPtr() noexcept = default;
  OdSmartPtr(std::nullptr_t) noexcept {}  // NOLINT
  OdSmartPtr(T* object) : p_(object) { addRef(); }  // NOLINT: implicit as in the kernel
  OdSmartPtr(T* object, OdRxObjMod) noexcept : p_(object) {}
  OdSmartPtr(const OdSmartPtr& other) : p_(other.p_) { addRef(); }
  OdSmartPtr(OdSmartPtr&& other) noexcept : p_(other.detach()) {}
  template <class U, std::enable_if_t<std::is_convertible<U*, T*>::value, int> = 0>
  OdSmartPtr(const OdSmartPtr<U>& other) : p_(other.get()) {  // NOLINT
    addRef();
  }
  ~OdSmartPtr() { release(); }

  OdSmartPtr& operator=(const OdSmartPtr& other) {
    OdSmartPtr(other).swap(*this);
    return *this;
  }
  OdSmartPtr& operator=(OdSmartPtr&& other) noexcept {
    OdSmartPtr(std::move(other)).swap(*this);
    return *this;
  }

  // The object as a T when it is one (through queryX), else null.
  static OdSmartPtr cast(const OdRxObject* object) {
    if (!object) return OdSmartPtr();
    const OdRxClass* cls = std::remove_const_t<T>::desc();
    OdRxObject* found = cls ? object->queryX(cls) : nullptr;
    if (found && !found->isKindOf(cls)) {
      found->release();
      found = nullptr;
    }
    return OdSmartPtr(static_cast<T*>(found), kOdRxObjAttach);
  }

  T* get() const noexcept { return p_; }
  T* operator->() const noexcept { return p_; }
  T& operator*() const noexcept { return *p_; }
  explicit operator bool() const noexcept { return p_ != nullptr; }
  bool isNull() const noexcept { return p_ == nullptr; }

  // Takes over `object` without adding a reference.
  void attach(T* object) {
    release();
    p_ = object;
  }
  // Gives up the pointer without releasing it.
  T* detach() noexcept {
    T* p = p_;
    p_ = nullptr;
    return p;
  }
  // Releases the object and becomes null.
  void release() {
    if (p_) mutableObject()->release();
    p_ = nullptr;
  }
  void swap(OdSmartPtr& other) noexcept { std::swap(p_, other.p_); }

 private:
  std::remove_const_t<T>* mutableObject() const { return const_cast<std::remove_const_t<T>*>(p_); }
  void addRef() {
    if (p_) mutableObject()->addRef();
  }

  T* p_ = nullptr;
};

template <class A, class B>
bool operator==(const OdSmartPtr<A>& a, const OdSmartPtr<B>& b) {
  return a.get() == b.get();
}
template <class A, class B>
bool operator!=(const OdSmartPtr<A>& a, const OdSmartPtr<B>& b) {
  return a.get() != b.get();
}

// A reference count for a class that has none: OdRxObjectImpl<MyExtension> is
// a concrete, counted MyExtension. Counts start at 0; the first smart pointer
// takes the object to 1.
template <class T, class TInterface = T>
class OdRxObjectImpl : public T {
 public:
  OdRxObjectImpl() = default;
  static OdSmartPtr<TInterface> createObject() { return OdSmartPtr<TInterface>(new OdRxObjectImpl()); }

  void addRef() override { refs_.fetch_add(1, std::memory_order_relaxed); }
  void release() override {
    if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
  long numRefs() const override { return refs_.load(std::memory_order_relaxed); }

 private:
  std::atomic<long> refs_{0};
};

// Makes an instance of a class; returns null for abstract classes.
using OdPseudoConstructorType = OdRxObjectPtr (*)();

// A runtime class. Instances are made only by newOdRxClass and destroyed only by
// deleteOdRxClass; pointers to them stay valid until then.
class TARNLIB_EXPORT OdRxClass {
 public:
  OdRxClass(const OdRxClass&) = delete;
  OdRxClass& operator=(const OdRxClass&) = delete;

  const OdString& name() const { return name_; }
  OdRxClass* myParent() const { return parent_; }
  // True for this class itself and for every class it derives from.
  bool isDerivedFrom(const OdRxClass* other) const;
  // A new instance through the pseudo-constructor; null when there is none.
  OdRxObjectPtr create() const;
  OdPseudoConstructorType constructor() const { return constructor_; }

  // The extension for `protocolClass` on this class or, failing that, on the
  // nearest parent that has one; null when none has.
  OdRxObjectPtr getX(const OdRxClass* protocolClass) const;
  // Attaches an extension (null removes it); returns the one it replaces.
  OdRxObjectPtr addX(const OdRxClass* protocolClass, OdRxObject* extension);
  // Removes the extension of this class itself; returns it.
  OdRxObjectPtr delX(const OdRxClass* protocolClass);

 private:
  friend class OdRxClassRegistry;  // the only place classes are made and destroyed

  OdRxClass(const OdString& name, OdRxClass* parent, OdPseudoConstructorType constructor);
  ~OdRxClass();

  OdString name_;
  OdRxClass* parent_;
  OdPseudoConstructorType constructor_;
  std::map<const OdRxClass*, OdRxObjectPtr> extensions_;
};

// Creates and registers a class. Throws OdError(eDuplicateKey) when the name is
// taken. The parent must outlive the new class: delete derived classes first.
TARNLIB_EXPORT OdRxClass* newOdRxClass(const OdString& name, OdRxClass* parent,
                                       OdPseudoConstructorType constructor = nullptr);
// Unregisters and destroys a class made by newOdRxClass. Null, the root class
// and classes that are not registered are ignored.
TARNLIB_EXPORT void deleteOdRxClass(OdRxClass* cls);
// The registered class of that name, or null.
TARNLIB_EXPORT OdRxClass* odrxFindClass(const OdString& name);

#endif  // TARNLIB_PLATFORM_ODRXOBJECT_H_
