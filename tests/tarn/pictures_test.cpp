// tarn draw and tarn report, checked with real renderers: every drawing of the
// sample catalogue is rendered by librsvg's converter, and the report is
// opened in headless Chromium. Shapes that form no outline and names full of
// markup must still give well-formed drawings and pages.
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <pugixml.hpp>

#include "support/temp_dir.h"
#include "tarnlib/tarnlib.h"

namespace tarnlib {
namespace {

namespace fs = std::filesystem;
using testing::readBytes;
using testing::TempDir;

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

std::string quoted(const std::string& text) {
  std::string out = "'";
  for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

// Runs a shell command line with both streams captured in files of `dir`.
Outcome shell(const std::string& command, const TempDir& dir) {
  const std::string out = dir.file(".out"), err = dir.file(".err");
  const int status = std::system((command + " >" + quoted(out) + " 2>" + quoted(err)).c_str());
  Outcome run;
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.out = readBytes(out);
  run.err = readBytes(err);
  return run;
}

Outcome tarn(const std::vector<std::string>& args, const TempDir& dir) {
  std::string command = quoted(TARN_EXECUTABLE);
  for (const std::string& a : args) command += " " + quoted(a);
  return shell(command, dir);
}

bool installed(const char* program) {
  return std::system(("command -v " + std::string(program) + " >/dev/null 2>&1").c_str()) == 0;
}

// The pixel size of a PNG from its header.
std::pair<unsigned, unsigned> pngSize(const std::string& png) {
  if (png.size() < 24 || png.compare(1, 3, "PNG") != 0) return {0, 0};
  auto be = [&](std::size_t at) {
    return (unsigned(static_cast<unsigned char>(png[at])) << 24) |
           (unsigned(static_cast<unsigned char>(png[at + 1])) << 16) |
           (unsigned(static_cast<unsigned char>(png[at + 2])) << 8) |
           unsigned(static_cast<unsigned char>(png[at + 3]));
  };
  return {be(16), be(20)};
}

// The drawing's size in millimetres from its root element.
std::pair<double, double> svgSize(const pugi::xml_document& svg) {
  const pugi::xml_node root = svg.child("svg");
  return {std::atof(root.attribute("width").value()), std::atof(root.attribute("height").value())};
}

// Renders `svg` to `png` at 96 dpi; the PNG's bytes, empty on failure.
std::string render(const std::string& svg, const std::string& png, const TempDir& dir) {
  const Outcome run =
      shell("rsvg-convert --dpi-x 96 --dpi-y 96 -f png -o " + quoted(png) + " " + quoted(svg), dir);
  return run.status == 0 ? readBytes(png) : std::string();
}

class Pictures : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    sample_ = new TempDir;
    const Outcome demo = tarn({"demo", sample_->file("demo.sqlite"), "--data", TARN_DATA_DIR}, *sample_);
    ASSERT_EQ(demo.status, 0) << demo.err;
    const Outcome report =
        tarn({"report", sample_->file("demo.sqlite"), "-o", sample_->file("site")}, *sample_);
    ASSERT_EQ(report.status, 0) << report.err;
  }
  static void TearDownTestSuite() {
    delete sample_;
    sample_ = nullptr;
  }
  static std::string file() { return sample_->file("demo.sqlite"); }
  static std::string site() { return sample_->file("site"); }

