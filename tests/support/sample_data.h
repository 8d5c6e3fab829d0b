// The files of the sample catalogue in data/, read as JSON by the tests that
// check them.
#ifndef TARNLIB_TESTS_SUPPORT_SAMPLE_DATA_H_
#define TARNLIB_TESTS_SUPPORT_SAMPLE_DATA_H_

#include <fstream>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

namespace tarnlib::testing {

inline const std::string kSampleDir = std::string(TARNLIB_TEST_DATA_DIR) + "/../../data";

// Throws std::runtime_error for a missing file, and nlohmann's error for bad JSON.
inline nlohmann::json readSample(const std::string& name) {
  const std::string path = kSampleDir + "/" + name;
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot open " + path);
  return nlohmann::json::parse(in);
}

}  // namespace tarnlib::testing

#endif  // TARNLIB_TESTS_SUPPORT_SAMPLE_DATA_H_
