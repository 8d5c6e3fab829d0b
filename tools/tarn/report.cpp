#include "report.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "common.h"
#include "describe.h"
#include "svg_drawing.h"
#include "tarnlib/profile_outline.h"
#include "tarnlib/tarnlib.h"
#include "types.h"

namespace tarn {

namespace {

using tarnlib::Composition;
using tarnlib::Library;
using tarnlib::Material;
using tarnlib::Profile;
using tarnlib::PropertySet;
using tarnlib::TnSmartPtr;

// Surface resistances of a wall with horizontal heat flow, in m²·K/W: the
// inside and the outside one of the usual thermal standard (ISO 6946). Every
// composition's estimate uses them, and its page says so.
constexpr double kInsideSurfaceResistance = 0.13;
constexpr double kOutsideSurfaceResistance = 0.04;

std::string esc(const std::string& text) { return escapeMarkup(text); }
std::string esc(const OdString& text) { return escapeMarkup(utf8(text)); }
std::string idText(std::uint32_t id) { return std::to_string(id); }

// A value shown in a unit of the catalogue: the label's display form and the
// factor from the value the code has into that unit.
struct Shown {
  std::string label;
  double factor = 1.0;
};

struct Exponents {
  short e[7];
  bool operator==(const Exponents& o) const {
    return std::equal(std::begin(e), std::end(e), std::begin(o.e));
  }
};

Exponents exponentsOf(const tarnlib::Unit& unit) {
  return Exponents{{unit.length(), unit.mass(), unit.time(), unit.thermodynamic_temperature(),
                    unit.electric_current(), unit.luminous_intensity(), unit.amount_of_substance()}};
}

// The units a report shows its computed values in, found in the catalogue's
// own units so that the pages speak as `tarn units` does: section properties
// in centimetres (inches in an inch catalogue) when the catalogue has those
// units, else in powers of its length unit; a U-value, a thermal resistance
// and a mass per metre in the catalogue's default unit of their measure, else
// in SI.
class ReportUnits {
 public:
  explicit ReportUnits(const Library& library) : unit_(library.unit()) {
    library.get<tarnlib::Unit>(units_);
    defaults_ = library.defaultUnits();
    if (auto c = library.columnUnit(OdString("tarnlib_PhysicalAsset"), OdString("thermal_conductivity")))
      conductivityToSi_ = c->scale();
    if (auto d = library.columnUnit(OdString("tarnlib_PhysicalAsset"), OdString("density")))
      densityToSi_ = d->scale();
  }

  tarnlib::LibraryUnit system() const { return unit_; }
  std::string length() const { return unit_ == tarnlib::LibraryUnit::Inch ? "in" : "mm"; }
  double metresPerLength() const { return unit_ == tarnlib::LibraryUnit::Inch ? 0.0254 : 0.001; }
  double conductivityToSi() const { return conductivityToSi_; }
  double densityToSi() const { return densityToSi_; }

  // Values in the catalogue's length unit to the power n.
  Shown lengthPower(int n) const {
    const std::string base = unit_ == tarnlib::LibraryUnit::Inch ? "in" : "cm";
    const std::string wanted = n == 1 ? base : base + "^" + std::to_string(n);
    for (const auto& u : units_) {
      const Exponents e = exponentsOf(*u);
      if (utf8(u->label()) == wanted && e == Exponents{{static_cast<short>(n), 0, 0, 0, 0, 0, 0}})
        return Shown{displayLabel(wanted), std::pow(metresPerLength(), n) / u->scale()};
    }
    return Shown{displayLabel(n == 1 ? length() : length() + "^" + std::to_string(n)), 1.0};
  }

  // SI values of a measure with these exponents.
  Shown measure(const Exponents& e, const std::string& siLabel) const {
    for (const tarnlib::DefaultUnit& d : defaults_)
      if (d.unit() && exponentsOf(*d.unit()) == e)
        return Shown{displayLabel(utf8(d.unit()->label())), 1.0 / d.unit()->scale()};
    return Shown{displayLabel(siLabel), 1.0};
  }