  static TempDir* sample_;
  TempDir dir;
};
TempDir* Pictures::sample_ = nullptr;

TEST_F(Pictures, DrawWritesOneDrawingOfAProfileOrCompositionByNameOrId) {
  const Outcome beam = tarn({"draw", file(), "profile", "IPE 200"}, dir);
  ASSERT_EQ(beam.status, 0) << beam.err;
  pugi::xml_document svg;
  ASSERT_TRUE(svg.load_string(beam.out.c_str())) << beam.out;
  EXPECT_EQ(std::string(svg.child("svg").child_value("title")), "IPE 200 (IPE, EN 10365 · IShapeProfile)");
  // The overall width and depth are dimensioned with the catalogue's unit.
  EXPECT_NE(beam.out.find(">100 mm</text>"), std::string::npos);
  EXPECT_NE(beam.out.find(">200 mm</text>"), std::string::npos);

  const Outcome wall =
      tarn({"draw", file(), "composition", "External wall, timber frame", "-o", dir.file("w.svg")}, dir);
  ASSERT_EQ(wall.status, 0) << wall.err;
  EXPECT_EQ(wall.out, "");
  const std::string drawn = readBytes(dir.file("w.svg"));
  ASSERT_TRUE(svg.load_string(drawn.c_str()));
  EXPECT_NE(drawn.find("structural"), std::string::npos);
  EXPECT_NE(drawn.find(">core</text>"), std::string::npos);
  EXPECT_NE(drawn.find("<pattern "), std::string::npos);

  // By id: the same drawing as by name.
  const Outcome listed = tarn({"list", file(), "composition", "--name", "External wall, timber frame"}, dir);
  std::smatch id;
  ASSERT_TRUE(std::regex_search(listed.out, id, std::regex("\\d+"))) << listed.out;
  EXPECT_EQ(tarn({"draw", file(), "composition", id.str()}, dir).out, drawn);

  EXPECT_EQ(tarn({"draw", file(), "material", "Gypsum plaster"}, dir).status, 1);
  const Outcome missing = tarn({"draw", file(), "profile", "IPE 201", "-o", dir.file("none.svg")}, dir);
  EXPECT_EQ(missing.status, 2);
  EXPECT_FALSE(fs::exists(dir.file("none.svg")));
}

// Every drawing the sample gives is well-formed, renders, has the size it
// declares and is more than a blank page.
TEST_F(Pictures, EverySampleDrawingRendersToAnImageOfItsSize) {
  if (!installed("rsvg-convert")) GTEST_SKIP() << "rsvg-convert is not installed";
  const std::string drawings = site() + "/drawings";
  const std::string images = dir.file("png");
  fs::create_directory(images);
  // One converter per drawing, a few at a time.
  const Outcome rendered = shell("cd " + quoted(drawings) +
                                     " && printf '%s\\0' *.svg | xargs -0 -P 3 -I{} "
                                     "rsvg-convert --dpi-x 96 --dpi-y 96 -f png -o " +
                                     quoted(images) + "/{}.png {}",
                                 dir);
  ASSERT_EQ(rendered.status, 0) << rendered.err;

  // A blank page as large as the largest drawing compresses to less than any
  // drawing with lines and text on it.
  std::vector<std::pair<std::string, std::pair<double, double>>> sizes;
  double largest = 0, largestW = 0, largestH = 0;
  for (const auto& entry : fs::directory_iterator(drawings)) {
    pugi::xml_document svg;
    ASSERT_TRUE(svg.load_file(entry.path().c_str())) << entry.path();
    EXPECT_FALSE(svg.select_node("//script")) << entry.path() << ": drawings carry no scripts";
    const auto size = svgSize(svg);
    sizes.emplace_back(entry.path().filename().string(), size);
    if (size.first * size.second > largest) {
      largest = size.first * size.second;
      largestW = size.first;
      largestH = size.second;
    }
  }
  const std::string page = dir.file("blank.svg");
  testing::writeBytes(page, "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + std::to_string(largestW) +
                                "mm\" height=\"" + std::to_string(largestH) +
                                "mm\"><rect width=\"100%\" height=\"100%\" fill=\"#fff\"/></svg>");
  const std::size_t blank = render(page, dir.file("blank.png"), dir).size();
  ASSERT_GT(blank, 0u);

  for (const auto& [name, mm] : sizes) {
    SCOPED_TRACE(name);
    const std::string png = readBytes(images + "/" + name + ".png");
    ASSERT_FALSE(png.empty());
    const auto pixels = pngSize(png);
    EXPECT_NEAR(pixels.first, mm.first * 96 / 25.4, 1.0);
    EXPECT_NEAR(pixels.second, mm.second * 96 / 25.4, 1.0);
    EXPECT_GT(png.size(), blank + 2000) << "little more than a blank page";
  }
  // Every composition and profile of the sample.
  const Outcome compositions = tarn({"count", file(), "composition"}, dir);
  const Outcome profiles = tarn({"count", file(), "profile"}, dir);
  EXPECT_EQ(sizes.size(), std::stoul(compositions.out) + std::stoul(profiles.out));
}

// Links, image sources and fragments of every page point at what exists.
TEST_F(Pictures, EveryLinkOfTheReportResolves) {
  const std::regex reference("(href|src)=\"([^\"]*)\"");
  std::size_t pages = 0, links = 0;
  for (const auto& entry : fs::directory_iterator(site())) {
    if (entry.path().extension() != ".html") continue;
    ++pages;
    const std::string html = readBytes(entry.path().string());
    for (auto m = std::sregex_iterator(html.begin(), html.end(), reference); m != std::sregex_iterator();
         ++m) {
      const std::string target = (*m)[2];
      SCOPED_TRACE(entry.path().filename().string() + " -> " + target);
      ASSERT_EQ(target.find("://"), std::string::npos) << "the report refers to nothing outside itself";
      const std::size_t hash = target.find('#');
      const std::string path = target.substr(0, hash);
      ASSERT_FALSE(path.empty());
      ASSERT_TRUE(fs::is_regular_file(site() + "/" + path));
      if (hash != std::string::npos) {
        EXPECT_NE(readBytes(site() + "/" + path).find("id=\"" + target.substr(hash + 1) + "\""),
                  std::string::npos);
      }
      ++links;
    }
  }
  EXPECT_GT(pages, 60u);
  EXPECT_GT(links, 2000u);
}

// Shapes whose dimensions form no outline, and names made of markup: each
// drawing is a well-formed note naming the dimension at fault, each name comes
// back unchanged from the parsed drawing, and the report's pages hold the
// names escaped.
TEST_F(Pictures, BadShapesAndMarkupNamesGiveWellFormedDrawingsAndPages) {
  const std::string markup = "<b>\"A&B\" 'co'</b> \u00e9\u4e2d\U0001F600";
  struct Case {
    std::string size;
    TnSmartPtr<ParametrizedProfile> (*create)(const TnSmartPtr<ProfileName>&, const OdString&);
    std::vector<std::pair<const char*, double>> dimensions;
    std::string fault;  // the dimension the note names; empty: drawn
  };
  const std::vector<Case> cases = {
      {"I thick flange",
       [](const TnSmartPtr<ProfileName>& s, const OdString& n) {
         return TnSmartPtr<ParametrizedProfile>(IShapeProfile::create(s, n));
       },
       {{"overallWidth", 100}, {"overallDepth", 200}, {"webThickness", 6}, {"flangeThickness", 120}},
       "flangeThickness"},
      {"RHS thick wall",
       [](const TnSmartPtr<ProfileName>& s, const OdString& n) {
         return TnSmartPtr<ParametrizedProfile>(RectangleHollowProfile::create(s, n));
       },
       {{"xDim", 100}, {"yDim", 50}, {"wallThickness", 30}},
       "wallThickness"},
      {"zero circle",
       [](const TnSmartPtr<ProfileName>& s, const OdString& n) {
         return TnSmartPtr<ParametrizedProfile>(CircleProfile::create(s, n));
       },
       {{"radius", 0}},
       "radius"},
      {"negative wall",
       [](const TnSmartPtr<ProfileName>& s, const OdString& n) {
         return TnSmartPtr<ParametrizedProfile>(CircleHollowProfile::create(s, n));
       },
       {{"radius", 50}, {"wallThickness", -3}},
       "wallThickness"},
      {"U big fillet",
       [](const TnSmartPtr<ProfileName>& s, const OdString& n) {
         return TnSmartPtr<ParametrizedProfile>(UShapeProfile::create(s, n));
       },
       {{"depth", 100},
        {"flangeWidth", 50},
        {"webThickness", 6},
        {"flangeThickness", 8},
        {"filletRadius", 60}},
       "filletRadius"},
      {markup,
       [](const TnSmartPtr<ProfileName>& s, const OdString& n) {
         return TnSmartPtr<ParametrizedProfile>(RectangleProfile::create(s, n));
       },
       {{"xDim", 100}, {"yDim", 200}},
       ""},
  };
  const std::string catalogue = dir.file("bad.sqlite");
  {
    auto library = Library::create(OdString(catalogue), LibraryUnit::Millimeter);
    ASSERT_TRUE(library);
    auto series = ProfileName::create(ProfileStandard::create(OdString(markup)), OdString(markup));
    for (const Case& c : cases) {
      auto profile = c.create(series, OdString(c.size));
      for (const auto& [name, value] : c.dimensions)
        ASSERT_TRUE(profile->set_dimension(OdString(name), value));
      library->save<ParametrizedProfile>(profile);
    }
    auto sketch = CustomProfile::create(series, OdString("sketch"));
    sketch->set_geometry(OdString("M 0 0 L 1 1"));
    library->save<CustomProfile>(sketch);
    // One ply of each kind of hatch: crossed lines, a brick and a dot pattern
    // known by their names, and none.
    auto type = library->save<MaterialType>(MaterialType::create(OdString("Board")));
    auto wall = Composition::create(OdString(markup));
    const std::vector<std::pair<std::string, Pattern>> materials = {
        {markup, Pattern(2.0, 45.0, true, false)},
        {"Brick", Pattern(Pattern::Type::Predefined, OdString("Brick courses"), 1.0, 0.0, false)},
        {"Sand", Pattern(Pattern::Type::Custom, OdString("SAND"), 1.0, 0.0, false)},
        {"Foil", Pattern()}};
    for (const auto& [name, pattern] : materials) {
      auto material = Material::create(OdString(name), type);
      material->set_cut_pattern(pattern);
      wall->append_ply(
          Composition::Ply(library->save<Material>(material), MaterialFunction::Structure, 12.5));
    }
    library->save<Composition>(wall);
    library->save<Composition>(Composition::create(OdString("no plies")));
  }

  for (const Case& c : cases) {
    SCOPED_TRACE(c.size);
    const Outcome run = tarn({"draw", catalogue, "profile", c.size}, dir);
    ASSERT_EQ(run.status, 0) << run.err;
    pugi::xml_document svg;
    ASSERT_TRUE(svg.load_string(run.out.c_str())) << run.out;
    EXPECT_EQ(std::string(svg.child("svg").child_value("title")).substr(0, c.size.size()), c.size);
    if (c.fault.empty()) {
      EXPECT_EQ(run.err, "");
      EXPECT_TRUE(svg.select_node("//path"));
    } else {
      EXPECT_NE(run.err.find("not drawn"), std::string::npos) << run.err;
      EXPECT_FALSE(svg.select_node("//path")) << "a note, not a picture";
      EXPECT_NE(run.out.find("Not drawn: "), std::string::npos);
      EXPECT_NE(run.out.find(c.fault), std::string::npos) << run.out;
    }
  }
  const Outcome wall = tarn({"draw", catalogue, "composition", markup}, dir);
  ASSERT_EQ(wall.status, 0) << wall.err;
  pugi::xml_document svg;
  ASSERT_TRUE(svg.load_string(wall.out.c_str())) << wall.out;
  EXPECT_EQ(std::string(svg.child("svg").child_value("title")), markup);
  EXPECT_EQ(svg.select_nodes("//pattern").size(), 3u);
  EXPECT_EQ(svg.select_nodes("//pattern/path[@stroke]").size(), 2u) << "lines and brick joints";
  EXPECT_EQ(svg.select_nodes("//pattern/circle").size(), 1u) << "dots";
  for (const char* notDrawn : {"sketch", "no plies"}) {
    const Outcome run = tarn(
        {"draw", catalogue, std::string(notDrawn) == "sketch" ? "profile" : "composition", notDrawn}, dir);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.err.find("not drawn"), std::string::npos) << notDrawn;
    EXPECT_TRUE(svg.load_string(run.out.c_str())) << run.out;
  }

