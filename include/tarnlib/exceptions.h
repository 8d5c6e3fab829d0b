// The exceptions that leave the library interface.
//
// Every failure a host sees is one of these classes, rooted at Exception, each
// with a fixed message (what()). Database and internal errors are translated
// into them in one place, so no SQLite or standard exception escapes an
// operation. The texts are part of the interface, spelling included. The
// hierarchy deliberately derives from no standard exception: catch
// tarnlib::Exception. Values are immutable after construction and may be shared
// between threads.
#ifndef TARNLIB_EXCEPTIONS_H_
#define TARNLIB_EXCEPTIONS_H_

#include "tarnlib/export.h"
#include "tarnlib/platform/OdString.h"

namespace tarnlib {

class TARNLIB_EXPORT Exception {
 public:
  virtual ~Exception();
  virtual const wchar_t* what() const = 0;
};

// "Unkown error": anything that could not be told apart.
class TARNLIB_EXPORT UnknownError : public Exception {
 public:
  const wchar_t* what() const override;
};

// A condition under which repeating the operation may succeed.
class TARNLIB_EXPORT Recoverable : public Exception {
 public:
  ~Recoverable() override;
};

// "Recoverable error"
class TARNLIB_EXPORT UnnamedRecoverable : public Recoverable {
 public:
  const wchar_t* what() const override;
};

// "Forced rollback"
class TARNLIB_EXPORT ForcedRollback : public Recoverable {
 public:
  const wchar_t* what() const override;
};

// "Library is read only": a write into a library opened read-only.
class TARNLIB_EXPORT LibraryReadOnly : public Exception {
 public:
  const wchar_t* what() const override;
};

// The database failed. what() is "Database error - " followed by the detail
// given, or "Database error" when there was none.
class TARNLIB_EXPORT DatabaseError : public Exception {
 public:
  DatabaseError() = default;
  explicit DatabaseError(const OdString& detail);
  const wchar_t* what() const override;
  const OdString& message() const { return message_; }

 private:
  OdString message_;
};

class TARNLIB_EXPORT TransactionError : public DatabaseError {
 public:
  TransactionError() = default;
  explicit TransactionError(const OdString& detail) : DatabaseError(detail) {}
  ~TransactionError() override;
};

// "Transaction already in progress in this thread"
class TARNLIB_EXPORT AlreadyInTransaction : public TransactionError {
 public:
  const wchar_t* what() const override;
};

// "To many retry attempts": recoverable conditions persisted past the limit.
class TARNLIB_EXPORT RetryLimitExceeded : public Exception {
 public:
  const wchar_t* what() const override;
};

// "Object not found"
class TARNLIB_EXPORT ObjectNotFound : public Exception {
 public:
  const wchar_t* what() const override;
};

// "'nullptr' as required property": a required reference is missing.
class TARNLIB_EXPORT NullPointer : public Exception {
 public:
  const wchar_t* what() const override;
};

// "Inappropriate custom property"
class TARNLIB_EXPORT InappropriateCustomProperty : public Exception {
 public:
  const wchar_t* what() const override;
};

// A rule between stored objects would be broken.
class TARNLIB_EXPORT ConsistencyError : public Exception {
 public:
  ~ConsistencyError() override;
};

// "Object is still referenced by other object"
class TARNLIB_EXPORT ObjectInUse : public ConsistencyError {
 public:
  const wchar_t* what() const override;
};

// "An other object with the same values exists". text() holds the offending
// value when one was given; it does not change what().
class TARNLIB_EXPORT ObjectNotUnique : public ConsistencyError {
 public:
  ObjectNotUnique() = default;
  explicit ObjectNotUnique(const OdString& text) : text_(text) {}
  const wchar_t* what() const override;
  const OdString& text() const { return text_; }

 private:
  OdString text_;
};

// The property-value text reader's complaints (XML import): "fail to read the
// string into json::wmValue" for text that is not a value at all.
class TARNLIB_EXPORT ReadError : public Exception {
 public:
  const wchar_t* what() const override;
};

// "no key \"KEY\" in json::wmObject": a value object lacks a key its type needs.
class TARNLIB_EXPORT KeyError : public Exception {
 public:
  explicit KeyError(const OdString& key);
  const wchar_t* what() const override;
  const OdString& key() const { return key_; }

 private:
  OdString key_;
  OdString message_;
};

}  // namespace tarnlib

#endif  // TARNLIB_EXCEPTIONS_H_