 private:
  tarnlib::LibraryUnit unit_;
  std::vector<TnSmartPtr<tarnlib::Unit>> units_;
  std::vector<tarnlib::DefaultUnit> defaults_;
  double conductivityToSi_ = 1.0;
  double densityToSi_ = 1.0;
};

const char* const kStyle =
    "body{font-family:system-ui,'DejaVu Sans',Arial,sans-serif;margin:0;color:#1f2d3d;background:#fafbfc}"
    "header{background:#1f2d3d;color:#fff;padding:.6em 1.2em}header a{color:#fff;margin-right:1.2em}"
    "header .site{font-weight:bold;margin-right:2em}main{padding:1em 1.2em;max-width:70em}"
    "table{border-collapse:collapse;margin:.5em 0 1em}td,th{border-bottom:1px solid #dde3ea;padding:.2em .8em"
    " .2em 0;text-align:left;vertical-align:top}th{color:#56606b;font-weight:normal}td.n{text-align:right}"
    ".none{color:#9aa3ad}.note{color:#56606b;font-size:.9em;max-width:50em}.drawing{background:#fff;"
    "border:1px solid #dde3ea;max-width:100%;height:auto}section.profile{border-top:1px solid #dde3ea;"
    "padding-top:.5em}.columns{display:flex;flex-wrap:wrap;gap:2em}.kind{color:#56606b;font-size:.85em}"
    "#objects li[hidden]{display:none}input#search{font-size:1em;padding:.3em;width:24em}";

class Site {
 public:
  Site(const std::string& dir, const std::string& title, std::size_t total, const ReportProgress& progress)
      : dir_(dir), title_(title), total_(total), progress_(progress) {}

  void write(const std::string& name, const std::string& content) {
    const std::string path = dir_ + "/" + name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    out.close();
    if (!out) throw Failure(path, "cannot be written");
    ++done_;
    if (progress_) progress_(done_, total_);
  }

  void page(const std::string& name, const std::string& heading, const std::string& body,
            const std::string& script = std::string()) {
    ++summary.pages;
    write(name,
          "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
          "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
              esc(heading) + " · " + esc(title_) + "</title>\n<style>" + kStyle +
              "</style>\n</head>\n<body>\n<header><span class=\"site\">" + esc(title_) +
              "</span><a href=\"index.html\">Index</a><a href=\"materials.html\">Materials</a>"
              "<a href=\"compositions.html\">Compositions</a><a href=\"profiles.html\">Profiles</a>"
              "<a href=\"property-sets.html\">Property sets</a></header>\n<main>\n<h1>" +
              esc(heading) + "</h1>\n" + body + "</main>\n" +
              (script.empty() ? std::string() : "<script>\n" + script + "</script>\n") +
              "</body>\n</html>\n");
  }

  // The drawing's file under drawings/, and an img element showing it.
  std::string drawing(const std::string& name, const Drawing& d, const std::string& alt) {
    ++summary.drawings;
    if (!d.problem.empty()) ++summary.notDrawn;
    write("drawings/" + name, d.svg);
    return "<img class=\"drawing\" src=\"drawings/" + name + "\" alt=\"" + esc(alt) + "\" width=\"" +
           std::to_string(static_cast<int>(std::lround(d.widthMm * 96 / 25.4))) + "\" height=\"" +
           std::to_string(static_cast<int>(std::lround(d.heightMm * 96 / 25.4))) + "\">";
  }

  ReportSummary summary;