  const Outcome report = tarn({"report", catalogue, "-o", dir.file("bad-site")}, dir);
  ASSERT_EQ(report.status, 0) << report.err;
  EXPECT_NE(report.out.find("7 drawings say why"), std::string::npos) << report.out;
  const std::string escaped = "&lt;b&gt;&quot;A&amp;B&quot; &#39;co&#39;&lt;/b&gt;";
  std::size_t withName = 0;
  for (const auto& entry : fs::recursive_directory_iterator(dir.file("bad-site"))) {
    if (!entry.is_regular_file()) continue;
    const std::string text = readBytes(entry.path().string());
    EXPECT_EQ(text.find("<b>"), std::string::npos) << entry.path();
    if (text.find(escaped) != std::string::npos) ++withName;
  }
  EXPECT_GE(withName, 6u);

  // A folder of other files is not replaced; an earlier report is.
  fs::create_directory(dir.file("other"));
  testing::writeBytes(dir.file("other/keep.txt"), "mine");
  EXPECT_EQ(tarn({"report", catalogue, "-o", dir.file("other")}, dir).status, 2);
  EXPECT_EQ(readBytes(dir.file("other/keep.txt")), "mine");
  EXPECT_EQ(tarn({"report", catalogue, "-o", dir.file("bad-site")}, dir).status, 0);
}

