// Test-only view of the memory file system.
#ifndef TARNLIB_MEMFS_MEMFS_INTERNAL_H_
#define TARNLIB_MEMFS_MEMFS_INTERNAL_H_

#include <cstddef>

namespace tarnlib::memfs_internal {

// How many MemFile objects exist, in the set or kept alive by SQLite handles
// after their removal. Lets tests see that a removed file is freed exactly when
// its last reference goes.
std::size_t liveFiles();

}  // namespace tarnlib::memfs_internal

#endif  // TARNLIB_MEMFS_MEMFS_INTERNAL_H_
