// Opening catalogue files for the commands, so that each bad file gets one clear
// message and a file is changed only by a command that means to change it.
//
// The library's open migrates an older file in place, even when asked for
// read-only access, and on failure says only that it failed. A tool pointed at
// the wrong file must not change it, and its user needs to know what is wrong.
// So a file is first examined with SQLite itself on a read-only connection:
// whether it is an SQLite database, whether another process holds it, whether
// its pages are sound, which schema version it records, and whether the tables
// and the metadata row of that schema are there. Commands that only read an
// older file then work on a migrated copy in memory, and the file stays as it
// was. New catalogues are built aside and moved into place (NewCatalogue).
#ifndef TARN_CATALOGUE_FILE_H_
#define TARN_CATALOGUE_FILE_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "common.h"
#include "tarnlib/library.h"

namespace tarn {

enum class Access {
  Read,   // never changes the file
  Write,  // may migrate the file, then writes to it
  // Like Read, and the library itself is opened read-only, so that nothing done
  // through it can write the file either: the catalogue a copy or sync reads
  // from while it writes another. A file in WAL mode is read through a copy,
  // since a read-only connection would leave its -wal and -shm files behind.
  ReadOnly,
};

// What the file was before this opening.
enum class Schema {
  Current,  // at the library's schema version
  Older,    // migrated on opening (in place for Write, in the memory copy for Read)
  Newer,    // written by a newer version that this one may still read and write
};

class Catalogue;

// Process-wide: open every file read-only, so that no command changes anything.
void setReadOnly(bool readOnly);
// Throws Failure naming `file` when files are to be left alone.
void refuseIfReadOnly(const std::string& file);

// Opens an existing catalogue. Throws Failure naming the file when it does not
// exist, is not a catalogue, cannot be opened by this version, or (for Write)
// cannot be written; in the last case nothing has been changed.
Catalogue openCatalogue(const std::string& file, Access access);

// Creates a new catalogue; Failure when the file exists or cannot be made.
Catalogue createCatalogue(const std::string& file, tarnlib::LibraryUnit unit, const std::string& guid);

// The schema version this build of the library writes.
std::uint64_t currentSchemaVersion();

// Whether another process holds the file's write lock or, with `whole`, has it
// open at all, after waiting up to `waitMs` for it to let go. Taking the lock
// also rolls back a write that an interrupted process left in the journal.
bool heldByOthers(const std::string& file, int waitMs, bool whole = false);
// The Failure for a file another process is writing to.
Failure busy(const std::string& file);

bool fileExists(const std::string& file);
// The file's size in bytes, when it can be told.
std::optional<std::uint64_t> fileSize(const std::string& file);

class Catalogue {
 public:
  Catalogue(Catalogue&&) noexcept;
  Catalogue& operator=(Catalogue&&) noexcept;
  ~Catalogue();

  tarnlib::Library& library() const { return *library_; }
  const std::shared_ptr<tarnlib::Library>& shared() const { return library_; }
  const std::string& file() const { return file_; }
  Schema schema() const { return schema_; }
  // True when a reading command works on a migrated copy of an older file.
  bool isCopy() const { return !copy_.isEmpty(); }

 private:
  friend Catalogue openCatalogue(const std::string&, Access);
  friend class NewCatalogue;
  Catalogue() = default;
  void release() noexcept;

  std::string file_;
  Schema schema_ = Schema::Current;
  OdString copy_;  // the memory file backing a probe copy still in use
  std::shared_ptr<tarnlib::Library> library_;
};

// A new catalogue, built under a temporary name in the folder of its file and
// moved there by commit(), so that no other process ever sees it half made and
// a failure leaves the file as it was. A memory file (memvfs://NAME) lives in
// this process only and is built in place.
class NewCatalogue {
 public:
  // Throws Failure naming `file`, with nothing changed, when the file exists and
  // `replace` is false; when replacing, when it is a folder, is read-only or is
  // being written by another process; and when the catalogue cannot be made.
  NewCatalogue(const std::string& file, bool replace, tarnlib::LibraryUnit unit, const std::string& guid);
  // Without a commit, removes what it made: the temporary file and its journals.
  ~NewCatalogue();
  NewCatalogue(const NewCatalogue&) = delete;
  NewCatalogue& operator=(const NewCatalogue&) = delete;

  Catalogue& catalogue() { return catalogue_; }
  // Puts the catalogue in place of the file; it stays open for reading. Throws
  // Failure when the move fails, and (without `replace`) when another process
  // made the file meanwhile, which is then left as it is.
  void commit();

 private:
  void removeTemporary() noexcept;

  std::string file_;
  bool replace_;
  std::string temporary_;  // empty for a memory file and once committed
  OdString memoryName_;    // a memory file made here, until committed
  Catalogue catalogue_;
};

}  // namespace tarn

#endif  // TARN_CATALOGUE_FILE_H_
