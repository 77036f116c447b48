#include "support/test_support.h"

#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>
#ifdef _WIN32
#include <direct.h>
#endif

#include <gtest/gtest.h>

#include "core/cpu.h"
#include "core/fault_inject.h"

namespace vorn_test {

std::vector<uint32_t> isa_masks() {
  const uint32_t wide = vorn::kCpuAvx512, avx = wide | vorn::kCpuAvx2;
  return {0u, wide, avx, avx | vorn::kCpuSse41 | vorn::kCpuSsse3 | vorn::kCpuSse2};
}

CpuMaskScope::CpuMaskScope(uint32_t mask) { vorn::cpu_set_mask(mask); }
CpuMaskScope::~CpuMaskScope() { vorn::cpu_set_mask(0); }

int sweep_allocation_failures(const std::function<bool()> &attempt) {
  if (!vorn::fault_inject_available()) {
    ADD_FAILURE() << "this build has no allocation fault injection";
    return 0;
  }
  for (uint32_t k = 1; k < 100000; ++k) {
    const int64_t live_before = vorn::live_blocks();
    vorn::fault_inject_fail_at(k);
    const bool ok = attempt();
    const bool fired = vorn::fault_inject_fired();
    vorn::fault_inject_fail_at(0);
    EXPECT_EQ(vorn::live_blocks(), live_before) << "blocks left behind when allocation " << k << " failed";
    if (!fired) {
      EXPECT_TRUE(ok) << "the attempt without an injected failure did not succeed";
      return (int)k - 1;
    }
    EXPECT_FALSE(ok) << "allocation " << k << " failed but the attempt reported success";
  }
  ADD_FAILURE() << "allocation sweep did not end";
  return -1;
}

std::string temp_path(const std::string &name) {
  const ::testing::TestInfo *info = ::testing::UnitTest::GetInstance()->current_test_info();
  std::string prefix = info ? std::string(info->test_suite_name()) + "_" + info->name() + "_" : "";
  return ::testing::TempDir() + prefix + std::to_string(getpid()) + "_" + name;
}

std::vector<uint8_t> random_bytes(size_t n, uint32_t seed) {
  std::vector<uint8_t> v(n);
  uint32_t s = seed * 2654435761u + 1u;
  for (size_t i = 0; i < n; ++i) {
    s ^= s << 13;
    s ^= s >> 17;
    s ^= s << 5;
    v[i] = (uint8_t)(s >> 11);
  }
  return v;
}

bool make_dir(const std::string &path) {
#ifdef _WIN32
  _mkdir(path.c_str());
#else
  mkdir(path.c_str(), 0755);
#endif
  struct stat st;
  return stat(path.c_str(), &st) == 0 && (st.st_mode & S_IFDIR);
}

std::vector<uint8_t> read_file(const std::string &path) {
  std::vector<uint8_t> out;
  FILE *f = fopen(path.c_str(), "rb");
  if (!f) return out;
  uint8_t buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0) out.insert(out.end(), buf, buf + n);
  fclose(f);
  return out;
}

void write_file(const std::string &path, const std::vector<uint8_t> &bytes) {
  FILE *f = fopen(path.c_str(), "wb");
  ASSERT_NE(f, nullptr) << path;
  if (!bytes.empty()) fwrite(bytes.data(), 1, bytes.size(), f);
  fclose(f);
}

}  // namespace vorn_test
