// How a persistent class maps onto its tables: its fields bound to the columns of
// the table descriptions, its references to other objects, its containers and
// its place in a polymorphic hierarchy. Each class writes one mapping beside its
// definition; loading, saving and removal work from the mappings alone.
#ifndef TARNLIB_ACCESS_MAPPING_H_
#define TARNLIB_ACCESS_MAPPING_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "access/selection.h"
#include "db/statement.h"
#include "db/table.h"
#include "tarnlib/guid.h"
#include "tarnlib/object.h"

namespace tarnlib::access {

// A smart-pointer member somewhere inside an object (a field or a container
// element), seen without its static type, so that generic code can read the
// target and re-point the member at the stored or loaded counterpart.
struct RefSlot {
  void* slot = nullptr;
  const Object* (*get)(const void* slot) = nullptr;
  void (*set)(void* slot, Object* target) = nullptr;

  const Object* target() const { return get(slot); }
  void assign(Object* target) const { set(slot, target); }
};

template <class P>
RefSlot refSlot(P& pointer) {
  using T = std::remove_const_t<typename P::element_type>;
  RefSlot s;
  s.slot = &pointer;
  s.get = [](const void* p) -> const Object* { return static_cast<const P*>(p)->get(); };
  s.set = [](void* p, Object* target) { *static_cast<P*>(p) = P(TnSmartPtr<T>(static_cast<T*>(target))); };
  return s;
}

// ---- Values: how each field type is bound and read.

inline void bindValue(db::Statement& s, int i, const OdString& v) { s.bind(i, v); }
inline void bindValue(db::Statement& s, int i, bool v) { s.bind(i, v); }
inline void bindValue(db::Statement& s, int i, double v) { s.bind(i, v); }
inline void bindValue(db::Statement& s, int i, const Guid& v) { s.bind(i, v.toString()); }
template <class V, std::enable_if_t<std::is_integral_v<V> || std::is_enum_v<V>, int> = 0>
void bindValue(db::Statement& s, int i, V v) {
  s.bind(i, static_cast<std::int64_t>(v));
}
template <class V>
void bindValue(db::Statement& s, int i, const std::optional<V>& v) {
  if (v) bindValue(s, i, *v);
  else s.bindNull(i);
}

inline void readValue(const db::Statement& s, int c, OdString& v) { v = s.text(c); }
inline void readValue(const db::Statement& s, int c, bool& v) { v = s.int64(c) != 0; }
inline void readValue(const db::Statement& s, int c, double& v) { v = s.real(c); }
inline void readValue(const db::Statement& s, int c, Guid& v) { v = Guid(s.text(c)); }
template <class V, std::enable_if_t<std::is_integral_v<V> || std::is_enum_v<V>, int> = 0>
void readValue(const db::Statement& s, int c, V& v) {
  v = static_cast<V>(s.int64(c));
}
template <class V>
void readValue(const db::Statement& s, int c, std::optional<V>& v) {
  if (s.isNull(c)) {
    v.reset();
  } else {
    V value{};
    readValue(s, c, value);
    v = std::move(value);
  }
}

// ---- Bindings

// A column bound to a value field.
struct FieldBinding {
  std::string column;
  std::function<void(const Object& object, db::Statement& stmt, int param)> bind;
  std::function<void(Object& object, const db::Statement& row, int column)> read;
};

// A field found in the object by `access`.
template <class V>
FieldBinding field(std::string column, V* (*access)(Object&)) {
  FieldBinding b;
  b.column = std::move(column);
  b.bind = [access](const Object& o, db::Statement& s, int i) {
    bindValue(s, i, *access(const_cast<Object&>(o)));
  };
  b.read = [access](Object& o, const db::Statement& s, int c) { readValue(s, c, *access(o)); };
  return b;
}

// A column holding the id of another object. Whether it is required (saving
// without it throws NullPointer) follows from the column's nullability.
struct ReferenceBinding {
  std::string column;
  ObjectType target;
  RefSlot (*slot)(Object& object);
  bool required = false;
};

// A reference read from a row, filled once its target type is loaded.
struct PendingRef {
  std::uint32_t id;
  RefSlot slot;
};

// Writes the rows of one container: the binding binds the element columns from
// `firstParam` on and calls row() per element; owner id and index are bound here.
class RowWriter {
 public:
  RowWriter(db::Statement& insert, std::uint32_t ownerId, bool ordered)
      : insert_(insert), ownerId_(ownerId), ordered_(ordered) {}
  db::Statement& stmt() { return insert_; }
  int firstParam() const { return ordered_ ? 2 : 1; }
  void row();

