// Library: the handle on one open catalogue file.
//
// A library is created or opened only through the static factories and always
// lives in a std::shared_ptr; objects read from it point back at it, and the file
// closes when the last pointer goes. Opening brings an older file to the current
// schema first. Every operation runs in the calling thread's transaction on this
// library or in one of its own (see transaction.h), so one Library may be shared
// between threads; the metadata setters and setReactor are not otherwise locked.
#ifndef TARNLIB_LIBRARY_H_
#define TARNLIB_LIBRARY_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "tarnlib/criteria.h"
#include "tarnlib/export.h"
#include "tarnlib/guid.h"
#include "tarnlib/id_mapping.h"
#include "tarnlib/keys.h"
#include "tarnlib/object.h"
#include "tarnlib/platform/OdString.h"
#include "tarnlib/xml_exchange.h"

namespace tarnlib {

// The length system of a library, fixed at creation; 25.4 between the two.
enum class LibraryUnit : std::int32_t { Inch = 0, Millimeter = 1 };

class Unit;
class DefaultUnit;
class ColumnUnit;

namespace detail {
class LibraryAccess;
}

class TARNLIB_EXPORT Library : public std::enable_shared_from_this<Library> {
 public:
  class Impl;

  // Observer of a library's transactions and of the objects they change. The
  // library does not own its reactor. Every operation has a do-nothing default.
  class TARNLIB_EXPORT Reactor {
   public:
    // Why a transaction ended.
    enum class End { Committed = 0, RolledBack = 1, Abandoned = 2 };
    // What a removal reports about the object it removes.
    struct ObjectInfo {
      ObjectType type;
      std::uint32_t id;
    };

    virtual ~Reactor();
    virtual void transactionBegun(const Library& library);
    virtual void transactionEnded(const Library& library, End reason);
    // Called before a single-object removal; returning false keeps the object
    // (the removal then reports it as not removed, code 1).
    virtual bool beforeRemove(const Library& library, const ObjectInfo& object);
    virtual void afterRemove(const Library& library, const ObjectInfo& object);
    // Called inside the transaction for each object a save inserted or updated.
    virtual void objectSaved(const Library& library, ObjectType type, std::uint32_t id);
    // Called once at commit with every object saved during the transaction.
    virtual void objectsCommitted(const Library& library, const std::set<ObjectKey>& objects);
  };

  // Creates the file if missing and makes it a library of the given unit. `guid`
  // becomes the library GUID: a UUID text as it is, an empty text a random GUID,
  // any other text the name-based GUID of that text. An existing library is
  // opened as it is (unit and guid ignored). Returns an empty pointer when the
  // file cannot be opened or brought to the current schema; never throws.
  static std::shared_ptr<Library> create(const OdString& filename, LibraryUnit unit,
                                         const OdString& guid = OdString());
  // Opens an existing file, migrating an older schema in place first (also when
  // `readOnly`). Returns an empty pointer when the file does not exist (no file is
  // created), is too old or too new to open, or is not a database; never throws.
  // A name "memvfs://NAME" opens the in-memory file NAME (memfs.h).
  static std::shared_ptr<Library> open(const OdString& filename, bool readOnly = false);

  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  const OdString& filename() const;    // as given to create or open
  std::uint64_t version() const;       // the schema version stored in the file
  // The version the file had before this opening migrated it: equal to
  // version() for a current or newer file, 0 for a new file or one converted
  // from a legacy layout.
  std::uint64_t openedVersion() const;
  bool isReadOnly() const;             // SQLite's view: asked or imposed by the OS
  bool isNew() const;                  // this opening wrote the metadata row

  const OdString& guid() const;
  LibraryUnit unit() const;
  const OdString& locale() const;
  const OdString& region() const;
  // Store a new value when it differs from the current one; an equal value writes
  // nothing. Throw LibraryReadOnly or DatabaseError.
  void locale(const OdString& value);
  void region(const OdString& value);
  // Takes locale and region from `other`; GUID and unit stay.
  void copyMeta(const std::shared_ptr<const Library>& other);

  // Installs the reactor; null installs the do-nothing default. Not owned.
  void setReactor(Reactor* reactor);
  Reactor* reactor() const;

  // Compacts the file. False when SQLite refuses (read-only, inside a transaction).
  bool vacuum();

  // The object types of property definitions (property.h): namespaces, entity
  // types, the three definition classes and property sets.
  static const std::set<ObjectType>& propertyTypes();

  // ---- Default and column units (unit.h). Each runs in the calling thread's
  // transaction on this library or in one of its own, like every operation.
  // Writers throw what saving throws; nothing found is null or empty.

