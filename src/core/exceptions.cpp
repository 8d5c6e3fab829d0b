#include "tarnlib/exceptions.h"

namespace tarnlib {

// Out-of-line destructors give the abstract classes one home for their vtable
// and type information, which catching across the library boundary relies on.
Exception::~Exception() = default;
Recoverable::~Recoverable() = default;
TransactionError::~TransactionError() = default;
ConsistencyError::~ConsistencyError() = default;

const wchar_t* UnknownError::what() const { return L"Unkown error"; }

const wchar_t* UnnamedRecoverable::what() const { return L"Recoverable error"; }

const wchar_t* ForcedRollback::what() const { return L"Forced rollback"; }

const wchar_t* LibraryReadOnly::what() const { return L"Library is read only"; }

DatabaseError::DatabaseError(const OdString& detail)
    : message_(detail.isEmpty() ? OdString() : OdString(L"Database error - ") + detail) {}

const wchar_t* DatabaseError::what() const {
  return message_.isEmpty() ? L"Database error" : message_.c_str();
}

const wchar_t* AlreadyInTransaction::what() const { return L"Transaction already in progress in this thread"; }

const wchar_t* RetryLimitExceeded::what() const { return L"To many retry attempts"; }

const wchar_t* ObjectNotFound::what() const { return L"Object not found"; }

const wchar_t* NullPointer::what() const { return L"'nullptr' as required property"; }

const wchar_t* InappropriateCustomProperty::what() const { return L"Inappropriate custom property"; }

const wchar_t* ObjectInUse::what() const { return L"Object is still referenced by other object"; }

const wchar_t* ObjectNotUnique::what() const { return L"An other object with the same values exists"; }

const wchar_t* ReadError::what() const { return L"fail to read the string into json::wmValue"; }

KeyError::KeyError(const OdString& key)
    : key_(key), message_(OdString(L"no key \"") + key + OdString(L"\" in json::wmObject")) {}

const wchar_t* KeyError::what() const { return message_.c_str(); }

}  // namespace tarnlib
