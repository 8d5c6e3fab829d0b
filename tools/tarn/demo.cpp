// tarn demo: builds the sample catalogue of data/ into a file, prints what it
// holds and answers a few questions from it, and leaves the file to explore.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <tuple>

#include "catalogue_file.h"
#include "commands.h"
#include "common.h"
#include "data_reader.h"
#include "demo_properties.h"
#include "describe.h"
#include "shape_classes.h"
#include "tarnlib/tarnlib.h"
#include "types.h"

namespace tarn {

namespace fs = std::filesystem;
using nlohmann::json;
using tarnlib::TnSmartPtr;

namespace {

const char* const kDefaultFile = "tarn-demo.sqlite";
// The files read, in this order: later ones refer to names the earlier define.
const char* const kDataFiles[] = {"layers.json",       "units.json",    "materials.json",
                                  "compositions.json", "profiles.json", "property_sets.json"};

// The sample data: the folder given, else the one installed beside the tool,
// else the source tree the tool was built from.
fs::path dataFolder(const std::string& given) {
  if (!given.empty()) {
    if (!fs::is_directory(fs::u8path(given))) throw Failure(given, "no such folder");
    return fs::u8path(given);
  }
  std::error_code ec;
  fs::path self = fs::read_symlink("/proc/self/exe", ec);
  if (!ec) {
    fs::path installed = (self.parent_path() / TARN_DATA_FROM_BIN).lexically_normal();
    if (fs::exists(installed / kDataFiles[0], ec)) return installed;
  }
  fs::path source(TARN_SOURCE_DATA_DIR);
  if (fs::exists(source / kDataFiles[0], ec)) return source;
  throw Failure("data", "the sample data was not found; give its folder with --data");
}

tarnlib::MaterialFunction functionNamed(const Reader& r, const std::string& name, const std::string& where) {
  for (int f = 0; f <= static_cast<int>(tarnlib::MaterialFunction::Membrane); ++f)
    if (functionName(static_cast<tarnlib::MaterialFunction>(f)) == name)
      return static_cast<tarnlib::MaterialFunction>(f);
  r.fail(where, "unknown function \"" + name + "\"");
}

std::uint32_t compositionTypeBit(const Reader& r, const std::string& name, const std::string& where) {
  for (std::uint32_t bit = 1; bit <= tarnlib::Composition::Plate; bit <<= 1)
    if (compositionTypeName(bit) == name) return bit;
  r.fail(where, "unknown composition type \"" + name + "\"");
}

tarnlib::ProfileType profileTypeNamed(const Reader& r, const std::string& name, const std::string& where) {
  for (std::int32_t bit = 1; bit <= static_cast<std::int32_t>(tarnlib::ProfileType::Electrical); bit <<= 1)
    if (profileTypeText(static_cast<tarnlib::ProfileType>(bit)) == name)
      return static_cast<tarnlib::ProfileType>(bit);
  r.fail(where, "unknown profile type \"" + name + "\"");
}

// Builds the catalogue object by object through the library's public classes,
// as a host would.
class Builder {
 public:
  explicit Builder(tarnlib::Library& library) : library_(library) {}

  void layers(const Reader& r) {
    for (const json& name : r.array(r.root(), "layers", "top level")) {
      if (!name.is_string()) r.fail("layers", "holds a name that is not a text");
      auto layer = tarnlib::Layer::create(wide(name.get<std::string>()));
      layers_[name.get<std::string>()] = library_.save<tarnlib::Layer>(layer);
    }
  }

