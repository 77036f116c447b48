// Locating plate candidates: a row of characters is a band dense in vertical edges. Vertical-edge pixels are
// closed along rows (gaps up to 0.8 of the largest character height), vertical runs shorter than half the
// smallest character height are dropped, and the connected regions whose shape fits a character row are kept.
#include "recognition/plate_internal.h"

namespace vorn {
namespace {

enum { kRunRow, kRunL, kRunR, kRunParent, kRunWords };
enum { kBoxL, kBoxT, kBoxR, kBoxB, kBoxCount, kBoxWords };

int find_root(int32_t *runs, int i) {
  while (runs[i * kRunWords + kRunParent] != i) {
    int32_t &p = runs[i * kRunWords + kRunParent];
    p = runs[p * kRunWords + kRunParent];  // path halving
    i = p;
  }
  return i;
}

void unite(int32_t *runs, int a, int b) {
  a = find_root(runs, a);
  b = find_root(runs, b);
  if (a == b) return;
  if (a < b) runs[b * kRunWords + kRunParent] = a;
  else runs[a * kRunWords + kRunParent] = b;
}

}  // namespace

int plate_locate(const vorn_mono_image *grey, const vorn_plate_params &p, plate_locate_work *work, vorn_rect *out,
                 int max, int *edge_threshold) {
  const int w = (int)grey->width, h = (int)grey->height;
  const uint8_t *g = grey->data;
  uint8_t *mask = work->mask, *tmp = work->tmp;

  // Vertical edges, thresholded at three times the frame's mean edge strength (at least 24).
  uint64_t sum = 0;
  for (int y = 0; y < h; ++y) {
    const uint8_t *row = g + (size_t)y * w;
    for (int x = 1; x < w - 1; ++x) sum += (uint32_t)(row[x + 1] > row[x - 1] ? row[x + 1] - row[x - 1] : row[x - 1] - row[x + 1]);
  }
  int thr = (int)(3 * sum / ((uint64_t)h * (w - 2)));
  if (thr < 24) thr = 24;
  *edge_threshold = thr;
  for (int y = 0; y < h; ++y) {
    const uint8_t *row = g + (size_t)y * w;
    uint8_t *m = tmp + (size_t)y * w;
    m[0] = m[w - 1] = 0;
    for (int x = 1; x < w - 1; ++x) {
      const int d = (int)row[x + 1] - (int)row[x - 1];
      m[x] = (d >= thr || -d >= thr) ? 1 : 0;
    }
  }
  // Close along rows.
  const int gap = (int)(p.max_char_height * 8 / 10);
  for (int y = 0; y < h; ++y) {
    uint8_t *m = tmp + (size_t)y * w;
    int last = -1;
    for (int x = 0; x < w; ++x) {
      if (!m[x]) continue;
      if (last >= 0 && x - last > 1 && x - last <= gap)
        for (int k = last + 1; k < x; ++k) m[k] = 2;
      last = x;
    }
  }
  // Keep vertical runs at least half the smallest character height.
  const int min_run = (int)(p.min_char_height / 2);
  for (int x = 0; x < w; ++x) {
    int y = 0;
    while (y < h) {
      if (!tmp[(size_t)y * w + x]) {
        mask[(size_t)y * w + x] = 0;
        ++y;
        continue;
      }
      int e = y;
      while (e < h && tmp[(size_t)e * w + x]) ++e;
      const uint8_t v = e - y >= min_run ? 255 : 0;
      for (int k = y; k < e; ++k) mask[(size_t)k * w + x] = v;
      y = e;
    }
  }

  // Connected regions from the row runs (8-connected), bounded by the run store.
  int32_t *runs = work->runs;
  int nr = 0, prev_begin = 0, prev_end = 0;
  for (int y = 0; y < h; ++y) {
    const uint8_t *m = mask + (size_t)y * w;
    const int begin = nr;
    for (int x = 0; x < w && nr < work->max_runs;) {
      if (!m[x]) {
        ++x;
        continue;
      }
      int e = x;
      while (e < w && m[e]) ++e;
      int32_t *r = runs + nr * kRunWords;
      r[kRunRow] = y;
      r[kRunL] = x;
      r[kRunR] = e - 1;
      r[kRunParent] = nr;
      // Runs of both rows are in column order: skip the previous row's runs that end too far left.
      while (prev_begin < prev_end && runs[prev_begin * kRunWords + kRunR] + 1 < x) ++prev_begin;
      for (int q = prev_begin; q < prev_end && runs[q * kRunWords + kRunL] <= e; ++q) unite(runs, nr, q);
      ++nr;
      x = e;
    }
    prev_begin = begin;
    prev_end = nr;
    if (nr >= work->max_runs) break;
  }
  int32_t *boxes = work->boxes;
  for (int i = 0; i < nr; ++i) {
    const int root = find_root(runs, i);
    const int32_t *r = runs + i * kRunWords;
    int32_t *b = boxes + root * kBoxWords;
    if (root == i) {
      b[kBoxL] = r[kRunL];
      b[kBoxT] = r[kRunRow];
      b[kBoxR] = r[kRunR] + 1;
      b[kBoxB] = r[kRunRow] + 1;
      b[kBoxCount] = 0;
    }
    if (r[kRunL] < b[kBoxL]) b[kBoxL] = r[kRunL];
    if (r[kRunR] + 1 > b[kBoxR]) b[kBoxR] = r[kRunR] + 1;
    if (r[kRunRow] + 1 > b[kBoxB]) b[kBoxB] = r[kRunRow] + 1;
    b[kBoxCount] += r[kRunR] - r[kRunL] + 1;
  }

  // Regions shaped like a character row, the most edge pixels first.
  int n = 0;
  int32_t counts[kPlateMaxCandidates];
  for (int i = 0; i < nr; ++i) {
    if (find_root(runs, i) != i) continue;
    const int32_t *b = boxes + i * kBoxWords;
    const int bw = b[kBoxR] - b[kBoxL], bh = b[kBoxB] - b[kBoxT];
    if (bh * 10 < (int)p.min_char_height * 6 || bh * 10 > (int)p.max_char_height * 22) continue;
    if (bw * 10 < bh * 12 || bw > bh * 15) continue;
    if ((int64_t)b[kBoxCount] * 10 < (int64_t)bw * bh * 3) continue;
    int at = n < max ? n : max;
    while (at > 0 && counts[at - 1] < b[kBoxCount]) --at;
    if (at >= max) continue;
    for (int k = (n < max ? n : max - 1); k > at; --k) {
      out[k] = out[k - 1];
      counts[k] = counts[k - 1];
    }
    out[at] = {b[kBoxL], b[kBoxT], b[kBoxR], b[kBoxB]};
    counts[at] = b[kBoxCount];
    if (n < max) ++n;
  }
  return n;
}

}  // namespace vorn