  // The default unit of the measure named `measureName`; null when the measure
  // is unknown or has none.
  TnSmartPtr<const Unit> defaultUnit(const OdString& measureName) const;
  // Saves `unit` (with its measure) into this library, then makes it its
  // measure's default. Null does nothing.
  void setDefaultUnit(const TnSmartPtr<const Unit>& unit);
  // Every default unit, in the order of the measures' names.
  std::vector<DefaultUnit> defaultUnits() const;
  // Whether the measure had a default that is now gone.
  bool removeDefaultUnit(const OdString& measureName);
  // The unit the values of a stored column are kept in; null when none is set.
  TnSmartPtr<const Unit> columnUnit(const OdString& table, const OdString& column) const;
  // Saves `unit` into this library and records it for the column. Null does
  // nothing.
  void setColumnUnit(const OdString& table, const OdString& column, const TnSmartPtr<const Unit>& unit);
  // Every column unit, ordered by table and column.
  std::vector<ColumnUnit> columnUnits() const;
  // Whether the column had a unit that is now gone.
  bool removeColumnUnit(const OdString& table, const OdString& column);

  // ---- Retrieval. Nothing found is a null pointer or nothing appended, never an
  // exception; an id of 0 or an empty GUID returns at once. Vector forms append.
  // Loaded objects point back at this library; an object referenced by several
  // loaded objects is one instance. Throw RetryLimitExceeded or the database
  // exceptions.

  template <class T> TnSmartPtr<T> get(std::uint32_t id) const;
  // Only compositions and profiles search (own GUID, merged GUIDs, then the id);
  // every other type answers null.
  template <class T> TnSmartPtr<T> get(const Guid& guid, const std::uint32_t& id) const;
  template <class T> TnSmartPtr<T> get(const NameKey& key) const;
  template <class T> TnSmartPtr<T> get(const NameTypeKey& key) const;
  template <class T> TnSmartPtr<T> get(const AssetKey& key) const;
  template <class T> TnSmartPtr<T> get(const ProfileKey& key) const;
  template <class T> TnSmartPtr<T> get(const ProfileNameKey& key) const;
  template <class T> TnSmartPtr<T> get(const DefinitionKey& key) const;
  template <class T> void get(std::vector<TnSmartPtr<T>>& out) const;
  template <class T> void get(std::vector<TnSmartPtr<T>>& out, const std::set<std::uint32_t>& ids) const;
  template <class T>
  void get(std::vector<TnSmartPtr<T>>& out, const typename ObjectTraits<T>::criteria_type& criteria) const;

  template <class T> bool exists(const NameKey& key) const;
  template <class T> bool exists(const NameTypeKey& key) const;
  template <class T> bool exists(const AssetKey& key) const;
  template <class T> bool exists(const ProfileKey& key) const;
  template <class T> bool exists(const ProfileNameKey& key) const;
  template <class T> bool exists(const DefinitionKey& key) const;
  // Queries that answer plain rows rather than objects (ProfilesPanelQuery):
  // appends the rows of `query` to `out`.
  template <class Q> void get(std::vector<typename Q::Row>& out, const Q& query) const;
  template <class T> std::size_t count() const;
  template <class T> std::size_t count(const typename ObjectTraits<T>::criteria_type& criteria) const;

  // ---- Saving. Inserts a new object, updates a dirty one of this library,
  // stores a clone of an object of another library (recorded in `mapping`, so
  // each is copied once per mapping) and writes nothing for a clean one. A new
  // object that collides with a row on a unique key is bound to that row; a
  // stored one throws ObjectNotUnique. Referenced objects are saved first. Throw
  // LibraryReadOnly, NullPointer (a required reference missing), ObjectNotFound
  // (the row to update is gone), RetryLimitExceeded or the database exceptions;
  // a failed save leaves nothing of itself in the file. Null gives null.

  template <class T> TnSmartPtr<const T> save(const TnSmartPtr<const T>& object, IdMapping& mapping);
  template <class T> TnSmartPtr<T> save(const TnSmartPtr<T>& object, IdMapping& mapping);
  template <class T> TnSmartPtr<const T> save(const TnSmartPtr<const T>& object);
  template <class T> TnSmartPtr<T> save(const TnSmartPtr<T>& object);

  // ---- Removal. An object still referenced by another stays (code 2), an
  // unknown id reports 3. Purge removes every object of the types that can go,
  // then compacts the file.

  struct RemoveResult {
    enum Code {
      kRemoved = 0,
      kVetoed = 1,      // the reactor kept the object
      kReferenced = 2,  // another object still refers to it
      kNotFound = 3,
    };
    Code code = kRemoved;
    RemoveResult() = default;
    RemoveResult(Code c) : code(c) {}  // NOLINT
    operator int() const { return code; }  // NOLINT
  };
  using RemoveResults = std::map<ObjectKey, RemoveResult>;

  template <class T> RemoveResult remove(const TnSmartPtr<T>& object);
  template <class T> RemoveResult remove(std::uint32_t id);
  template <class T> void remove(const std::set<std::uint32_t>& ids);
  template <class T> void remove(const std::set<std::uint32_t>& ids, RemoveResults& results);
  void remove(const std::set<ObjectKey>& keys, RemoveResults& results);
  template <class T> void purge();
  template <class T> void purge(RemoveResults& results);
  void purge();
  void purge(RemoveResults& results);
  void purge(const std::set<ObjectType>& types, RemoveResults& results);