// The report in a headless browser: the search box filters the index (its
// text taken from ?q=), and no page, loaded all at once in frames of one
// page, writes anything to the console.
TEST_F(Pictures, ReportSearchesAndLoadsWithoutConsoleMessagesInABrowser) {
  const char* browser = installed("chromium")           ? "chromium"
                        : installed("chromium-browser") ? "chromium-browser"
                                                        : nullptr;
  if (!browser) GTEST_SKIP() << "chromium is not installed";
  auto open = [&](const std::string& url, const std::string& profile) {
    return shell(std::string("timeout 50 ") + browser +
                     " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run"
                     " --disable-background-networking --disable-component-update --disable-sync"
                     " --user-data-dir=" +
                     quoted(dir.file(profile)) +
                     " --enable-logging=stderr --v=0 --virtual-time-budget=5000 --dump-dom " + quoted(url),
                 dir);
  };

  const Outcome index = open("file://" + site() + "/index.html?q=ipe%20200", "profile-a");
  ASSERT_EQ(index.status, 0) << index.err;
  const std::regex item("<li( hidden=\"\")?><a href=\"[^\"]*\">([^<]*)</a>");
  std::vector<std::string> shown;
  std::size_t hidden = 0;
  for (auto m = std::sregex_iterator(index.out.begin(), index.out.end(), item); m != std::sregex_iterator();
       ++m) {
    if ((*m)[1].matched)
      ++hidden;
    else
      shown.push_back((*m)[2]);
  }
  EXPECT_EQ(shown, std::vector<std::string>{"IPE 200"});
  EXPECT_GT(hidden, 400u);
  EXPECT_NE(index.out.find("1 of " + std::to_string(hidden + 1) + " shown"), std::string::npos);

  std::string frames;
  std::size_t pages = 0;
  for (const auto& entry : fs::directory_iterator(site()))
    if (entry.path().extension() == ".html") {
      frames += "<iframe src=\"site/" + entry.path().filename().string() + "\"></iframe>\n";
      ++pages;
    }
  testing::writeBytes(sample_->file("all.html"),
                      "<!DOCTYPE html><html><body>\n" + frames + "</body></html>\n");
  const Outcome all = open("file://" + sample_->file("all.html"), "profile-b");
  ASSERT_EQ(all.status, 0) << all.err;
  EXPECT_EQ(std::count(all.out.begin(), all.out.end(), '\n') > 0, true);
  std::string console;
  std::istringstream lines(all.err);
  for (std::string line; std::getline(lines, line);)
    if (line.find(":CONSOLE") != std::string::npos) console += line + "\n";
  EXPECT_EQ(console, "") << "console messages of " << pages << " pages";
  // A page that does write to the console is seen: the check can fail.
  testing::writeBytes(sample_->file("noisy.html"), "<!DOCTYPE html><script>console.error('noisy')</script>");
  const Outcome noisy = open("file://" + sample_->file("noisy.html"), "profile-c");
  EXPECT_NE(noisy.err.find(":CONSOLE"), std::string::npos) << noisy.err;
}

}  // namespace
}  // namespace tarnlib