  void materials(const Reader& r) {
    const json& root = r.root();
    const json& properties = r.array(root, "custom_properties", "top level");
    for (std::size_t i = 0; i < properties.size(); ++i) {
      std::string where = at("custom_properties", i, properties[i]);
      const TypeEntry& carrier = typeNamed(r.text(properties[i], "object_type", where));
      auto property =
          tarnlib::CustomProperty::create(wide(r.text(properties[i], "name", where)), carrier.type);
      properties_[r.text(properties[i], "name", where)] = library_.save<tarnlib::CustomProperty>(property);
    }

    const json& types = r.array(root, "material_types", "top level");
    for (std::size_t i = 0; i < types.size(); ++i) {
      std::string where = at("material_types", i, types[i]);
      std::string name = r.text(types[i], "name", where);
      materialTypes_[name] = library_.save<tarnlib::MaterialType>(tarnlib::MaterialType::create(wide(name)));
      auto pattern = types[i].find("cut_pattern");
      if (pattern != types[i].end())
        patterns_[name] =
            tarnlib::Pattern(r.number(pattern->value("scale", json(1.0)), where + ".cut_pattern.scale"),
                             r.number(pattern->value("angle", json(0.0)), where + ".cut_pattern.angle"),
                             pattern->value("cross", false), false);
    }

    const json& materials = r.array(root, "materials", "top level");
    for (std::size_t i = 0; i < materials.size(); ++i)
      material(r, materials[i], at("materials", i, materials[i]));
  }

  void compositions(const Reader& r) {
    const json& root = r.root();
    for (const json& name : r.array(root, "composition_types", "top level")) {
      if (!name.is_string()) r.fail("composition_types", "holds a name that is not a text");
      compositionTypes_[name.get<std::string>()] = library_.save<tarnlib::CompositionType>(
          tarnlib::CompositionType::create(wide(name.get<std::string>())));
    }
    const json& compositions = r.array(root, "compositions", "top level");
    for (std::size_t i = 0; i < compositions.size(); ++i)
      composition(r, compositions[i], at("compositions", i, compositions[i]));
  }

  void profiles(const Reader& r) {
    const json& root = r.root();
    const json& standards = r.array(root, "standards", "top level");
    for (std::size_t i = 0; i < standards.size(); ++i) {
      std::string where = at("standards", i, standards[i]);
      std::string name = r.text(standards[i], "name", where);
      if (standards_.count(name)) r.fail(where, "the standard \"" + name + "\" is given twice");
      standards_[name] =
          library_.save<tarnlib::ProfileStandard>(tarnlib::ProfileStandard::create(wide(name)));
    }
    const json& series = r.array(root, "series", "top level");
    for (std::size_t i = 0; i < series.size(); ++i) this->series(r, series[i], at("series", i, series[i]));
  }

 private:
  void material(const Reader& r, const json& m, const std::string& where) {
    std::string name = r.text(m, "name", where);
    std::string typeName = r.text(m, "type", where);
    auto material =
        tarnlib::Material::create(wide(name), named(r, materialTypes_, typeName, "material type", where));
    material->set_description(wide(r.optionalText(m, "description", where)));
    auto pattern = patterns_.find(typeName);
    if (pattern != patterns_.end()) material->set_cut_pattern(pattern->second);
    for (const json& tag : m.value("tags", json::array())) {
      if (!tag.is_string()) r.fail(where, "holds a tag that is not a text");
      material->add_tag(wide(tag.get<std::string>()));
    }

    auto physical = tarnlib::PhysicalAsset::create(wide(name));
    if (m.contains("density")) physical->set_density(r.number(m["density"], where + ".density"));
    if (m.contains("specific_heat"))
      physical->set_specific_heat(r.number(m["specific_heat"], where + ".specific_heat"));
    if (m.contains("thermal_conductivity"))
      physical->set_thermal_conductivity(
          r.number(m["thermal_conductivity"], where + ".thermal_conductivity"));
    material->set_physical_asset(physical);

    auto bim = tarnlib::BimAsset::create(wide(name));
    bim->set_default_function(functionNamed(r, r.text(m, "function", where), where));
    for (const json& t : m.value("thicknesses", json::array()))
      bim->set_thicknesses().insert(r.number(t, where + ".thicknesses"));
    bim->set_variable_thickness(m.value("variable_thickness", true));
    std::string layer = r.optionalText(m, "layer", where);
    if (!layer.empty()) bim->set_layer(named(r, layers_, layer, "layer", where));
    material->set_bim_asset(bim);

    const json values = m.value("custom_values", json::object());
    for (const auto& [property, value] : values.items()) {
      if (!value.is_string()) r.fail(where, "custom value \"" + property + "\" is not a text");
      material->set_custom_value(named(r, properties_, property, "custom property", where),
                                 wide(value.get<std::string>()));
    }
    materials_[name] = library_.save<tarnlib::Material>(material);
  }

