// An XML document read for tarn import: its text as pugixml parses it, kept to
// turn the offsets pugixml reports (of a node, of a syntax error) into the
// LINE:COLUMN that editors and people understand.
//
// pugixml parses a document in any of the UTF encodings or in Latin-1 and
// counts its offsets in the UTF-8 text it converts that into. A document that
// is not UTF-8 is therefore converted here first and parsed as UTF-8, so the
// offsets count positions in text() whatever the file's encoding was.
#ifndef TARN_XML_SOURCE_H_
#define TARN_XML_SOURCE_H_

#include <cstddef>
#include <string>
#include <vector>

#include <pugixml.hpp>

namespace tarn {

class XmlSource {
 public:
  // Parses `bytes`; parsed() tells whether the document is well-formed.
  XmlSource(std::string bytes, pugi::xml_document& document);

  const pugi::xml_parse_result& parsed() const { return parsed_; }
  const std::string& text() const { return text_; }

  // "LINE:COLUMN" of an offset into text(), both counted from 1; the column
  // counts characters, not bytes, and a byte order mark is not one. Empty for
  // a negative (unknown) offset.
  std::string position(std::ptrdiff_t offset) const;

 private:
  std::string text_;
  std::vector<std::size_t> lineStarts_;
  pugi::xml_parse_result parsed_;
};

}  // namespace tarn

#endif  // TARN_XML_SOURCE_H_
