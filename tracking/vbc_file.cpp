// Trajectory files of the recorder: writing, and reading with every field checked before anything is replaced.
#include <math.h>
#include <stdio.h>
#include <string.h>

#include "core/bytes.h"
#include "core/memory.h"
#include "tracking/vbc_impl.h"

using namespace vorn;

namespace {

constexpr uint8_t kMagic[4] = {'V', 'B', 'C', 'T'};
constexpr uint32_t kVersion = 1;
constexpr size_t kHeaderSize = 28;
constexpr size_t kRecordSize = 8;
constexpr size_t kPositionSize = 8;
// The largest file the reader accepts: a full table of 2^24 trajectories and 2^28 positions.
constexpr uint64_t kMaxTrajectories = 1u << 24;
constexpr uint64_t kMaxPositions = 1u << 28;

uint32_t float_bits(float f) {
  uint32_t u;
  memcpy(&u, &f, 4);
  return u;
}

float bits_float(uint32_t u) {
  float f;
  memcpy(&f, &u, 4);
  return f;
}

// Buffered writer: fills a small buffer and writes it out whole; remembers the first failure.
struct Writer {
  FILE *f;
  uint8_t buf[4096];
  size_t used;
  bool ok;
  void flush() {
    if (ok && used && fwrite(buf, 1, used, f) != used) ok = false;
    used = 0;
  }
  void u32(uint32_t v) {
    if (used + 4 > sizeof buf) flush();
    store_le32(buf + used, v);
    used += 4;
  }
};

// Buffered reader over the positions section.
struct Reader {
  FILE *f;
  uint8_t buf[4096];
  size_t used, filled;
  bool u32(uint32_t *v) {
    if (used + 4 > filled) {
      const size_t rest = filled - used;
      memmove(buf, buf + used, rest);
      filled = rest + fread(buf + rest, 1, sizeof buf - rest, f);
      used = 0;
      if (filled < 4) return false;
    }
    *v = load_le32(buf + used);
    used += 4;
    return true;
  }
};

// Reads the records and positions of an opened file whose header has been checked, into a fresh store.
vorn_result read_body(Reader *in, const vorn_vbc *v, uint32_t frames, uint32_t n, uint32_t positions,
                      VbcStore *out) {
  // Room: at least what the recorder has, more when the file needs it.
  const uint32_t cap = n > v->store.capacity ? n : v->store.capacity;
  VbcTrajectory *records = block_new<VbcTrajectory>(cap ? cap : 1);
  if (!records) return VORN_E_NOMEM;
  uint64_t slots = 0, total = 0;
  vorn_result r = VORN_OK;
  for (uint32_t i = 0; i < n && r == VORN_OK; ++i) {
    uint32_t start = 0, length = 0;
    if (!in->u32(&start) || !in->u32(&length))
      r = VORN_E_FILE;
    else if (length == 0 || (uint64_t)start + length > frames)
      r = VORN_E_PARAM;
    records[i] = VbcTrajectory{start, length, kVbcNil, kVbcNil, i, 0};
    slots += (length + kVbcSlot - 1) / kVbcSlot;
    total += length;
  }
  if (r == VORN_OK && total != positions) r = VORN_E_PARAM;
  const uint64_t have = v->store.slots;
  VbcStore s;
  if (r == VORN_OK && !vbc_store_init(&s, 0, (uint32_t)(slots > have ? slots : have))) r = VORN_E_NOMEM;
  if (r != VORN_OK) {
    block_release(records);
    return r;
  }
  block_release(s.traj);
  s.traj = records;
  s.capacity = cap;
  const float xmax = (float)(v->params.width - 1), ymax = (float)(v->params.height - 1);
  for (uint32_t i = 0; i < n; ++i) {
    const uint32_t length = s.traj[i].length;
    s.traj[i].length = 0;
    for (uint32_t k = 0; k < length; ++k) {
      uint32_t bx, by;
      if (!in->u32(&bx) || !in->u32(&by)) {
        vbc_store_release(&s);
        return VORN_E_FILE;
      }
      const vorn_point2f p{bits_float(bx), bits_float(by)};
      // Written this way, NaN fails the test too.
      if (!(p.x >= 0.0f && p.x <= xmax && p.y >= 0.0f && p.y <= ymax)) {
        vbc_store_release(&s);
        return VORN_E_PARAM;
      }
      vbc_store_append(&s, i, p);  // the pool was sized for every record
    }
  }
  s.count = n;
  *out = s;
  return VORN_OK;
}

}  // namespace

