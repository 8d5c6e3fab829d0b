#include "svg_drawing.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <utility>
#include <vector>

#include "common.h"
#include "describe.h"
#include "tarnlib/profile_outline.h"
#include "types.h"

namespace tarn {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kMargin = 8.0;
constexpr double kTitleSize = 5.0;
constexpr double kTextSize = 3.2;
constexpr double kLineHeight = 4.6;
constexpr const char* kInk = "#1f2d3d";

// Paper coordinates: two decimals are a hundredth of a millimetre.
std::string num(double value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.2f", value);
  std::string out = buffer;
  if (out == "-0.00") out = "0.00";
  return out;
}

std::size_t characters(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

// The width a line of text takes, estimated: the drawings are laid out
// without font metrics, so this errs on the wide side for a sans-serif face.
double textWidth(const std::string& text, double size) {
  return static_cast<double>(characters(text)) * size * 0.6;
}

std::string lengthLabel(tarnlib::LibraryUnit unit) {
  return unit == tarnlib::LibraryUnit::Inch ? "in" : "mm";
}

// Millimetres of paper per catalogue length unit at 1:1.
double paperPerUnit(tarnlib::LibraryUnit unit) { return unit == tarnlib::LibraryUnit::Inch ? 25.4 : 1.0; }

// The usual drawing scales, largest first: 10:1, 5:1, 2:1, then 1:1, 1:2,
// 1:5, 1:10 ... The first one at which `extent` (paper millimetres at 1:1)
// fits in `room`.
struct Scale {
  double factor;  // paper per real
  std::string text;
};
Scale chooseScale(double extent, double room) {
  // Enlarged only what would be tiny at 1:1, under a fifth of the room.
  if (extent * 5 <= room)
    for (double up : {10.0, 5.0, 2.0})
      if (extent * up <= room) return Scale{up, formatNumber(up) + ":1"};
  double decade = 1.0;
  for (int i = 0; i < 40; ++i, decade *= 10.0)
    for (double step : {1.0, 2.0, 5.0}) {
      const double denominator = step * decade;
      if (extent / denominator <= room) return Scale{1.0 / denominator, "1:" + formatNumber(denominator, 15)};
    }
  return Scale{1e-40, "1:1e40"};
}

class SvgDocument {
 public:
  void add(const std::string& element) { body_ += element + '\n'; }
  void define(const std::string& element) { defs_ += element + '\n'; }

  void line(double x1, double y1, double x2, double y2, double width = 0.25) {
    add("<line x1=\"" + num(x1) + "\" y1=\"" + num(y1) + "\" x2=\"" + num(x2) + "\" y2=\"" + num(y2) +
        "\" stroke=\"" + kInk + "\" stroke-width=\"" + num(width) + "\"/>");
  }

  // `anchor`: start, middle or end; `extra`: further attributes.
  void text(double x, double y, double size, const std::string& content, const char* anchor = "start",
            const std::string& extra = std::string()) {
    add("<text x=\"" + num(x) + "\" y=\"" + num(y) + "\" font-size=\"" + num(size) + "\" text-anchor=\"" +
        anchor + "\"" + (extra.empty() ? "" : " " + extra) + ">" + escapeMarkup(content) + "</text>");
  }

  Drawing finish(double width, double height, const std::string& title, const std::string& problem) const {
    width = std::ceil(width);
    height = std::ceil(height);
    Drawing drawing;
    drawing.widthMm = width;
    drawing.heightMm = height;
    drawing.problem = problem;
    drawing.svg =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"" +
        num(width) + "mm\" height=\"" + num(height) + "mm\" viewBox=\"0 0 " + num(width) + " " + num(height) +
        "\" font-family=\"DejaVu Sans, Arial, Helvetica, sans-serif\" fill=\"" + kInk + "\">\n" + "<title>" +
        escapeMarkup(title) + "</title>\n" +
        (defs_.empty() ? std::string() : "<defs>\n" + defs_ + "</defs>\n") + "<rect width=\"" + num(width) +
        "\" height=\"" + num(height) + "\" fill=\"#ffffff\"/>\n" + body_ + "</svg>\n";
    return drawing;
  }

 private:
  std::string defs_;
  std::string body_;
};

// Splits a message into lines of about `width` characters at spaces.
std::vector<std::string> wrap(const std::string& text, std::size_t width) {
  std::vector<std::string> lines;
  std::string line;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t end = text.find(' ', start);
    if (end == std::string::npos) end = text.size();
    const std::string word = text.substr(start, end - start);
    if (!line.empty() && characters(line) + 1 + characters(word) > width) {
      lines.push_back(line);
      line.clear();
    }
    line += (line.empty() ? "" : " ") + word;
    start = end + 1;
  }
  if (!line.empty()) lines.push_back(line);
  return lines;
}

// A drawing that says why there is no picture.
Drawing note(const std::string& title, const std::string& subtitle, const std::string& problem) {
  SvgDocument doc;
  const std::vector<std::string> lines = wrap("Not drawn: " + problem, 70);
  double width = std::max({120.0, textWidth(title, kTitleSize), textWidth(subtitle, kTextSize)});
  for (const std::string& line : lines) width = std::max(width, textWidth(line, kTextSize) + 8);
  width += 2 * kMargin;
  double y = kMargin + kTitleSize;
  doc.text(kMargin, y, kTitleSize, title, "start", "font-weight=\"bold\"");
  y += kLineHeight + 1;
  if (!subtitle.empty()) {
    doc.text(kMargin, y, kTextSize, subtitle);
    y += kLineHeight;
  }
  const double boxTop = y + 2;
  const double boxHeight = static_cast<double>(lines.size()) * kLineHeight + 4;
  doc.add("<rect x=\"" + num(kMargin) + "\" y=\"" + num(boxTop) + "\" width=\"" + num(width - 2 * kMargin) +
          "\" height=\"" + num(boxHeight) + "\" fill=\"#fff4f0\" stroke=\"#b03a2e\" stroke-width=\"0.35\"/>");
  y = boxTop + 2 + kTextSize;
  for (const std::string& line : lines) {
    doc.text(kMargin + 4, y, kTextSize, line, "start", "fill=\"#b03a2e\"");
    y += kLineHeight;
  }
  return doc.finish(width, boxTop + boxHeight + kMargin, title, problem);
}

// ---- Profiles

std::string seriesLine(const tarnlib::Profile& profile) {
  std::string line;
  if (const auto& series = profile.name()) {
    line = utf8(series->name());
    if (series->standard()) line += ", " + utf8(series->standard()->name());
  }
  return line;
}

// The outline as one path: loops as closed subpaths, arcs as SVG arcs of at
// most half a turn each, so that the large-arc flag is never needed.
template <class Map>
std::string pathData(const tarnlib::ProfileOutline& outline, double k, const Map& map) {
  std::string d;
  auto loop = [&](const tarnlib::OutlineLoop& l) {
    if (l.segments.empty()) return;
    const auto start = map(l.segments.front().start);
    d += "M" + num(start.first) + " " + num(start.second);
    for (const tarnlib::OutlineSegment& s : l.segments) {
      if (s.kind == tarnlib::OutlineSegment::Kind::Line) {
        const auto p = map(s.end);
        d += "L" + num(p.first) + " " + num(p.second);
        continue;
      }
      const double sweep = s.end_angle - s.start_angle;
      const int pieces = std::max(1, static_cast<int>(std::ceil(std::fabs(sweep) / kPi - 1e-9)));
      const double ry = s.kind == tarnlib::OutlineSegment::Kind::Arc ? s.radius : s.radius_y;
      for (int i = 1; i <= pieces; ++i) {
        tarnlib::Point2d end = s.end;
        if (i < pieces) {
          const double a = s.start_angle + sweep * i / pieces;
          end = tarnlib::Point2d{s.centre.x + s.radius * std::cos(a), s.centre.y + ry * std::sin(a)};
        }
        const auto p = map(end);
        // Counter-clockwise in the section is counter-clockwise on paper too,
        // which in SVG's downward y is the negative direction: sweep flag 0.
        d += "A" + num(s.radius * k) + " " + num(ry * k) + " 0 0 " + (sweep > 0 ? "0 " : "1 ") +
             num(p.first) + " " + num(p.second);
      }
    }
    d += "Z";
  };
  loop(outline.outer);
  for (const tarnlib::OutlineLoop& l : outline.inner) loop(l);
  return d;
}

// A dimension line from (x1, y1) to (x2, y2), axis-parallel, with oblique
// ticks at its ends.
void dimensionLine(SvgDocument& doc, double x1, double y1, double x2, double y2) {
  doc.line(x1, y1, x2, y2, 0.2);
  for (const auto& [x, y] : {std::pair<double, double>{x1, y1}, {x2, y2}})
    doc.line(x - 1, y + 1, x + 1, y - 1, 0.35);
}

}  // namespace

