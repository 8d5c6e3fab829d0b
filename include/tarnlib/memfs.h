// In-memory files and the "memvfs" SQLite file system.
//
// MemFs is the process-wide set of named MemFile objects. Registered with
// register_memvfs(), the SQLite VFS named "memvfs" keeps database files in that
// set, so a library opened as "memvfs://name" lives in the MemFile called "name".
// Hosts use MemFs and MemFile directly to load a library from a buffer (write the
// bytes into a file), to save one (read the bytes out), or to copy and swap files.
//
// Threads: nothing here takes a lock. MemFs::instance() is created safely on
// first use; every other call, including SQLite's use of the VFS, must come from
// one thread at a time. The VFS has no locking either, so one memory file must
// not be written through two connections. Databases in memory keep a rollback
// journal: the VFS offers no shared memory, and a WAL file would not be kept.
#ifndef TARNLIB_MEMFS_H_
#define TARNLIB_MEMFS_H_

#include <cstdint>
#include <vector>

#include "tarnlib/export.h"
#include "tarnlib/platform/OdString.h"

namespace tarnlib {

class MemFs;

// A file kept in 1024-byte blocks. A block that was never written is not
// allocated and reads as zeros. Files are created and destroyed by MemFs only.
class TARNLIB_EXPORT MemFile {
 public:
  static constexpr std::uint64_t kBlockSize = 1024;

  MemFile(const MemFile&) = delete;
  MemFile& operator=(const MemFile&) = delete;

  // Copies up to `count` bytes from `offset` into `buffer` and returns how many
  // were copied: never past the end of the file, 0 at or past it.
  std::uint64_t read(void* buffer, std::uint64_t count, std::uint64_t offset) const;
  // Writes `count` bytes at `offset`, growing the file as needed; a gap between
  // the old end and `offset` reads as zeros. Returns the bytes written, fewer
  // than `count` only when memory ran out.
  std::uint64_t write(const void* buffer, std::uint64_t count, std::uint64_t offset);
  // Shrinks the file to `size`; a larger `size` leaves the file as it is.
  // The block memory is kept for the next growth.
  void truncate(std::uint64_t size);

  // The memory of block `index`, allocated (zeroed) if it was never written.
  // Null when `index` is past the blocks the size covers, or when allocation fails.
  unsigned char* rawBlock(std::uint64_t index);
  // As above but never allocates: null also for a block never written.
  const unsigned char* rawBlock(std::uint64_t index) const;

  // Exchanges the contents of the two files; each keeps its name. Null is ignored.
  void swap(MemFile* other);
  // A new file named `name`, added to MemFs, holding a copy of this file's bytes.
  // An empty name gets a unique one. Null when the name is already taken.
  MemFile* copy(const OdString& name) const;

  std::uint64_t size() const { return size_; }
  const OdString& filename() const { return name_; }
  std::uint64_t blocksize() const { return kBlockSize; }

  // Adds a reference that keeps the file alive after its removal from MemFs.
  // References are given back only inside tarnlib (removal from the set, and the
  // close of an SQLite handle), so one added by a host lasts for the process.
  void addRef() { ++refs_; }

 private:
  friend class MemFs;

  explicit MemFile(const OdString& name);
  ~MemFile();
  // Drops one reference; the file is destroyed with the last one.
  void release();
  std::uint64_t blocksCovered() const;

  OdString name_;
  unsigned refs_ = 1;
  std::uint64_t size_ = 0;
  std::vector<unsigned char*> blocks_;
};

// The process-wide set of memory files, in creation order. The set holds one
// reference to each of its files; pointers it hands out stay valid until the
// file is removed (and, while SQLite has the file open, until SQLite closes it).
class TARNLIB_EXPORT MemFs {
 public:
  // The single instance, created on first use and never destroyed, so that a
  // connection closed while the process exits still finds it.
  static MemFs& instance();

  MemFs(const MemFs&) = delete;
  MemFs& operator=(const MemFs&) = delete;

  // The file called `name` (exact comparison); adds no reference. When there is
  // none: a new empty file if `create`, else null. An empty name with `create`
  // makes a file with a name no file in the set has.
  MemFile* open(const OdString& name, bool create);
  // A new empty file with a unique name.
  MemFile* createUnique();
  // A new file `to` (a unique name when empty) with the bytes of file `from`;
  // null when `from` does not exist or `to` already does.
  MemFile* copy(const OdString& from, const OdString& to);
  // Takes the file out of the set and drops the set's reference: the file is
  // destroyed now, or when SQLite closes its last handle on it. False when the
  // file is not in the set.
  bool remove(MemFile* file);
  bool remove(const OdString& name);

 private:
  friend class MemFile;
  friend class MemVfs;

  MemFs() = default;
  ~MemFs() = default;
  MemFile* add(const OdString& name);
  OdString uniqueName();
  // Gives back a reference taken with MemFile::addRef.
  static void release(MemFile* file) { file->release(); }

  std::vector<MemFile*> files_;
  std::uint64_t lastUnique_ = 0;
};

// Registers the "memvfs" VFS with SQLite (never as the default) on the first
// call; later calls only count. Returns false when SQLite refused the
// registration, in which case nothing is counted. While registered, every
// connection opened on a memvfs database runs PRAGMA temp_store=MEMORY, because
// the VFS keeps no temporary files.
TARNLIB_EXPORT bool register_memvfs();
// Undoes one register_memvfs(); the last one unregisters the VFS. Connections
// still open on it keep working. Calls beyond the registrations are ignored.
TARNLIB_EXPORT void unregister_memvfs();
// "memvfs": the VFS name, and the prefix before "://" in library file names.
TARNLIB_EXPORT const char* memvfs_name();

}  // namespace tarnlib

#endif  // TARNLIB_MEMFS_H_
