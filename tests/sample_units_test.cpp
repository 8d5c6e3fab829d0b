// The sample units, data/units.json: every unit's scale and dimension follow
// from its label and the exact definitions of the units it is made of, and
// every column unit names a numeric column of a new catalogue; the numeric
// columns the sample data fills all have one.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <fstream>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/sample_data.h"

#include "support/sql.h"
#include "tarnlib/library.h"
#include "tarnlib/memfs.h"

namespace tarnlib {
namespace {

using nlohmann::json;
using testing::kSampleDir;
using testing::readSample;

const json& unitsFile() {
  static const json file = readSample("units.json");
  return file;
}

// ---- Quantities: a scale to the coherent SI unit and the exponents of
// length, mass, time, thermodynamic temperature, electric current, luminous
// intensity and amount of substance, in the order of the file.

using Exponents = std::array<int, 7>;

struct Quantity {
  double scale = 1.0;
  Exponents exponents{};
};

Quantity operator*(const Quantity& a, const Quantity& b) {
  Quantity q{a.scale * b.scale, {}};
  for (std::size_t i = 0; i < 7; ++i) q.exponents[i] = a.exponents[i] + b.exponents[i];
  return q;
}

Quantity operator/(const Quantity& a, const Quantity& b) {
  Quantity q{a.scale / b.scale, {}};
  for (std::size_t i = 0; i < 7; ++i) q.exponents[i] = a.exponents[i] - b.exponents[i];
  return q;
}

Quantity power(const Quantity& a, int n) {
  Quantity q{std::pow(a.scale, n), {}};
  for (std::size_t i = 0; i < 7; ++i) q.exponents[i] = a.exponents[i] * n;
  return q;
}

std::string text(const Exponents& e) {
  std::string out = "[";
  for (std::size_t i = 0; i < 7; ++i) out += (i ? ", " : "") + std::to_string(e[i]);
  return out + "]";
}

bool closeTo(double a, double b, double relative) {
  return std::abs(a - b) <= relative * std::max(std::abs(a), std::abs(b));
}

// The plain label grammar:
//   product := power { ("." | "/") power }     left to right: a/b.c is (a/b)·c
//   power   := primary [ "^" ["-" | "+"] digits ]
//   primary := "(" product ")" | "1" | letters  (an atom of the table)
// Throws std::invalid_argument on anything else.
class LabelParser {
 public:
  LabelParser(const std::string& label, const std::map<std::string, Quantity>& atoms)
      : label_(label), atoms_(atoms) {}

  Quantity parse() {
    Quantity q = product();
    if (pos_ != label_.size()) fail("unexpected character");
    return q;
  }

 private:
  bool at(char c) const { return pos_ < label_.size() && label_[pos_] == c; }
  bool atLetter() const { return pos_ < label_.size() && std::isalpha(static_cast<unsigned char>(label_[pos_])); }
  bool atDigit() const { return pos_ < label_.size() && std::isdigit(static_cast<unsigned char>(label_[pos_])); }

  [[noreturn]] void fail(const std::string& what) const {
    throw std::invalid_argument(what + " at " + std::to_string(pos_) + " in \"" + label_ + "\"");
  }

  Quantity product() {
    Quantity q = powered();
    while (at('.') || at('/')) {
      const char op = label_[pos_++];
      const Quantity r = powered();
      q = op == '.' ? q * r : q / r;
    }
    return q;
  }

  Quantity powered() {
    Quantity q = primary();
    if (!at('^')) return q;
    ++pos_;
    int sign = 1;
    if (at('-') || at('+')) sign = label_[pos_++] == '-' ? -1 : 1;
    if (!atDigit()) fail("exponent without digits");
    int n = 0;
    while (atDigit()) n = n * 10 + (label_[pos_++] - '0');
    return power(q, sign * n);
  }

  Quantity primary() {
    if (at('(')) {
      ++pos_;
      Quantity q = product();
      if (!at(')')) fail("missing )");
      ++pos_;
      return q;
    }
    if (at('1')) {
      ++pos_;
      return Quantity{};
    }
    const std::size_t start = pos_;
    while (atLetter()) ++pos_;
    if (start == pos_) fail("expected a unit");
    const std::string name = label_.substr(start, pos_ - start);
    auto it = atoms_.find(name);
    if (it == atoms_.end()) {
      pos_ = start;
      fail("unknown unit " + name);
    }
    return it->second;
  }

