#ifndef FUZZ_FUZZ_H_
#define FUZZ_FUZZ_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace hotfix {

/// The entry of every fuzzer: tries one input. Ends the process when the input breaks a law.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Ends the process, as a crash does, when \a holds is false. \a law says what should have been so.
void require(bool holds, const char* law);

inline std::string textOf(const std::uint8_t* data, std::size_t size) {
  return std::string(reinterpret_cast<const char*>(data), size);
}

/// Path of a file of this name in a folder of this process only, which goes away with it. The folder lies below TMPDIR,
/// else in memory where there is such a file system, else below /tmp.
std::string scratchPath(const char* name);

/// Writes a file in that folder and answers its path.
std::string scratchFile(const char* name, const std::string& contents);

/// The bytes of a file, which must be there.
std::string contentsOf(const std::string& path);

}  // namespace fuzz

}  // namespace hotfix

#endif
