// A document written to a file so that the file is either the whole new
// document or what it was before: export's output and sync's report.
#ifndef TARN_OUTPUT_FILE_H_
#define TARN_OUTPUT_FILE_H_

#include <string>

#include <pugixml.hpp>

namespace tarn {

// The indentation of every document tarn writes.
extern const char* const kIndent;

// The document's file, written under a temporary name in the same folder and
// renamed over the file only when complete, so that a failed command leaves no
// half-written file and the file that was there stays as it was. The
// temporary is made on construction, before the command's work, which tells at
// once when the folder cannot be written.
class OutputFile {
 public:
  // Throws Failure naming `path` when it is a folder or its folder cannot be
  // written.
  explicit OutputFile(const std::string& path);
  // Without a write, removes the temporary.
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Saves the document and puts it in place; Failure naming the file when it
  // cannot be written, the file then being as it was.
  void write(const pugi::xml_document& document);
  // The same for a document that is text already (an SVG drawing).
  void write(const std::string& text);

 private:
  // Syncs, closes and renames the temporary into place after a write that
  // ended with `error` (0 for none).
  void finish(int error);

  std::string path_;
  std::string temporary_;
  int fd_ = -1;
};

}  // namespace tarn

#endif  // TARN_OUTPUT_FILE_H_
