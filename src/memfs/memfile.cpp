#include <algorithm>
#include <atomic>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "memfs/memfs_internal.h"
#include "tarnlib/memfs.h"

namespace tarnlib {

namespace {

std::atomic<std::size_t> g_liveFiles{0};

// Invariant kept by every operation: bytes of an allocated block that lie at or
// past the file's size are zero. New blocks start zeroed and truncate clears what
// it cuts off, so growing the file again (a write past the end, or a block handed
// out by rawBlock) never brings old bytes back.
unsigned char* newBlock() { return new (std::nothrow) unsigned char[MemFile::kBlockSize](); }

}  // namespace

namespace memfs_internal {
std::size_t liveFiles() { return g_liveFiles.load(); }
}  // namespace memfs_internal

MemFile::MemFile(const OdString& name) : name_(name) { ++g_liveFiles; }

MemFile::~MemFile() {
  for (unsigned char* block : blocks_) delete[] block;
  --g_liveFiles;
}

void MemFile::release() {
  if (--refs_ == 0) delete this;
}

std::uint64_t MemFile::blocksCovered() const { return size_ == 0 ? 0 : (size_ - 1) / kBlockSize + 1; }

std::uint64_t MemFile::read(void* buffer, std::uint64_t count, std::uint64_t offset) const {
  if (count == 0 || offset >= size_) return 0;
  count = std::min(count, size_ - offset);
  auto* out = static_cast<unsigned char*>(buffer);
  for (std::uint64_t done = 0; done < count;) {
    const std::uint64_t pos = offset + done;
    const std::uint64_t index = pos / kBlockSize;
    const std::uint64_t within = pos % kBlockSize;
    const auto n = static_cast<std::size_t>(std::min(kBlockSize - within, count - done));
    const unsigned char* block = index < blocks_.size() ? blocks_[index] : nullptr;
    if (block)
      std::memcpy(out + done, block + within, n);
    else
      std::memset(out + done, 0, n);
    done += n;
  }
  return count;
}

std::uint64_t MemFile::write(const void* buffer, std::uint64_t count, std::uint64_t offset) {
  if (count == 0) return 0;
  const std::uint64_t end = offset + count;
  if (end < offset) return 0;  // the range wraps around: nothing can be written
  const std::uint64_t needed = (end - 1) / kBlockSize + 1;
  if (needed > blocks_.size()) {
    try {
      blocks_.resize(static_cast<std::size_t>(needed), nullptr);
    } catch (const std::exception&) {
      return 0;  // out of memory, or more blocks than a vector can index
    }
  }
  const auto* in = static_cast<const unsigned char*>(buffer);
  std::uint64_t done = 0;
  while (done < count) {
    const std::uint64_t pos = offset + done;
    const std::uint64_t within = pos % kBlockSize;
    const auto n = static_cast<std::size_t>(std::min(kBlockSize - within, count - done));
    unsigned char*& block = blocks_[static_cast<std::size_t>(pos / kBlockSize)];
    if (!block && !(block = newBlock())) break;
    std::memcpy(block + within, in + done, n);
    done += n;
  }
  // A partial write still counts: what was written, from `offset` on, is now part
  // of the file. Nothing written leaves the size alone.
  if (done > 0) size_ = std::max(size_, offset + done);
  return done;
}

void MemFile::truncate(std::uint64_t size) {
  if (size >= size_) return;
  for (std::uint64_t pos = size; pos < size_;) {
    const std::uint64_t index = pos / kBlockSize;
    const std::uint64_t within = pos % kBlockSize;
    const std::uint64_t n = std::min(kBlockSize - within, size_ - pos);
    if (index < blocks_.size() && blocks_[index])
      std::memset(blocks_[index] + within, 0, static_cast<std::size_t>(n));
    pos += n;
  }
  size_ = size;
}

unsigned char* MemFile::rawBlock(std::uint64_t index) {
  if (index >= blocksCovered() || index >= blocks_.size()) return nullptr;
  unsigned char*& block = blocks_[static_cast<std::size_t>(index)];
  if (!block) block = newBlock();
  return block;
}

const unsigned char* MemFile::rawBlock(std::uint64_t index) const {
  if (index >= blocksCovered() || index >= blocks_.size()) return nullptr;
  return blocks_[static_cast<std::size_t>(index)];
}

void MemFile::swap(MemFile* other) {
  if (!other || other == this) return;
  std::swap(size_, other->size_);
  blocks_.swap(other->blocks_);
}

MemFile* MemFile::copy(const OdString& name) const {
  MemFs& fs = MemFs::instance();
  if (!name.isEmpty() && fs.open(name, false)) return nullptr;
  MemFile* file = fs.add(name.isEmpty() ? fs.uniqueName() : name);
  try {
    // Only the blocks the size covers: memory kept past a truncation is not data.
    const auto covered = static_cast<std::size_t>(blocksCovered());
    file->blocks_.resize(covered, nullptr);
    for (std::size_t i = 0; i < covered; ++i) {
      if (!blocks_[i]) continue;
      file->blocks_[i] = new unsigned char[kBlockSize];
      std::memcpy(file->blocks_[i], blocks_[i], kBlockSize);
    }
  } catch (...) {
    fs.remove(file);
    throw;
  }
  file->size_ = size_;
  return file;
}

MemFs& MemFs::instance() {
  // Deliberately never destroyed (see the header); the set stays reachable, so
  // leak checkers do not count it.
  static MemFs* const fs = new MemFs;
  return *fs;
}

MemFile* MemFs::add(const OdString& name) {
  auto* file = new MemFile(name);
  try {
    files_.push_back(file);
  } catch (...) {
    delete file;
    throw;
  }
  return file;
}

OdString MemFs::uniqueName() {
  // A counter makes a fresh name almost always; the check covers a host that
  // chose such a name itself.
  for (;;) {
    OdString name(L"~memfile-" + std::to_wstring(++lastUnique_));
    if (!open(name, false)) return name;
  }
}

MemFile* MemFs::open(const OdString& name, bool create) {
  if (!name.isEmpty()) {
    for (MemFile* file : files_)
      if (file->filename() == name) return file;
  }
  if (!create) return nullptr;
  return add(name.isEmpty() ? uniqueName() : name);
}

MemFile* MemFs::createUnique() { return open(OdString(), true); }

MemFile* MemFs::copy(const OdString& from, const OdString& to) {
  const MemFile* source = open(from, false);
  return source ? source->copy(to) : nullptr;
}

bool MemFs::remove(MemFile* file) {
  const auto it = std::find(files_.begin(), files_.end(), file);
  if (it == files_.end()) return false;
  files_.erase(it);
  file->release();
  return true;
}

bool MemFs::remove(const OdString& name) {
  MemFile* file = open(name, false);
  return file && remove(file);
}

}  // namespace tarnlib
