// Criteria records for Library::get and Library::count, and StringCriteria, the
// text condition they are built from. Every string is bound to the query as a
// value; "%" and "_" in contains/startsWith/endsWith act as SQL wildcards, "="
// is case-sensitive, LIKE ignores the case of ASCII letters only.
#ifndef TARNLIB_CRITERIA_H_
#define TARNLIB_CRITERIA_H_

#include <cstdint>
#include <set>

#include "tarnlib/export.h"
#include "tarnlib/object.h"
#include "tarnlib/platform/OdString.h"

namespace tarnlib {

class TARNLIB_EXPORT StringCriteria {
 public:
  // Scoped, so that the mutators below may carry the same names.
  enum class Mode {
    anything = 0,    // no condition
    unset = 1,       // column IS NULL
    empty = 2,       // column = ''
    equals = 3,      // column = str
    contains = 4,    // column LIKE '%' + str + '%'
    startsWith = 5,  // column LIKE str + '%'
    endsWith = 6,    // column LIKE '%' + str
    like = 7,        // column LIKE str
  };

  StringCriteria() = default;
  // An empty string always gives `anything`, whatever mode is asked for: use
  // empty() to match empty texts.
  StringCriteria(const OdString& str, Mode mode)
      : mode_(str.isEmpty() ? Mode::anything : mode), str_(str) {}

  StringCriteria& anything() { return set(Mode::anything, OdString()); }
  StringCriteria& unset() { return set(Mode::unset, OdString()); }
  StringCriteria& empty() { return set(Mode::empty, OdString()); }
  StringCriteria& equals(const OdString& s) { return set(Mode::equals, s); }
  StringCriteria& contains(const OdString& s) { return set(Mode::contains, s); }
  StringCriteria& startsWith(const OdString& s) { return set(Mode::startsWith, s); }
  StringCriteria& endsWith(const OdString& s) { return set(Mode::endsWith, s); }
  StringCriteria& like(const OdString& s) { return set(Mode::like, s); }

  explicit operator bool() const { return mode_ != Mode::anything; }
  Mode mode() const { return mode_; }
  const OdString& str() const { return str_; }

 private:
  StringCriteria& set(Mode mode, const OdString& str) {
    mode_ = mode;
    str_ = str;
    return *this;
  }
  Mode mode_ = Mode::anything;
  OdString str_;
};

// A condition on the name of a type whose only criterion is its name.
struct TARNLIB_EXPORT NameCriteria {
  StringCriteria name;
};

struct TARNLIB_EXPORT CustomPropertyCriteria {
  StringCriteria name;
  ObjectType object_type = ObjectType{0};  // 0: any; else that type and the generic ones
};

struct TARNLIB_EXPORT MaterialCriteria {
  StringCriteria name;
  std::set<OdString> tags;  // names; a material matches with at least one of them
  std::uint32_t type = 0;   // id of a MaterialType; 0: any
};

struct TARNLIB_EXPORT CompositionCriteria {
  StringCriteria name;
  std::set<OdString> tags;
  std::uint32_t types = 0;            // OR-ed Composition::Type bits; 0: any
  std::set<std::uint32_t> type_ids;   // CompositionType ids; empty: any
};

// Profiles of any class by their size text, series and standard. The masks and
// sets filter only when not empty.
struct TARNLIB_EXPORT ProfileCriteria {
  StringCriteria size;
  StringCriteria series;    // the name of the profile's ProfileName
  StringCriteria standard;  // the name of its standard; unset(): series outside any standard
  std::uint32_t types = 0;  // OR-ed ProfileType bits of the series; 0: any
  std::set<ObjectType> classes;  // most-derived classes to keep (exactly these); empty: any
};

struct TARNLIB_EXPORT ProfileNameCriteria {
  StringCriteria name;
  std::uint32_t types = 0;  // OR-ed ProfileType bits; 0: any
  StringCriteria standard;  // the standard's name; unset(): names outside any standard
};

}  // namespace tarnlib

#endif  // TARNLIB_CRITERIA_H_
