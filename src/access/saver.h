// Saving objects: insert, update, binding a new object to an equal stored row,
// cloning objects of other libraries, and bringing referenced objects over first.
#ifndef TARNLIB_ACCESS_SAVER_H_
#define TARNLIB_ACCESS_SAVER_H_

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "access/mapping.h"
#include "core/transaction_impl.h"
#include "tarnlib/id_mapping.h"
#include "tarnlib/library.h"

namespace tarnlib::access {

// A savepoint around one write inside a transaction, so that a failed write
// undoes its own part only. Its statements are cached under one fixed name:
// SQLite resolves a repeated name to the innermost savepoint, so a write nested
// in another (a reactor saving from objectSaved) still undoes only itself.
class WriteSavepoint {
 public:
  // Opens it; throws db::Error.
  explicit WriteSavepoint(db::Connection& connection);
  // Releases it; never throws.
  ~WriteSavepoint();
  WriteSavepoint(const WriteSavepoint&) = delete;
  WriteSavepoint& operator=(const WriteSavepoint&) = delete;

  // Undoes everything since it was opened; it stays open.
  void rollback() noexcept;

 private:
  db::Connection& connection_;
};

// What a write did, as recorded in the id mapping.
enum class Outcome { Inserted = 0, Existing = 1, Updated = 2 };

class Saver final : public WriteContext {
 public:
  Saver(const std::shared_ptr<Library>& library, Transaction::Impl& tx, IdMapping& mapping)
      : library_(library), tx_(tx), mapping_(mapping), undoMark_(tx.undo.mark()) {}

  // Stores `object` in the library and returns the stored object: the object
  // itself when it is new or belongs here, else a stored clone. Throws db::Error
  // and the library's exceptions (NullPointer, ObjectNotUnique, ObjectNotFound).
  TnSmartPtr<Object> save(const Object& object);

  // After a failed save: puts back what it changed in memory (through the
  // transaction's undo log) and, inside the caller's transaction, takes its rows
  // out of the database again, which the caller's commit would keep. The
  // objects then agree with the file and the attempt can be repeated.
  void undo() noexcept;

  // WriteContext, for the classes' beforeWrite hooks.
  TnSmartPtr<Object> store(const Object& object) override { return save(object); }
  void load(ObjectType type, const Selection& selection, std::vector<TnSmartPtr<Object>>& out) override;
  void repoint(Object& owner, const RefSlot& slot, Object* target) override;
  const Library& library() const override { return *library_; }

 private:
  // Whether an object's state in memory needs no putting back on rollback.
  bool needsNoUndo(const Object& object) const;
  Outcome write(Object& object, const Mapping& mapping);
  void saveReferences(Object& object, const Mapping& mapping);
  void insert(Object& object, const Mapping& mapping);
  void update(Object& object, const Mapping& mapping);
  void writeContainers(Object& object, const Mapping& mapping, bool replace);
  std::uint32_t findEqualRow(Object& object, const Mapping& mapping);
  // Takes back what a write stored along the way (rows inserted since
  // `inserted`, in-memory changes since `undoMark`, notifications since `touched`).
  void discard(std::size_t undoMark, std::size_t inserted, std::size_t touched) noexcept;
  void eraseInsertedFrom(std::size_t first) noexcept;
  void remember(Object& object);
  void protect();
  void record(const IdMapping::Key& key, const IdMapping::Value& value);

  std::shared_ptr<Library> library_;
  Transaction::Impl& tx_;
  IdMapping& mapping_;

  // Inside the caller's transaction, what the save wrote to the database must
  // be undone on failure. New rows are taken out again by their root row (the
  // rest follows by cascade); only a save that changes existing rows opens a
  // savepoint, first thing before that change: a savepoint makes SQLite copy
  // every page it touches, which doubles the cost of a bulk of inserts.
  std::optional<WriteSavepoint> savepoint_;
  std::vector<std::pair<const std::string*, std::uint32_t>> inserted_;  // DELETE text, id

  std::size_t undoMark_;             // the transaction's undo log before this save
  std::vector<ObjectKey> touched_;   // entered into the transaction's touched set
  // Copies of other libraries' objects that this save made during a copy:
  // nobody else holds them, so their state and references need no putting
  // back.
  std::vector<const Object*> ownCopies_;
};

}  // namespace tarnlib::access

#endif  // TARNLIB_ACCESS_SAVER_H_
