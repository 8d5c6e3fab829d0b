// Drawings of profiles and compositions as plain SVG 1.1 documents: no
// scripts, no external references, one self-contained file each, which a
// browser shows and a converter renders as they are.
//
// A drawing's coordinates are millimetres of paper: the root element has
// width and height in "mm" and a viewBox of the same numbers, so that printed
// at 100 % a section is at the scale the drawing states (1:5 means 1 mm of
// paper for 5 mm of section). A renderer at 96 dpi makes it
// round(mm * 96 / 25.4) pixels wide.
//
// Whatever the object holds, the result is a well-formed document: a shape
// whose dimensions form no outline, a composition without plies or with an
// unusable thickness, or a custom profile (whose geometry is opaque text) is
// drawn as a note that says why, in place of the picture. Every text from the
// catalogue is escaped.
#ifndef TARN_SVG_DRAWING_H_
#define TARN_SVG_DRAWING_H_

#include <string>

#include "tarnlib/tarnlib.h"

namespace tarn {

struct Drawing {
  std::string svg;
  double widthMm = 0.0;
  double heightMm = 0.0;
  // Empty when the object is drawn; otherwise the reason the note gives.
  std::string problem;
};

// The section to scale, centred on its bounding box as profileOutline gives
// it, with its overall width and depth dimensioned, its centroid marked and
// every stored dimension listed in the catalogue's length unit `unit`.
Drawing drawProfile(const tarnlib::Profile& profile, tarnlib::LibraryUnit unit);

// The build-up as a section across its plies, the first ply (exterior or upper
// face) at the top, each ply to scale and hatched with its material's cut
// pattern, labelled with the material's name and the ply's thickness; the core
// range is bracketed and the structural and variable plies are named.
Drawing drawComposition(const tarnlib::Composition& composition, tarnlib::LibraryUnit unit);

// Text made safe for XML and HTML, as element content or as an attribute
// value in either kind of quotes: & < > " ' become references, and the
// characters XML cannot hold at all (C0 controls other than tab, newline and
// carriage return, U+FFFE, U+FFFF) become U+FFFD.
std::string escapeMarkup(const std::string& text);

// A number for people: at most `digits` significant digits, no exponent for
// the magnitudes catalogues hold, no trailing zeros ("102.5", "0.2", "1200").
std::string formatNumber(double value, int digits = 5);

}  // namespace tarn

#endif  // TARN_SVG_DRAWING_H_
