// The sample section catalogue, data/profiles.json: its series and rows fit the
// shapes they name, their size texts agree with their dimensions, and every
// steel row's nominal mass is the mass of the area its dimensions describe.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <iomanip>
#include <map>
#include <regex>
#include <sstream>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/sample_data.h"

namespace tarnlib {
namespace {

using nlohmann::json;
using testing::kSampleDir;
using testing::readSample;

constexpr double kSteelDensity = 7850.0;  // kg/m³, the density of the tables' masses
constexpr double kMassTolerance = 0.02;   // relative
const double kPi = std::acos(-1.0);

struct Shape {
  std::vector<std::string> required;
  std::vector<std::string> optional;
};

// The parametric shapes a series may name, with their stored dimension names.
const std::map<std::string, Shape>& shapes() {
  static const std::map<std::string, Shape> all = {
      {"IShapeProfile",
       {{"overallWidth", "overallDepth", "webThickness", "flangeThickness"}, {"filletRadius"}}},
      {"UShapeProfile",
       {{"depth", "flangeWidth", "webThickness", "flangeThickness"},
        {"filletRadius", "edgeRadius", "flangeSlope", "centreOfGravityInX"}}},
      {"LShapeProfile",
       {{"depth", "thickness"},
        {"width", "filletRadius", "edgeRadius", "legSlope", "centreOfGravityInX",
         "centreOfGravityInY"}}},
      {"CircleHollowProfile", {{"radius", "wallThickness"}, {}}},
      {"RectangleHollowProfile",
       {{"xDim", "yDim", "wallThickness"}, {"innerFilletRadius", "outerFilletRadius"}}},
      {"RectangleProfile", {{"xDim", "yDim"}, {}}},
      {"CraneRailAShapeProfile",
       {{"overallHeight", "baseWidth2", "headWidth", "headDepth2", "headDepth3", "webThickness",
         "baseWidth4", "baseDepth1", "baseDepth2", "baseDepth3"},
        {"radius", "centreOfGravityInY"}}},
  };
  return all;
}

const std::set<std::string> kTypes = {"Generic", "StructuralConcrete", "StructuralSteel",
                                      "HVAC",    "Piping",             "Electrical"};

// One row's dimensions by name; an optional dimension the series leaves out
// reads as `absent`.
class Dims {
 public:
  Dims(const json& names, const json& row) {
    for (std::size_t i = 0; i < names.size(); ++i)
      values_[names[i].get<std::string>()] = row[i + 1].get<double>();
  }
  double operator()(const std::string& name, double absent = 0.0) const {
    auto it = values_.find(name);
    return it == values_.end() ? absent : it->second;
  }

