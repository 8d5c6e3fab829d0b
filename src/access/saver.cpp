#include "access/saver.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>

#include "access/loader.h"
#include "access/object_access.h"
#include "db/error.h"
#include "tarnlib/exceptions.h"
#include "tarnlib/unit.h"

namespace tarnlib::detail {

class IdMappingAccess {
 public:
  // The mapping's pointer to itself, made on first use.
  static std::shared_ptr<IdMapping*> self(IdMapping& mapping) {
    if (!mapping.self_) mapping.self_ = std::make_shared<IdMapping*>(&mapping);
    return mapping.self_;
  }
};

}  // namespace tarnlib::detail

namespace tarnlib::access {

namespace {

ObjectState& stateOf(Object& object) { return detail::ObjectAccess::state(object); }

std::string insertSql(const db::Table& table, const std::vector<std::string>& columns) {
  std::string names;
  std::string marks;
  for (const std::string& c : columns) {
    names += (names.empty() ? "" : ", ") + db::quote(c);
    marks += marks.empty() ? "?" : ", ?";
  }
  return "INSERT INTO " + db::quote(table.name()) + " (" + names + ") VALUES (" + marks + ")";
}

// The columns of one table binding, in statement order.
std::vector<std::string> boundColumns(const TableBinding& t) {
  std::vector<std::string> out;
  for (const FieldBinding& f : t.fields) out.push_back(f.column);
  for (const ReferenceBinding& r : t.references) out.push_back(r.column);
  return out;
}

// The statement texts that writing an object of one class runs. They depend on
// the mapping alone, so they are built on first use and kept: a bulk save
// spends its time in SQLite rather than in assembling the same SQL per row.
struct WriteSql final : Mapping::Derived {
  std::vector<std::string> insert;  // per table of the chain, root first
  std::vector<std::string> update;  // per table; empty for one without columns of its own
  std::vector<std::string> containerInsert;
  std::vector<std::string> containerDelete;
  std::string eraseRoot;
  std::string rootExists;
};

std::unique_ptr<Mapping::Derived> buildWriteSql(const Mapping& mapping) {
  auto sql = std::make_unique<WriteSql>();
  const std::string root = db::quote(mapping.root().table().name());
  for (const TableBinding* t : mapping.chain()) {
    std::vector<std::string> columns{"id"};
    if (t == mapping.chain().front() && t->table->polymorphic()) columns.push_back("typeid");
    const std::vector<std::string> own = boundColumns(*t);
    columns.insert(columns.end(), own.begin(), own.end());
    sql->insert.push_back(insertSql(*t->table, columns));
    std::string update;
    for (std::size_t i = 0; i < own.size(); ++i) update += (i ? ", " : "") + db::quote(own[i]) + "=?";
    if (!update.empty())
      update = "UPDATE " + db::quote(t->table->name()) + " SET " + update + " WHERE \"id\"=?";
    sql->update.push_back(update);
  }
  for (const ContainerBinding* c : mapping.containers()) {
    std::vector<std::string> columns{"object_id"};
    if (c->ordered()) columns.push_back("index");
    for (const std::string& e : c->elementColumns()) columns.push_back(e);
    sql->containerInsert.push_back(insertSql(c->table(), columns));
    sql->containerDelete.push_back("DELETE FROM " + db::quote(c->table().name()) + " WHERE \"object_id\"=?");
  }
  sql->eraseRoot = "DELETE FROM " + root + " WHERE \"id\"=?";
  sql->rootExists = "SELECT 1 FROM " + root + " WHERE \"id\"=?";
  return sql;
}

const WriteSql& writeSql(const Mapping& mapping) {
  return static_cast<const WriteSql&>(mapping.derived(Mapping::DerivedKind::Writing, &buildWriteSql));
}

// Binds the fields and references of one table from `first` on.
int bindTable(const TableBinding& t, Object& object, db::Statement& stmt, int first) {
  int param = first;
  for (const FieldBinding& f : t.fields) f.bind(object, stmt, param++);
  for (const ReferenceBinding& r : t.references) {
    const Object* target = r.slot(object).target();
    if (target) stmt.bind(param++, target->id());
    else stmt.bindNull(param++);
  }
  return param;
}

}  // namespace

WriteSavepoint::WriteSavepoint(db::Connection& connection) : connection_(connection) {
  connection_.prepare("SAVEPOINT \"tarnlib_write\"")->exec();
}

WriteSavepoint::~WriteSavepoint() {
  try {
    connection_.prepare("RELEASE \"tarnlib_write\"")->exec();
  } catch (const db::Error&) {
    // The enclosing transaction's own end decides what stays.
  }
}

void WriteSavepoint::rollback() noexcept {
  try {
    connection_.prepare("ROLLBACK TO \"tarnlib_write\"")->exec();
  } catch (...) {
  }
}

TnSmartPtr<Object> Saver::save(const Object& object) {
  const Mapping& mapping = mappingOf(object.tarnlibType());
  const ObjectState& source = detail::ObjectAccess::state(object);
  const Library* src = source.library.get();
  const bool foreign = src && src != library_.get();
  const IdMapping::Key key(object.tarnlibType(), source.id, src);

  // An object of another library is copied at most once per mapping.
  if (foreign && source.id != 0) {
    IdMapping::Value value;
    if (mapping_.compute(key, value)) {
      const ObjectKey here(object.tarnlibType(), value.id);
      if (tx_.counterparts) {
        auto known = tx_.counterparts->find(here);
        if (known != tx_.counterparts->end()) return known->second;
      }
      Loader loader(library_, tx_.connection());
      if (auto stored = loader.loadOne(mapping, value.id)) {
        if (tx_.counterparts) tx_.counterparts->emplace(here, stored);
        return stored;
      }
    }
  }

  // A new object or one of this library is written itself, also through a
  // const pointer: a dirty stored object updates its row rather than turning
  // into a copy.
  TnSmartPtr<Object> target = foreign ? detail::ObjectAccess::clone(object)
                                      : TnSmartPtr<Object>(const_cast<Object*>(&object));
  if (!target) return target;
  // Inside a copy no copy is handed out: nobody but this save holds it. A
  // plain save hands its copy to the caller, who must see it put back.
  if (foreign && tx_.counterparts) ownCopies_.push_back(target.get());
  // A copy from a library of the other length system takes this one's lengths.
  if (foreign && src->unit() != library_->unit())
    if (auto convert = mapping.lengthConversion()) convert(*target, lengthFactor(src->unit(), library_->unit()));
  if (target->isDirty() || stateOf(*target).id == 0) {
    const Outcome outcome = write(*target, mapping);
    record(key, IdMapping::Value{target->id(), static_cast<std::int32_t>(outcome)});
    if (outcome == Outcome::Existing) {
      // Bound to an equal stored row, which keeps its content: hand out that
      // content, not the new object's fields as if they had been stored.
      if (auto stored = Loader(library_, tx_.connection()).loadOne(mapping, target->id())) {
        if (foreign && tx_.counterparts) (*tx_.counterparts)[ObjectKey(stored->tarnlibType(), stored->id())] = stored;
        return stored;
      }
    } else {
      if (foreign && tx_.counterparts) (*tx_.counterparts)[ObjectKey(target->tarnlibType(), target->id())] = target;
      const ObjectKey saved(target->tarnlibType(), target->id());
      if (tx_.touched.insert(saved).second) touched_.push_back(saved);
      detail::LibraryAccess::impl(*library_).reactor->objectSaved(*library_, saved.type, saved.id);
    }
  } else if (!mapping_.has(key)) {
    record(key, IdMapping::Value{target->id(), static_cast<std::int32_t>(Outcome::Existing)});
  }
  return target;
}

void Saver::saveReferences(Object& object, const Mapping& mapping) {
  std::vector<RefSlot> slots;
  std::vector<bool> required;
  slots.reserve(8);
  required.reserve(8);
  for (const TableBinding* t : mapping.chain()) {
    for (const ReferenceBinding& r : t->references) {
      slots.push_back(r.slot(object));
      required.push_back(r.required);
    }
  }
  for (const ContainerBinding* c : mapping.containers()) {
    if (!c->hasRef()) continue;
    c->refs(object, slots);
    required.resize(slots.size(), c->refRequired());
  }
  // A missing required reference fails the save before the referenced objects
  // are stored: none of them is left holding the id of a rolled-back row.
  for (std::size_t i = 0; i < slots.size(); ++i)
    if (required[i] && !slots[i].target()) throw NullPointer();
  for (std::size_t i = 0; i < slots.size(); ++i) {
    const Object* target = slots[i].target();
    if (!target) continue;
    const ObjectState& state = detail::ObjectAccess::state(*target);
    if (state.library == library_ && state.id != 0 && !state.dirty) continue;
    TnSmartPtr<Object> stored = save(*target);
    if (stored.get() != target) repoint(object, slots[i], stored.get());
  }
}

void Saver::load(ObjectType type, const Selection& selection, std::vector<TnSmartPtr<Object>>& out) {
  Loader(library_, tx_.connection()).load(mappingOf(type), selection, out);
}

Outcome Saver::write(Object& object, const Mapping& mapping) {
  const std::size_t undoMark = tx_.undo.mark();
  const std::size_t insertedMark = inserted_.size();
  const std::size_t touchedMark = touched_.size();
  remember(object);
  for (BeforeWrite hook : mapping.beforeWriteHooks()) hook(object, *this);
  saveReferences(object, mapping);
  ObjectState& state = stateOf(object);
  if (state.library == library_ && state.id != 0) {
    try {
      update(object, mapping);
    } catch (const db::Error& error) {
      if (error.isConstraint()) throw ObjectNotUnique();
      throw;
    }
    state.dirty = false;
    return Outcome::Updated;
  }
  try {
    insert(object, mapping);
  } catch (const db::Error& error) {
    if (!error.isConstraint()) throw;
    if (state.library) throw ObjectNotUnique();
    const std::uint32_t existing = findEqualRow(object, mapping);
    if (existing == 0) throw ObjectNotUnique();
    // The stored row stands for the object, so what this write stored for it
    // (its new assets, a new type) would be left behind unreferenced.
    discard(undoMark, insertedMark, touchedMark);
    remember(object);
    state.id = existing;
    state.library = library_;
    state.dirty = false;
    return Outcome::Existing;
  }
  state.library = library_;
  state.dirty = false;
  return Outcome::Inserted;
}

void Saver::insert(Object& object, const Mapping& mapping) {
  db::Connection& connection = tx_.connection();
  const WriteSql& sql = writeSql(mapping);
  std::uint32_t id = 0;
  try {
    const auto& chain = mapping.chain();
    for (std::size_t i = 0; i < chain.size(); ++i) {
      const TableBinding* t = chain[i];
      const bool root = i == 0;
      auto stmt = connection.prepareKept(sql.insert[i]);
      int param = 0;
      if (root) stmt->bindNull(param++);
      else stmt->bind(param++, id);
      if (root && t->table->polymorphic()) stmt->bind(param++, mapping.typeId());
      bindTable(*t, object, *stmt, param);
      stmt->exec();
      if (root) {
        id = static_cast<std::uint32_t>(connection.lastInsertId());
        inserted_.emplace_back(&sql.eraseRoot, id);
      }
    }
    stateOf(object).id = id;
    writeContainers(object, mapping, false);
  } catch (const db::Error&) {
    // A derived row or a container row failed after the root row went in:
    // take the root row out again (the rest goes by cascade) so that nothing
    // of this insert stays behind.
    if (id != 0) {
      connection.prepareKept(sql.eraseRoot)->bind(0, id).exec();
      if (!inserted_.empty() && inserted_.back().second == id) inserted_.pop_back();
    }
    stateOf(object).id = 0;
    throw;
  }
}

void Saver::update(Object& object, const Mapping& mapping) {
  protect();
  db::Connection& connection = tx_.connection();
  const WriteSql& sql = writeSql(mapping);
  const std::uint32_t id = object.id();
  // Every table of the chain holds a row of the object: an update that finds
  // none, in whichever table, means the object is gone.
  bool updated = false;
  const auto& chain = mapping.chain();
  for (std::size_t i = 0; i < chain.size(); ++i) {
    if (sql.update[i].empty()) continue;
    auto stmt = connection.prepareKept(sql.update[i]);
    const int next = bindTable(*chain[i], object, *stmt, 0);
    stmt->bind(next, id);
    if (stmt->exec() == 0) db::fail(db::Condition::NotPersistent, "object not persistent");
    updated = true;
  }
  if (!updated) {
    // No table with columns of its own: still the row must be there.
    auto stmt = connection.prepareKept(sql.rootExists);
    stmt->bind(0, id);
    if (!stmt->step()) db::fail(db::Condition::NotPersistent, "object not persistent");
  }
  writeContainers(object, mapping, true);
}

void Saver::writeContainers(Object& object, const Mapping& mapping, bool replace) {
  db::Connection& connection = tx_.connection();
  const WriteSql& sql = writeSql(mapping);
  const auto& containers = mapping.containers();
  for (std::size_t i = 0; i < containers.size(); ++i) {
    const ContainerBinding* c = containers[i];
    if (replace) connection.prepareKept(sql.containerDelete[i])->bind(0, object.id()).exec();
    auto insert = connection.prepareKept(sql.containerInsert[i]);
    RowWriter writer(*insert, object.id(), c->ordered());
    c->write(object, writer);
  }
}

std::uint32_t Saver::findEqualRow(Object& object, const Mapping& mapping) {
  db::Connection& connection = tx_.connection();
  // The class's key is its first unique index (a name mostly) on which the
  // object has no NULL: an unnamed unit is known by its measure and label.
  // Only a row equal on that key is the same object: a new object that
  // collides on another unique index (an information asset's code) is a
  // different object and is refused, not bound to that row.
  for (const TableBinding* t : mapping.chain()) {
    for (const db::Index& index : t->table->indexes()) {
      if (!index.unique) continue;
      std::string anyNull;
      std::string where;
      for (std::size_t i = 0; i < index.columns.size(); ++i) {
        const std::string param = "?" + std::to_string(i + 1);
        anyNull += (i ? " OR " : "") + param + " IS NULL";
        where += (i ? " AND " : "") + db::quote(index.columns[i]) + " = " + param;
      }
      auto stmt = connection.prepare("SELECT " + anyNull + ", (SELECT \"id\" FROM " + db::quote(t->table->name()) +
                                     " WHERE " + where + ")");
      for (std::size_t i = 0; i < index.columns.size(); ++i) {
        const int param = static_cast<int>(i);
        bool bound = false;
        for (const FieldBinding& f : t->fields) {
          if (f.column != index.columns[i]) continue;
          f.bind(object, *stmt, param);
          bound = true;
        }
        for (const ReferenceBinding& r : t->references) {
          if (r.column != index.columns[i]) continue;
          const Object* target = r.slot(object).target();
          if (target) stmt->bind(param, target->id());
          else stmt->bindNull(param);
          bound = true;
        }
        if (!bound) stmt->bindNull(param);
      }
      if (!stmt->step() || stmt->int64(0) != 0) continue;  // not this object's key
      return stmt->isNull(1) ? 0 : stmt->id(1);
    }
  }
  return 0;
}

bool Saver::needsNoUndo(const Object& object) const {
  return tx_.transientObjects || std::find(ownCopies_.begin(), ownCopies_.end(), &object) != ownCopies_.end();
}

void Saver::remember(Object& object) {
  if (needsNoUndo(object)) return;
  tx_.undo.push([object = TnSmartPtr<Object>(&object), state = stateOf(object)]() mutable {
    stateOf(*object) = std::move(state);
  });
}

void Saver::repoint(Object& owner, const RefSlot& slot, Object* target) {
  if (!needsNoUndo(owner)) {
    // The owner is kept alive with the slot inside it.
    tx_.undo.push([owner = TnSmartPtr<Object>(&owner), slot,
                   previous = TnSmartPtr<Object>(const_cast<Object*>(slot.target()))] {
      slot.assign(previous.get());
    });
  }
  slot.assign(target);
}

void Saver::record(const IdMapping::Key& key, const IdMapping::Value& value) {
  // The mapping may be the caller's, whatever the objects are: always put back.
  IdMapping::Value previous;
  const bool present = mapping_.compute(key, previous);
  tx_.undo.push([self = detail::IdMappingAccess::self(mapping_), key, present, previous] {
    IdMapping* mapping = *self;
    if (!mapping) return;  // gone before the transaction ended
    if (present) mapping->assign(key, previous);
    else mapping->remove(key);
  });
  mapping_.assign(key, value);
}

void Saver::protect() {
  if (tx_.joinedScope && !savepoint_) savepoint_.emplace(tx_.connection());
}

void Saver::eraseInsertedFrom(std::size_t first) noexcept {
  // Newest first: a row inserted later may refer to one inserted earlier.
  while (inserted_.size() > first) {
    try {
      tx_.connection().prepareKept(*inserted_.back().first)->bind(0, inserted_.back().second).exec();
    } catch (...) {
      // Best effort; inside our own transaction its rollback takes the row.
    }
    inserted_.pop_back();
  }
}

void Saver::discard(std::size_t undoMark, std::size_t inserted, std::size_t touched) noexcept {
  eraseInsertedFrom(inserted);
  tx_.undo.undoTo(undoMark);
  while (touched_.size() > touched) {
    tx_.touched.erase(touched_.back());
    touched_.pop_back();
  }
}

void Saver::undo() noexcept {
  if (tx_.joinedScope) {
    // The caller's transaction goes on: take out of it what this save wrote.
    if (savepoint_) savepoint_->rollback();
    eraseInsertedFrom(0);
  }
  inserted_.clear();
  discard(undoMark_, 0, 0);
}

}  // namespace tarnlib::access
