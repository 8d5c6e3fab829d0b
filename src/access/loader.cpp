#include "access/loader.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <set>

#include "access/object_access.h"
#include "db/error.h"

namespace tarnlib::access {

namespace {

std::uint64_t cacheKey(const Mapping& mapping, std::uint32_t id) {
  return (static_cast<std::uint64_t>(mapping.root().type()) << 32) | id;
}

std::string qualified(const db::Table& table, const std::string& column) {
  return db::quote(table.name()) + '.' + db::quote(column);
}

// Id lists up to this long join the list instead of testing membership in it:
// an IN list costs SQLite a temporary b-tree on every run, which outweighs the
// few lookups of a loaded object's class, tags or properties. Longer lists keep
// IN, which reads the rows in id order without sorting them.
constexpr std::size_t kShortIdList = 16;
// Lists up to this long look each id up in its own arm of a UNION ALL: no JSON
// to parse, no table-valued function and no sorting, as many seeks as a caller
// running one query per id would make, in one statement. A get by id meets such
// lists at every turn (a material's two tags, its two custom properties).
constexpr std::size_t kPointLookups = 4;

// Long id lists that cover most of their span (the assets of every material,
// the materials of every ply) read the span by range instead of testing each
// row against a list in JSON, and keep the rows whose ids are in the list.
constexpr std::size_t kRangeSpanPerId = 4;

// Which ids of a range read belong to the selection; empty: every row does.
struct IdFilter {
  std::uint32_t first = 0;
  std::vector<bool> in;

  bool accepts(std::uint32_t id) const {
    return in.empty() || (id >= first && id - first < in.size() && in[id - first]);
  }
};

// Sorts `ids` and drops repeats; a dense list by marking its span rather than
// sorting (the ids of a load's references repeat by the hundred thousand).
void sortUnique(std::vector<std::uint32_t>& ids) {
  if (ids.size() > 64) {
    const auto [low, high] = std::minmax_element(ids.begin(), ids.end());
    const std::uint32_t first = *low;
    const std::size_t span = std::size_t{*high} - first + 1;
    if (span <= 8 * ids.size()) {
      std::vector<bool> seen(span);
      for (std::uint32_t id : ids) seen[id - first] = true;
      ids.clear();
      for (std::size_t i = 0; i < span; ++i)
        if (seen[i]) ids.push_back(static_cast<std::uint32_t>(first + i));
      return;
    }
  }
  std::sort(ids.begin(), ids.end());
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
}

// The ids in ascending order without repeats, as the id-list forms bind them;
// `scratch` holds them when `ids` are not already so.
const std::vector<std::uint32_t>& orderedIds(const std::vector<std::uint32_t>& ids,
                                             std::vector<std::uint32_t>& scratch) {
  if (std::is_sorted(ids.begin(), ids.end()) && std::adjacent_find(ids.begin(), ids.end()) == ids.end())
    return ids;
  scratch = ids;
  sortUnique(scratch);
  return scratch;
}

// One query in the forms a selection asks for: every row, one id, a list of
// ids, or a condition of the caller's put between `head` and `tail`.
struct SelectSql {
  std::string head;  // up to the WHERE
  std::string tail;  // after it (ORDER BY)
  std::string all;
  std::string one;
  std::vector<std::string> points;  // 2.. ids, one arm each; empty when the rows need `tail`
  std::string few;   // joins the list: its ids must not repeat
  std::string many;
  std::string range;  // the span of a dense list, filtered by the caller

  // `pointable`: the rows may come in the arms' order, which is id order
  // (a container's rows are also ordered by "index", which only `tail` does).
  SelectSql(std::string h, const std::string& idColumn, std::string t, bool pointable)
      : head(std::move(h)), tail(std::move(t)) {
    all = head + tail;
    one = head + " WHERE " + idColumn + " = ?" + tail;
    if (pointable) {
      std::string arms = head + " WHERE " + idColumn + " = ?1";
      for (std::size_t k = 2; k <= kPointLookups; ++k) {
        arms += " UNION ALL " + head + " WHERE " + idColumn + " = ?" + std::to_string(k);
        points.push_back(arms);
      }
    }
    few = head + " JOIN json_each(?) AS \"tarnlib_ids\" ON " + idColumn + " = \"tarnlib_ids\".\"value\"" +
          tail;
    many = head + " WHERE " + idColumn + " IN (SELECT value FROM json_each(?))" + tail;
    range = head + " WHERE " + idColumn + " BETWEEN ? AND ?" + tail;
  }

