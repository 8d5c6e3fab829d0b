// What the XML exchange hands to a host besides Library::exportToXml and
// importFromXml: the import's messages and how they are delivered.
#ifndef TARNLIB_XML_EXCHANGE_H_
#define TARNLIB_XML_EXCHANGE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "tarnlib/export.h"
#include "tarnlib/object.h"
#include "tarnlib/platform/OdString.h"

namespace pugi {
struct xml_node_struct;
class xml_node;
}  // namespace pugi

namespace tarnlib {

// Receives one import message: its severity, its text and the offset of the
// offending node in the parsed document (pugi::xml_node::offset_debug(): in
// characters from the start of the source text, -1 when unknown).
using MessageHandler = std::function<void(int severity, const OdString& message, std::ptrdiff_t offset)>;

// The severities the import uses.
enum MessageSeverity : int {
  kMessageUnknownElement = 0,  // an element under the root that names no object type
  kMessageError = 3,           // a value or reference that could not be read; the element is skipped
};

// Collects one message through stream insertion and hands it to the handler
// when destroyed. Nothing is delivered when the handler is empty.
class TARNLIB_EXPORT MessageHandlerStream {
 public:
  MessageHandlerStream(int severity, const MessageHandler& handler, std::ptrdiff_t offset);
  ~MessageHandlerStream();
  MessageHandlerStream(const MessageHandlerStream&) = delete;
  MessageHandlerStream& operator=(const MessageHandlerStream&) = delete;

  MessageHandlerStream& operator<<(const wchar_t* text);
  MessageHandlerStream& operator<<(const OdString& text);
  MessageHandlerStream& operator<<(const std::wstring& text);
  MessageHandlerStream& operator<<(std::uint64_t number);

 private:
  int severity_;
  const MessageHandler& handler_;
  std::ptrdiff_t offset_;
  std::wstring text_;
};

// One reference element the reader could not resolve: the element, the type it
// refers to and what it carries (an id, or a name and for property
// definitions a namespace).
struct TARNLIB_EXPORT UnresolvedReference {
  pugi::xml_node_struct* element = nullptr;  // pugi::xml_node(element) gives the node
  ObjectType type = ObjectType::Tag;
  std::uint32_t id = 0;  // 0 when the reference is by name
  OdString name;
  OdString ns;

  // The text that follows "Could not find referenced object '<element>' with ":
  // "id 7", "name 'Steel'" or "name 'Width' and namespace 'Pset'".
  OdString describe() const;
};

}  // namespace tarnlib

#endif  // TARNLIB_XML_EXCHANGE_H_
