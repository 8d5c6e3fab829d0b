// The measures, units and property definitions of tarn demo, from units.json
// and property_sets.json (their formats are described in data/README.md).
// Both check what the library would take silently or refuse with a message
// about the catalogue rather than the data: a name or label given twice, a
// scale that is not positive, a default of the wrong type, a definition that
// two sets of one namespace give differently.
#ifndef TARN_DEMO_PROPERTIES_H_
#define TARN_DEMO_PROPERTIES_H_

#include <map>
#include <string>

#include "data_reader.h"
#include "tarnlib/tarnlib.h"

namespace tarn {

// The units read so far by measure and label, for the files read later.
class SampleUnits {
 public:
  // The unit with `label`, of the measure `measure` when that is not empty;
  // Failure naming `where` for an unknown label or measure and for a label
  // that more than one measure has when no measure is given.
  tarnlib::TnSmartPtr<const tarnlib::Unit> find(const Reader& r, const std::string& label,
                                                const std::string& measure, const std::string& where) const;

 private:
  friend SampleUnits loadUnits(tarnlib::Library&, const Reader&);
  // measure name -> label -> unit
  std::map<std::string, std::map<std::string, tarnlib::TnSmartPtr<const tarnlib::Unit>>> units_;
};

// Saves the measures with their units and default units, then the column
// units, of units.json into `library`.
SampleUnits loadUnits(tarnlib::Library& library, const Reader& r);

// Saves the namespaces, entity types and property sets of property_sets.json,
// with one definition per name and namespace that the sets share.
void loadPropertySets(tarnlib::Library& library, const Reader& r, const SampleUnits& units);

}  // namespace tarn

#endif  // TARN_DEMO_PROPERTIES_H_