  // The statement for `selection`, prepared and bound. Its rows may include
  // some that `filter` then turns away.
  db::StatementHandle run(db::Connection& connection, const Selection& selection, IdFilter& filter) const {
    switch (selection.kind) {
      case Selection::Kind::All:
        return connection.prepareKept(all);
      case Selection::Kind::Ids:
        return runIds(connection, selection.ids, filter);
      case Selection::Kind::Where:
        break;
    }
    auto stmt = connection.prepare(head + " WHERE " + selection.where + tail);
    for (std::size_t i = 0; i < selection.values.size(); ++i)
      bindSqlValue(*stmt, static_cast<int>(i), selection.values[i]);
    return stmt;
  }

  // The same for one id.
  db::StatementHandle runOne(db::Connection& connection, std::uint32_t id) const {
    auto stmt = connection.prepareKept(one);
    stmt->bind(0, id);
    return stmt;
  }

  // The same over an id list, never empty.
  db::StatementHandle runIds(db::Connection& connection, const std::vector<std::uint32_t>& ids,
                             IdFilter& filter) const {
    if (ids.size() > kShortIdList) {
      const auto [low, high] = std::minmax_element(ids.begin(), ids.end());
      const std::size_t span = std::size_t{*high} - *low + 1;
      if (span <= kRangeSpanPerId * ids.size()) {
        filter.first = *low;
        filter.in.assign(span, false);
        for (std::uint32_t id : ids) filter.in[id - filter.first] = true;
        auto stmt = connection.prepareKept(range);
        stmt->bind(0, *low);
        stmt->bind(1, *high);
        return stmt;
      }
      // IN takes the ids in any order and with repeats.
      auto stmt = connection.prepareKept(many);
      stmt->bind(0, idArray(ids));
      return stmt;
    }
    std::vector<std::uint32_t> scratch;
    const std::vector<std::uint32_t>& ordered = orderedIds(ids, scratch);
    if (ordered.size() == 1) return runOne(connection, ordered.front());
    if (ordered.size() <= kPointLookups && !points.empty()) {
      auto stmt = connection.prepareKept(points[ordered.size() - 2]);
      for (std::size_t k = 0; k < ordered.size(); ++k) stmt->bind(static_cast<int>(k), ordered[k]);
      return stmt;
    }
    auto stmt = connection.prepareKept(few);
    stmt->bind(0, idArray(ordered));
    return stmt;
  }
};

// What loading one class derives from its mapping: the statement texts it runs
// and whether its objects can refer to each other. They depend on the mapping
// alone, so they are built on first use and kept with it: loading one object
// by id then spends its time in SQLite rather than in assembling the same SQL
// again.
struct ReadSql final : Mapping::Derived {
  std::optional<SelectSql> kinds;  // id and "typeid", for a class with subclasses
  std::optional<SelectSql> rows;   // the joined rows of the class's tables
  std::vector<SelectSql> containers;
  bool selfReferring = false;
  // The reference columns of the chain, in row order: the index of each one's
  // target in `targets`, which lists the distinct targets in ascending order.
  std::vector<std::size_t> referenceTarget;
  std::vector<ObjectType> targets;
};

bool canReferToItself(const Mapping& mapping);

std::unique_ptr<Mapping::Derived> buildReadSql(const Mapping& mapping) {
  auto sql = std::make_unique<ReadSql>();
  sql->selfReferring = canReferToItself(mapping);
  const std::string idColumn = qualified(mapping.table(), "id");
  const std::string from = fromClause(mapping);
  if (mapping.hasDerived()) {
    const db::Table& root = mapping.root().table();
    sql->kinds.emplace("SELECT " + qualified(root, "id") + ", " + qualified(root, "typeid") + from, idColumn,
                       std::string(), true);
  }
  if (mapping.abstract()) return sql;
  std::string columns = idColumn;
  for (const TableBinding* t : mapping.chain()) {
    for (const FieldBinding& f : t->fields) columns += ", " + qualified(*t->table, f.column);
    for (const ReferenceBinding& r : t->references) {
      columns += ", " + qualified(*t->table, r.column);
      sql->targets.push_back(r.target);
    }
  }
  std::sort(sql->targets.begin(), sql->targets.end());
  sql->targets.erase(std::unique(sql->targets.begin(), sql->targets.end()), sql->targets.end());
  for (const TableBinding* t : mapping.chain())
    for (const ReferenceBinding& r : t->references)
      sql->referenceTarget.push_back(static_cast<std::size_t>(
          std::lower_bound(sql->targets.begin(), sql->targets.end(), r.target) - sql->targets.begin()));
  sql->rows.emplace("SELECT " + columns + from, idColumn, " ORDER BY " + idColumn, true);
  for (const ContainerBinding* container : mapping.containers()) {
    const db::Table& table = container->table();
    std::string select = "SELECT " + qualified(table, "object_id");
    for (const std::string& c : container->elementColumns()) select += ", " + qualified(table, c);
    select += " FROM " + db::quote(table.name());
    sql->containers.emplace_back(select, "\"object_id\"",
                                 container->ordered() ? " ORDER BY \"object_id\", \"index\""
                                                      : " ORDER BY \"object_id\"",
                                 false);
  }
  return sql;
}

const ReadSql& readSql(const Mapping& mapping) {
  return static_cast<const ReadSql&>(mapping.derived(Mapping::DerivedKind::Reading, &buildReadSql));
}

}  // namespace

std::string fromClause(const Mapping& mapping) {
  const auto& chain = mapping.chain();
  const db::Table& own = *chain.back()->table;
  std::string from = " FROM " + db::quote(own.name());
  for (auto it = chain.rbegin() + 1; it != chain.rend(); ++it) {
    const db::Table& t = *(*it)->table;
    from += " LEFT JOIN " + db::quote(t.name()) + " ON " + qualified(t, "id") + '=' + qualified(own, "id");
  }
  return from;
}

namespace {

std::size_t slotOf(std::uint64_t key, std::size_t mask) {
  // Fibonacci hashing spreads the dense ids over the table.
  return static_cast<std::size_t>((key * 0x9E3779B97F4A7C15ull) >> 20) & mask;
}

}  // namespace

Object* ObjectCache::find(std::uint64_t key) const {
  if (slots_.empty()) return nullptr;
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = slotOf(key, mask);; i = (i + 1) & mask) {
    if (slots_[i].first == key) return slots_[i].second.get();
    if (slots_[i].first == 0) return nullptr;
  }
}