  void composition(const Reader& r, const json& c, const std::string& where) {
    auto composition = tarnlib::Composition::create(wide(r.text(c, "name", where)));
    composition->set_type(compositionTypeBit(r, r.text(c, "type", where), where));
    std::string type = r.optionalText(c, "composition_type", where);
    if (!type.empty())
      composition->set_composition_type(named(r, compositionTypes_, type, "composition type", where));
    std::string layer = r.optionalText(c, "layer", where);
    if (!layer.empty()) composition->set_layer(named(r, layers_, layer, "layer", where));
    composition->set_description(wide(r.optionalText(c, "description", where)));
    for (const json& tag : c.value("tags", json::array())) {
      if (!tag.is_string()) r.fail(where, "holds a tag that is not a text");
      composition->add_tag(wide(tag.get<std::string>()));
    }

    const json& plies = r.array(c, "plies", where);
    for (std::size_t i = 0; i < plies.size(); ++i) {
      std::string plyWhere = where + ".plies[" + std::to_string(i) + "]";
      composition->append_ply(tarnlib::Composition::Ply(
          named(r, materials_, r.text(plies[i], "material", plyWhere), "material", plyWhere),
          functionNamed(r, r.text(plies[i], "function", plyWhere), plyWhere),
          r.number(plies[i].value("thickness", json()), plyWhere + ".thickness")));
    }

    // The setters keep the marks consistent by moving them; data that needs
    // moving is wrong, so it is refused rather than silently corrected.
    const json& core = r.array(c, "core", where);
    if (core.size() != 2) r.fail(where, "core needs [first, last]");
    std::uint32_t first = r.index(core[0], where + ".core");
    std::uint32_t last = r.index(core[1], where + ".core");
    std::uint32_t structural = r.index(c.value("structural", json()), where + ".structural");
    composition->set_last_core_ply(last);
    composition->set_first_core_ply(first);
    composition->set_structural_ply(structural);
    if (composition->first_core_ply() != first || composition->last_core_ply() != last ||
        composition->structural_ply() != structural)
      r.fail(where, "core and structural ply must satisfy first <= structural <= last < number of plies");
    auto variable = c.find("variable");
    if (variable != c.end()) {
      std::uint32_t ply = r.index(variable->value("ply", json()), where + ".variable.ply");
      if (ply >= plies.size()) r.fail(where, "variable ply is not one of its plies");
      composition->set_variable_ply(ply);
      composition->set_variable_ply_min_thickness(
          r.number(variable->value("min", json(0.0)), where + ".variable.min"));
      if (variable->contains("max"))
        composition->set_variable_ply_max_thickness(r.number((*variable)["max"], where + ".variable.max"));
    }
    library_.save<tarnlib::Composition>(composition);
  }

