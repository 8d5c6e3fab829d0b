#include "tarnlib/object.h"

#include <typeinfo>

#include "tarnlib/id_mapping.h"

namespace tarnlib {
namespace {

OdRxClass* g_objectClass = nullptr;

OdRxObjectPtr noInstance() { return OdRxObjectPtr(); }

}  // namespace

namespace detail {

void rxInitClass(OdRxClass*& slot, const wchar_t* name, OdRxClass* parent, OdPseudoConstructorType constructor) {
  if (slot) throw OdError(eAlreadyInitialized, OdString(L"Runtime class already initialized: ") + name);
  // A class created before its parent would hang off nothing and fail every
  // kind-of test; refuse it instead.
  if (!parent) throw OdError(eNotInitialized, OdString(L"Parent runtime class not initialized: ") + name);
  slot = newOdRxClass(OdString(name), parent, constructor);
}

void rxUninitClass(OdRxClass*& slot) {
  if (!slot) throw OdError(eNotInitialized);
  deleteOdRxClass(slot);
  slot = nullptr;
}

OdRxObjectPtr createInstance(const OdRxClass* cls) {
  if (!cls) throw OdError(eNotInitialized);
  return cls->create();
}

OdRxObject* queryOwnClass(const OdRxObject* self, const OdRxClass* protocolClass, const OdRxClass* own) {
  if (!protocolClass) return nullptr;
  if (protocolClass == own) {
    auto* object = const_cast<OdRxObject*>(self);
    object->addRef();
    return object;
  }
  return own ? own->getX(protocolClass).detach() : nullptr;
}

}  // namespace detail

// Object

Object::Object(const Object& other) : TnRxObject(other) {}

Object& Object::operator=(const Object& other) {
  TnRxObject::operator=(other);
  return *this;
}

Object::~Object() {
  // Normally release() has detached every reactor already; an object destroyed
  // any other way must not leave reactors pointing at it.
  for (ObjectReactor* reactor : reactors_) reactor->objects_.erase(this);
}

OdRxClass* Object::desc() { return g_objectClass; }

void Object::rxInit() { detail::rxInitClass(g_objectClass, L"Object", OdRxObject::desc(), &noInstance); }

void Object::rxUninit() { detail::rxUninitClass(g_objectClass); }

TnSmartPtr<Object> Object::queryX(const OdRxObject* object) { return TnSmartPtr<Object>::cast(object); }

OdSmartPtr<Object> Object::createVirtualObject() {
  return OdSmartPtr<Object>::cast(detail::createInstance(g_objectClass).get());
}

OdRxObject* Object::queryX(const OdRxClass* protocolClass) const {
  if (OdRxObject* found = detail::queryOwnClass(this, protocolClass, g_objectClass)) return found;
  return TnRxObject::queryX(protocolClass);
}

OdRxClass* Object::isA() const { return g_objectClass; }

void Object::addRef() { refs_.fetch_add(1, std::memory_order_relaxed); }

void Object::release() {
  if (refs_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  // Reactors may take and drop references while they are told (a queryX is
  // enough); hold one so that this cannot destroy the object under the loop.
  refs_.store(1, std::memory_order_relaxed);
  while (!reactors_.empty()) {
    ObjectReactor* reactor = *reactors_.begin();
    removeReactor(reactor);
    reactor->objectDeleted(this);
  }
  // A reactor that kept a reference keeps the object alive; its release ends it.
  if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

long Object::numRefs() const { return static_cast<long>(refs_.load(std::memory_order_relaxed)); }

std::uint32_t Object::id() const { return state().id; }

bool Object::isDirty() const { return state().dirty; }

std::shared_ptr<Library> Object::library() const { return state().library; }

TnSmartPtr<Object> Object::cloneObject() const {
  OdRxObjectPtr copy = clone();
  return TnSmartPtr<Object>(dynamic_cast<Object*>(copy.get()));
}

TnSmartPtr<Object> Object::save(const std::shared_ptr<Library>& library, IdMapping& mapping) {
  return saveImpl(library, mapping);
}

TnSmartPtr<const Object> Object::save(const std::shared_ptr<Library>& library, IdMapping& mapping) const {
  return saveImpl(library, mapping);
}

TnSmartPtr<Object> Object::save(const std::shared_ptr<Library>& library) {
  IdMapping mapping(library.get());
  return saveImpl(library, mapping);
}

TnSmartPtr<const Object> Object::save(const std::shared_ptr<Library>& library) const {
  IdMapping mapping(library.get());
  return saveImpl(library, mapping);
}

bool Object::save() { return !save(library()).isNull(); }

bool Object::operator==(const Object& other) const {
  const OdRxClass* mine = isA();
  if (mine != other.isA()) return false;
  // Classes whose runtime class is not initialised all answer null; tell them
  // apart by their C++ type rather than call them equal.
  return mine != nullptr || typeid(*this) == typeid(other);
}

void Object::addReactor(ObjectReactor* reactor) {
  if (reactor && reactors_.insert(reactor).second) reactor->addObject(this);
}

void Object::removeReactor(ObjectReactor* reactor) {
  if (reactor && reactors_.erase(reactor)) reactor->removeObject(this);
}

// ObjectReactor

ObjectReactor::ObjectReactor(const ObjectReactor& other) : objects_(other.objects_) {}

ObjectReactor& ObjectReactor::operator=(const ObjectReactor& other) {
  if (this != &other) {
    detachAll();
    objects_ = other.objects_;
  }
  return *this;
}

ObjectReactor::~ObjectReactor() { detachAll(); }

void ObjectReactor::addObject(Object* object) {
  if (object && objects_.insert(object).second) object->addReactor(this);
}

void ObjectReactor::removeObject(Object* object) {
  if (object && objects_.erase(object)) object->removeReactor(this);
}

void ObjectReactor::detachAll() {
  std::set<Object*> observed;
  observed.swap(objects_);
  for (Object* object : observed) object->reactors_.erase(this);
}

}  // namespace tarnlib