extern "C" {

VORN_API vorn_result vorn_vbc_save(vorn_vbc *v, const char *path) {
  if (!v || !path) return VORN_E_NULL;
  const VbcStore &s = v->store;
  uint32_t positions = 0;
  for (uint32_t t = 0; t < s.count; ++t) positions += s.traj[t].length;  // bounded by the pool, below 2^28
  Writer *w = block_new<Writer>();
  if (!w) return VORN_E_NOMEM;
  w->f = fopen(path, "wb");
  if (!w->f) {
    vorn_free(w);
    return VORN_E_FILE;
  }
  w->ok = true;
  memcpy(w->buf, kMagic, 4);
  w->used = 4;
  w->u32(kVersion);
  w->u32(v->params.width);
  w->u32(v->params.height);
  w->u32(v->frames);
  w->u32(s.count);
  w->u32(positions);
  for (uint32_t t = 0; t < s.count; ++t) {
    w->u32(s.traj[t].start);
    w->u32(s.traj[t].length);
  }
  for (uint32_t t = 0; t < s.count; ++t)
    vbc_store_each(&s, t, [&](uint32_t, vorn_point2f p) {
      w->u32(float_bits(p.x));
      w->u32(float_bits(p.y));
    });
  w->flush();
  const bool ok = w->ok && fclose(w->f) == 0;
  vorn_free(w);
  return ok ? VORN_OK : VORN_E_FILE;
}

VORN_API vorn_result vorn_vbc_load(vorn_vbc *v, const char *path) {
  if (!v || !path) return VORN_E_NULL;
  Reader *in = block_new<Reader>();
  if (!in) return VORN_E_NOMEM;
  in->f = fopen(path, "rb");
  if (!in->f) {
    vorn_free(in);
    return VORN_E_FILE;
  }
  vorn_result r = VORN_E_PARAM;
  uint8_t h[kHeaderSize];
  long size = -1;
  if (fseek(in->f, 0, SEEK_END) == 0) size = ftell(in->f);
  if (size < 0 || fseek(in->f, 0, SEEK_SET) != 0) {
    r = VORN_E_FILE;
  } else if ((uint64_t)size >= kHeaderSize && fread(h, 1, kHeaderSize, in->f) == kHeaderSize) {
    const uint32_t version = load_le32(h + 4), width = load_le32(h + 8), height = load_le32(h + 12);
    const uint32_t frames = load_le32(h + 16), n = load_le32(h + 20), positions = load_le32(h + 24);
    const bool header_ok = memcmp(h, kMagic, 4) == 0 && version == kVersion && width == v->params.width &&
                           height == v->params.height && n <= kMaxTrajectories && positions <= kMaxPositions &&
                           (uint64_t)size == kHeaderSize + kRecordSize * n + kPositionSize * positions;
    VbcStore s;
    if (header_ok && (r = read_body(in, v, frames, n, positions, &s)) == VORN_OK) {
      vbc_store_release(&v->store);
      v->store = s;
      v->frames = frames;
      v->next_seq = n;
      v->live_count = 0;
      v->have_prev = false;
      v->selected = VORN_VBC_NONE;
    }
  }
  fclose(in->f);
  vorn_free(in);
  return r;
}

}  // extern "C"