  void series(const Reader& r, const json& s, const std::string& where) {
    const std::string name = r.text(s, "name", where);
    const std::string standardName = r.optionalText(s, "standard", where);
    TnSmartPtr<tarnlib::ProfileStandard> standard;
    if (!standardName.empty()) standard = named(r, standards_, standardName, "standard", where);
    const tarnlib::ProfileType type = profileTypeNamed(r, r.text(s, "type", where), where);
    // A repeated series would quietly become the first one again.
    if (!seriesKeys_.insert({name, standardName, static_cast<std::int32_t>(type)}).second)
      r.fail(where, "the series is given twice");
    const std::string shapeName = r.text(s, "shape", where);
    const OdRxClass* shape = shapeClassNamed(shapeName);
    if (!shape) {
      std::string names;
      for (const std::string& c : shapeClassNames()) names += (names.empty() ? "" : ", ") + c;
      r.fail(where, "unknown shape \"" + shapeName + "\"; the shapes are " + names);
    }
    TnSmartPtr<tarnlib::Material> material;
    const std::string materialName = r.optionalText(s, "material", where);
    if (!materialName.empty()) material = named(r, materials_, materialName, "material", where);
    auto seriesObject = library_.save<tarnlib::ProfileName>(
        standard ? tarnlib::ProfileName::create(standard, wide(name), type)
                 : tarnlib::ProfileName::create(wide(name), type));

    const std::vector<std::string> columns = dimensionColumns(r, s, *shape, shapeName, where);
    std::vector<OdString> wideColumns;
    for (const std::string& column : columns) wideColumns.push_back(wide(column));
    const bool mass = r.flag(s, "mass", false, where);
    const std::size_t length = 1 + columns.size() + (mass ? 1 : 0);
    const std::string needs = "needs " + std::to_string(length) + " values: the size text, " +
                              std::to_string(columns.size()) + " dimensions" + (mass ? " and the mass" : "");

    const json& rows = r.array(s, "sections", where);
    std::set<std::string> sizes;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const json& row = rows[i];
      std::string rowWhere = where + ".sections[" + std::to_string(i) + "]";
      if (!row.is_array() || row.empty() || !row[0].is_string())
        r.fail(rowWhere, "needs an array that starts with the size text");
      const std::string size = row[0].get<std::string>();
      rowWhere += " (\"" + size + "\")";
      if (row.size() != length) r.fail(rowWhere, "has " + std::to_string(row.size()) + " values; " + needs);
      // A repeated size would quietly become the first one again.
      if (!sizes.insert(size).second) r.fail(rowWhere, "the size is given twice in its series");
      auto profile = createShape(*shape, seriesObject, wide(size));
      // Every name was checked against the shape's dimensions above.
      for (std::size_t c = 0; c < columns.size(); ++c)
        profile->set_dimension(wideColumns[c], r.number(row[1 + c], rowWhere + "." + columns[c]));
      // The library has no field for the nominal mass; the description carries it.
      if (mass) {
        const double kgPerMetre = r.number(row.back(), rowWhere + ".mass");
        profile->set_description(wide("Nominal mass " + text(Json(kgPerMetre)) + " kg/m"));
      }
      profile->set_material(material);
      library_.save<tarnlib::ParametrizedProfile>(profile);
    }
  }

  // The dimension names of a series, checked against its shape: each one the
  // shape has, none twice, every required one given.
  std::vector<std::string> dimensionColumns(const Reader& r, const json& s, const OdRxClass& shape,
                                            const std::string& shapeName, const std::string& where) {
    auto probe = createShape(shape, TnSmartPtr<tarnlib::ProfileName>(), OdString());
    const std::vector<tarnlib::ParametrizedProfile::Dimension> dimensions = probe->dimensions();
    std::string known;
    for (const auto& d : dimensions) known += (known.empty() ? "" : ", ") + std::string(d.name);
    std::vector<std::string> columns;
    for (const json& name : r.array(s, "dimensions", where)) {
      if (!name.is_string()) r.fail(where, "\"dimensions\" holds a name that is not a text");
      const std::string column = name.get<std::string>();
      auto it =
          std::find_if(dimensions.begin(), dimensions.end(), [&](const auto& d) { return column == d.name; });
      if (it == dimensions.end())
        r.fail(where, shapeName + " has no dimension \"" + column + "\"; its dimensions are " + known);
      if (std::find(columns.begin(), columns.end(), column) != columns.end())
        r.fail(where, "the dimension \"" + column + "\" is given twice");
      columns.push_back(column);
    }
    for (const auto& d : dimensions)
      if (!d.optional && std::find(columns.begin(), columns.end(), d.name) == columns.end())
        r.fail(where, shapeName + " needs the dimension \"" + d.name + "\"");
    return columns;
  }

  tarnlib::Library& library_;
  std::map<std::string, TnSmartPtr<tarnlib::Layer>> layers_;
  std::map<std::string, TnSmartPtr<tarnlib::CustomProperty>> properties_;
  std::map<std::string, TnSmartPtr<tarnlib::MaterialType>> materialTypes_;
  std::map<std::string, tarnlib::Pattern> patterns_;
  std::map<std::string, TnSmartPtr<tarnlib::Material>> materials_;
  std::map<std::string, TnSmartPtr<tarnlib::CompositionType>> compositionTypes_;
  std::map<std::string, TnSmartPtr<tarnlib::ProfileStandard>> standards_;
  std::set<std::tuple<std::string, std::string, std::int32_t>> seriesKeys_;  // name, standard, type
};

std::string fixed(double value, int decimals) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
  return buffer;
}

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

// ---- What the demo shows of the catalogue it built, read back through the
// library's queries.