 private:
  db::Statement& insert_;
  std::uint32_t ownerId_;
  bool ordered_;
  std::int64_t index_ = 0;
};

// A collection member stored in a container table.
class ContainerBinding {
 public:
  virtual ~ContainerBinding() = default;

  const db::Table& table() const { return *table_; }
  bool ordered() const { return table_->containerKind() == db::ContainerKind::Ordered; }
  // Columns after "object_id" and "index", in the order the element binds them.
  const std::vector<std::string>& elementColumns() const { return columns_; }
  // The element's reference, if it has one: target type and whether required.
  bool hasRef() const { return hasRef_; }
  ObjectType refTarget() const { return refTarget_; }
  bool refRequired() const { return refRequired_; }

  // Saving: the reference slot of every element, in element order.
  virtual void refs(Object& owner, std::vector<RefSlot>& out) const = 0;
  virtual void write(Object& owner, RowWriter& writer) const = 0;
  virtual void clear(Object& owner) const = 0;

  // Loading stages every row first and inserts the elements once their
  // references are loaded, so that an element placed by its referenced object
  // (a map keyed by it) goes in complete.
  class Staging {
   public:
    virtual ~Staging() = default;
    virtual void stage(Object& owner, const db::Statement& row, int firstColumn, std::uint32_t refId) = 0;
    // After the last row: the slots of the staged references, which stay put
    // until finish().
    virtual void pending(ObjectType target, std::vector<PendingRef>& out) = 0;
    virtual void finish() = 0;
  };
  virtual std::unique_ptr<Staging> staging() const = 0;

 protected:
  ContainerBinding(const db::Table& table, std::vector<std::string> columns, bool hasRef,
                   ObjectType refTarget, bool refRequired)
      : table_(&table), columns_(std::move(columns)), hasRef_(hasRef), refTarget_(refTarget),
        refRequired_(refRequired) {}

 private:
  const db::Table* table_;
  std::vector<std::string> columns_;
  bool hasRef_;
  ObjectType refTarget_;
  bool refRequired_;
};

// What a class's beforeWrite hook may do inside the save that runs it: store
// another object through that same save (mapping, duplicates, notifications)
// and read stored objects.
class WriteContext {
 public:
  // The object as stored in the library (itself, a clone, or bound to an equal row).
  virtual TnSmartPtr<Object> store(const Object& object) = 0;
  // Appends the objects of `type` that `selection` picks, in id order.
  virtual void load(ObjectType type, const Selection& selection, std::vector<TnSmartPtr<Object>>& out) = 0;
  // The library the object is being written into.
  virtual const Library& library() const = 0;
  // Points a member of `owner` at `target`; put back if the transaction does
  // not commit.
  virtual void repoint(Object& owner, const RefSlot& slot, Object* target) = 0;

 protected:
  ~WriteContext() = default;
};

// Runs before an object's references are saved and its rows written: the place
// for a class to fill in or resolve what only the target library can answer.
using BeforeWrite = void (*)(Object& object, WriteContext& context);

// One table of a class and what of the object goes into it.
struct TableBinding {
  const db::Table* table = nullptr;
  std::vector<FieldBinding> fields;
  std::vector<ReferenceBinding> references;
};

class Mapping {
 public:
  // `create` makes an empty instance for loading; null for an abstract class.
  Mapping(ObjectType type, const char* className, const Mapping* base, TnSmartPtr<Object> (*create)());
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;

