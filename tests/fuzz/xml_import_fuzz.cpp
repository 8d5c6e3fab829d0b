// Fuzz target of the XML import: a document read twice into a fresh library
// in memory, its messages counted, and what the import kept written out again.
// The import may report, skip or throw one of the library's exceptions; it may
// not crash, leak or hang.
#include <pugixml.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarnlib;
  pugi::xml_document doc;
  if (!doc.load_buffer(data, size)) return 0;

  // The empty catalogue is made once and copied for each input: making one
  // costs more than the import of a small document.
  static const bool madeEmpty = [] {
    fuzz::ScratchFile scratch("xml-fuzz-empty");
    { Library::create(scratch.path(), LibraryUnit::Millimeter); }
    return MemFs::instance().copy(L"xml-fuzz-empty", L"xml-fuzz-template") != nullptr;
  }();
  if (!madeEmpty) std::abort();
  fuzz::ScratchFile file("xml-fuzz");
  if (!MemFs::instance().copy(L"xml-fuzz-template", L"xml-fuzz")) std::abort();
  auto library = Library::open(file.path());
  if (!library) std::abort();

  std::size_t messages = 0;
  Library::ImportOptions options;
  options.messageHandler = [&](int, const OdString& text, std::ptrdiff_t offset) {
    if (text.isEmpty() || offset < -1) {
      std::fprintf(stderr, "xml import: an empty message or a negative offset\n");
      std::abort();
    }
    ++messages;
  };
  // The second import meets every object of the document already stored:
  // names and keys now collide, references by id may point elsewhere.
  pugi::xml_node root = doc.document_element();
  for (int pass = 0; pass < 2; ++pass) {
    try {
      library->importFromXml(root, options);
    } catch (const Exception&) {
    }
  }

  // What the import kept must read back.
  pugi::xml_document out;
  pugi::xml_node outRoot = out.append_child("tarnlibrary");
  Library::ExportOptions byName;
  byName.referencesByName = true;
  library->exportToXml(outRoot, byName);
  return 0;
}
