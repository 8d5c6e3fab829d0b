// Commands that make pictures of a catalogue: draw (one SVG drawing) and
// report (a static web site of the whole catalogue).
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>

#include "commands.h"
#include "common.h"
#include "output_file.h"
#include "progress_bar.h"
#include "report.h"
#include "svg_drawing.h"
#include "types.h"

namespace tarn {

namespace fs = std::filesystem;

namespace {

// The file that marks a folder as a report, so that report replaces an earlier
// one but never a folder of other files.
const char* const kReportMarker = ".tarn-report";

void addDraw(CLI::App& app, Commands& commands) {
  struct Options {
    std::string file;
    std::string type;
    std::string key;
    std::string out;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand("draw", "Draw a profile or a composition as an SVG drawing");
  cmd->add_option("FILE", o->file, "The catalogue")->required();
  cmd->add_option("TYPE", o->type, "composition, profile or a profile class (see tarn --help)")->required();
  cmd->add_option("ID|NAME", o->key, "The object's id, or its exact name (a profile's size text)")
      ->required();
  cmd->add_option("-o,--output", o->out, "Write the drawing to this file instead of standard output")
      ->type_name("OUT.svg");
  commands[cmd] = [o] {
    const TypeEntry& type = typeNamed(o->type);
    // The profile types are the ones selected by series.
    if (type.type != tarnlib::ObjectType::Composition && !type.bySeries)
      throw UsageError("draw: " + type.name + " objects have no drawing; draw a composition or a profile");
    if (o->key.empty()) throw Failure("\"\"", "an empty name names no object");
    std::unique_ptr<OutputFile> output;
    if (!o->out.empty() && o->out != "-") output = std::make_unique<OutputFile>(o->out);
    Catalogue catalogue = openNoted(o->file, Access::Read);
    onFile(o->file, [&] {
      const tarnlib::Library& library = catalogue.library();
      const ObjectPtr object = findObject(library, type, o->file, o->key);
      Drawing drawing;
      if (const auto* composition = dynamic_cast<const tarnlib::Composition*>(object.get()))
        drawing = drawComposition(*composition, library.unit());
      else
        drawing = drawProfile(dynamic_cast<const tarnlib::Profile&>(*object), library.unit());
      if (output)
        output->write(drawing.svg);
      else
        std::cout << drawing.svg << std::flush;
      // The note in place of the picture is written all the same: a drawing
      // always comes out, and a script that draws a whole series gets one per
      // profile.
      if (!drawing.problem.empty())
        std::cerr << "tarn: " << printable(o->key) << ": not drawn: " << printable(drawing.problem) << '\n';
    });
  };
}

// A folder made beside the report's folder and removed again unless kept.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(const fs::path& target) {
    std::string pattern =
        (target.parent_path() / ("." + target.filename().u8string() + ".tarn-XXXXXX")).u8string();
    if (!::mkdtemp(pattern.data()))
      throw Failure(target.u8string(), "cannot be written: " + std::string(std::strerror(errno)));
    path_ = fs::u8path(pattern);
  }
  ~TemporaryFolder() {
    std::error_code ec;
    if (!path_.empty()) fs::remove_all(path_, ec);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const fs::path& path() const { return path_; }
  void release() { path_.clear(); }

 private:
  fs::path path_;
};

// Puts the finished site in place of `target`: a new folder, an empty one or
// an earlier report, which is removed once the new one is there.
void putInPlace(TemporaryFolder& site, const fs::path& target) {
  const std::string name = target.u8string();
  std::error_code ec;
  if (!fs::exists(target, ec)) {
    fs::rename(site.path(), target, ec);
    if (ec) throw Failure(name, "cannot be written: " + ec.message());
    site.release();
    return;
  }
  TemporaryFolder old(target);
  fs::remove(old.path(), ec);
  fs::rename(target, old.path(), ec);
  if (ec) throw Failure(name, "cannot be replaced: " + ec.message());
  fs::rename(site.path(), target, ec);
  if (ec) {
    std::error_code back;
    fs::rename(old.path(), target, back);
    throw Failure(name, "cannot be replaced: " + ec.message());
  }
  site.release();
}

void addReport(CLI::App& app, Commands& commands) {
  struct Options {
    std::string file;
    std::string dir;
  };
  auto o = std::make_shared<Options>();
  CLI::App* cmd = app.add_subcommand(
      "report", "Write the catalogue as a static web site: an index with search, and pages with drawings");
  cmd->add_option("FILE", o->file, "The catalogue")->required();
  cmd->add_option("-o,--output", o->dir, "The folder to write; replaces an earlier report there")
      ->type_name("DIR")
      ->required();
  commands[cmd] = [o] {
    const fs::path target = fs::absolute(fs::u8path(o->dir));
    std::error_code ec;
    if (fs::exists(target, ec)) {
      if (!fs::is_directory(target, ec)) throw Failure(o->dir, "is not a folder");
      if (!fs::is_empty(target, ec) && !fs::exists(target / kReportMarker, ec))
        throw Failure(o->dir, "is a folder of other files, not an earlier report; nothing written");
    }
    Catalogue catalogue = openNoted(o->file, Access::Read);
    TemporaryFolder site(target);
    fs::create_directory(site.path() / "drawings", ec);
    if (ec) throw Failure(o->dir, "cannot be written: " + ec.message());
    ReportSummary summary;
    onFile(o->file, [&] {
      ProgressBar bar("report");
      summary = writeReport(catalogue.library(), fs::u8path(o->file).filename().u8string(),
                            site.path().u8string(), bar.callback());
    });
    if (!(std::ofstream((site.path() / kReportMarker).string()) << "tarn report\n"))
      throw Failure(o->dir, "cannot be written");
    putInPlace(site, target);
    std::cout << "Wrote " << summary.pages << " pages and " << summary.drawings << " drawings to "
              << printable(o->dir) << '\n';
    if (summary.notDrawn > 0)
      std::cout << summary.notDrawn << " drawings say why their object could not be drawn\n";
  };
}

}  // namespace

void addPictureCommands(CLI::App& app, Commands& commands) {
  addDraw(app, commands);
  addReport(app, commands);
}

}  // namespace tarn
