#include "tarnlib/platform/OdError.h"

OdError::OdError(int code) : code_(code) {}

OdError::OdError(int code, const OdString& description) : code_(code), description_(description) {}

OdError::~OdError() = default;

OdString OdError::description() const {
  if (!description_.isEmpty()) return description_;
  switch (code_) {
    case eOk: return OdString(L"No error");
    case eNotImplemented: return OdString(L"Not implemented");
    case eNotThatKindOfClass: return OdString(L"Not that kind of class");
    case eDuplicateKey: return OdString(L"Duplicate key");
    case eNotInitialized: return OdString(L"Not initialized");
    case eAlreadyInitialized: return OdString(L"Already initialized");
    default: return OdString().format(L"Error %d", code_);
  }
}