void printSummary(const tarnlib::Library& library) {
  std::cout << "It holds:\n";
  Filter ownClass;
  ownClass.ownClassOnly = true;
  for (const TypeEntry& type : typeTable()) {
    if (!type.kinds.empty()) continue;
    std::size_t n = type.count(library, ownClass);
    if (n > 0) std::cout << "  " << n << ' ' << type.name << '\n';
  }
}

void printInsulation(const tarnlib::Library& library) {
  tarnlib::MaterialCriteria criteria;
  criteria.tags.insert(L"insulation");
  std::vector<TnSmartPtr<tarnlib::Material>> found;
  library.get<tarnlib::Material>(found, criteria);
  auto conductivity = [](const TnSmartPtr<tarnlib::Material>& m) {
    const auto& asset = m->physical_asset();
    return asset && asset->has_thermal_conductivity() ? asset->thermal_conductivity() : 1e9;
  };
  std::stable_sort(found.begin(), found.end(),
                   [&](const auto& a, const auto& b) { return conductivity(a) < conductivity(b); });
  std::cout << "\nMaterials tagged \"insulation\", best first (thermal conductivity, W/(m K)):\n";
  for (const auto& m : found)
    std::cout << "  " << fixed(conductivity(m), 3) << "  " << printable(utf8(m->name())) << '\n';
}

// Thermal transmittance of a build-up from its plies' conductivities, with the
// usual surface resistances for horizontal heat flow (0.13 inside, 0.04
// outside). Plies without a conductivity (air layers) are left out, so this is
// an estimate for comparing walls, not a calculation to build on.
void printExternalWalls(const tarnlib::Library& library) {
  auto type = library.get<tarnlib::CompositionType>(tarnlib::NameKey(L"External wall"));
  if (!type) return;
  tarnlib::CompositionCriteria criteria;
  criteria.type_ids.insert(type->id());
  std::vector<TnSmartPtr<tarnlib::Composition>> walls;
  library.get<tarnlib::Composition>(walls, criteria);
  std::cout << "\nExternal walls: total thickness (mm) and estimated U-value (W/(m2 K)):\n";
  for (const auto& wall : walls) {
    double thickness = 0.0;
    double resistance = 0.13 + 0.04;
    for (const auto& ply : wall->plies()) {
      thickness += ply.thickness;
      const auto& asset =
          ply.material ? ply.material->physical_asset() : TnSmartPtr<tarnlib::PhysicalAsset>();
      if (asset && asset->has_thermal_conductivity() && asset->thermal_conductivity() > 0)
        resistance += ply.thickness / 1000.0 / asset->thermal_conductivity();
    }
    std::cout << "  " << fixed(thickness, 1) << "  U " << fixed(1.0 / resistance, 2) << "  "
              << printable(utf8(wall->name())) << '\n';
  }
}

void printUses(const tarnlib::Library& library, const wchar_t* materialName) {
  std::vector<TnSmartPtr<tarnlib::Composition>> all;
  library.get<tarnlib::Composition>(all);
  std::cout << "\nCompositions with a ply of " << quoted(utf8(OdString(materialName)))
            << " (tarn remove keeps a material while they use it):\n";
  for (const auto& composition : all) {
    bool uses = std::any_of(composition->plies().begin(), composition->plies().end(),
                            [&](const tarnlib::Composition::Ply& ply) {
                              return ply.material && ply.material->name() == materialName;
                            });
    if (uses) std::cout << "  " << printable(utf8(composition->name())) << '\n';
  }
}

