// Translations: the host's hook for the few words the library writes itself.
//
// The library creates some objects whose names are words in the user's language
// (the material type "Generic" is one). It asks the installed translator for
// each such word and uses its built-in English word when there is none or the
// translator has no translation. The hook is process-wide, not per library.
//
// Threads: install the translator before libraries are used from several
// threads and keep it installed; translate() may be called from any thread
// that uses a library.
#ifndef TARNLIB_TRANSLATIONS_H_
#define TARNLIB_TRANSLATIONS_H_

#include "tarnlib/export.h"
#include "tarnlib/platform/OdString.h"

namespace tarnlib {

class TARNLIB_EXPORT Translations {
 public:
  Translations() = default;
  Translations(const Translations&) = default;
  Translations& operator=(const Translations&) = default;
  virtual ~Translations();

  // Stores the translation of `source` in `out` and returns true, or returns
  // false when there is none.
  virtual bool translate(OdString& out, const OdString& source) = 0;

  // Installs `translator` (null uninstalls), replacing any earlier one. The
  // library never deletes it; the host keeps it alive while installed.
  static void set(Translations* translator);
  // The installed translator, or null.
  static Translations* get();
};

}  // namespace tarnlib

#endif  // TARNLIB_TRANSLATIONS_H_
