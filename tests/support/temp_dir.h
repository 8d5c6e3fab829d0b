// A scratch folder per test, removed with everything in it afterwards.
#ifndef TARNLIB_TESTS_SUPPORT_TEMP_DIR_H_
#define TARNLIB_TESTS_SUPPORT_TEMP_DIR_H_

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tarnlib/platform/OdString.h"

namespace tarnlib::testing {

class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tarnlib-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  std::string file(const std::string& name) const { return (path_ / name).string(); }
  OdString odFile(const std::string& name) const { return OdString(file(name)); }

 private:
  std::filesystem::path path_;
};

inline std::string readBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeBytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace tarnlib::testing

#endif  // TARNLIB_TESTS_SUPPORT_TEMP_DIR_H_