  ObjectType type() const { return type_; }
  const std::string& className() const { return className_; }
  const std::string& typeId() const { return typeId_; }  // "tarnlib::" + class name
  const Mapping* base() const { return base_; }
  const Mapping& root() const { return base_ ? base_->root() : *this; }
  bool abstract() const { return create_ == nullptr; }
  bool polymorphic() const { return root().own_.table->polymorphic(); }
  bool isKindOf(const Mapping& other) const;
  // Whether some class derives from this one: loading then reads "typeid" first.
  bool hasDerived() const { return hasDerived_; }
  TnSmartPtr<Object> create() const { return create_(); }

  const db::Table& table() const { return *own_.table; }
  // From the root table down to this class's own.
  const std::vector<const TableBinding*>& chain() const { return chain_; }
  // Containers of the whole chain.
  const std::vector<const ContainerBinding*>& containers() const { return containers_; }
  // Hooks of the whole chain, the root's first.
  const std::vector<BeforeWrite>& beforeWriteHooks() const { return hooks_; }
  // A column to filter on, with the table it lives in ("name" mostly).
  const db::Table* tableOf(const std::string& column) const;

  // ---- Building, once, before the first use.
  Mapping& table(const std::string& tableName);
  Mapping& field(FieldBinding binding);
  Mapping& reference(std::string column, ObjectType target, RefSlot (*slot)(Object&));
  Mapping& container(std::unique_ptr<ContainerBinding> binding);
  Mapping& beforeWrite(BeforeWrite hook);
  // How the class converts its lengths by a factor (a change of length
  // system); classes without lengths have none. Subclasses inherit it.
  using LengthConversion = void (*)(Object& object, double factor);
  Mapping& lengths(LengthConversion convert);
  LengthConversion lengthConversion() const {
    for (const Mapping* m = this; m; m = m->base_)
      if (m->lengths_) return m->lengths_;
    return nullptr;
  }
  // Checks that every column of the class's table is bound (a forgotten column
  // would silently not be stored) and links the chain; throws std::logic_error.
  const Mapping& seal();

  // What loading or saving derives from the mapping alone (statement texts
  // mostly), made by `make` on first use and kept with the mapping, so that
  // finding it again costs one load rather than a lock and a hash lookup per
  // operation.
  struct Derived {
    virtual ~Derived() = default;
  };
  enum class DerivedKind { Reading, Writing };
  const Derived& derived(DerivedKind kind, std::unique_ptr<Derived> (*make)(const Mapping&)) const;

 private:
  void markDerived();

  ObjectType type_;
  std::string className_;
  std::string typeId_;
  const Mapping* base_;
  TnSmartPtr<Object> (*create_)();
  bool hasDerived_ = false;
  TableBinding own_;
  std::vector<const TableBinding*> chain_;
  std::vector<std::unique_ptr<ContainerBinding>> ownContainers_;
  std::vector<const ContainerBinding*> containers_;
  std::vector<BeforeWrite> ownHooks_;
  std::vector<BeforeWrite> hooks_;
  LengthConversion lengths_ = nullptr;
  mutable std::atomic<const Derived*> derived_[2] = {};
  mutable std::unique_ptr<Derived> ownedDerived_[2];
};

// The mapping of a type; std::out_of_range for a type without one (8, 9, 10, 12).
const Mapping& mappingOf(ObjectType type);
// The concrete classes that are a kind of `mapping`, itself included when it
// is concrete.
std::vector<const Mapping*> concreteKindsOf(const Mapping& mapping);
// The concrete mapping named by a "typeid" value; null for an unknown one.
const Mapping* mappingOfTypeId(const std::string& typeId);

}  // namespace tarnlib::access

#endif  // TARNLIB_ACCESS_MAPPING_H_