 private:
  std::map<std::string, double> values_;
};

struct AreaFormula {
  std::set<std::string> accounts_for;  // a dimension outside it changes the area unseen
  std::function<double(const Dims&)> area;  // mm²
};

// Cross-section areas with root fillets and rounded toes and corners.
const std::map<std::string, AreaFormula>& areaFormulas() {
  static const std::map<std::string, AreaFormula> all = {
      // Two flanges, the web between them and four root fillets, each adding
      // (1 - π/4) r².
      {"IShapeProfile",
       {{"overallWidth", "overallDepth", "webThickness", "flangeThickness", "filletRadius"},
        [](const Dims& d) {
          const double h = d("overallDepth"), b = d("overallWidth");
          const double tw = d("webThickness"), tf = d("flangeThickness"), r = d("filletRadius");
          return 2 * b * tf + (h - 2 * tf) * tw + (4 - kPi) * r * r;
        }}},
      // Parallel flanges: the full-depth web, two flanges beyond it, two root
      // fillets and two rounded toes.
      {"UShapeProfile",
       {{"depth", "flangeWidth", "webThickness", "flangeThickness", "filletRadius", "edgeRadius",
         "centreOfGravityInX"},
        [](const Dims& d) {
          const double h = d("depth"), b = d("flangeWidth");
          const double tw = d("webThickness"), tf = d("flangeThickness");
          const double r1 = d("filletRadius"), r2 = d("edgeRadius");
          return h * tw + 2 * (b - tw) * tf + (2 - kPi / 2) * (r1 * r1 - r2 * r2);
        }}},
      // Parallel legs: one root fillet and two rounded toes.
      {"LShapeProfile",
       {{"depth", "width", "thickness", "filletRadius", "edgeRadius", "centreOfGravityInX",
         "centreOfGravityInY"},
        [](const Dims& d) {
          const double a = d("depth"), b = d("width", a), t = d("thickness");
          const double r1 = d("filletRadius"), r2 = d("edgeRadius");
          return t * (a + b - t) + (1 - kPi / 4) * (r1 * r1 - 2 * r2 * r2);
        }}},
      {"CircleHollowProfile",
       {{"radius", "wallThickness"},
        [](const Dims& d) {
          const double D = 2 * d("radius"), t = d("wallThickness");
          return kPi * (D * D - (D - 2 * t) * (D - 2 * t)) / 4;
        }}},
      // Four rounded outer corners remove (1 - π/4) ro² each, four rounded inner
      // corners give back (1 - π/4) ri².
      {"RectangleHollowProfile",
       {{"xDim", "yDim", "wallThickness", "innerFilletRadius", "outerFilletRadius"},
        [](const Dims& d) {
          const double B = d("xDim"), H = d("yDim"), t = d("wallThickness");
          const double ro = d("outerFilletRadius"), ri = d("innerFilletRadius");
          return 2 * t * (B + H - 2 * t) - (4 - kPi) * (ro * ro - ri * ri);
        }}},
  };
  return all;
}

const json& profiles() {
  static const json file = readSample("profiles.json");
  return file;
}

const json& series() { return profiles().at("series"); }

bool hasMass(const json& series) { return series.value("mass", false); }

// Four significant figures, as a table would print them.
std::string shortText(double value) {
  std::ostringstream out;
  out << std::setprecision(4) << value;
  return out.str();
}

std::string where(const json& series, const json& row) {
  const json& size = row.at(0);
  return series.value("name", "?") + " / " +
         (size.is_string() ? size.get<std::string>() : size.dump());
}

TEST(SampleSections, SeriesAndRowsFitTheirShapesAndNames) {
  std::set<std::string> standards;
  for (const json& standard : profiles().at("standards"))
    EXPECT_TRUE(standards.insert(standard.at("name").get<std::string>()).second)
        << "standard listed twice: " << standard["name"];
  const json materialFile = readSample("materials.json");
  std::set<std::string> materials;
  for (const json& material : materialFile.at("materials"))
    materials.insert(material.at("name").get<std::string>());

  std::set<std::string> names;
  std::size_t sections = 0;
  for (const json& s : series()) {
    const std::string name = s.at("name").get<std::string>();
    SCOPED_TRACE(name);
    EXPECT_TRUE(names.insert(name).second) << "series listed twice";
    EXPECT_EQ(kTypes.count(s.at("type").get<std::string>()), 1u) << s["type"];
    if (s.contains("standard")) {
      EXPECT_EQ(standards.count(s["standard"].get<std::string>()), 1u) << s["standard"];
    }
    if (s.contains("material")) {
      EXPECT_EQ(materials.count(s["material"].get<std::string>()), 1u) << s["material"];
    }
    if (s.contains("mass")) {
      ASSERT_TRUE(s["mass"].is_boolean()) << s["mass"];
    }
    if (s["type"] == "StructuralSteel") {
      EXPECT_TRUE(hasMass(s)) << "a steel series without masses";
    }

    auto shape = shapes().find(s.at("shape").get<std::string>());
    ASSERT_NE(shape, shapes().end()) << "unknown shape " << s["shape"];
    std::set<std::string> listed;
    for (const json& d : s.at("dimensions")) {
      const std::string dim = d.get<std::string>();
      EXPECT_TRUE(listed.insert(dim).second) << dim << " listed twice";
      const auto& req = shape->second.required;
      const auto& opt = shape->second.optional;
      EXPECT_TRUE(std::find(req.begin(), req.end(), dim) != req.end() ||
                  std::find(opt.begin(), opt.end(), dim) != opt.end())
          << dim << " is not a dimension of " << shape->first;
    }
    for (const std::string& dim : shape->second.required)
      EXPECT_EQ(listed.count(dim), 1u) << "required dimension " << dim << " missing";

    const std::size_t width = 1 + s["dimensions"].size() + (hasMass(s) ? 1 : 0);
    std::set<std::string> sizes;
    EXPECT_FALSE(s.at("sections").empty());
    for (const json& row : s["sections"]) {
      ++sections;
      ASSERT_TRUE(row.is_array() && row.size() == width && row[0].is_string())
          << where(s, row) << ": expected the size text and " << width - 1 << " numbers";
      const std::string size = row[0].get<std::string>();
      EXPECT_TRUE(sizes.insert(size).second) << where(s, row) << ": size listed twice";
      for (std::size_t i = 1; i < width; ++i) {
        ASSERT_TRUE(row[i].is_number()) << where(s, row) << ": entry " << i << " " << row[i];
        const double v = row[i].get<double>();
        EXPECT_TRUE(std::isfinite(v) && v > 0) << where(s, row) << ": entry " << i << " " << v;
      }
    }
  }
  EXPECT_GE(sections, 300u);
}

// "L 100x100x10", "RHS 200x100x8", "CHS 168.3x6.3", "Timber 45x195": the numbers
// of the size text are the first dimensions in their order (a radius read as
// its diameter). Catches swapped columns, which leave the area unchanged.
TEST(SampleSections, SizeTextsGiveTheLeadingDimensions) {
  const std::regex product(R"(^\S.* ([0-9.]+(?:x[0-9.]+)+)$)");
  std::size_t checked = 0;
  for (const json& s : series()) {
    const json& dims = s.at("dimensions");
    for (const json& row : s.at("sections")) {
      const std::string size = row.at(0).get<std::string>();
      std::smatch m;
      if (!std::regex_match(size, m, product)) continue;
      std::vector<double> numbers;
      std::istringstream text(m[1].str());
      for (std::string number; std::getline(text, number, 'x');)
        numbers.push_back(std::stod(number));
      ASSERT_LT(numbers.size(), std::min(dims.size() + 1, row.size())) << where(s, row);
      ++checked;
      for (std::size_t i = 0; i < numbers.size(); ++i) {
        double value = row.at(i + 1).get<double>();
        if (dims[i] == "radius") value *= 2;
        EXPECT_NEAR(value, numbers[i], 1e-9)
            << where(s, row) << ": " << dims[i].get<std::string>() << " disagrees with the size";
      }
    }
  }
  EXPECT_GT(checked, 0u);
}

TEST(SampleSections, NominalMassesMatchTheAreaOfTheDimensions) {
  std::size_t checked = 0;
  for (const json& s : series()) {
    if (!hasMass(s)) continue;
    const std::string shape = s.at("shape").get<std::string>();
    SCOPED_TRACE(s.at("name").get<std::string>());
    auto formula = areaFormulas().find(shape);
    ASSERT_NE(formula, areaFormulas().end()) << "no area formula for " << shape;
    for (const json& d : s.at("dimensions"))
      ASSERT_EQ(formula->second.accounts_for.count(d.get<std::string>()), 1u)
          << "the " << shape << " area leaves out " << d;

    const json& dims = s["dimensions"];
    for (const json& row : s.at("sections")) {
      ASSERT_EQ(row.size(), dims.size() + 2) << where(s, row);
      const double area = formula->second.area(Dims(dims, row));  // mm²
      const double computed = area * 1e-6 * kSteelDensity;        // kg/m
      const double nominal = row.back().get<double>();
      ++checked;
      if (std::abs(computed - nominal) > kMassTolerance * nominal) {
        ADD_FAILURE() << where(s, row) << ": nominal " << shortText(nominal)
                      << " kg/m, the dimensions give " << shortText(computed) << " kg/m";
      }
    }
  }
  EXPECT_GT(checked, 0u);
}

}  // namespace
}  // namespace tarnlib
