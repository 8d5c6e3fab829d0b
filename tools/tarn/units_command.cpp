// tarn units: the measures of a catalogue with their dimensions, their units
// and the default of each, then the units the catalogue records for columns.
#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <vector>

#include "commands.h"
#include "common.h"
#include "describe.h"

namespace tarn {

namespace {

using tarnlib::TnSmartPtr;

// Pads `text` to `width` characters.
std::string padded(const std::string& text, std::size_t width) {
  const std::size_t has = displayWidth(text);
  return has >= width ? text : text + std::string(width - has, ' ');
}

Json unitsRecord(const tarnlib::Library& library) {
  std::vector<TnSmartPtr<tarnlib::Measure>> measures;
  library.get<tarnlib::Measure>(measures);
  std::sort(measures.begin(), measures.end(), [](const auto& a, const auto& b) { return a->id() < b->id(); });
  std::vector<TnSmartPtr<tarnlib::Unit>> units;
  library.get<tarnlib::Unit>(units);
  std::sort(units.begin(), units.end(), [](const auto& a, const auto& b) { return a->id() < b->id(); });
  std::map<std::uint32_t, std::uint32_t> defaults;  // measure id -> unit id
  for (const tarnlib::DefaultUnit& d : library.defaultUnits())
    if (d.measure() && d.unit()) defaults[d.measure()->id()] = d.unit()->id();

  Json out;
  out["measures"] = Json::array();
  for (const auto& m : measures) {
    Json measure;
    measure["id"] = m->id();
    measure["name"] = utf8(m->name());
    measure["description"] = utf8(m->description());
    measure["exponents"] = {m->length(),
                            m->mass(),
                            m->time(),
                            m->thermodynamic_temperature(),
                            m->electric_current(),
                            m->luminous_intensity(),
                            m->amount_of_substance()};
    measure["dimension"] = dimensionText(*m);
    measure["default"] = nullptr;
    Json list = Json::array();
    for (const auto& u : units) {
      if (!u->measure() || u->measure()->id() != m->id()) continue;
      const bool isDefault = defaults.count(m->id()) && defaults[m->id()] == u->id();
      Json unit;
      unit["id"] = u->id();
      unit["name"] = u->has_name() ? Json(utf8(u->name())) : Json(nullptr);
      unit["label"] = utf8(u->label());
      unit["display"] = displayLabel(utf8(u->label()));
      unit["scale"] = u->scale();
      unit["default"] = isDefault;
      if (isDefault) measure["default"] = utf8(u->label());
      list.push_back(unit);
    }
    measure["units"] = list;
    out["measures"].push_back(measure);
  }
  out["columns"] = Json::array();
  for (const tarnlib::ColumnUnit& c : library.columnUnits()) {
    Json column;
    column["table"] = utf8(c.table());
    column["column"] = utf8(c.column());
    column["measure"] =
        c.unit() && c.unit()->measure() ? Json(utf8(c.unit()->measure()->name())) : Json(nullptr);
    column["unit"] = c.unit() ? Json(utf8(c.unit()->label())) : Json(nullptr);
    out["columns"].push_back(column);
  }
  return out;
}

void printUnits(std::ostream& out, const Json& record) {
  for (const Json& m : record["measures"]) {
    const std::string dimension = m["dimension"];
    out << printable(m["name"]) << " (" << (dimension == "1" ? "dimensionless" : dimension) << ")\n";
    std::size_t labelWidth = 0, nameWidth = 0, scaleWidth = 0;
    for (const Json& u : m["units"]) {
      labelWidth = std::max(labelWidth, displayWidth(printable(u["display"])));
      nameWidth = std::max(nameWidth, displayWidth(text(u["name"])));
      scaleWidth = std::max(scaleWidth, text(u["scale"]).size());
    }
    for (const Json& u : m["units"]) {
      std::string line = "  " + padded(printable(u["display"]), labelWidth) + "  " +
                         padded(text(u["name"]), nameWidth) + "  ";
      if (u["default"] == true)
        line += padded(text(u["scale"]), scaleWidth) + "  default";
      else
        line += text(u["scale"]);
      out << line << '\n';
    }
  }
  if (record["columns"].empty()) return;
  out << "\nColumn units\n";
  std::size_t width = 0;
  for (const Json& c : record["columns"])
    width = std::max(
        width, displayWidth(printable(c["table"].get<std::string>() + "." + c["column"].get<std::string>())));
  for (const Json& c : record["columns"]) {
    const std::string place = printable(c["table"].get<std::string>() + "." + c["column"].get<std::string>());
    out << "  " << padded(place, width) << "  "
        << (c["unit"].is_string() ? printable(displayLabel(c["unit"])) : std::string("-")) << '\n';
  }
}

}  // namespace

void addUnitsCommand(CLI::App& app, Commands& commands) {
  struct Options {
    std::string file;
    bool json = false;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand(
      "units",
      "List the measures with their dimensions and units, the default of each, and the column units");
  cmd->add_option("FILE", o->file, "The catalogue")->required();
  cmd->add_flag("--json", o->json, "Write JSON");
  commands[cmd] = [o] {
    Catalogue catalogue = openNoted(o->file, Access::Read);
    onFile(o->file, [&] {
      const Json record = unitsRecord(catalogue.library());
      if (o->json)
        std::cout << record.dump(2) << '\n';
      else
        printUnits(std::cout, record);
    });
  };
}

}  // namespace tarn
