// What a transaction changed in objects held in memory (ids, libraries, dirty
// flags, re-pointed references, id-mapping entries, the metadata copy), so that
// a transaction that does not commit puts them back as the file still has them.
// Without it, an object saved in a rolled-back transaction would keep the id of
// a row that is gone and its clean flag, and a retry would write nothing.
#ifndef TARNLIB_CORE_UNDO_LOG_H_
#define TARNLIB_CORE_UNDO_LOG_H_

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

namespace tarnlib {

class UndoLog {
 public:
  // Puts one change back; must not throw.
  using Step = std::function<void()>;

  // Record a step before making the change it undoes: if recording fails
  // (out of memory), nothing has changed yet.
  void push(Step step) { steps_.push_back(std::move(step)); }

  std::size_t mark() const { return steps_.size(); }
  // Undoes the changes recorded since `mark`, newest first, and forgets them.
  void undoTo(std::size_t mark) noexcept {
    while (steps_.size() > mark) {
      Step step = std::move(steps_.back());
      steps_.pop_back();
      step();
    }
  }
  // After a commit the changes stand.
  void forget() noexcept { steps_.clear(); }

 private:
  std::vector<Step> steps_;
};

}  // namespace tarnlib

#endif  // TARNLIB_CORE_UNDO_LOG_H_
