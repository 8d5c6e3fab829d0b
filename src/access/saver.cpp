#include "access/saver.h"

#include "access/loader.h"
#include "access/object_access.h"
#include "db/error.h"
#include "tarnlib/exceptions.h"

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

TnSmartPtr<Object> Saver::save(const Object& object, bool copy) {
  const Mapping& mapping = mappingOf(object.tarnlibType());
  const ObjectState& source = detail::ObjectAccess::state(object);
  const Library* src = source.library.get();
  const bool foreign = src && src != library_.get();
  const IdMapping::Key key(object.tarnlibType(), source.id, src);

  // An object of another library is copied at most once per mapping.
  if (foreign && source.id != 0) {
    IdMapping::Value value;
    if (mapping_.compute(key, value)) {
      Loader loader(library_, tx_.connection());
      if (auto stored = loader.loadOne(mapping, value.id)) return stored;
    }
  }

  const bool cloned = foreign || (copy && source.dirty && source.library);
  TnSmartPtr<Object> target = cloned ? detail::ObjectAccess::clone(object)
                                      : TnSmartPtr<Object>(const_cast<Object*>(&object));
  if (!target) return target;
  if (target->isDirty() || stateOf(*target).id == 0) {
    const Outcome outcome = write(*target, mapping);
    mapping_.assign(key, IdMapping::Value{target->id(), static_cast<std::int32_t>(outcome)});
    if (outcome != Outcome::Existing) {
      detail::LibraryAccess::impl(*library_).reactor->objectSaved(*library_, target->tarnlibType(),
                                                                 target->id());
      tx_.touched.insert(ObjectKey(target->tarnlibType(), target->id()));
    }
  } else if (!mapping_.has(key)) {
    mapping_.assign(key, IdMapping::Value{target->id(), static_cast<std::int32_t>(Outcome::Existing)});
  }
  return target;
}

void Saver::saveReferences(Object& object, const Mapping& mapping) {
  std::vector<RefSlot> slots;
  std::vector<bool> required;
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
  for (std::size_t i = 0; i < slots.size(); ++i) {
    const Object* target = slots[i].target();
    if (!target) {
      if (required[i]) throw NullPointer();
      continue;
    }
    const ObjectState& state = detail::ObjectAccess::state(*target);
    if (state.library == library_ && state.id != 0 && !state.dirty) continue;
    TnSmartPtr<Object> stored = save(*target);
    if (stored.get() != target) slots[i].assign(stored.get());
  }
}

Outcome Saver::write(Object& object, const Mapping& mapping) {
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
  std::uint32_t id = 0;
  try {
    for (const TableBinding* t : mapping.chain()) {
      std::vector<std::string> columns{"id"};
      const bool root = t == mapping.chain().front();
      if (root && t->table->polymorphic()) columns.push_back("typeid");
      for (std::string& c : boundColumns(*t)) columns.push_back(std::move(c));
      auto stmt = connection.prepare(insertSql(*t->table, columns));
      int param = 0;
      if (root) stmt->bindNull(param++);
      else stmt->bind(param++, id);
      if (root && t->table->polymorphic()) stmt->bind(param++, mapping.typeId());
      bindTable(*t, object, *stmt, param);
      stmt->exec();
      if (root) id = static_cast<std::uint32_t>(connection.lastInsertId());
    }
    stateOf(object).id = id;
    writeContainers(object, mapping, false);
  } catch (const db::Error&) {
    // A derived row or a container row failed after the root row went in:
    // take the root row out again (the rest goes by cascade) so that nothing
    // of this insert stays behind.
    if (id != 0) {
      auto erase = connection.prepare("DELETE FROM " + db::quote(mapping.root().table().name()) +
                                      " WHERE \"id\"=?");
      erase->bind(0, id).exec();
    }
    stateOf(object).id = 0;
    throw;
  }
}

void Saver::update(Object& object, const Mapping& mapping) {
  db::Connection& connection = tx_.connection();
  const std::uint32_t id = object.id();
  bool first = true;
  for (const TableBinding* t : mapping.chain()) {
    const std::vector<std::string> columns = boundColumns(*t);
    if (columns.empty()) {
      first = false;
      continue;
    }
    std::string sql = "UPDATE " + db::quote(t->table->name()) + " SET ";
    for (std::size_t i = 0; i < columns.size(); ++i) sql += (i ? ", " : "") + db::quote(columns[i]) + "=?";
    sql += " WHERE \"id\"=?";
    auto stmt = connection.prepare(sql);
    const int next = bindTable(*t, object, *stmt, 0);
    stmt->bind(next, id);
    if (stmt->exec() == 0 && first) db::fail(db::Condition::NotPersistent, "object not persistent");
    first = false;
  }
  if (first) {
    // No table with columns of its own: still the row must be there.
    auto stmt = connection.prepare("SELECT 1 FROM " + db::quote(mapping.root().table().name()) +
                                   " WHERE \"id\"=?");
    stmt->bind(0, id);
    if (!stmt->step()) db::fail(db::Condition::NotPersistent, "object not persistent");
  }
  writeContainers(object, mapping, true);
}

void Saver::writeContainers(Object& object, const Mapping& mapping, bool replace) {
  db::Connection& connection = tx_.connection();
  for (const ContainerBinding* c : mapping.containers()) {
    const db::Table& table = c->table();
    if (replace) {
      auto erase = connection.prepare("DELETE FROM " + db::quote(table.name()) + " WHERE \"object_id\"=?");
      erase->bind(0, object.id()).exec();
    }
    std::vector<std::string> columns{"object_id"};
    if (c->ordered()) columns.push_back("index");
    for (const std::string& e : c->elementColumns()) columns.push_back(e);
    auto insert = connection.prepare(insertSql(table, columns));
    RowWriter writer(*insert, object.id(), c->ordered());
    c->write(object, writer);
  }
}

std::uint32_t Saver::findEqualRow(Object& object, const Mapping& mapping) {
  db::Connection& connection = tx_.connection();
  for (const TableBinding* t : mapping.chain()) {
    for (const db::Index& index : t->table->indexes()) {
      if (!index.unique) continue;
      std::string sql = "SELECT \"id\" FROM " + db::quote(t->table->name()) + " WHERE ";
      for (std::size_t i = 0; i < index.columns.size(); ++i)
        sql += (i ? " AND " : "") + db::quote(index.columns[i]) + " = ?";
      auto stmt = connection.prepare(sql);
      // Bind the object's values of the index columns; "= NULL" never matches,
      // as a NULL never collides under a unique index either.
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
      if (stmt->step()) return stmt->id(0);
    }
  }
  return 0;
}

}  // namespace tarnlib::access
