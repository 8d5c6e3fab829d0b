// Reading the sample data of tarn demo: one JSON file parsed whole, with the
// file and the place in it named in every error ("tarn: FILE: WHERE: REASON").
#ifndef TARN_DATA_READER_H_
#define TARN_DATA_READER_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "common.h"
#include "tarnlib/object.h"

namespace tarn {

class Reader {
 public:
  using json = nlohmann::json;

  // Throws Failure naming the file when it cannot be read or is not JSON.
  explicit Reader(std::filesystem::path path);

  const json& root() const { return root_; }

  // Each of these throws Failure naming the file, `where` and the reason.
  [[noreturn]] void fail(const std::string& where, const std::string& reason) const;
  const json& array(const json& object, const char* key, const std::string& where) const;
  std::string text(const json& object, const char* key, const std::string& where) const;
  // Empty when `key` is missing.
  std::string optionalText(const json& object, const char* key, const std::string& where) const;
  double number(const json& value, const std::string& where) const;
  // A ply index or a mark: a whole number from 0.
  std::uint32_t index(const json& value, const std::string& where) const;
  // `fallback` when `key` is missing.
  bool flag(const json& object, const char* key, bool fallback, const std::string& where) const;

 private:
  std::filesystem::path path_;
  json root_;
};

// The place of item `i` of a list, with the item's name when it has one:
// series[3] ("IPE").
std::string at(const char* list, std::size_t i, const nlohmann::json& item);

// The object of that name among those made so far; Failure naming `where`
// when there is none: unknown layer "Roof".
template <class T>
T named(const Reader& r, const std::map<std::string, T>& known, const std::string& name, const char* what,
        const std::string& where) {
  auto it = known.find(name);
  if (it == known.end()) r.fail(where, std::string("unknown ") + what + " \"" + name + "\"");
  return it->second;
}

}  // namespace tarn

#endif  // TARN_DATA_READER_H_