// The section series with their number of sizes and the first and last, from
// the picker query: one SQL query, rows ordered by standard and series.
void printSections(const tarnlib::Library& library) {
  std::vector<tarnlib::ProfilesPanelRow> rows;
  library.get<tarnlib::ProfilesPanelQuery>(rows, tarnlib::ProfilesPanelQuery{});
  struct Series {
    std::string standard, name;
    tarnlib::ProfileType type;
    std::string first, last;
    std::size_t sizes = 0;
  };
  std::vector<Series> series;
  for (const tarnlib::ProfilesPanelRow& row : rows) {
    std::string standard = row.standard.isEmpty() ? "-" : printable(utf8(row.standard));
    std::string name = printable(utf8(row.series));
    if (series.empty() || series.back().standard != standard || series.back().name != name ||
        series.back().type != row.type)
      series.push_back(Series{standard, name, row.type, printable(utf8(row.size)), "", 0});
    series.back().last = printable(utf8(row.size));
    ++series.back().sizes;
  }
  if (series.empty()) return;
  std::size_t standardWidth = 0, nameWidth = 0;
  for (const Series& s : series) {
    standardWidth = std::max(standardWidth, s.standard.size());
    nameWidth = std::max(nameWidth, s.name.size());
  }
  std::cout << "\nSection series: standard, series, number of sizes, the first and the last:\n";
  for (const Series& s : series) {
    std::string sizes = std::to_string(s.sizes);
    std::cout << "  " << s.standard << std::string(standardWidth - s.standard.size() + 2, ' ') << s.name
              << std::string(nameWidth - s.name.size() + 2, ' ')
              << std::string(3 - std::min<std::size_t>(3, sizes.size()), ' ') << sizes << "  " << s.first
              << (s.sizes > 1 ? " to " + s.last : "") << '\n';
  }
}

void printHints(const std::string& file) {
  std::string f = file.find(' ') == std::string::npos ? file : quoted(file);
  std::cout << "\nExplore it:\n"
            << "  tarn info " << f << '\n'
            << "  tarn list " << f << " material --tag insulation\n"
            << "  tarn list " << f << " composition --name \"%timber%\"\n"
            << "  tarn show " << f << " composition \"External wall, timber frame\"\n"
            << "  tarn show " << f << " physicalasset \"Cross-laminated timber\" --json\n"
            << "  tarn list " << f << " ishapeprofile --series IPE\n"
            << "  tarn show " << f << " profile \"HEA 200\"\n"
            << "  tarn units " << f << '\n'
            << "  tarn show " << f << " propertyset Pset_WallCommon\n";
}

void run(const std::string& file, bool force, const std::string& data) {
  fs::path folder = dataFolder(data);
  // Every data file is parsed before the catalogue is made, so that a broken
  // file leaves nothing behind.
  std::vector<Reader> readers;
  for (const char* name : kDataFiles) readers.emplace_back(folder / name);

  refuseIfReadOnly(file);
  if (!force && fileExists(file)) throw Failure(file, "already exists; give --force to replace it");
  // Built aside and moved into place, so that a failure, or another process at
  // the same file, never finds a half-made catalogue there.
  NewCatalogue made(file, force, tarnlib::LibraryUnit::Millimeter, "");
  Catalogue& catalogue = made.catalogue();
  onFile(file, [&] {
    // One transaction for the whole catalogue: a single commit instead of one
    // per object.
    tarnlib::Transaction transaction(catalogue.shared(), tarnlib::Transaction::kBeginCurrent);
    Builder builder(catalogue.library());
    builder.layers(readers[0]);
    const SampleUnits units = loadUnits(catalogue.library(), readers[1]);
    builder.materials(readers[2]);
    builder.compositions(readers[3]);
    builder.profiles(readers[4]);
    loadPropertySets(catalogue.library(), readers[5], units);
    transaction.commit();
  });
  made.commit();
  onFile(file, [&] {
    const tarnlib::Library& library = catalogue.library();
    std::cout << "Built the sample catalogue " << file << " from " << folder.string() << ".\n";
    printSummary(library);
    printInsulation(library);
    printExternalWalls(library);
    printUses(library, L"Reinforced concrete");
    printSections(library);
  });
  if (file.find("://") != std::string::npos)
    std::cout << "\nThe catalogue lived in memory and is gone now that tarn ends.\n";
  else
    printHints(file);
}

}  // namespace

void addDemoCommand(CLI::App& app, Commands& commands) {
  struct Options {
    std::string file = kDefaultFile;
    bool force = false;
    std::string data;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd =
      app.add_subcommand("demo", "Build the sample catalogue into a file and show a few queries on it");
  cmd->add_option("FILE", o->file, "Where to build it (memvfs://NAME builds it in memory)")
      ->capture_default_str();
  cmd->add_flag("--force", o->force, "Replace FILE if it exists");
  cmd->add_option("--data", o->data, "Folder of the sample data (default: the one installed with tarn)")
      ->type_name("DIR");
  commands[cmd] = [o] { run(o->file, o->force, o->data); };
}

}  // namespace tarn
