// The library's side of the translation hook.
#ifndef TARNLIB_I18N_TRANSLATE_H_
#define TARNLIB_I18N_TRANSLATE_H_

#include "tarnlib/platform/OdString.h"

namespace tarnlib {

// The installed translator's translation of `source`, or `source` itself when
// no translator is installed or it has no translation.
OdString translateText(const OdString& source);

}  // namespace tarnlib

#endif  // TARNLIB_I18N_TRANSLATE_H_
