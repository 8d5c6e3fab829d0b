#include "tarnlib/platform/OdRxObject.h"

#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>

// The process-wide name-to-class table. It is never destroyed: objects released
// during static destruction may still ask for their class.
class OdRxClassRegistry {
 public:
  static OdRxClassRegistry& instance() {
    static OdRxClassRegistry* registry = new OdRxClassRegistry();
    return *registry;
  }

  OdRxClass* root() const { return root_; }

  OdRxClass* add(const OdString& name, OdRxClass* parent, OdPseudoConstructorType constructor) {
    ClassPtr cls(new OdRxClass(name, parent, constructor));
    std::lock_guard<std::mutex> lock(mutex_);
    auto inserted = classes_.emplace(name.str(), std::move(cls));
    if (!inserted.second) throw OdError(eDuplicateKey, OdString(L"Runtime class already registered: ") + name);
    return inserted.first->second.get();
  }

  void remove(OdRxClass* cls) {
    if (!cls || cls == root_) return;
    ClassPtr doomed;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      auto it = classes_.find(cls->name().str());
      if (it == classes_.end() || it->second.get() != cls) return;
      doomed = std::move(it->second);
      classes_.erase(it);
    }
    // Destroyed outside the lock: releasing its extensions may run arbitrary code.
  }

  OdRxClass* find(const OdString& name) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = classes_.find(name.str());
    return it == classes_.end() ? nullptr : it->second.get();
  }

 private:
  // OdRxClass's destructor is private to this registry.
  struct Deleter {
    void operator()(OdRxClass* cls) const { delete cls; }
  };
  using ClassPtr = std::unique_ptr<OdRxClass, Deleter>;

  OdRxClassRegistry() : root_(add(OdString(L"OdRxObject"), nullptr, nullptr)) {}

  mutable std::mutex mutex_;
  std::unordered_map<std::wstring, ClassPtr> classes_;
  OdRxClass* root_;
};

OdRxClass* newOdRxClass(const OdString& name, OdRxClass* parent, OdPseudoConstructorType constructor) {
  return OdRxClassRegistry::instance().add(name, parent, constructor);
}

void deleteOdRxClass(OdRxClass* cls) { OdRxClassRegistry::instance().remove(cls); }

OdRxClass* odrxFindClass(const OdString& name) { return OdRxClassRegistry::instance().find(name); }

// OdRxClass

OdRxClass::OdRxClass(const OdString& name, OdRxClass* parent, OdPseudoConstructorType constructor)
    : name_(name), parent_(parent), constructor_(constructor) {}

OdRxClass::~OdRxClass() = default;

bool OdRxClass::isDerivedFrom(const OdRxClass* other) const {
  if (!other) return false;
  for (const OdRxClass* cls = this; cls; cls = cls->parent_) {
    if (cls == other) return true;
  }
  return false;
}

OdRxObjectPtr OdRxClass::create() const { return constructor_ ? constructor_() : OdRxObjectPtr(); }

OdRxObjectPtr OdRxClass::getX(const OdRxClass* protocolClass) const {
  for (const OdRxClass* cls = this; cls; cls = cls->parent_) {
    auto it = cls->extensions_.find(protocolClass);
    if (it != cls->extensions_.end()) return it->second;
  }
  return OdRxObjectPtr();
}

OdRxObjectPtr OdRxClass::addX(const OdRxClass* protocolClass, OdRxObject* extension) {
  if (!extension) return delX(protocolClass);
  OdRxObjectPtr& slot = extensions_[protocolClass];
  OdRxObjectPtr previous = std::move(slot);
  slot = extension;
  return previous;
}

OdRxObjectPtr OdRxClass::delX(const OdRxClass* protocolClass) {
  auto it = extensions_.find(protocolClass);
  if (it == extensions_.end()) return OdRxObjectPtr();
  OdRxObjectPtr removed = std::move(it->second);
  extensions_.erase(it);
  return removed;
}

// OdRxObject

OdRxObject::~OdRxObject() = default;

OdRxClass* OdRxObject::desc() { return OdRxClassRegistry::instance().root(); }

OdRxObject* OdRxObject::queryX(const OdRxClass* protocolClass) const {
  if (!protocolClass) return nullptr;
  auto* self = const_cast<OdRxObject*>(this);
  if (protocolClass == desc()) {
    self->addRef();
    return self;
  }
  const OdRxClass* cls = isA();
  return cls ? cls->getX(protocolClass).detach() : nullptr;
}

OdRxObject* OdRxObject::x(const OdRxClass* protocolClass) const {
  OdRxObject* found = queryX(protocolClass);
  if (!found) {
    throw OdError(eNotThatKindOfClass, OdString(L"Not that kind of class: ") +
                                           (protocolClass ? protocolClass->name() : OdString(L"(null)")));
  }
  return found;
}

OdRxClass* OdRxObject::isA() const { return desc(); }

long OdRxObject::numRefs() const { return 1; }

OdRxObjectPtr OdRxObject::clone() const {
  const OdRxClass* cls = isA();
  OdRxObjectPtr copy = cls ? cls->create() : OdRxObjectPtr();
  if (copy) copy->copyFrom(this);
  return copy;
}

void OdRxObject::copyFrom(const OdRxObject*) { throw OdError(eNotImplemented); }

OdRx::Ordering OdRxObject::comparedTo(const OdRxObject*) const { return OdRx::kNotOrderable; }

bool OdRxObject::isEqualTo(const OdRxObject* other) const { return other == this; }

bool OdRxObject::isKindOf(const OdRxClass* cls) const {
  const OdRxClass* mine = isA();
  return mine && mine->isDerivedFrom(cls);
}

void* OdRxObject::operator new(std::size_t size) {
  void* block = odrxAlloc(size);
  if (!block) throw std::bad_alloc();
  return block;
}

void OdRxObject::operator delete(void* block) { odrxFree(block); }