void ObjectCache::insert(std::uint64_t key, TnSmartPtr<Object> object) {
  reserve(1);
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = slotOf(key, mask);
  while (slots_[i].first != 0) i = (i + 1) & mask;
  slots_[i] = {key, std::move(object)};
  ++size_;
}

void ObjectCache::reserve(std::size_t more) {
  // At most half full, so that probes stay short.
  const std::size_t needed = 2 * (size_ + more);
  if (needed <= slots_.size()) return;
  // Small to begin with: most loads (a get by id) keep a handful of objects.
  std::size_t capacity = 8;
  while (capacity < needed) capacity *= 2;
  grow(capacity);
}

void ObjectCache::grow(std::size_t capacity) {
  std::vector<std::pair<std::uint64_t, TnSmartPtr<Object>>> old(capacity);
  old.swap(slots_);
  const std::size_t mask = capacity - 1;
  for (auto& [key, object] : old) {
    if (key == 0) continue;
    std::size_t i = slotOf(key, mask);
    while (slots_[i].first != 0) i = (i + 1) & mask;
    slots_[i] = {key, std::move(object)};
  }
}

Object* Loader::cached(const Mapping& mapping, std::uint32_t id) const { return cache_.find(cacheKey(mapping, id)); }

TnSmartPtr<Object> Loader::loadOne(const Mapping& mapping, std::uint32_t id) {
  std::vector<TnSmartPtr<Object>> out;
  load(mapping, Selection::of({id}), out);
  return out.empty() ? TnSmartPtr<Object>() : out.front();
}

namespace {

// Puts the objects from `first` on into id order. The ids are read once: a
// comparison through the objects would chase pointers in every step.
void sortById(std::vector<TnSmartPtr<Object>>& out, std::size_t first) {
  std::vector<std::pair<std::uint32_t, TnSmartPtr<Object>>> keyed;
  keyed.reserve(out.size() - first);
  for (std::size_t i = first; i < out.size(); ++i) keyed.emplace_back(out[i]->id(), std::move(out[i]));
  std::sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  for (std::size_t i = 0; i < keyed.size(); ++i) out[first + i] = std::move(keyed[i].second);
}

}  // namespace

