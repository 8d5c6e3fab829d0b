// Creates a library in memory through the installed headers and library.
#include <tarnlib/tarnlib.h>

#include <cstdio>

int main() {
  auto library = tarnlib::Library::create(OdString(L"memvfs://consumer"), tarnlib::LibraryUnit::Inch);
  if (!library) return 1;
  auto tag = library->save<tarnlib::Tag>(tarnlib::Tag::create(L"installed"));
  std::printf("%s %u\n", library->guid().toUtf8().c_str(), tag->id());
  return tag->id() == 1 ? 0 : 2;
}
