// tarn: look into and fix tarnlib catalogue files from the command line.
#include <CLI/CLI.hpp>

#include "tarnlib/tarnlib.h"

#include <iostream>

int main(int argc, char** argv) {
  CLI::App app{"tarn: inspect and edit tarnlib catalogue files"};
  app.set_version_flag("--version", std::string("tarn ") + TARNLIB_VERSION_STRING);
  CLI11_PARSE(app, argc, argv);
  if (argc == 1) std::cout << app.help();
  return 0;
}