namespace {

// Whether an object of `mapping`'s hierarchy can be reached from one through
// references, directly or over other types. Kept with the mapping's ReadSql.
bool canReferToItself(const Mapping& mapping) {
  std::vector<const Mapping*> todo = concreteKindsOf(mapping);
  std::set<const Mapping*> seen(todo.begin(), todo.end());
  while (!todo.empty()) {
    const Mapping* m = todo.back();
    todo.pop_back();
    std::vector<ObjectType> targets;
    for (const TableBinding* t : m->chain())
      for (const ReferenceBinding& r : t->references) targets.push_back(r.target);
    for (const ContainerBinding* c : m->containers())
      if (c->hasRef()) targets.push_back(c->refTarget());
    for (ObjectType target : targets) {
      const Mapping& referenced = mappingOf(target);
      if (&referenced.root() == &mapping.root()) return true;
      for (const Mapping* kind : concreteKindsOf(referenced))
        if (seen.insert(kind).second) todo.push_back(kind);
    }
  }
  return false;
}

}  // namespace

void Loader::load(const Mapping& mapping, const Selection& selection,
                  std::vector<TnSmartPtr<Object>>& out) {
  loadHierarchy(mapping, selection, readSql(mapping).selfReferring, out);
}

void Loader::loadHierarchy(const Mapping& mapping, const Selection& selection, bool remember,
                           std::vector<TnSmartPtr<Object>>& out) {
  if (!mapping.hasDerived()) {
    loadConcrete(mapping, selection, selection.kind == Selection::Kind::All, remember, out);
    return;
  }
  const std::size_t first = out.size();
  if (selection.kind == Selection::Kind::All) {
    // Every object of a hierarchy: each concrete class reads its rows in one
    // scan of its own tables, keeping those whose "typeid" names it (a class's
    // table holds its subclasses' rows too).
    const std::string typeId = qualified(mapping.root().table(), "typeid") + " = ?";
    for (const Mapping* concrete : concreteKindsOf(mapping))
      loadConcrete(*concrete, Selection::matching(typeId, {concrete->typeId()}), true, remember, out);
    sortById(out, first);
    return;
  }
  // Some objects of a hierarchy: find each row's most derived class, then load
  // every class's rows together.
  std::map<const Mapping*, std::vector<std::uint32_t>> byClass;
  const Mapping* single = nullptr;  // the class of the one row a one-id selection finds
  {
    IdFilter filter;
    auto stmt = readSql(mapping).kinds->run(connection_, selection, filter);
    const bool oneId = selection.kind == Selection::Kind::Ids && selection.ids.size() == 1;
    while (stmt->step()) {
      if (!filter.accepts(stmt->id(0))) continue;
      const Mapping* concrete = mappingOfTypeId(stmt->utf8(1));
      if (!concrete || !concrete->isKindOf(mapping)) continue;
      if (oneId) {
        single = concrete;
        break;  // an id is one row
      }
      byClass[concrete].push_back(stmt->id(0));
    }
  }
  if (single) {
    loadConcrete(*single, selection, false, remember, out);
    return;
  }
  for (auto& [concrete, ids] : byClass)
    loadConcrete(*concrete, Selection::of(std::move(ids)), false, remember, out);
  sortById(out, first);
}

