#include "tarnlib/translations.h"

#include <atomic>

#include "i18n/translate.h"

namespace tarnlib {
namespace {

// Hosts install the translator before using libraries from several threads;
// the atomic only keeps a careless host's late install from being a data race.
std::atomic<Translations*> g_translator{nullptr};

}  // namespace

Translations::~Translations() = default;

void Translations::set(Translations* translator) { g_translator.store(translator, std::memory_order_release); }

Translations* Translations::get() { return g_translator.load(std::memory_order_acquire); }

OdString translateText(const OdString& source) {
  Translations* translator = Translations::get();
  if (!translator) return source;
  OdString translated;
  return translator->translate(translated, source) ? translated : source;
}

}  // namespace tarnlib
