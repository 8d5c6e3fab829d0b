// How far a long command (an export, an import, a report) has come, as a bar
// on one line of a terminal's standard error that is rewritten in place and
// wiped at the end. Nothing appears when stderr is not a terminal, so that logs
// and pipes get only the results, nor during the first moments, so that a short
// run does not flicker.
#ifndef TARN_PROGRESS_BAR_H_
#define TARN_PROGRESS_BAR_H_

#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <iostream>
#include <string>
#include <utility>

namespace tarn {

class ProgressBar {
 public:
  explicit ProgressBar(std::string what) : what_(std::move(what)), enabled_(::isatty(STDERR_FILENO) == 1) {}
  ~ProgressBar() { clear(); }
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // Empty when nothing is to be shown, so that the work skips the calls.
  std::function<void(std::size_t, std::size_t)> callback() {
    if (!enabled_) return nullptr;
    return [this](std::size_t done, std::size_t total) { update(done, total); };
  }

  void clear() {
    if (!shown_) return;
    std::cerr << "\r\033[K" << std::flush;
    shown_ = false;
  }

 private:
  using Clock = std::chrono::steady_clock;

  void update(std::size_t done, std::size_t total) {
    if (done >= total || total == 0) return clear();
    const Clock::time_point now = Clock::now();
    if (now - start_ < std::chrono::milliseconds(300)) return;
    if (shown_ && now - last_ < std::chrono::milliseconds(80)) return;
    last_ = now;
    constexpr std::size_t kWidth = 30;
    const std::size_t filled = done * kWidth / total;
    std::cerr << '\r' << what_ << " [" << std::string(filled, '#') << std::string(kWidth - filled, ' ') << "] "
              << done << '/' << total << std::flush;
    shown_ = true;
  }

  std::string what_;
  bool enabled_;
  bool shown_ = false;
  Clock::time_point start_ = Clock::now();
  Clock::time_point last_;
};

}  // namespace tarn

#endif  // TARN_PROGRESS_BAR_H_
