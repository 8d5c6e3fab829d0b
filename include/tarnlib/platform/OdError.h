// OdError: the exception the runtime-class layer throws.
//
// It carries a numeric result code and a description. The codes below are the
// only ones this layer produces; hosts compare against the numbers, so they do
// not change. OdError values may be copied freely between threads.
#ifndef TARNLIB_PLATFORM_ODERROR_H_
#define TARNLIB_PLATFORM_ODERROR_H_

#include "tarnlib/export.h"
#include "tarnlib/platform/OdString.h"

enum OdResult : int {
  eOk = 0,
  eNotImplemented = 1,       // a default of OdRxObject that a class did not override
  eNotThatKindOfClass = 2,   // x() found no object or extension of the asked class
  eDuplicateKey = 3,         // a runtime class of that name is already registered
  eNotInitialized = 255,     // a class's runtime description does not exist (yet)
  eAlreadyInitialized = 313  // a class's runtime description exists already
};

class TARNLIB_EXPORT OdError {
 public:
  explicit OdError(int code);
  OdError(int code, const OdString& description);
  virtual ~OdError();

  int code() const { return code_; }
  // The text given at construction, or else a fixed text for the code.
  OdString description() const;

 private:
  int code_;
  OdString description_;
};

#endif  // TARNLIB_PLATFORM_ODERROR_H_
