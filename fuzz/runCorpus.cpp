// Runs a fuzzer's entry over the files of folders, without the fuzzer: an ordinary test, by any compiler.
//
//   <name>Corpus FOLDER...

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "Platform/FileManager.h"
#include "fuzz/Fuzz.h"

namespace hotfix {

namespace {

void run(const std::string& input) {
  const std::vector<std::uint8_t> bytes(input.begin(), input.end());  // just as large: reading past its end is seen
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

int runCorpus(int argc, char** argv) {
  size_t count = 0;
  for (int index = 1; index < argc; ++index) {
    const std::string folder = argv[index];
    std::vector<std::string> names = platform::namesInFolder(folder).value_or(std::vector<std::string>());
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
      std::fprintf(stderr, "%s\n", name.c_str());  // before it is tried: the last name is that of the input that failed
      run(fuzz::contentsOf(folder + "/" + name));
      ++count;
    }
  }
  run("");
  std::printf("%zu inputs\n", count);
  return count > 0 ? 0 : 1;
}

}  // namespace

}  // namespace hotfix

int main(int argc, char* argv[]) { return hotfix::runCorpus(argc, argv); }
