#include "access/operations.h"

#include "access/loader.h"
#include "access/object_access.h"
#include "access/saver.h"
#include "core/transaction_impl.h"
#include "db/error.h"

namespace tarnlib::access {

namespace {

std::shared_ptr<Library> selfOf(const Library& library) {
  return std::const_pointer_cast<Library>(library.shared_from_this());
}

std::string whereOf(const Selection& selection, const Mapping& mapping) {
  switch (selection.kind) {
    case Selection::Kind::All:
      return std::string();
    case Selection::Kind::Ids:
      return " WHERE " + db::quote(mapping.table().name()) + ".\"id\" IN (SELECT value FROM json_each(?))";
    case Selection::Kind::Where:
      return " WHERE " + selection.where;
  }
  return std::string();
}

void bindAll(db::Statement& stmt, const Selection& selection) {
  if (selection.kind == Selection::Kind::Ids) stmt.bind(0, idArray(selection.ids));
  for (std::size_t i = 0; i < selection.values.size(); ++i)
    bindSqlValue(stmt, static_cast<int>(i), selection.values[i]);
}

}  // namespace

TnSmartPtr<Object> getOne(const Library& library, ObjectType type, const Selection& selection) {
  const Mapping& mapping = mappingOf(type);
  return inTransaction(library, Access::Read, [&](Transaction::Impl& tx) {
    std::vector<TnSmartPtr<Object>> out;
    Loader(selfOf(library), tx.connection()).load(mapping, selection, out);
    return out.empty() ? TnSmartPtr<Object>() : out.front();
  });
}

void getMany(const Library& library, ObjectType type, const Selection& selection,
             std::vector<TnSmartPtr<Object>>& out) {
  const Mapping& mapping = mappingOf(type);
  inTransaction(library, Access::Read, [&](Transaction::Impl& tx) {
    std::vector<TnSmartPtr<Object>> loaded;
    Loader(selfOf(library), tx.connection()).load(mapping, selection, loaded);
    out.insert(out.end(), loaded.begin(), loaded.end());
  });
}

bool existsAny(const Library& library, ObjectType type, const Selection& selection) {
  const Mapping& mapping = mappingOf(type);
  return inTransaction(library, Access::Read, [&](Transaction::Impl& tx) {
    auto stmt = tx.connection().prepare("SELECT 1" + fromClause(mapping) + whereOf(selection, mapping) +
                                        " LIMIT 1");
    bindAll(*stmt, selection);
    return stmt->step();
  });
}

std::size_t countRows(const Library& library, ObjectType type, const Query& query) {
  const Mapping& mapping = mappingOf(type);
  return inTransaction(library, Access::Read, [&](Transaction::Impl& tx) {
    if (query.countSql) {
      auto stmt = tx.connection().prepare(*query.countSql);
      for (std::size_t i = 0; i < query.countValues.size(); ++i)
        bindSqlValue(*stmt, static_cast<int>(i), query.countValues[i]);
      return stmt->step() ? static_cast<std::size_t>(stmt->int64(0)) : std::size_t{0};
    }
    auto stmt = tx.connection().prepare("SELECT count(*)" + fromClause(mapping) +
                                        whereOf(query.selection, mapping));
    bindAll(*stmt, query.selection);
    return stmt->step() ? static_cast<std::size_t>(stmt->int64(0)) : std::size_t{0};
  });
}

TnSmartPtr<Object> getByGuid(const Library& library, ObjectType type, const Guid& guid, std::uint32_t id) {
  const Mapping& mapping = mappingOf(type);
  return inTransaction(library, Access::Read, [&](Transaction::Impl& tx) -> TnSmartPtr<Object> {
    // Only classes with a GUID column search; the others answer null.
    if (!mapping.tableOf("guid")) return TnSmartPtr<Object>();
    Loader loader(selfOf(library), tx.connection());
    const std::string text = guid.toString().toUtf8();
    const db::Table& root = mapping.root().table();
    const std::string merged = root.name() + "_merge_guids";
    if (id != 0) {
      if (auto object = loader.loadOne(mapping, id)) {
        auto stmt = tx.connection().prepare(
            "SELECT 1 FROM " + db::quote(root.name()) + " WHERE \"id\" = ? AND \"guid\" = ? UNION ALL "
            "SELECT 1 FROM " + db::quote(merged) + " WHERE \"object_id\" = ? AND \"value\" = ?");
        stmt->bind(0, id).bind(1, text).bind(2, id).bind(3, text);
        if (stmt->step()) return object;
      }
    }
    for (const std::string& sql :
         {"SELECT \"id\" FROM " + db::quote(root.name()) + " WHERE \"guid\" = ? ORDER BY \"id\"",
          "SELECT \"object_id\" FROM " + db::quote(merged) + " WHERE \"value\" = ? ORDER BY \"object_id\""}) {
      std::vector<std::uint32_t> candidates;
      {
        auto stmt = tx.connection().prepare(sql);
        stmt->bind(0, text);
        while (stmt->step()) candidates.push_back(stmt->id(0));
      }
      for (std::uint32_t candidate : candidates)
        if (auto object = loader.loadOne(mapping, candidate)) return object;
    }
    return TnSmartPtr<Object>();
  });
}

TnSmartPtr<Object> saveObject(Library& library, const Object& object, IdMapping& mapping) {
  auto self = selfOf(library);
  return inTransaction(library, Access::Write, [&](Transaction::Impl& tx) {
    Saver saver(self, tx, mapping);
    try {
      TnSmartPtr<Object> stored = saver.save(object);
      // A reference to a row that is gone would fail our own commit, after the
      // objects already took their ids: fail here, where they can be put back.
      if (!tx.joinedScope && tx.connection().deferredViolations())
        throw db::Error(db::Condition::Database, 19, 787, "FOREIGN KEY constraint failed");
      return stored;
    } catch (...) {
      saver.undo();
      throw;
    }
  });
}

namespace {

// Removes one row of `mapping` by id inside the current transaction. A row that
// another object still refers to stays: the deferred foreign keys would only
// object at commit, so the removal looks at the count of pending violations.
Library::RemoveResult eraseRow(Library& library, Transaction::Impl& tx, const Mapping& mapping,
                               std::uint32_t id, bool askReactor) {
  db::Connection& connection = tx.connection();
  {
    auto exists = connection.prepare("SELECT 1 FROM " + db::quote(mapping.table().name()) +
                                     " WHERE \"id\" = ?");
    exists->bind(0, id);
    if (!exists->step()) return Library::RemoveResult::kNotFound;
  }
  Library::Reactor& reactor = *detail::LibraryAccess::impl(library).reactor;
  const Library::Reactor::ObjectInfo info{mapping.type(), id};
  if (askReactor && !reactor.beforeRemove(library, info)) return Library::RemoveResult::kVetoed;
  const bool violationsBefore = connection.deferredViolations();
  WriteSavepoint savepoint(connection);
  try {
    auto erase = connection.prepare("DELETE FROM " + db::quote(mapping.root().table().name()) +
                                    " WHERE \"id\" = ?");
    erase->bind(0, id);
    if (erase->exec() == 0) return Library::RemoveResult::kNotFound;
  } catch (const db::Error& error) {
    if (!error.isConstraint()) throw;
    savepoint.rollback();
    return Library::RemoveResult::kReferenced;
  }
  if (!violationsBefore && connection.deferredViolations()) {
    savepoint.rollback();
    return Library::RemoveResult::kReferenced;
  }
  if (askReactor) reactor.afterRemove(library, info);
  return Library::RemoveResult::kRemoved;
}

void eraseRows(Library& library, Transaction::Impl& tx, const Mapping& mapping,
               const std::set<std::uint32_t>& ids, Library::RemoveResults& results) {
  for (std::uint32_t id : ids) {
    for (int retries = 0;; ++retries) {
      try {
        results[ObjectKey(mapping.type(), id)] = eraseRow(library, tx, mapping, id, false);
        break;
      } catch (const db::Error& error) {
        if (error.condition() != db::Condition::Recoverable) throw;
        if (retries > detail::kMaxRetries) throw RetryLimitExceeded();
      }
    }
  }
}

std::set<std::uint32_t> allIds(Transaction::Impl& tx, const Mapping& mapping) {
  std::set<std::uint32_t> ids;
  auto stmt = tx.connection().prepare("SELECT \"id\" FROM " + db::quote(mapping.table().name()));
  while (stmt->step()) ids.insert(stmt->id(0));
  return ids;
}

}  // namespace

Library::RemoveResult removeOne(Library& library, ObjectType type, std::uint32_t id) {
  if (id == 0) return Library::RemoveResult::kNotFound;
  const Mapping& mapping = mappingOf(type);
  return inTransaction(library, Access::Write, [&](Transaction::Impl& tx) {
    return eraseRow(library, tx, mapping, id, true);
  });
}

void removeMany(Library& library, ObjectType type, const std::set<std::uint32_t>& ids,
                Library::RemoveResults& results) {
  const Mapping& mapping = mappingOf(type);
  inTransaction(library, Access::Write, [&](Transaction::Impl& tx) {
    Library::RemoveResults attempt;
    eraseRows(library, tx, mapping, ids, attempt);
    for (auto& entry : attempt) results[entry.first] = entry.second;
  });
}

void purgeTypes(Library& library, const std::vector<ObjectType>& types, Library::RemoveResults& results) {
  inTransaction(library, Access::Write, [&](Transaction::Impl& tx) {
    Library::RemoveResults attempt;
    for (ObjectType type : types) {
      const Mapping& mapping = mappingOf(type);
      eraseRows(library, tx, mapping, allIds(tx, mapping), attempt);
    }
    for (auto& entry : attempt) results[entry.first] = entry.second;
  });
  library.vacuum();
}

}  // namespace tarnlib::access