 private:
  std::string dir_;
  std::string title_;
  std::size_t total_;
  std::size_t done_ = 0;
  ReportProgress progress_;
};

// ---- Records as HTML tables

std::string none() { return "<span class=\"none\">–</span>"; }

std::string valueHtml(const Json& value, const std::string& unit = std::string());

std::string fieldsHtml(const Json& record, const std::set<std::string>& skip = {}) {
  const Json* units = record.contains("units") ? &record["units"] : nullptr;
  std::string rows;
  for (const auto& [key, value] : record.items()) {
    if (key == "class" || key == "id" || key == "units" || skip.count(key)) continue;
    std::string unit;
    if (units && units->contains(key) && (*units)[key].is_string())
      unit = displayLabel((*units)[key].get<std::string>());
    rows += "<tr><th>" + esc(key) + "</th><td>" + valueHtml(value, unit) + "</td></tr>\n";
  }
  return "<table>\n" + rows + "</table>\n";
}

std::string valueHtml(const Json& value, const std::string& unit) {
  if (value.is_null()) return none();
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_number())
    return esc(formatNumber(value.get<double>(), 10)) + (unit.empty() ? "" : " " + esc(unit));
  if (value.is_string()) {
    const std::string text = value.get<std::string>();
    return text.empty() ? none() : esc(text);
  }
  if (value.is_array()) {
    if (value.empty()) return none();
    std::string out;
    for (const Json& item : value) out += (out.empty() ? "" : ", ") + valueHtml(item, unit);
    return out;
  }
  return value.empty() ? none() : fieldsHtml(value);
}

std::string row(const std::string& head, const std::string& cell) {
  return "<tr><th>" + head + "</th><td>" + cell + "</td></tr>\n";
}

std::string patternText(const tarnlib::Pattern& p) {
  switch (p.type) {
    case tarnlib::Pattern::Type::None:
      return "none";
    case tarnlib::Pattern::Type::UserDefined:
      return std::string(p.cross ? "crossed lines" : "lines") + " at " + formatNumber(p.angle) + "°" +
             ", scale " + formatNumber(p.scale);
    default:
      return (p.type == tarnlib::Pattern::Type::Predefined ? "predefined " : "custom ") + utf8(p.name) +
             ", scale " + formatNumber(p.scale) + ", at " + formatNumber(p.angle) + "°";
  }
}

template <class T>
void sortById(std::vector<TnSmartPtr<T>>& objects) {
  std::sort(objects.begin(), objects.end(), [](const auto& a, const auto& b) { return a->id() < b->id(); });
}

// Groups in the order of their names, ids breaking ties.
template <class T>
std::vector<std::pair<std::string, std::vector<T>>> grouped(std::map<std::string, std::vector<T>> groups) {
  return {groups.begin(), groups.end()};
}

std::string indexEntry(const std::string& href, const std::string& name, const std::string& kind) {
  return "<li><a href=\"" + href + "\">" + esc(name) + "</a> <span class=\"kind\">" + esc(kind) +
         "</span></li>\n";
}

const char* const kSearchScript =
    "(function () {\n"
    "  var box = document.getElementById('search');\n"
    "  var items = document.querySelectorAll('#objects li');\n"
    "  var texts = [];\n"
    "  for (var i = 0; i < items.length; i++) texts.push(items[i].textContent.toLowerCase());\n"
    "  var shown = document.getElementById('shown');\n"
    "  function apply() {\n"
    "    var words = box.value.toLowerCase().split(/\\s+/).filter(function (w) { return w.length > 0; });\n"
    "    var n = 0;\n"
    "    for (var i = 0; i < items.length; i++) {\n"
    "      var match = words.every(function (w) { return texts[i].indexOf(w) >= 0; });\n"
    "      items[i].hidden = !match;\n"
    "      if (match) n++;\n"
    "    }\n"
    "    shown.textContent = n + ' of ' + items.length + ' shown';\n"
    "  }\n"
    "  var q = new URLSearchParams(window.location.search).get('q');\n"
    "  if (q !== null) box.value = q;\n"
    "  box.addEventListener('input', apply);\n"
    "  apply();\n"
    "})();\n";

}  // namespace

