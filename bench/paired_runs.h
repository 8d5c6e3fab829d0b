// The timing harness the benchmark programs share: the library's operation and
// its raw-SQLite baseline run in turns within one benchmark, and the medians of
// both give the ratio printed in the report. A benchmark may add a peer, the
// same operation through a general-purpose mapper, as a third side in the same
// turns.
#ifndef TARNLIB_BENCH_PAIRED_RUNS_H_
#define TARNLIB_BENCH_PAIRED_RUNS_H_

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <exception>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace tarnlib::bench {

// Both sides of one operation run in turns within one benchmark, their order
// alternating, so that a busy machine slows both alike; the medians make the
// verdict.
struct Samples {
  std::vector<double> ours;
  std::vector<double> raw;
  std::vector<double> peer;  // empty when the benchmark has no peer
};

// The object count of a benchmark: TARNLIB_BENCH_N when it is a positive
// number (a small one for profiling), else the benchmark's own.
inline int objectCount(int fallback) {
  const char* n = std::getenv("TARNLIB_BENCH_N");
  return n && std::atoi(n) > 0 ? std::atoi(n) : fallback;
}

inline std::map<std::string, Samples>& samples() {
  static std::map<std::string, Samples> all;
  return all;
}

inline double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

template <class Ours, class Raw>
void paired(benchmark::State& state, const char* name, Ours&& ours, Raw&& raw) {
  Samples& s = samples()[name];
  bool oursFirst = false;
  try {
    for (auto _ : state) {
      oursFirst = !oursFirst;
      double o = 0;
      double r = 0;
      if (oursFirst) {
        o = ours();
        r = raw();
      } else {
        r = raw();
        o = ours();
      }
      s.ours.push_back(o);
      s.raw.push_back(r);
      state.SetIterationTime(o);
    }
  } catch (const std::exception& e) {
    state.SkipWithError(e.what());
    return;
  }
  state.counters["raw_ms"] = median(s.raw) * 1e3;
  state.counters["ratio"] = median(s.ours) / median(s.raw);
}

// The same with a peer: the three sides run in a rotating order, each first
// in turn.
template <class Ours, class Raw, class Peer>
void tripled(benchmark::State& state, const char* name, Ours&& ours, Raw&& raw, Peer&& peer) {
  Samples& s = samples()[name];
  int turn = 0;
  try {
    for (auto _ : state) {
      double o = 0;
      double r = 0;
      double p = 0;
      for (int k = 0; k < 3; ++k) {
        switch ((turn + k) % 3) {
          case 0: o = ours(); break;
          case 1: r = raw(); break;
          default: p = peer(); break;
        }
      }
      ++turn;
      s.ours.push_back(o);
      s.raw.push_back(r);
      s.peer.push_back(p);
      state.SetIterationTime(o);
    }
  } catch (const std::exception& e) {
    state.SkipWithError(e.what());
    return;
  }
  state.counters["raw_ms"] = median(s.raw) * 1e3;
  state.counters["peer_ms"] = median(s.peer) * 1e3;
  state.counters["ratio"] = median(s.ours) / median(s.raw);
}

// One line of the closing summary: a sample's name, its label, its target ratio
// (0: none set).
struct SummaryRow {
  const char* name;
  const char* label;
  double target;
};

// Prints the medians of both sides and their ratio for each row that ran; with
// `peer` named, its medians and its own ratio to the baseline besides.
inline void printSummary(const std::string& title, std::initializer_list<SummaryRow> rows,
                         const char* peer = nullptr) {
  std::printf("\n%s; medians\n%-28s %10s %15s ", title.c_str(), "", "tarnlib ms", "raw SQLite ms");
  if (peer) std::printf("%10s ms %8s/raw ", peer, peer);
  std::printf("%8s   %s\n", "ratio", "target");
  for (const SummaryRow& row : rows) {
    auto it = samples().find(row.name);
    if (it == samples().end() || it->second.ours.empty()) continue;
    const double ours = median(it->second.ours) * 1e3;
    const double raw = median(it->second.raw) * 1e3;
    std::printf("%-28s %10.1f %15.1f ", row.label, ours, raw);
    if (peer && !it->second.peer.empty()) {
      const double other = median(it->second.peer) * 1e3;
      std::printf("%13.1f %11.2fx ", other, other / raw);
    } else if (peer) {
      std::printf("%13s %12s ", "-", "-");
    }
    std::printf("%7.2fx   ", ours / raw);
    if (row.target > 0) std::printf("<= %.2fx %s\n", row.target, ours / raw <= row.target ? "" : "MISSED");
    else std::printf("-\n");
  }
}

}  // namespace tarnlib::bench

#endif  // TARNLIB_BENCH_PAIRED_RUNS_H_