  const std::string label_;
  const std::map<std::string, Quantity>& atoms_;
  std::size_t pos_ = 0;
};

// The exact definitions.
constexpr double kInch = 0.0254;                   // m
constexpr double kFoot = 0.3048;                   // m
constexpr double kPound = 0.45359237;              // kg
constexpr double kStandardGravity = 9.80665;       // m/s², pound-force = pound × g
constexpr double kBtu = 1055.05585262;             // J, International Table
constexpr double kFahrenheitInterval = 5.0 / 9.0;  // K
const double kPi = std::acos(-1.0);

// The atoms labels are made of: base units with their exponents, then units
// defined by a factor times an expression in earlier atoms.
const std::map<std::string, Quantity>& atoms() {
  static const std::map<std::string, Quantity> all = [] {
    std::map<std::string, Quantity> a;
    auto base = [&a](const char* name, double scale, std::size_t index) {
      Quantity q{scale, {}};
      q.exponents[index] = 1;
      a[name] = q;
    };
    auto derived = [&a](const char* name, double factor, const char* expression) {
      Quantity q = LabelParser(expression, a).parse();
      q.scale *= factor;
      a[name] = q;
    };
    base("m", 1, 0);
    base("kg", 1, 1);
    base("s", 1, 2);
    base("K", 1, 3);
    base("mol", 1, 6);
    a["rad"] = Quantity{};  // m/m
    derived("deg", kPi / 180, "rad");
    derived("mm", 1e-3, "m");
    derived("cm", 1e-2, "m");
    derived("km", 1e3, "m");
    derived("in", kInch, "m");
    derived("ft", kFoot, "m");
    derived("yd", 3, "ft");
    derived("l", 1e-3, "m^3");
    derived("g", 1e-3, "kg");
    derived("t", 1e3, "kg");
    derived("lb", kPound, "kg");
    derived("min", 60, "s");
    derived("h", 3600, "s");
    derived("degC", 1, "K");  // intervals: no offset
    derived("degF", kFahrenheitInterval, "K");
    derived("N", 1, "kg.m/s^2");
    derived("kN", 1e3, "N");
    derived("lbf", kStandardGravity, "lb.m/s^2");
    derived("kip", 1e3, "lbf");
    derived("Pa", 1, "N/m^2");
    derived("mPa", 1e-3, "Pa");
    derived("kPa", 1e3, "Pa");
    derived("MPa", 1e6, "Pa");
    derived("GPa", 1e9, "Pa");
    derived("psi", 1, "lbf/in^2");
    derived("ksi", 1e3, "psi");
    derived("J", 1, "N.m");
    derived("kJ", 1e3, "J");
    derived("Btu", kBtu, "J");
    derived("W", 1, "J/s");
    return a;
  }();
  return all;
}

Quantity parseLabel(const std::string& label) { return LabelParser(label, atoms()).parse(); }

// Factors as conversion tables print them (7 significant figures): a check of
// the parser and of the atoms against figures found elsewhere.
TEST(SampleUnits, LabelParserAgreesWithPublishedFactors) {
  const std::vector<std::pair<std::string, double>> published = {
      {"psi", 6894.757},           {"lbf", 4.448222},
      {"lb/ft^3", 16.01846},       {"Btu/(lb.degF)", 4186.8},
      {"Btu.in/(h.ft^2.degF)", 0.1442279}, {"Btu/(h.ft^2.degF)", 5.678263},
      {"h.ft^2.degF/Btu", 0.1761102},      {"ft^3/min", 4.719474e-4},
      {"in^4", 4.162314e-7},       {"deg", 0.01745329},
  };
  for (const auto& [label, factor] : published) {
    EXPECT_TRUE(closeTo(parseLabel(label).scale, factor, 1e-6)) << label << ": " << parseLabel(label).scale;
  }
  EXPECT_EQ(text(parseLabel("W/(m^2.K)").exponents), text({0, 1, -3, -1, 0, 0, 0}));
  EXPECT_EQ(text(parseLabel("m^2.K/W").exponents), text({0, -1, 3, 1, 0, 0, 0}));
  EXPECT_EQ(text(parseLabel("1/K").exponents), text({0, 0, 0, -1, 0, 0, 0}));
  EXPECT_EQ(text(parseLabel("s^-1.m^+2").exponents), text({2, 0, -1, 0, 0, 0, 0}));
  // Left to right: a unit after "/" and "." is a factor, not a divisor.
  EXPECT_EQ(text(parseLabel("W/m.K").exponents), text({1, 1, -3, 1, 0, 0, 0}));
  for (const char* bad : {"", "m^", "m^x", "(m", "m)", "m..K", "W/(m K)", "kg/m3", "furlong", "2/s"}) {
    EXPECT_THROW(parseLabel(bad), std::invalid_argument) << bad;
  }
}

TEST(SampleUnits, MeasuresHaveSevenExponentsAndADefaultOfTheirOwn) {
  std::set<std::string> measures, unitNames;
  std::size_t units = 0;
  for (const json& m : unitsFile().at("measures")) {
    const std::string name = m.at("name").get<std::string>();
    SCOPED_TRACE(name);
    EXPECT_TRUE(measures.insert(name).second) << "measure listed twice";
    EXPECT_TRUE(m.at("description").is_string());
    const json& e = m.at("exponents");
    ASSERT_TRUE(e.is_array() && e.size() == 7) << e;
    for (const json& x : e) EXPECT_TRUE(x.is_number_integer()) << e;

    std::set<std::string> labels;
    EXPECT_FALSE(m.at("units").empty());
    for (const json& u : m["units"]) {
      ++units;
      const std::string unit = u.at("name").get<std::string>();
      EXPECT_TRUE(unitNames.insert(unit).second) << "unit name used twice: " << unit;
      EXPECT_TRUE(labels.insert(u.at("label").get<std::string>()).second)
          << "label used twice: " << u["label"];
      ASSERT_TRUE(u.at("scale").is_number()) << unit;
      const double scale = u["scale"].get<double>();
      EXPECT_TRUE(std::isfinite(scale) && scale > 0) << unit << ": " << scale;
    }
    EXPECT_EQ(labels.count(m.at("default").get<std::string>()), 1u)
        << "the default " << m["default"] << " is not a unit of the measure";
  }
  EXPECT_GE(measures.size(), 15u);
  EXPECT_GT(units, measures.size() * 2);
}

// The heart of the file: a mistyped scale or exponent shows here.
TEST(SampleUnits, EveryScaleAndDimensionFollowsFromTheLabel) {
  std::size_t checked = 0;
  for (const json& m : unitsFile().at("measures")) {
    const std::string measure = m.at("name").get<std::string>();
    Exponents expected{};
    for (std::size_t i = 0; i < 7; ++i) expected[i] = m.at("exponents").at(i).get<int>();
    for (const json& u : m.at("units")) {
      const std::string label = u.at("label").get<std::string>();
      const double scale = u.at("scale").get<double>();
      Quantity q;
      try {
        q = parseLabel(label);
      } catch (const std::invalid_argument& e) {
        ADD_FAILURE() << measure << " / " << label << ": " << e.what();
        continue;
      }
      ++checked;
      EXPECT_EQ(text(q.exponents), text(expected)) << measure << " / " << label << ": the label's dimension";
      EXPECT_TRUE(closeTo(scale, q.scale, 1e-12))
          << measure << " / " << label << ": scale " << scale << ", the definitions give " << q.scale;
    }
  }
  EXPECT_GT(checked, 0u);
}

// ---- The columns of a new catalogue, read from SQLite.

struct Schema {
  std::map<std::string, std::map<std::string, std::string>> columns;  // table → column → type
  std::map<std::string, std::string> parent;  // a derived table → the table its id refers to
};

const Schema& catalogueSchema() {
  static const Schema schema = [] {
    Schema s;
    const char* const file = "sample-units-schema";
    if (!register_memvfs()) throw std::runtime_error("memvfs not registered");
    {
      auto library = Library::create(OdString(L"memvfs://sample-units-schema"), LibraryUnit::Millimeter);
      if (!library) throw std::runtime_error("no catalogue");
    }
    {
      testing::RawDb db(file, memvfs_name());
      for (const std::string& table :
           db.rows("SELECT name FROM sqlite_master WHERE type='table' AND name GLOB 'tarnlib_*'")) {
        for (const std::string& row : db.rows("SELECT name, type FROM pragma_table_info('" + table + "')")) {
          const std::size_t bar = row.find('|');
          s.columns[table][row.substr(0, bar)] = row.substr(bar + 1);
        }
        const std::string parent =
            db.value("SELECT \"table\" FROM pragma_foreign_key_list('" + table + "') WHERE \"from\"='id'");
        if (!parent.empty()) s.parent[table] = parent;
      }
    }
    MemFs::instance().remove(OdString(L"sample-units-schema"));
    unregister_memvfs();
    return s;
  }();
  return schema;
}

// The table of `table`'s chain (itself, then its parents) that holds `column`;
// empty when none does.
std::string tableHolding(const std::string& table, const std::string& column) {
  const Schema& s = catalogueSchema();
  for (std::string t = table; !t.empty();) {
    auto it = s.columns.find(t);
    if (it == s.columns.end()) return {};
    if (it->second.count(column)) return t;
    auto up = s.parent.find(t);
    t = up == s.parent.end() ? std::string() : up->second;
  }
  return {};
}

const json* findUnit(const std::string& measure, const std::string& label) {
  for (const json& m : unitsFile().at("measures")) {
    if (m.at("name") != measure) continue;
    for (const json& u : m.at("units"))
      if (u.at("label") == label) return &u;
  }
  return nullptr;
}

TEST(SampleUnits, ColumnsNameRealColumnsOfANewCatalogue) {
  const Schema& schema = catalogueSchema();
  ASSERT_TRUE(schema.columns.count("tarnlib_ColumnUnit")) << "the catalogue has no unit tables";
  std::set<std::pair<std::string, std::string>> seen;
  for (const json& c : unitsFile().at("columns")) {
    const std::string table = c.at("table").get<std::string>();
    const std::string column = c.at("column").get<std::string>();
    SCOPED_TRACE(table + "." + column);
    EXPECT_TRUE(seen.emplace(table, column).second) << "column listed twice";
    EXPECT_NE(findUnit(c.at("measure").get<std::string>(), c.at("unit").get<std::string>()), nullptr)
        << "no unit " << c["unit"] << " of measure " << c["measure"];
    auto t = schema.columns.find(table);
    ASSERT_TRUE(t != schema.columns.end()) << "no such table";
    auto col = t->second.find(column);
    ASSERT_TRUE(col != t->second.end()) << "no such column";
    EXPECT_EQ(col->second, "REAL") << "a unit for a column that is not numeric";
  }
  EXPECT_FALSE(seen.empty());
}

// "kg/m3" and "J/(kg K)", as materials.json writes its units, in the plain form.
std::string plainLabel(const std::string& loose) {
  std::string out;
  for (std::size_t i = 0; i < loose.size(); ++i) {
    const char c = loose[i];
    if (c == ' ') {
      out += '.';
      continue;
    }
    if (std::isdigit(static_cast<unsigned char>(c)) && i > 0 && std::isalpha(static_cast<unsigned char>(loose[i - 1])))
      out += '^';
    out += c;
  }
  return out;
}

// Every numeric column the sample data fills has a unit, and the unit the
// data is written in: the materials' and compositions' declared units, and
// millimetres for the section dimensions.
TEST(SampleUnits, EveryColumnTheSampleFillsHasTheUnitOfItsData) {
  std::map<std::pair<std::string, std::string>, std::string> columnUnits;
  for (const json& c : unitsFile().at("columns"))
    columnUnits[{c.at("table").get<std::string>(), c.at("column").get<std::string>()}] =
        c.at("unit").get<std::string>();

  auto expectUnit = [&](const std::string& table, const std::string& column, const std::string& loose) {
    SCOPED_TRACE(table + "." + column);
    auto it = columnUnits.find({table, column});
    ASSERT_TRUE(it != columnUnits.end()) << "no column unit";
    const Quantity expected = parseLabel(plainLabel(loose));
    const Quantity got = parseLabel(it->second);
    EXPECT_EQ(text(got.exponents), text(expected.exponents)) << it->second << " against " << loose;
    EXPECT_TRUE(closeTo(got.scale, expected.scale, 1e-12)) << it->second << " against " << loose;
  };

  const json materials = readSample("materials.json");
  const json& declared = materials.at("units");
  std::size_t physical = 0;
  for (const char* key : {"density", "specific_heat", "thermal_conductivity"}) {
    for (const json& m : materials.at("materials")) physical += m.contains(key) ? 1 : 0;
    expectUnit("tarnlib_PhysicalAsset", key, declared.at(key).get<std::string>());
  }
  EXPECT_GT(physical, 0u);
  expectUnit("tarnlib_BimAsset_thicknesses", "thickness", declared.at("thickness").get<std::string>());

  const json compositions = readSample("compositions.json");
  const std::string ply = compositions.at("units").at("thickness").get<std::string>();
  expectUnit("tarnlib_Composition_plies", "thickness", ply);
  bool variable = false;
  for (const json& c : compositions.at("compositions")) variable = variable || c.contains("variable");
  if (variable) {
    expectUnit("tarnlib_Composition", "variable_ply_min_thickness", ply);
    expectUnit("tarnlib_Composition", "variable_ply_max_thickness", ply);
  }

  // A dimension may be stored in a base shape's table: a hollow circle's
  // radius is the circle's.
  const json profiles = readSample("profiles.json");
  for (const json& series : profiles.at("series")) {
    const std::string table = "tarnlib_" + series.at("shape").get<std::string>();
    for (const json& d : series.at("dimensions")) {
      const std::string holder = tableHolding(table, d.get<std::string>());
      if (holder.empty()) {
        ADD_FAILURE() << series["name"] << ": no column " << d << " in " << table << " or its bases";
        continue;
      }
      expectUnit(holder, d.get<std::string>(), "mm");
    }
  }
}

}  // namespace
}  // namespace tarnlib