  // ---- Copy and sync between libraries. Objects are matched through the
  // IdMapping (each source object is brought over once per mapping); an
  // object from a library of the other length system has its lengths
  // converted. Copying from an empty source or from this library does nothing.

  // How a copy is wrapped.
  enum TransactionType : std::int32_t {
    // One transaction for the whole call: all or nothing. A failure rolls back
    // every object of the call and propagates.
    kOneTransaction = 0,
    // One savepoint per object: an object that fails (not unique, a reference
    // missing) is rolled back alone, left out and reported in the results;
    // the others are kept.
    kPerObject = 1,
  };

  // What became of one source object.
  struct CopyResult {
    enum Code {
      kAdded = 0,    // a new object of this library
      kReused = 1,   // the counterpart was already here; nothing was written
      kLeftOut = 2,  // failed and was rolled back (kPerObject), or its mapped counterpart is gone
    };
    Code code = kAdded;
    std::uint32_t id = 0;  // the counterpart in this library; 0 when left out
    OdString reason;       // why it was left out
  };
  // Keyed by the source object.
  using CopyResults = std::map<ObjectKey, CopyResult>;

  template <class T>
  void copy(const std::shared_ptr<const Library>& source, const std::set<unsigned>& ids, IdMapping& mapping,
            TransactionType transactionType = kOneTransaction);
  template <class T>
  void copy(const std::shared_ptr<const Library>& source, const std::set<unsigned>& ids,
            TransactionType transactionType = kOneTransaction);
  template <class T>
  void copyAll(const std::shared_ptr<const Library>& source, IdMapping& mapping,
               TransactionType transactionType = kOneTransaction);
  template <class T>
  void copyAll(const std::shared_ptr<const Library>& source, TransactionType transactionType = kOneTransaction);
  // The same, telling what became of each source object of the call.
  template <class T>
  void copy(const std::shared_ptr<const Library>& source, const std::set<unsigned>& ids, IdMapping& mapping,
            TransactionType transactionType, CopyResults& results);
  template <class T>
  void copyAll(const std::shared_ptr<const Library>& source, IdMapping& mapping, TransactionType transactionType,
               CopyResults& results);

  // Brings the materials, then the compositions, of this library up to date
  // with those of `source`, matched by name (`renames` maps a source name to
  // the name here): a missing one is added, a differing one updated in place
  // (it keeps its GUIDs). `ids` restricts the source objects of both types.
  // Each synced object is listed in `report` and as a "material" or
  // "composition" element with its "name" under `reportNode`, when given.
  void sync(const std::shared_ptr<const Library>& source, const std::set<unsigned>& ids,
            const std::map<OdString, OdString>& renames, OdString* report, pugi::xml_node* reportNode);
  void syncAll(const std::shared_ptr<const Library>& source, const std::map<OdString, OdString>& renames,
               OdString* report, pugi::xml_node* reportNode);
  // One type (Material or Composition), no renames, no reports.
  template <class T> void sync(const std::shared_ptr<const Library>& source, const std::set<unsigned>& ids);
  template <class T> void syncAll(const std::shared_ptr<const Library>& source);

  // ---- XML exchange. The host owns the document; the export fills `root`,
  // the import reads it. See xml_exchange.h for the messages.

  // Called now and then during a long export or import with the objects (or
  // top-level elements) done so far and their total.
  using Progress = std::function<void(std::size_t done, std::size_t total)>;

  struct ExportOptions {
    bool keepEmptyReferences = false;  // keep a reference to a missing object as an empty element
    bool referencesByName = false;     // references carry "name" instead of "id"
    bool exportMeta = false;           // write the "meta" element
    bool exportGuid = false;           // inside "meta", write the library's "guid"
    bool reserved = false;             // carried along; no writer reads it
    Progress progress;
  };

  struct ImportOptions {
    MessageHandler messageHandler;  // empty: messages are dropped
    Progress progress;
  };

  // Each export runs in one read transaction and writes the objects of every
  // type, of the listed types, or exactly the listed objects, each type's group
  // in ascending id order. Throws the database exceptions; the tree then holds
  // what was appended before the error.
  void exportToXml(pugi::xml_node& root, const ExportOptions& options) const;
  void exportToXml(pugi::xml_node& root, const std::set<ObjectType>& types, const ExportOptions& options) const;
  void exportToXml(pugi::xml_node& root, const std::set<ObjectKey>& keys, const ExportOptions& options) const;

  // Saves the objects of the document (of the listed types only) in one write
  // transaction. What cannot be read is reported and skipped; ReadError and
  // KeyError (a default value that is not a value) and the database exceptions
  // propagate and keep nothing of the document.
  void importFromXml(pugi::xml_node& root, const ImportOptions& options);
  void importFromXml(pugi::xml_node& root, const std::set<ObjectType>& types, const ImportOptions& options);

 private:
  friend class detail::LibraryAccess;
  explicit Library(Impl* impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace tarnlib

#endif  // TARNLIB_LIBRARY_H_