std::string escapeMarkup(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    switch (c) {
      case '&':
        out += "&amp;";
        continue;
      case '<':
        out += "&lt;";
        continue;
      case '>':
        out += "&gt;";
        continue;
      case '"':
        out += "&quot;";
        continue;
      case '\'':
        out += "&#39;";
        continue;
      default:
        break;
    }
    if ((c < 0x20 && c != '\t' && c != '\n' && c != '\r') || c == 0x7F) {
      out += "\xEF\xBF\xBD";
    } else if (c == 0xEF && i + 2 < text.size() && static_cast<unsigned char>(text[i + 1]) == 0xBF &&
               (static_cast<unsigned char>(text[i + 2]) & 0xFE) == 0xBE) {
      out += "\xEF\xBF\xBD";  // U+FFFE and U+FFFF
      i += 2;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

std::string formatNumber(double value, int digits) {
  if (!std::isfinite(value)) return std::isnan(value) ? "NaN" : (value > 0 ? "∞" : "-∞");
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*g", digits, value);
  std::string out = buffer;
  return out == "-0" ? "0" : out;
}

Drawing drawProfile(const tarnlib::Profile& profile, tarnlib::LibraryUnit unit) {
  const std::string title = utf8(profile.size());
  const std::string shapeClass = typeName(profile.tarnlibType());
  const std::string series = seriesLine(profile);
  const std::string subtitle = series.empty() ? shapeClass : series + " · " + shapeClass;
  const auto* shape = dynamic_cast<const tarnlib::ParametrizedProfile*>(&profile);
  if (!shape)
    return note(title, subtitle, "a custom profile's outline is geometry text that tarn does not read");

  tarnlib::ProfileOutline outline;
  tarnlib::SectionProperties properties;
  bool hasProperties = true;
  try {
    outline = tarnlib::profileOutline(*shape);
  } catch (const tarnlib::OutlineError& e) {
    return note(title, subtitle, messageOf(e));
  }
  try {
    properties = tarnlib::sectionProperties(outline);
  } catch (const tarnlib::OutlineError&) {
    hasProperties = false;
  }
  const tarnlib::OutlineBounds bounds = tarnlib::outlineBounds(outline);
  const double w = bounds.max.x - bounds.min.x;
  const double h = bounds.max.y - bounds.min.y;
  const std::string label = lengthLabel(unit);
  const Scale scale = chooseScale(std::max(w, h) * paperPerUnit(unit), 70.0);
  const double k = scale.factor * paperPerUnit(unit);

  SvgDocument doc;
  double y = kMargin + kTitleSize;
  doc.text(kMargin, y, kTitleSize, title, "start", "font-weight=\"bold\"");
  y += kLineHeight + 1;
  doc.text(kMargin, y, kTextSize, subtitle);
  const double headerWidth = std::max(textWidth(title, kTitleSize), textWidth(subtitle, kTextSize));

  // A circle's one overall dimension is its diameter.
  const bool round = profile.tarnlibType() == tarnlib::ObjectType::CircleProfile ||
                     profile.tarnlibType() == tarnlib::ObjectType::CircleHollowProfile;
  const std::string widthText = (round ? "⌀ " : "") + formatNumber(w) + " " + label;
  const std::string depthText = formatNumber(h) + " " + label;
  const double left = kMargin + 14.0;
  const double top = y + 10.0;
  const double W = w * k;
  const double H = h * k;
  auto map = [&](const tarnlib::Point2d& p) {
    return std::pair<double, double>{left + (p.x - bounds.min.x) * k, top + (bounds.max.y - p.y) * k};
  };
  doc.add("<path d=\"" + pathData(outline, k, map) + "\" fill=\"#cfd8e3\" fill-rule=\"evenodd\" stroke=\"" +
          kInk + "\" stroke-width=\"0.35\" stroke-linejoin=\"round\"/>");
  if (hasProperties) {
    const auto c = map(properties.centroid);
    doc.add("<circle cx=\"" + num(c.first) + "\" cy=\"" + num(c.second) +
            "\" r=\"1.2\" fill=\"none\" stroke=\"#b03a2e\" stroke-width=\"0.25\"/>");
    doc.line(c.first - 2, c.second, c.first + 2, c.second, 0.2);
    doc.line(c.first, c.second - 2, c.first, c.second + 2, 0.2);
  }

  // Overall width below, overall depth on the left, with extension lines.
  const double below = top + H + 6.0;
  doc.line(left, top + H + 1, left, below + 1, 0.15);
  doc.line(left + W, top + H + 1, left + W, below + 1, 0.15);
  dimensionLine(doc, left, below, left + W, below);
  doc.text(left + W / 2, below + kTextSize + 1.2, kTextSize, widthText, "middle");
  if (!round) {
    const double aside = left - 6.0;
    doc.line(left - 1, top, aside - 1, top, 0.15);
    doc.line(left - 1, top + H, aside - 1, top + H, 0.15);
    dimensionLine(doc, aside, top, aside, top + H);
    doc.text(aside - 1.5, top + H / 2, kTextSize, depthText, "middle",
             "transform=\"rotate(-90 " + num(aside - 1.5) + " " + num(top + H / 2) + ")\"");
  }

  // Every stored dimension, as the catalogue has it.
  std::vector<std::pair<std::string, std::string>> rows;
  for (const tarnlib::ParametrizedProfile::Dimension& d : shape->dimensions())
    rows.emplace_back(d.name, d.present ? formatNumber(d.value) + " " + label : "absent");
  double nameWidth = 0.0, valueWidth = 0.0;
  for (const auto& [name, value] : rows) {
    nameWidth = std::max(nameWidth, textWidth(name, kTextSize));
    valueWidth = std::max(valueWidth, textWidth(value, kTextSize));
  }
  const double tableX = left + std::max(W, textWidth(widthText, kTextSize)) + 12.0;
  double rowY = top + kTextSize;
  for (const auto& [name, value] : rows) {
    doc.text(tableX, rowY, kTextSize, name, "start", "fill=\"#56606b\"");
    doc.text(tableX + nameWidth + 4, rowY, kTextSize, value);
    rowY += kLineHeight;
  }

  const std::string footer =
      "Scale " + scale.text + (hasProperties ? ", centroid circled" : "") + ", lengths in " + label;
  const double footerY = std::max({below + kTextSize + 1.2, rowY - kLineHeight,
                                   top + H / 2 + textWidth(depthText, kTextSize) / 2}) +
                         8.0;
  doc.text(kMargin, footerY, kTextSize, footer, "start", "fill=\"#56606b\"");
  const double width = std::max({tableX + nameWidth + 4 + valueWidth, kMargin + headerWidth,
                                 kMargin + textWidth(footer, kTextSize)}) +
                       kMargin;
  return doc.finish(width, footerY + kMargin, title + " (" + subtitle + ")", std::string());
}

// ---- Compositions

namespace {

std::string colour(const tarnlib::Color& c, const std::string& otherwise) {
  if (c.type != tarnlib::Color::Type::ByColor) return otherwise;
  // Components may be fractions or bytes; either way clamp into a byte.
  const bool fractions = c.red <= 1.0 && c.green <= 1.0 && c.blue <= 1.0;
  auto byte = [&](double v) {
    if (!std::isfinite(v)) v = 0.0;
    return static_cast<int>(std::lround(std::clamp(fractions ? v * 255.0 : v, 0.0, 255.0)));
  };
  char buffer[8];
  std::snprintf(buffer, sizeof buffer, "#%02x%02x%02x", byte(c.red), byte(c.green), byte(c.blue));
  return buffer;
}

std::string lower(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return text;
}

bool mentions(const std::string& name, std::initializer_list<const char*> words) {
  for (const char* word : words)
    if (name.find(word) != std::string::npos) return true;
  return false;
}

// The fill of a cut material: an SVG pattern defined once per distinct hatch.
// Parallel lines for a user-defined hatch, at its angle and with its scale as
// the distance between lines in paper millimetres (crossed when it says so);
// a named hatch is recognised by the words in its name (solid, dots or sand,
// insulation, brick or block, cross or grid, lines); anything else, and no
// hatch at all, is a plain fill.
class Hatches {
 public:
  explicit Hatches(SvgDocument& doc) : doc_(doc) {}

  std::string fill(const tarnlib::Pattern& pattern) {
    const std::string background = colour(pattern.background_color, "#ffffff");
    enum class Kind { Plain, Solid, Lines, Cross, Dots, Insulation, Brick } kind = Kind::Plain;
    if (pattern.type == tarnlib::Pattern::Type::UserDefined) {
      kind = pattern.cross ? Kind::Cross : Kind::Lines;
    } else if (pattern.type != tarnlib::Pattern::Type::None) {
      const std::string name = lower(utf8(pattern.name));
      if (mentions(name, {"solid", "fill"}))
        kind = Kind::Solid;
      else if (mentions(name, {"insul", "batt"}))
        kind = Kind::Insulation;
      else if (mentions(name, {"brick", "block", "masonry"}))
        kind = Kind::Brick;
      else if (mentions(name, {"dot", "sand", "gravel", "conc"}))
        kind = Kind::Dots;
      else if (mentions(name, {"cross", "grid", "net", "square"}))
        kind = Kind::Cross;
      else if (mentions(name, {"line", "diag", "hatch"}))
        kind = Kind::Lines;
    }
    if (kind == Kind::Plain)
      return pattern.type == tarnlib::Pattern::Type::None ? colour(pattern.background_color, "#eeeeee")
                                                          : background;
    if (kind == Kind::Solid) return colour(pattern.background_color, "#6b6b6b");

    double spacing = std::isfinite(pattern.scale) ? pattern.scale : 1.0;
    spacing = std::clamp(spacing * (kind == Kind::Lines || kind == Kind::Cross ? 1.0 : 2.0), 0.8, 12.0);
    const double angle = std::isfinite(pattern.angle) ? std::fmod(pattern.angle, 360.0) : 0.0;
    const std::string key =
        std::to_string(static_cast<int>(kind)) + "/" + num(spacing) + "/" + num(angle) + "/" + background;
    auto found = ids_.find(key);
    if (found != ids_.end()) return "url(#" + found->second + ")";
    const std::string id = "hatch" + std::to_string(ids_.size());
    ids_.emplace(key, id);

    const std::string s = num(spacing);
    const std::string half = num(spacing / 2);
    const std::string stroke = std::string("stroke=\"") + kInk + "\" stroke-width=\"0.15\" fill=\"none\"";
    std::string tile = "<rect width=\"" + s + "\" height=\"" + s + "\" fill=\"" + background + "\"/>";
    std::string size = "width=\"" + s + "\" height=\"" + s + "\"";
    switch (kind) {
      case Kind::Lines:
        tile += "<path d=\"M0 " + half + "H" + s + "\" " + stroke + "/>";
        break;
      case Kind::Cross:
        tile += "<path d=\"M0 " + half + "H" + s + "M" + half + " 0V" + s + "\" " + stroke + "/>";
        break;
      case Kind::Dots:
        tile += "<circle cx=\"" + half + "\" cy=\"" + half + "\" r=\"0.25\" fill=\"" + kInk + "\"/>";
        break;
      case Kind::Insulation:
        tile += "<path d=\"M0 " + num(spacing * 0.1) + "L" + half + " " + num(spacing * 0.9) + "L" + s + " " +
                num(spacing * 0.1) + "\" " + stroke + "/>";
        break;
      case Kind::Brick: {
        // Courses `spacing` high, bricks twice as long, joints staggered.
        const double u = spacing;
        size = "width=\"" + num(2 * u) + "\" height=\"" + num(2 * u) + "\"";
        tile = "<rect width=\"" + num(2 * u) + "\" height=\"" + num(2 * u) + "\" fill=\"" + background +
               "\"/>" + "<path d=\"M0 " + num(u / 2) + "H" + num(2 * u) + "M0 " + num(1.5 * u) + "H" +
               num(2 * u) + "M" + num(u / 2) + " " + num(u / 2) + "V" + num(1.5 * u) + "M" + num(1.5 * u) +
               " " + num(1.5 * u) + "V" + num(2 * u) + "M" + num(1.5 * u) + " 0V" + num(u / 2) + "\" " +
               stroke + "/>";
        break;
      }
      default:
        break;
    }
    // The section's angles run counter-clockwise; SVG's y runs down.
    doc_.define("<pattern id=\"" + id + "\" patternUnits=\"userSpaceOnUse\" " + size +
                " patternTransform=\"rotate(" + num(-angle) + ")\">" + tile + "</pattern>");
    return "url(#" + id + ")";
  }

 private:
  SvgDocument& doc_;
  std::map<std::string, std::string> ids_;
};

std::pair<std::string, std::string> faceNames(const tarnlib::Composition& composition) {
  switch (composition.type()) {
    case tarnlib::Composition::Wall:
    case tarnlib::Composition::Roof:
    case tarnlib::Composition::Covering:
      return {"exterior", "interior"};
    default:
      return {"upper face", "lower face"};
  }
}

}  // namespace

Drawing drawComposition(const tarnlib::Composition& composition, tarnlib::LibraryUnit unit) {
  const std::string title = utf8(composition.name());
  const std::string label = lengthLabel(unit);
  const std::vector<tarnlib::Composition::Ply>& plies = composition.plies();
  std::string subtitle = compositionTypeName(composition.type());
  if (composition.composition_type()) subtitle += " · " + utf8(composition.composition_type()->name());
  if (plies.empty()) return note(title, subtitle, "the composition has no plies");
  double total = 0.0;
  for (std::size_t i = 0; i < plies.size(); ++i) {
    const double t = plies[i].thickness;
    if (!std::isfinite(t) || t < 0 || t > 1e12)
      return note(title, subtitle,
                  "ply " + std::to_string(i) + " has the thickness " + formatNumber(t) + " " + label);
    total += t;
  }
  if (total <= 0) return note(title, subtitle, "the plies have no thickness");

  const Scale scale = chooseScale(total * paperPerUnit(unit), 110.0);
  const double k = scale.factor * paperPerUnit(unit);
  subtitle += " · " + formatNumber(total) + " " + label + " · scale " + scale.text;

  SvgDocument doc;
  Hatches hatches(doc);
  double y = kMargin + kTitleSize;
  doc.text(kMargin, y, kTitleSize, title, "start", "font-weight=\"bold\"");
  y += kLineHeight + 1;
  doc.text(kMargin, y, kTextSize, subtitle);
  double width = kMargin + std::max(textWidth(title, kTitleSize), textWidth(subtitle, kTextSize));

  const auto faces = faceNames(composition);
  const double bandX = kMargin + 14.0;
  const double bandWidth = 45.0;
  const double top = y + 10.0;
  doc.text(bandX + bandWidth / 2, top - 2.0, kTextSize, faces.first, "middle", "fill=\"#56606b\"");

  std::vector<double> plyTop(plies.size()), plyBottom(plies.size());
  double at = top;
  for (std::size_t i = 0; i < plies.size(); ++i) {
    plyTop[i] = at;
    at += plies[i].thickness * k;
    plyBottom[i] = at;
  }
  const double bottom = at;
  doc.text(bandX + bandWidth / 2, bottom + kTextSize + 2.0, kTextSize, faces.second, "middle",
           "fill=\"#56606b\"");

  const std::uint32_t structural = composition.structural_ply();
  for (std::size_t i = 0; i < plies.size(); ++i) {
    const tarnlib::Composition::Ply& ply = plies[i];
    const double height = plyBottom[i] - plyTop[i];
    const std::string fill = ply.material ? hatches.fill(ply.material->cut_pattern()) : "#eeeeee";
    if (height >= 0.3) {
      doc.add("<rect x=\"" + num(bandX) + "\" y=\"" + num(plyTop[i]) + "\" width=\"" + num(bandWidth) +
              "\" height=\"" + num(height) + "\" fill=\"" + fill + "\" stroke=\"" + kInk +
              "\" stroke-width=\"" + (i == structural ? "0.7" : "0.25") + "\"/>");
    } else {
      // Too thin to show at this scale (a membrane, a foil): one heavy line.
      doc.line(bandX, (plyTop[i] + plyBottom[i]) / 2, bandX + bandWidth, (plyTop[i] + plyBottom[i]) / 2, 0.5);
    }
  }

  // Labels beside their plies, pushed apart where thin plies crowd them.
  std::vector<double> labelY(plies.size());
  for (std::size_t i = 0; i < plies.size(); ++i) {
    const double centre = (plyTop[i] + plyBottom[i]) / 2;
    labelY[i] = i == 0 ? centre : std::max(centre, labelY[i - 1] + kLineHeight);
  }
  const double lowest = std::max(bottom, top + kLineHeight * static_cast<double>(plies.size() - 1));
  for (std::size_t i = plies.size(); i-- > 0;) {
    const double limit = i + 1 == plies.size() ? lowest : labelY[i + 1] - kLineHeight;
    labelY[i] = std::min(labelY[i], limit);
  }
  const double labelX = bandX + bandWidth + 14.0;
  const std::uint32_t variable = composition.has_variable_ply() ? composition.variable_ply() : ~0u;
  for (std::size_t i = 0; i < plies.size(); ++i) {
    const tarnlib::Composition::Ply& ply = plies[i];
    std::string text = (ply.material ? utf8(ply.material->name()) : std::string("(no material)")) + ", " +
                       formatNumber(ply.thickness) + " " + label;
    if (i == structural) text += " · structural";
    if (i == variable) text += " · variable";
    const double centre = (plyTop[i] + plyBottom[i]) / 2;
    doc.add("<polyline points=\"" + num(bandX + bandWidth) + "," + num(centre) + " " +
            num(bandX + bandWidth + 5) + "," + num(centre) + " " + num(labelX - 1.5) + "," +
            num(labelY[i] - 1.1) + "\" fill=\"none\" stroke=\"#56606b\" stroke-width=\"0.15\"/>");
    doc.text(labelX, labelY[i], kTextSize, text, "start", i == structural ? "font-weight=\"bold\"" : "");
    width = std::max(width, labelX + textWidth(text, kTextSize));
  }

  // The core range as a bracket on the left.
  const std::size_t first = std::min<std::size_t>(composition.first_core_ply(), plies.size() - 1);
  const std::size_t last = std::min<std::size_t>(composition.last_core_ply(), plies.size() - 1);
  const double bracketX = bandX - 4.0;
  const double coreTop = plyTop[first];
  const double coreBottom = plyBottom[std::max(first, last)];
  doc.line(bracketX, coreTop, bracketX, coreBottom, 0.35);
  doc.line(bracketX, coreTop, bandX - 1, coreTop, 0.35);
  doc.line(bracketX, coreBottom, bandX - 1, coreBottom, 0.35);
  const double coreMiddle = (coreTop + coreBottom) / 2;
  doc.text(bracketX - 1.5, coreMiddle, kTextSize, "core", "middle",
           "transform=\"rotate(-90 " + num(bracketX - 1.5) + " " + num(coreMiddle) + ")\"");

  const double end = std::max({bottom + kTextSize + 2.0, labelY.back(), coreMiddle + 5.0}) + kMargin;
  return doc.finish(width + kMargin, end, title, std::string());
}

}  // namespace tarn