void Loader::loadConcrete(const Mapping& mapping, const Selection& selection, bool wholeClass, bool remember,
                          std::vector<TnSmartPtr<Object>>& out) {
  const ReadSql& sql = readSql(mapping);
  const auto& containers = mapping.containers();

  // References waiting for their targets: one list per target type, in
  // ascending type order, the chain's columns finding theirs by position.
  std::vector<std::pair<ObjectType, std::vector<PendingRef>>> pending;
  if (!sql.targets.empty()) {
    pending.reserve(sql.targets.size() + containers.size());
    for (ObjectType target : sql.targets) pending.emplace_back(target, std::vector<PendingRef>());
  }

  // 1. The rows of the class's tables, joined. The cache grows once for a
  // known number of objects rather than rehashing its way up.
  if (remember && selection.kind == Selection::Kind::Ids) cache_.reserve(selection.ids.size());
  const std::size_t first = out.size();
  std::vector<Object*> fresh;  // loaded by this call, in id order
  {
    IdFilter filter;
    auto stmt = sql.rows->run(connection_, selection, filter);
    while (stmt->step()) {
      const std::uint32_t id = stmt->id(0);
      if (!filter.accepts(id)) continue;
      if (Object* known = cached(mapping, id)) {
        out.emplace_back(known);
        continue;
      }
      TnSmartPtr<Object> object = mapping.create();
      ObjectState& state = detail::ObjectAccess::state(*object);
      state.id = id;
      state.library = library_;
      int column = 1;
      std::size_t reference = 0;
      for (const TableBinding* t : mapping.chain()) {
        for (const FieldBinding& f : t->fields) f.read(*object, *stmt, column++);
        for (const ReferenceBinding& r : t->references) {
          if (!stmt->isNull(column))
            pending[sql.referenceTarget[reference]].second.push_back(PendingRef{stmt->id(column), r.slot(*object)});
          ++column;
          ++reference;
        }
      }
      fresh.push_back(object.get());
      if (remember) cache_.insert(cacheKey(mapping, id), object);
      out.push_back(std::move(object));
    }
  }
  if (fresh.empty()) return;
  const auto byId = [](const Object* a, const Object* b) { return a->id() < b->id(); };
  if (!std::is_sorted(fresh.begin(), fresh.end(), byId)) {
    // The forms of a query all give their rows in id order; should one not,
    // the walk over the container rows below still needs that order.
    std::sort(fresh.begin(), fresh.end(), byId);
    sortById(out, first);
  }

  // 2. Container rows of the loaded objects, staged until their references
  // load. A container without rows for them (most, in a get by id) costs its
  // query and nothing else.
  std::vector<std::unique_ptr<ContainerBinding::Staging>> stagings;
  std::vector<std::uint32_t> freshIds;
  const bool everyRow = wholeClass;
  if (!everyRow && fresh.size() > 1 && !containers.empty()) {
    freshIds.reserve(fresh.size());
    for (Object* o : fresh) freshIds.push_back(o->id());
  }
  for (std::size_t c = 0; c < containers.size(); ++c) {
    const ContainerBinding* container = containers[c];
    const SelectSql& select = sql.containers[c];
    std::unique_ptr<ContainerBinding::Staging> staging;
    IdFilter others;  // rows of objects not loaded here are passed over by the walk below anyway
    auto stmt = everyRow             ? connection_.prepareKept(select.all)
                : fresh.size() == 1 ? select.runOne(connection_, fresh.front()->id())
                                    : select.runIds(connection_, freshIds, others);
    // Both the objects and the rows come in id order: walk them together.
    std::size_t next = 0;
    while (stmt->step()) {
      const std::uint32_t id = stmt->id(0);
      while (next < fresh.size() && fresh[next]->id() < id) ++next;
      if (next == fresh.size()) break;
      if (fresh[next]->id() != id) continue;  // a row of another class of the hierarchy
      Object* owner = fresh[next];
      const std::uint32_t refId =
          container->hasRef() && !stmt->isNull(1) ? stmt->id(1) : 0;
      if (!staging) staging = container->staging();
      staging->stage(*owner, *stmt, container->hasRef() ? 2 : 1, refId);
    }
    if (!staging) continue;
    if (container->hasRef()) {
      const ObjectType target = container->refTarget();
      auto it = std::lower_bound(pending.begin(), pending.end(), target,
                                 [](const auto& entry, ObjectType t) { return entry.first < t; });
      if (it == pending.end() || it->first != target) it = pending.emplace(it, target, std::vector<PendingRef>());
      staging->pending(target, it->second);
    }
    stagings.push_back(std::move(staging));
  }

  // 3. Referenced objects, one batch per type.
  for (auto& [target, refs] : pending) resolve(target, refs);
  for (auto& staging : stagings) staging->finish();
  for (Object* o : fresh) detail::ObjectAccess::state(*o).dirty = false;
}

void Loader::resolve(ObjectType target, std::vector<PendingRef>& pending) {
  if (pending.empty()) return;
  const Mapping& mapping = mappingOf(target);
  std::vector<std::uint32_t> missing;
  for (const PendingRef& ref : pending)
    if (!cached(mapping, ref.id)) missing.push_back(ref.id);
  if (!missing.empty()) {
    sortUnique(missing);
    std::vector<TnSmartPtr<Object>> loaded;
    loadHierarchy(mapping, Selection::of(std::move(missing)), true, loaded);
  }
  for (const PendingRef& ref : pending) {
    // A row that is not there (a dangling reference in a damaged file) or of
    // another class than the reference allows leaves the reference empty.
    Object* object = cached(mapping, ref.id);
    if (object && mappingOf(object->tarnlibType()).isKindOf(mapping)) ref.slot.assign(object);
  }
}

}  // namespace tarnlib::access