ReportSummary writeReport(const Library& library, const std::string& title, const std::string& dir,
                          const ReportProgress& progress) {
  const ReportUnits units(library);
  std::vector<TnSmartPtr<Material>> materials;
  library.get<Material>(materials);
  sortById(materials);
  std::vector<TnSmartPtr<Composition>> compositions;
  library.get<Composition>(compositions);
  sortById(compositions);
  std::vector<TnSmartPtr<Profile>> profiles;
  library.get<Profile>(profiles);
  sortById(profiles);
  std::vector<TnSmartPtr<PropertySet>> sets;
  library.get<PropertySet>(sets);
  sortById(sets);

  // Profiles by series; series by standard (id 0: none).
  std::map<std::uint32_t, std::vector<TnSmartPtr<Profile>>> bySeries;
  std::map<std::uint32_t, TnSmartPtr<tarnlib::ProfileName>> seriesById;
  for (const auto& p : profiles) {
    const std::uint32_t id = p->name() ? p->name()->id() : 0;
    bySeries[id].push_back(p);
    if (p->name()) seriesById[id] = p->name();
  }
  std::map<std::string, std::vector<std::uint32_t>> seriesByStandard;
  for (const auto& [id, list] : bySeries) {
    const auto& series = seriesById[id];
    const std::string standard =
        series && series->standard() ? utf8(series->standard()->name()) : std::string("Outside any standard");
    seriesByStandard[standard].push_back(id);
  }
  auto seriesPage = [](std::uint32_t id) {
    return "series-" + (id ? std::to_string(id) : std::string("none")) + ".html";
  };
  auto seriesName = [&](std::uint32_t id) {
    return id ? utf8(seriesById[id]->name()) : std::string("(no series)");
  };

  const std::size_t total =
      6 + materials.size() + 2 * compositions.size() + bySeries.size() + profiles.size() + sets.size();
  Site site(dir, title, total, progress);
  const std::string length = units.length();

  // ---- Index
  {
    // The search first, the counts beside it; a count links to its list.
    const std::map<tarnlib::ObjectType, std::string> lists = {
        {tarnlib::ObjectType::Material, "materials.html"},
        {tarnlib::ObjectType::Composition, "compositions.html"},
        {tarnlib::ObjectType::PropertySet, "property-sets.html"}};
    std::string counts = "<h2>Objects per type</h2>\n<table>\n";
    Filter ownClass;
    ownClass.ownClassOnly = true;
    for (const TypeEntry& type : typeTable())
      if (type.kinds.empty())
        if (std::size_t n = type.count(library, ownClass)) {
          auto list = lists.find(type.type);
          const std::string href = list != lists.end() ? list->second : type.bySeries ? "profiles.html" : "";
          counts += "<tr><th>" +
                    (href.empty() ? esc(type.name) : "<a href=\"" + href + "\">" + esc(type.name) + "</a>") +
                    "</th><td class=\"n\">" + std::to_string(n) + "</td></tr>\n";
        }
    counts += "</table>\n";
    std::string body =
        "<div class=\"columns\">\n<div>\n<h2>Search</h2>\n<p><input id=\"search\" type=\"search\" "
        "placeholder=\"Name, type or series\" aria-label=\"Search the catalogue\"> <span id=\"shown\" "
        "class=\"kind\"></span></p>\n<ul id=\"objects\">\n";
    for (const auto& m : materials)
      body += indexEntry("material-" + idText(m->id()) + ".html", utf8(m->name()), "Material");
    for (const auto& c : compositions)
      body += indexEntry("composition-" + idText(c->id()) + ".html", utf8(c->name()), "Composition");
    for (const auto& p : profiles) {
      const std::uint32_t series = p->name() ? p->name()->id() : 0;
      body += indexEntry(seriesPage(series) + "#p-" + idText(p->id()), utf8(p->size()),
                         typeName(p->tarnlibType()) + " · " + seriesName(series));
    }
    for (const auto& s : sets)
      body += indexEntry("property-set-" + idText(s->id()) + ".html", utf8(s->name()), "PropertySet");
    body += "</ul>\n</div>\n<div>\n" + counts + "</div>\n</div>\n";
    site.page("index.html", "Catalogue", body, kSearchScript);
  }

  // ---- Materials
  std::map<std::uint32_t, std::vector<TnSmartPtr<Composition>>> usedIn;
  for (const auto& c : compositions) {
    std::set<std::uint32_t> seen;
    for (const auto& ply : c->plies())
      if (ply.material && seen.insert(ply.material->id()).second) usedIn[ply.material->id()].push_back(c);
  }
  {
    std::map<std::string, std::vector<TnSmartPtr<Material>>> byType;
    for (const auto& m : materials) byType[m->type() ? utf8(m->type()->name()) : std::string()].push_back(m);
    std::string body;
    for (const auto& [type, list] : grouped(byType)) {
      body += "<h2>" + (type.empty() ? std::string("No type") : esc(type)) + "</h2>\n<ul>\n";
      for (const auto& m : list)
        body += "<li><a href=\"material-" + idText(m->id()) + ".html\">" + esc(m->name()) + "</a></li>\n";
      body += "</ul>\n";
    }
    site.page("materials.html", "Materials", body);
  }
  for (const auto& m : materials) {
    Json record = describe(*m);
    record["cut_pattern"] = patternText(m->cut_pattern());
    record["surface_pattern"] = patternText(m->surface_pattern());
    std::string body = fieldsHtml(record, {"name", "physical_asset", "bim_asset", "information_asset"});
    if (const auto& a = m->physical_asset()) body += "<h2>Physical data</h2>\n" + fieldsHtml(describe(*a));
    if (const auto& a = m->bim_asset()) {
      Json bim = describe(*a);
      // Thicknesses are lengths of the catalogue.
      bim["units"]["thicknesses"] = length;
      body += "<h2>BIM data</h2>\n" + fieldsHtml(bim);
    }
    if (const auto& a = m->information_asset()) body += "<h2>Information</h2>\n" + fieldsHtml(describe(*a));
    auto used = usedIn.find(m->id());
    if (used != usedIn.end()) {
      body += "<h2>Used in</h2>\n<ul>\n";
      for (const auto& c : used->second)
        body += "<li><a href=\"composition-" + idText(c->id()) + ".html\">" + esc(c->name()) + "</a></li>\n";
      body += "</ul>\n";
    }
    site.page("material-" + idText(m->id()) + ".html", utf8(m->name()), body);
  }

  // ---- Compositions
  {
    std::map<std::string, std::vector<TnSmartPtr<Composition>>> byType;
    for (const auto& c : compositions)
      byType[c->composition_type() ? utf8(c->composition_type()->name()) : compositionTypeName(c->type())]
          .push_back(c);
    std::string body;
    for (const auto& [type, list] : grouped(byType)) {
      body += "<h2>" + esc(type) + "</h2>\n<ul>\n";
      for (const auto& c : list)
        body += "<li><a href=\"composition-" + idText(c->id()) + ".html\">" + esc(c->name()) + "</a></li>\n";
      body += "</ul>\n";
    }
    site.page("compositions.html", "Compositions", body);
  }
  const Shown resistance = units.measure(Exponents{{0, -1, 3, 1, 0, 0, 0}}, "m^2.K/W");
  const Shown transmittance = units.measure(Exponents{{0, 1, -3, -1, 0, 0, 0}}, "W/(m^2.K)");
  const std::string conductivityLabel = [&] {
    const std::string label = columnUnitLabel(library, "tarnlib_PhysicalAsset", "thermal_conductivity");
    return displayLabel(label.empty() ? "W/(m.K)" : label);
  }();
  for (const auto& c : compositions) {
    const std::string name = utf8(c->name());
    const Drawing drawing = drawComposition(*c, units.system());
    std::string body =
        "<p>" + site.drawing("composition-" + idText(c->id()) + ".svg", drawing, name) + "</p>\n";
    double thickness = 0.0;
    double plyResistance = 0.0;
    std::vector<std::string> without;
    std::string plies;
    for (std::size_t i = 0; i < c->plies().size(); ++i) {
      const Composition::Ply& ply = c->plies()[i];
      thickness += ply.thickness;
      std::string materialCell = none(), conductivity = none(), r = none();
      if (ply.material) {
        materialCell = "<a href=\"material-" + idText(ply.material->id()) + ".html\">" +
                       esc(ply.material->name()) + "</a>";
        const auto& physical = ply.material->physical_asset();
        if (physical && physical->has_thermal_conductivity() && physical->thermal_conductivity() > 0) {
          const double lambda = physical->thermal_conductivity() * units.conductivityToSi();
          const double plyR = ply.thickness * units.metresPerLength() / lambda;
          plyResistance += plyR;
          conductivity = esc(formatNumber(physical->thermal_conductivity(), 4) + " " + conductivityLabel);
          r = esc(formatNumber(plyR * resistance.factor, 3) + " " + resistance.label);
        } else {
          without.push_back(utf8(ply.material->name()));
        }
      } else {
        without.push_back("ply " + std::to_string(i));
      }
      std::string marks;
      if (i >= c->first_core_ply() && i <= c->last_core_ply()) marks += "core";
      if (i == c->structural_ply()) marks += ", structural";
      if (c->has_variable_ply() && i == c->variable_ply()) marks += marks.empty() ? "variable" : ", variable";
      plies += "<tr><td class=\"n\">" + std::to_string(i) + "</td><td>" + materialCell + "</td><td>" +
               esc(functionName(ply.function)) + "</td><td class=\"n\">" +
               esc(formatNumber(ply.thickness) + " " + length) + "</td><td class=\"n\">" + conductivity +
               "</td><td class=\"n\">" + r + "</td><td>" + esc(marks) + "</td></tr>\n";
    }
    body += "<table>\n" + row("type", esc(compositionTypeName(c->type()))) +
            row("composition type", c->composition_type() ? esc(c->composition_type()->name()) : none()) +
            row("description", c->description().isEmpty() ? none() : esc(c->description())) +
            row("thickness", esc(formatNumber(thickness) + " " + length)) +
            (c->has_variable_ply()
                 ? row("variable ply", std::to_string(c->variable_ply()) + ", from " +
                                           esc(formatNumber(c->variable_ply_min_thickness())) +
                                           (c->has_variable_ply_max_thickness()
                                                ? " to " + esc(formatNumber(c->variable_ply_max_thickness()))
                                                : std::string(" up")) +
                                           " " + esc(length))
                 : std::string()) +
            row("tags", valueHtml(describe(*c)["tags"])) + "</table>\n";
    body +=
        "<h2>Plies</h2>\n<p class=\"note\">From the exterior (or upper) face to the interior (or lower) "
        "face.</p>\n"
        "<table>\n<tr><th>#</th><th>material</th><th>function</th><th>thickness</th><th>λ</th><th>d/λ</"
        "th><th></th></tr>\n" +
        plies + "</table>\n<h2>Thermal transmittance</h2>\n";
    if (without.size() == c->plies().size()) {
      body += "<p>No estimate: no ply's material has a thermal conductivity.</p>\n";
    } else {
      const double rTotal = kInsideSurfaceResistance + plyResistance + kOutsideSurfaceResistance;
      body += "<p><strong>U ≈ " +
              esc(formatNumber(transmittance.factor / rTotal, 3) + " " + transmittance.label) +
              "</strong> (total resistance " +
              esc(formatNumber(rTotal * resistance.factor, 3) + " " + resistance.label) +
              ")</p>\n<p class=\"note\">An estimate: U = 1 / (R<sub>si</sub> + Σ d/λ + R<sub>se</sub>), with "
              "the surface "
              "resistances of a wall with horizontal heat flow, R<sub>si</sub> = 0.13 and R<sub>se</sub> = "
              "0.04 m²·K/W "
              "(ISO 6946), for every build-up; thermal bridges, fixings and cavities are not considered.";
      if (!without.empty()) {
        std::string names;
        for (const std::string& n : without) names += (names.empty() ? "" : ", ") + n;
        body += " Left out for want of a thermal conductivity: " + esc(names) +
                "; their resistance would lower the value.";
      }
      body += "</p>\n";
    }
    site.page("composition-" + idText(c->id()) + ".html", name, body);
  }

  // ---- Profiles
  {
    std::string body;
    for (const auto& [standard, ids] : seriesByStandard) {
      body += "<h2>" + esc(standard) + "</h2>\n<ul>\n";
      for (std::uint32_t id : ids) {
        std::string kind;
        if (id && seriesById[id]) kind = profileTypeText(seriesById[id]->type());
        body += "<li><a href=\"" + seriesPage(id) + "\">" + esc(seriesName(id)) +
                "</a> <span class=\"kind\">" + esc(kind) + ", " + std::to_string(bySeries[id].size()) +
                " sizes</span></li>\n";
      }
      body += "</ul>\n";
    }
    site.page("profiles.html", "Profiles", body);
  }
  const Shown areaUnit = units.lengthPower(2), momentUnit = units.lengthPower(4),
              modulusUnit = units.lengthPower(3), radiusUnit = units.lengthPower(1);
  const Shown massUnit = units.measure(Exponents{{-1, 1, 0, 0, 0, 0, 0}}, "kg/m");
  for (const auto& [id, list] : bySeries) {
    std::string body;
    if (id) {
      const auto& series = seriesById[id];
      body += "<table>\n" + row("standard", series->standard() ? esc(series->standard()->name()) : none()) +
              row("type", esc(profileTypeText(series->type()))) + "</table>\n";
    }
    body +=
        "<p class=\"note\">Section properties are computed from each outline as drawn, fillets and rounded "
        "corners included; x is horizontal, y vertical, both through the centroid; the moduli are the "
        "smaller "
        "of the two fibres'.</p>\n";
    for (const auto& p : list) {
      const std::string size = utf8(p->size());
      const Drawing drawing = drawProfile(*p, units.system());
      body += "<section class=\"profile\" id=\"p-" + idText(p->id()) + "\">\n<h2>" + esc(size) +
              "</h2>\n<div class=\"columns\">\n<div>" +
              site.drawing("profile-" + idText(p->id()) + ".svg", drawing, size) +
              "</div>\n<div>\n<table>\n" + row("class", esc(typeName(p->tarnlibType()))) +
              row("description", p->description().isEmpty() ? none() : esc(p->description())) +
              row("material", p->material() ? "<a href=\"material-" + idText(p->material()->id()) +
                                                  ".html\">" + esc(p->material()->name()) + "</a>"
                                            : none());
      const auto* shape = dynamic_cast<const tarnlib::ParametrizedProfile*>(p.get());
      if (shape)
        for (const auto& d : shape->dimensions())
          body += row(esc(d.name), d.present ? esc(formatNumber(d.value) + " " + length) : none());
      body += "</table>\n";
      if (shape && drawing.problem.empty()) {
        try {
          const tarnlib::SectionProperties s = tarnlib::sectionProperties(*shape);
          auto value = [](double v, const Shown& u) {
            return esc(formatNumber(v * u.factor, 4) + " " + u.label);
          };
          body +=
              "<table>\n" + row("area A", value(s.area, areaUnit)) +
              row("I<sub>x</sub>", value(s.ix, momentUnit)) + row("I<sub>y</sub>", value(s.iy, momentUnit)) +
              (std::fabs(s.ixy) > 1e-9 * std::max(s.ix, s.iy)
                   ? row("I<sub>1</sub>, I<sub>2</sub>",
                         value(s.i1, momentUnit) + ", " + value(s.i2, momentUnit) + " at " +
                             esc(formatNumber(s.principal_angle * 180 / 3.14159265358979323846, 3)) + "°")
                   : std::string()) +
              row("W<sub>x</sub>", value(std::min(s.wx_top, s.wx_bottom), modulusUnit)) +
              row("W<sub>y</sub>", value(std::min(s.wy_left, s.wy_right), modulusUnit)) +
              row("i<sub>x</sub>, i<sub>y</sub>", value(s.rx, radiusUnit) + ", " + value(s.ry, radiusUnit));
          const auto& material = p->material();
          if (material && material->physical_asset() && material->physical_asset()->has_density()) {
            const double kgPerM3 = material->physical_asset()->density() * units.densityToSi();
            body += row("mass", value(tarnlib::massPerMetre(s, kgPerM3, units.system()), massUnit) + " at " +
                                    esc(formatNumber(kgPerM3) + " kg/m³"));
          }
          body += "</table>\n";
        } catch (const tarnlib::OutlineError&) {
          // The drawing says what is wrong.
        }
      } else if (!drawing.problem.empty()) {
        body += "<p class=\"note\">" + esc(drawing.problem) + "</p>\n";
      }
      body += "</div>\n</div>\n</section>\n";
    }
    site.page(seriesPage(id), seriesName(id), body);
  }

  // ---- Property sets
  {
    std::map<std::string, std::vector<TnSmartPtr<PropertySet>>> byNamespace;
    for (const auto& s : sets) byNamespace[s->ns() ? utf8(s->ns()->name()) : std::string()].push_back(s);
    std::string body;
    for (const auto& [ns, list] : grouped(byNamespace)) {
      body += "<h2>" + (ns.empty() ? std::string("No namespace") : esc(ns)) + "</h2>\n<ul>\n";
      for (const auto& s : list)
        body += "<li><a href=\"property-set-" + idText(s->id()) + ".html\">" + esc(s->name()) + "</a></li>\n";
      body += "</ul>\n";
    }
    site.page("property-sets.html", "Property sets", body);
  }
  for (const auto& s : sets) {
    std::string body = fieldsHtml(describe(*s), {"name", "definitions"});
    body +=
        "<h2>Definitions</h2>\n<table>\n<tr><th>#</th><th>name</th><th>kind</th><th>type</th><th>unit</th>"
        "<th>default</th><th>description</th></tr>\n";
    std::size_t i = 0;
    for (const auto& d : s->definitions()) {
      if (!d) continue;
      auto property = TnSmartPtr<const tarnlib::PropertyDefinition>::cast(d.get());
      const std::string defaultValue = property ? utf8(property->default_value()) : std::string();
      body += "<tr><td class=\"n\">" + std::to_string(i++) + "</td><td>" + esc(d->name()) + "</td><td>" +
              (property ? "property" : "value") + "</td><td>" + esc(propertyTypeText(d->type())) +
              "</td><td>" + (d->unit() ? esc(displayLabel(utf8(d->unit()->label()))) : none()) + "</td><td>" +
              (defaultValue.empty() ? none() : esc(defaultValue)) + "</td><td>" +
              (d->description().isEmpty() ? none() : esc(d->description())) + "</td></tr>\n";
    }
    body += "</table>\n";
    site.page("property-set-" + idText(s->id()) + ".html", utf8(s->name()), body);
  }
  return site.summary;
}

}  // namespace tarn
