#include "catalogue_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

#include "common.h"
#include "tarnlib/memfs.h"

namespace tarn {

namespace fs = std::filesystem;
using tarnlib::Library;
using tarnlib::MemFile;
using tarnlib::MemFs;

namespace {

bool gReadOnly = false;

// A file name as the library reads it: "memvfs://NAME" is the memory file NAME,
// anything else with "://" names a file system the library does not have.
struct Location {
  bool memory = false;
  OdString memoryName;
};

Location locate(const std::string& file) {
  std::size_t sep = file.find("://");
  if (sep == std::string::npos) return {};
  std::string system = file.substr(0, sep);
  if (system != tarnlib::memvfs_name())
    throw Failure(file, "unknown file system \"" + system + "\" (only memvfs:// names are known)");
  if (sep + 3 == file.size()) throw Failure(file, "a memory file needs a name after memvfs://");
  return {true, wide(file.substr(sep + 3))};
}

OdString memoryUrl(const OdString& name) { return wide(tarnlib::memvfs_name()) + L"://" + name; }

std::string readAll(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw Failure(file, std::string("cannot be read: ") + std::strerror(errno));
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) throw Failure(file, "cannot be read");
  return bytes;
}

// A memory file that is removed again when the owner is done with it.
class MemoryFile {
 public:
  MemoryFile() : name_(MemFs::instance().createUnique()->filename()) {}
  ~MemoryFile() {
    if (!name_.isEmpty()) MemFs::instance().remove(name_);
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  MemFile& file() const { return *MemFs::instance().open(name_, false); }
  const OdString& name() const { return name_; }
  // The caller takes over the removal.
  OdString release() { return std::exchange(name_, OdString()); }

 private:
  OdString name_;
};

struct Probe {
  Schema schema = Schema::Current;
  std::shared_ptr<Library> library;  // the opened copy
};

// Opens a copy of the file in memory; see the header for why.
Probe probe(const std::string& file, MemoryFile& copy) {
  std::string bytes = readAll(file);
  if (bytes.empty()) throw Failure(file, "empty file, not a catalogue");
  static const std::string kHeader("SQLite format 3\0", 16);
  if (bytes.compare(0, kHeader.size(), kHeader) != 0)
    throw Failure(file, "not a catalogue (not an SQLite database)");
  if (copy.file().write(bytes.data(), bytes.size(), 0) != bytes.size())
    throw Failure(file, "too large to examine in memory");

  Probe result;
  result.library = Library::open(memoryUrl(copy.name()), false);
  if (!result.library)
    throw Failure(file,
                  "not a catalogue this version can open (written by a newer version, "
                  "too old to migrate, or damaged)");
  if (result.library->isNew())
    throw Failure(file, "not a catalogue (an SQLite database without catalogue tables)");
  if (result.library->openedVersion() < result.library->version())
    result.schema = Schema::Older;
  else if (result.library->version() > currentSchemaVersion())
    result.schema = Schema::Newer;
  return result;
}

}  // namespace

void setReadOnly(bool readOnly) { gReadOnly = readOnly; }

void refuseIfReadOnly(const std::string& file) {
  if (gReadOnly) throw Failure(file, "--read-only given; nothing changed");
}

std::uint64_t currentSchemaVersion() {
  // Asked of a fresh catalogue in memory, so that the tool never disagrees with
  // the library it runs on.
  static const std::uint64_t version = [] {
    MemoryFile scratch;
    auto library = Library::create(memoryUrl(scratch.name()), tarnlib::LibraryUnit::Millimeter);
    return library ? library->version() : 0;
  }();
  return version;
}

bool fileExists(const std::string& file) {
  Location where = locate(file);
  if (where.memory) return MemFs::instance().open(where.memoryName, false) != nullptr;
  std::error_code ec;
  return fs::exists(fs::u8path(file), ec);
}

std::optional<std::uint64_t> fileSize(const std::string& file) {
  Location where = locate(file);
  if (where.memory) {
    const MemFile* mem = MemFs::instance().open(where.memoryName, false);
    if (!mem) return std::nullopt;
    return mem->size();
  }
  std::error_code ec;
  std::uintmax_t size = fs::file_size(fs::u8path(file), ec);
  if (ec) return std::nullopt;
  return static_cast<std::uint64_t>(size);
}

void removeFile(const std::string& file) {
  Location where = locate(file);
  if (where.memory) {
    MemFs::instance().remove(where.memoryName);
    return;
  }
  // A journal left beside a replaced file would be played into the new one.
  for (const char* suffix : {"", "-journal", "-wal", "-shm"}) {
    std::error_code ec;
    fs::remove(fs::u8path(file + suffix), ec);
    if (ec) throw Failure(file + suffix, "cannot be removed: " + ec.message());
  }
}

Catalogue openCatalogue(const std::string& file, Access access) {
  Location where = locate(file);
  Catalogue result;
  result.file_ = file;

  if (where.memory) {
    if (!MemFs::instance().open(where.memoryName, false))
      throw Failure(file, "no such memory file (memory files last only while tarn runs)");
    result.library_ = Library::open(memoryUrl(where.memoryName), gReadOnly);
    if (!result.library_) throw Failure(file, "not a catalogue this version can open");
  } else {
    std::error_code ec;
    fs::file_status status = fs::status(fs::u8path(file), ec);
    if (!fs::exists(status)) throw Failure(file, "no such file");
    if (fs::is_directory(status)) throw Failure(file, "is a folder, not a catalogue");

    MemoryFile copy;
    Probe probed = probe(file, copy);
    result.schema_ = probed.schema;
    if (access == Access::Read && probed.schema == Schema::Older) {
      result.library_ = std::move(probed.library);
      result.copy_ = copy.release();
      return result;
    }
    probed.library.reset();
    if (access == Access::Write) refuseIfReadOnly(file);
    // Opening a current file writes nothing, so a reading command may open it
    // for writing too: isReadOnly() then tells what the file system allows.
    result.library_ = Library::open(wide(file), gReadOnly);
    if (!result.library_)
      throw Failure(file, access == Access::Write
                              ? "cannot be opened for writing (is the file or its folder read-only?)"
                              : "cannot be opened");
  }
  if (access == Access::Write && result.library_->isReadOnly())
    throw Failure(
        file, gReadOnly ? "--read-only given; nothing changed" : "the file is read-only; nothing changed");
  return result;
}

Catalogue createCatalogue(const std::string& file, tarnlib::LibraryUnit unit, const std::string& guid) {
  if (fileExists(file)) throw Failure(file, "already exists; nothing changed");
  refuseIfReadOnly(file);
  Catalogue result;
  result.file_ = file;
  result.library_ = Library::create(wide(file), unit, wide(guid));
  if (!result.library_) throw Failure(file, "cannot be created");
  return result;
}

Catalogue::Catalogue(Catalogue&& other) noexcept
    : file_(std::move(other.file_)),
      schema_(other.schema_),
      copy_(std::exchange(other.copy_, OdString())),
      library_(std::move(other.library_)) {}

Catalogue& Catalogue::operator=(Catalogue&& other) noexcept {
  if (this != &other) {
    release();
    file_ = std::move(other.file_);
    schema_ = other.schema_;
    copy_ = std::exchange(other.copy_, OdString());
    library_ = std::move(other.library_);
  }
  return *this;
}

Catalogue::~Catalogue() { release(); }

void Catalogue::release() noexcept {
  // The library closes its connections before its memory file goes.
  library_.reset();
  if (!copy_.isEmpty()) MemFs::instance().remove(copy_);
  copy_ = OdString();
}

}  // namespace tarn
