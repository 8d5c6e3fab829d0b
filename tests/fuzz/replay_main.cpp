// A main for the fuzz targets outside libFuzzer: runs every file of the
// folders given through LLVMFuzzerTestOneInput, as libFuzzer runs a corpus,
// so that the seed corpus and the inputs kept from crashes are tests of every
// build. Fails when the folders hold no input at all (a wrong path).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> inputs;
  for (int i = 1; i < argc; ++i) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(argv[i], error))
      // Hidden files (.gitkeep, which keeps an empty folder) are not inputs.
      if (entry.is_regular_file() && entry.path().filename().string()[0] != '.') inputs.push_back(entry.path());
  }
  std::sort(inputs.begin(), inputs.end());
  std::size_t ran = 0;
  for (const auto& path : inputs) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::printf("%s\n", path.string().c_str());
    std::fflush(stdout);
    // Never a null pointer, as libFuzzer never passes one.
    static const std::uint8_t kNothing = 0;
    LLVMFuzzerTestOneInput(bytes.empty() ? &kNothing : reinterpret_cast<const std::uint8_t*>(bytes.data()),
                           bytes.size());
    ++ran;
  }
  std::printf("%zu inputs ran\n", ran);
  return ran == 0 ? 1 : 0;
}
