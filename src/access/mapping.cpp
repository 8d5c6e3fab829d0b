#include "access/mapping.h"

#include <array>
#include <map>
#include <mutex>
#include <stdexcept>

#include "access/containers.h"
#include "core/schema.h"

namespace tarnlib::access {

void RowWriter::row() {
  insert_.bind(0, ownerId_);
  if (ordered_) insert_.bind(1, index_++);
  insert_.exec();
  insert_.reset();
}

std::vector<std::string> elementColumnsOf(const db::Table& table) {
  std::vector<std::string> out;
  for (const db::Column& c : table.columns())
    if (c.name != "object_id" && c.name != "index") out.push_back(c.name);
  return out;
}

bool refColumnRequired(const db::Table& table) {
  for (const db::Column& c : table.columns())
    if (c.foreignKey == db::ForeignKey::Deferred) return !c.nullable;
  return false;
}

Mapping::Mapping(ObjectType type, const char* className, const Mapping* base,
                 TnSmartPtr<Object> (*create)())
    : type_(type), className_(className), typeId_(std::string("tarnlib::") + className),
      base_(base), create_(create) {}

bool Mapping::isKindOf(const Mapping& other) const {
  for (const Mapping* m = this; m; m = m->base_)
    if (m == &other) return true;
  return false;
}

const db::Table* Mapping::tableOf(const std::string& column) const {
  for (auto it = chain_.rbegin(); it != chain_.rend(); ++it)
    if ((*it)->table->column(column)) return (*it)->table;
  return nullptr;
}

Mapping& Mapping::table(const std::string& tableName) {
  own_.table = &schema::table(tableName);
  return *this;
}

Mapping& Mapping::field(FieldBinding binding) {
  own_.fields.push_back(std::move(binding));
  return *this;
}

Mapping& Mapping::reference(std::string column, ObjectType target, RefSlot (*slot)(Object&)) {
  ReferenceBinding binding{std::move(column), target, slot, false};
  own_.references.push_back(std::move(binding));
  return *this;
}

Mapping& Mapping::container(std::unique_ptr<ContainerBinding> binding) {
  ownContainers_.push_back(std::move(binding));
  return *this;
}

Mapping& Mapping::beforeWrite(BeforeWrite hook) {
  ownHooks_.push_back(hook);
  return *this;
}

Mapping& Mapping::lengths(LengthConversion convert) {
  lengths_ = convert;
  return *this;
}

namespace {

struct Registry {
  std::mutex mutex;
  std::map<ObjectType, const Mapping*> byType;
  // The same by the type's value, for the lookups of every load; types beyond
  // it go to the map.
  std::array<const Mapping*, 64> byValue{};
  std::map<std::string, const Mapping*> byTypeId;
};

Registry& registry() {
  static Registry r;
  return r;
}

}  // namespace

const Mapping& Mapping::seal() {
  if (!own_.table) throw std::logic_error("mapping without table: " + className_);
  // Every column of the own table must be bound exactly once, besides the keys
  // the generic code writes itself.
  for (const db::Column& c : own_.table->columns()) {
    if (c.name == "id" || c.name == "typeid") continue;
    int bound = 0;
    for (const FieldBinding& f : own_.fields) bound += f.column == c.name;
    for (ReferenceBinding& r : own_.references) {
      if (r.column != c.name) continue;
      ++bound;
      r.required = !c.nullable;
    }
    if (bound != 1) throw std::logic_error("column " + own_.table->name() + "." + c.name + " bound " +
                                           std::to_string(bound) + " times");
  }
  if (base_) {
    chain_ = base_->chain_;
    containers_ = base_->containers_;
    hooks_ = base_->hooks_;
    const_cast<Mapping*>(base_)->markDerived();
  }
  chain_.push_back(&own_);
  for (const auto& c : ownContainers_) containers_.push_back(c.get());
  hooks_.insert(hooks_.end(), ownHooks_.begin(), ownHooks_.end());

  Registry& r = registry();
  std::lock_guard<std::mutex> lock(r.mutex);
  r.byType[type_] = this;
  if (static_cast<std::size_t>(type_) < r.byValue.size()) r.byValue[static_cast<std::size_t>(type_)] = this;
  if (!abstract()) r.byTypeId[typeId_] = this;
  return *this;
}

const Mapping::Derived& Mapping::derived(DerivedKind kind, std::unique_ptr<Derived> (*make)(const Mapping&)) const {
  const auto slot = static_cast<std::size_t>(kind);
  if (const Derived* known = derived_[slot].load(std::memory_order_acquire)) return *known;
  // Recursive: a derivation may ask for another mapping's.
  static std::recursive_mutex mutex;
  std::lock_guard<std::recursive_mutex> lock(mutex);
  if (!ownedDerived_[slot]) {
    ownedDerived_[slot] = make(*this);
    derived_[slot].store(ownedDerived_[slot].get(), std::memory_order_release);
  }
  return *ownedDerived_[slot];
}

void Mapping::markDerived() {
  for (Mapping* m = this; m; m = const_cast<Mapping*>(m->base_)) m->hasDerived_ = true;
}

void registerAllMappings();  // src/objects/registry.cpp

namespace {

Registry& filledRegistry() {
  static std::once_flag once;
  std::call_once(once, registerAllMappings);
  return registry();
}

}  // namespace

const Mapping& mappingOf(ObjectType type) {
  Registry& r = filledRegistry();
  if (static_cast<std::size_t>(type) < r.byValue.size())
    if (const Mapping* known = r.byValue[static_cast<std::size_t>(type)]) return *known;
  auto it = r.byType.find(type);
  if (it == r.byType.end())
    throw std::out_of_range("no class for object type " + std::to_string(static_cast<int>(type)));
  return *it->second;
}

std::vector<const Mapping*> concreteKindsOf(const Mapping& mapping) {
  Registry& r = filledRegistry();
  std::vector<const Mapping*> out;
  for (const auto& entry : r.byTypeId)
    if (entry.second->isKindOf(mapping)) out.push_back(entry.second);
  return out;
}

const Mapping* mappingOfTypeId(const std::string& typeId) {
  Registry& r = filledRegistry();
  auto it = r.byTypeId.find(typeId);
  return it == r.byTypeId.end() ? nullptr : it->second;
}

}  // namespace tarnlib::access
