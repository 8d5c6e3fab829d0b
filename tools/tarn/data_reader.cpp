#include "data_reader.h"

#include <fstream>

namespace tarn {

using nlohmann::json;

Reader::Reader(std::filesystem::path path) : path_(std::move(path)) {
  std::ifstream in(path_);
  if (!in) throw Failure(path_.string(), "cannot be read");
  try {
    root_ = json::parse(in);
  } catch (const json::exception& e) {
    throw Failure(path_.string(), e.what());
  }
}

void Reader::fail(const std::string& where, const std::string& reason) const {
  throw Failure(path_.string(), where + ": " + reason);
}

const json& Reader::array(const json& object, const char* key, const std::string& where) const {
  auto it = object.find(key);
  if (it == object.end() || !it->is_array()) fail(where, std::string("needs an array \"") + key + "\"");
  return *it;
}

std::string Reader::text(const json& object, const char* key, const std::string& where) const {
  auto it = object.find(key);
  if (it == object.end() || !it->is_string()) fail(where, std::string("needs a text \"") + key + "\"");
  return it->get<std::string>();
}

std::string Reader::optionalText(const json& object, const char* key, const std::string& where) const {
  return object.contains(key) ? text(object, key, where) : std::string();
}

double Reader::number(const json& value, const std::string& where) const {
  if (!value.is_number()) fail(where, "needs a number");
  return value.get<double>();
}

std::uint32_t Reader::index(const json& value, const std::string& where) const {
  if (!value.is_number_unsigned()) fail(where, "needs a whole number from 0");
  return value.get<std::uint32_t>();
}

bool Reader::flag(const json& object, const char* key, bool fallback, const std::string& where) const {
  auto it = object.find(key);
  if (it == object.end()) return fallback;
  if (!it->is_boolean()) fail(where, std::string("\"") + key + "\" needs true or false");
  return it->get<bool>();
}

std::string at(const char* list, std::size_t i, const json& item) {
  std::string where = std::string(list) + "[" + std::to_string(i) + "]";
  auto name = item.find("name");
  if (name != item.end() && name->is_string()) where += " (\"" + name->get<std::string>() + "\")";
  return where;
}

}  // namespace tarn
