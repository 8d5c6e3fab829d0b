// What every tarn command shares: the two kinds of failure that decide the exit
// status, and the conversions between the library's text and the terminal's.
#ifndef TARN_COMMON_H_
#define TARN_COMMON_H_

#include <cstdint>
#include <stdexcept>
#include <string>

#include "tarnlib/exceptions.h"
#include "tarnlib/platform/OdString.h"

namespace tarn {

// A command could not do its work: main prints "tarn: SUBJECT: REASON" and exits
// with 2. SUBJECT names the file or argument at fault.
class Failure : public std::runtime_error {
 public:
  Failure(const std::string& subject, const std::string& reason)
      : std::runtime_error(subject + ": " + reason) {}
};

// A command failed with a message that is complete as it is, such as a
// diagnostic in the FILE:LINE:COLUMN form editors jump to: main prints it
// without the "tarn: " prefix and exits with 2.
class Diagnosed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The command line asks for something that cannot be meant (an option that does
// not apply to the type given): exit status 1, like a parse error.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline std::string utf8(const OdString& text) { return text.toUtf8(); }
inline OdString wide(const std::string& text) { return OdString(text); }

// The library's message for one of its exceptions, as UTF-8.
std::string messageOf(const tarnlib::Exception& e);

// An object id as written on the command line: a whole number from 1 that fits
// the library's 32-bit ids. Throws Failure naming `text` otherwise.
std::uint32_t parseId(const std::string& text);

// True when `text` is made of decimal digits only (and is not empty).
bool allDigits(const std::string& text);

// Text from a catalogue made safe for a terminal line: a name holding a newline
// would forge a line of output, and an escape sequence would reach the terminal.
// Backslash becomes \\; newline, tab and carriage return \n, \t, \r; other C0
// controls and DEL \xNN; C1 controls, the line and paragraph separators and
// the bidirectional overrides and isolates \uNNNN; a byte that is not UTF-8 \xNN.
std::string printable(const std::string& text);

}  // namespace tarn

#endif  // TARN_COMMON_H_
