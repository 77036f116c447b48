// The loaders read files, so each fuzz input is written to one scratch file per process first.
#ifndef VORN_FUZZ_FILE_H
#define VORN_FUZZ_FILE_H

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

namespace vorn_fuzz {

inline const std::string &scratch_path() {
  static const std::string path = [] {
    const char *dir = getenv("TMPDIR");
    return std::string(dir && *dir ? dir : "/tmp") + "/vorn_fuzz_" + std::to_string((long)getpid()) + ".bin";
  }();
  return path;
}

// Writes the input to the scratch file and returns its path.
inline const char *as_file(const uint8_t *data, size_t size) {
  const std::string &path = scratch_path();
  FILE *f = fopen(path.c_str(), "wb");
  if (!f) abort();
  if (size && fwrite(data, 1, size, f) != size) abort();
  fclose(f);
  return path.c_str();
}

}  // namespace vorn_fuzz

#endif
