// The catalogue as a static web site, for browsing rather than querying: plain
// HTML files and the SVG drawings they show, relative links only, nothing
// fetched from a server or the network, so that the folder opens from the
// file system, from a web server or from an archive alike.
//
//   index.html              counts per type, a search box over every object
//   materials.html          the materials by type; material-ID.html each
//   compositions.html       the compositions by type; composition-ID.html each
//   profiles.html           the standards and their series; series-ID.html each
//   property-sets.html      the sets by namespace; property-set-ID.html each
//   drawings/*.svg          one drawing per composition and profile
//
// Only the index has a script (the search box, which also takes its text from
// "?q=" in the address); every other page is plain markup.
#ifndef TARN_REPORT_H_
#define TARN_REPORT_H_

#include <cstddef>
#include <functional>
#include <string>

#include "tarnlib/library.h"

namespace tarn {

struct ReportSummary {
  std::size_t pages = 0;
  std::size_t drawings = 0;
  std::size_t notDrawn = 0;  // drawings that are a note instead of a picture
};

// Called after each file written with the number done and the number in all.
using ReportProgress = std::function<void(std::size_t done, std::size_t total)>;

// Writes the site into the folder `dir`, which must exist and be empty; the
// caller puts it in place. `title` heads every page (the catalogue's file
// name). Throws Failure naming a file that cannot be written.
ReportSummary writeReport(const tarnlib::Library& library, const std::string& title, const std::string& dir,
                          const ReportProgress& progress);

}  // namespace tarn

#endif  // TARN_REPORT_H_
