// Helpers shared by the test programs.
#ifndef VORN_TESTS_SUPPORT_H
#define VORN_TESTS_SUPPORT_H

#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

namespace vorn_test {

// Drives `attempt` through allocation failure at each of its allocation points in turn: the k-th allocation
// fails for k = 1, 2, ... until an attempt runs without the injected failure firing. `attempt` returns whether
// it succeeded; it must release whatever it made on success. Fails the current test when an attempt that met a
// failure reports success, or when any attempt leaves blocks behind. Returns the number of allocation points
// (0 when the build has no fault injection, after marking the test skipped).
int sweep_allocation_failures(const std::function<bool()> &attempt);

// The CPU feature masks every kernel test runs under, widest first: whatever the CPU has, without AVX-512,
// without AVX2 either, and the plain kernels only. Each kernel family's table for that level is what runs.
std::vector<uint32_t> isa_masks();

// Masks CPU features off (vorn::cpu_set_mask) for its lifetime.
struct CpuMaskScope {
  explicit CpuMaskScope(uint32_t mask);
  ~CpuMaskScope();
  CpuMaskScope(const CpuMaskScope &) = delete;
  CpuMaskScope &operator=(const CpuMaskScope &) = delete;
};

// A path in the test's scratch directory.
std::string temp_path(const std::string &name);

// Deterministic pseudo-random bytes.
std::vector<uint8_t> random_bytes(size_t n, uint32_t seed);

// Creates a directory (an existing one is fine); whether it exists afterwards.
bool make_dir(const std::string &path);

// Bytes of a file (empty when it cannot be read) and writing bytes to a file.
std::vector<uint8_t> read_file(const std::string &path);
void write_file(const std::string &path, const std::vector<uint8_t> &bytes);

}  // namespace vorn_test

#endif
