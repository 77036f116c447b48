// Character boxes of a deskewed plate patch: Otsu binarisation of the band, the rows that cross many strokes,
// and the column profile of those rows cut at empty columns (pieces wider than a character split at their
// thinnest columns).
#include <stdlib.h>

#include "recognition/plate_internal.h"
#include "vorn_imgproc.h"

namespace vorn {
namespace {

struct Seg {
  int l, r;  // columns, r exclusive
};

// Ink runs of one row that are stroke-sized (2 to kPatchBand pixels); longer runs are paper outside the plate
// or border lines.
int stroke_runs(const uint8_t *row, int w) {
  int runs = 0;
  for (int u = 0; u < w;) {
    if (!row[u]) {
      ++u;
      continue;
    }
    int e = u;
    while (e < w && row[e]) ++e;
    runs += e - u >= 2 && e - u <= kPatchBand;
    u = e;
  }
  return runs;
}

// The character rows: near the band the deskewing aimed for, the longest stretch (one-row gaps bridged) of rows
// crossing at least half as many stroke runs as the busiest row, and at least five.
bool plate_char_rows(const uint8_t *ink, int w, int *top, int *bottom) {
  constexpr int kFrom = kPatchBandTop - 6, kTo = kPatchBandTop + kPatchBand + 6;
  int runs[kTo - kFrom], most = 0;
  for (int v = kFrom; v < kTo; ++v) {
    runs[v - kFrom] = stroke_runs(ink + (size_t)v * w, w);
    if (runs[v - kFrom] > most) most = runs[v - kFrom];
  }
  const int need = most / 2 > 5 ? most / 2 : 5;
  int best_len = 0, run_start = -1, last_good = -3;
  for (int v = kFrom; v < kTo; ++v) {
    if (runs[v - kFrom] < need) continue;
    if (v - last_good > 2) run_start = v;
    last_good = v;
    if (v - run_start + 1 > best_len) {
      best_len = v - run_start + 1;
      *top = run_start;
      *bottom = v;
    }
  }
  return best_len >= 10;
}

// Clears ink pixels with fewer than two ink neighbours (noise specks); strokes are thicker than that.
void plate_despeckle(uint8_t *ink, int w) {
  for (int v = 0; v < kPatchH; ++v)
    for (int u = 0; u < w; ++u) {
      uint8_t &p = ink[(size_t)v * w + u];
      if (!(p & 1)) continue;
      int n = 0;
      for (int dv = -1; dv <= 1; ++dv)
        for (int du = -1; du <= 1; ++du) {
          const int y = v + dv, x = u + du;
          if ((dv || du) && y >= 0 && y < kPatchH && x >= 0 && x < w) n += ink[(size_t)y * w + x] & 1;
        }
      if (n < 2) p = 3;  // marked; still odd, so later neighbours see the original mask
    }
  for (int i = 0; i < w * kPatchH; ++i) ink[i] = ink[i] == 1;
}

// The box of the ink in columns [l, r): the character rows, grown by up to three rows while the next row holds
// ink in the piece that is not part of a run longer than a character is tall (a border line), then the columns
// trimmed to the ink.
bool plate_box(const uint8_t *ink, int w, int l, int r, int b0, int b1, vorn_rect *box) {
  auto ink_count = [&](int v) {
    const uint8_t *row = ink + (size_t)v * w;
    int n = 0;
    for (int u = l; u < r; ++u) n += row[u];
    return n;
  };
  int top = -1, bottom = -1;
  for (int v = b0; v <= b1; ++v)
    if (ink_count(v)) {
      if (top < 0) top = v;
      bottom = v;
    }
  if (top < 0) return false;
  auto grows = [&](int v) {
    const uint8_t *row = ink + (size_t)v * w;
    bool any = false;
    for (int u = l; u < r; ++u) {
      if (!row[u]) continue;
      any = true;
      int a = u, b = u;
      while (a > 0 && row[a - 1]) --a;
      while (b < w - 1 && row[b + 1]) ++b;
      if (b - a + 1 > kPatchBand * 6 / 5) return false;
      u = b;
    }
    return any;
  };
  for (int k = 0; k < 3 && top == b0 - k && top > 0 && grows(top - 1); ++k) --top;
  for (int k = 0; k < 3 && bottom == b1 + k && bottom < kPatchH - 1 && grows(bottom + 1); ++k) ++bottom;
  int lo = r, hi = l - 1;
  for (int v = top; v <= bottom; ++v) {
    const uint8_t *row = ink + (size_t)v * w;
    for (int u = l; u < r; ++u)
      if (row[u]) {
        if (u < lo) lo = u;
        if (u > hi) hi = u;
      }
  }
  *box = {lo, top, hi + 1, bottom + 1};
  return true;
}

// Whether a box can be a character of height about `ch`: tall enough, not a border line, not a solid block (a
// narrow solid box is the stem of a 1, I or T whose bar was lost to the border and is kept).
bool plate_char_like(const uint8_t *ink, int w, const vorn_rect &b, int ch) {
  const int bw = b.right - b.left, bh = b.bottom - b.top;
  if (bh * 100 < ch * 55 || bw * 100 < ch * 18 || bw * 100 > ch * 105) return false;
  int filled = 0;
  for (int v = b.top; v < b.bottom; ++v)
    for (int u = b.left; u < b.right; ++u) filled += ink[(size_t)v * w + u];
  return bw * 5 < ch * 2 || filled * 10 <= bw * bh * 8;
}

int compare_int(const void *a, const void *b) { return *(const int *)a - *(const int *)b; }

// Shear left in the patch (perspective and slanted type lean the characters) is undone by shifting each row
// by round(k * (v - centre)) columns, k the shear in -0.3 .. 0.3 (steps of 0.05) that leaves the most empty
// columns between the characters of rows b0 .. b1; ties keep the smaller shear.
void plate_unshear(uint8_t *ink, int w, int b0, int b1) {
  const int vc = (b0 + b1) / 2;
  int best_k = 0, best_empty = -1;
  for (int i = 0; i <= 12; ++i) {
    const int k = (i + 1) / 2 * (i % 2 ? 1 : -1);  // 0, 1, -1, 2, ... in twentieths
    int first = w, last = -1, empty = 0;
    for (int u = 0; u < w; ++u) {
      bool any = false;
      for (int v = b0; v <= b1 && !any; ++v) {
        const int x = u + (k * (v - vc) * 2 + (k * (v - vc) >= 0 ? 20 : -20)) / 40;
        any = x >= 0 && x < w && ink[(size_t)v * w + x];
      }
      if (any) {
        if (first == w) first = u;
        empty += u - last - 1 > 0 && last >= 0 ? u - last - 1 : 0;
        last = u;
      }
    }
    if (empty > best_empty) best_empty = empty, best_k = k;
  }
  if (best_k == 0) return;
  uint8_t row[kPatchW];
  for (int v = 0; v < kPatchH; ++v) {
    const int d = best_k * (v - vc) * 2;
    const int shift = (d + (d >= 0 ? 20 : -20)) / 40;
    uint8_t *r = ink + (size_t)v * w;
    for (int u = 0; u < w; ++u) {
      const int x = u + shift;
      row[u] = x >= 0 && x < w ? r[x] : 0;
    }
    for (int u = 0; u < w; ++u) r[u] = row[u];
  }
}

}  // namespace

int plate_segment(const vorn_mono_image *patch, uint8_t *ink, vorn_rect *boxes, int *first) {
  *first = 0;
  const int w = (int)patch->width;
  if (w < 16 || w > kPatchW || patch->height != (uint32_t)kPatchH) return 0;
  // The threshold comes from the band without the margins the deskewing adds around the edges (which show what
  // lies beside the plate).
  const vorn_rect band = {kPatchBand * 2 / 5, kPatchBandTop - 4, w - kPatchBand * 2 / 5,
                          kPatchBandTop + kPatchBand + 4};
  const int32_t t = vorn_mono_image_otsu_threshold(patch, &band);
  const size_t n = (size_t)w * kPatchH;
  for (size_t i = 0; i < n; ++i) ink[i] = patch->data[i] <= t ? 1 : 0;
  plate_despeckle(ink, w);

  int b0 = 0, b1 = 0;
  if (!plate_char_rows(ink, w, &b0, &b1)) return 0;
  plate_unshear(ink, w, b0, b1);

  // Pieces: runs of columns holding ink in the character rows.
  int prof[kPatchW];
  for (int u = 0; u < w; ++u) {
    int c = 0;
    for (int v = b0; v <= b1; ++v) c += ink[(size_t)v * w + u];
    prof[u] = c;
  }
  Seg pieces[kPlateMaxSegments];
  int np = 0;
  for (int u = 0; u < w && np < kPlateMaxSegments;) {
    if (!prof[u]) {
      ++u;
      continue;
    }
    int e = u;
    while (e < w && prof[e]) ++e;
    pieces[np++] = {u, e};
    u = e;
  }

  // The character height: the median height of the pieces that are no wider than tall.
  int heights[kPlateMaxSegments], nh = 0;
  for (int i = 0; i < np; ++i) {
    vorn_rect b;
    if (!plate_box(ink, w, pieces[i].l, pieces[i].r, b0, b1, &b)) continue;
    const int bw = b.right - b.left, bh = b.bottom - b.top;
    if (bw <= bh && bw * 5 >= bh) heights[nh++] = bh;
  }
  if (nh < 3) return 0;
  qsort(heights, nh, sizeof(int), compare_int);
  const int ch = heights[nh / 2];

  // Boxes; a piece wider than a character holds touching characters (characters advance by about 0.93 of their
  // height): it is cut at its thinnest columns near the even division points.
  vorn_rect cand[kPlateMaxSegments];
  int nc = 0;
  for (int i = 0; i < np && nc < kPlateMaxSegments; ++i) {
    const int l = pieces[i].l, r = pieces[i].r, sw = r - l;
    int parts = (sw * 100 + ch * 93 / 2) / (ch * 93);
    if (parts < 1) parts = 1;
    int start = l;
    for (int k = 1; k <= parts && nc < kPlateMaxSegments; ++k) {
      int cut = r;
      if (k < parts) {
        const int nominal = l + sw * k / parts, reach = sw / parts / 4;
        cut = nominal;
        for (int c = nominal - reach; c <= nominal + reach; ++c)
          if (c > start && c < r && prof[c] < prof[cut]) cut = c;
      }
      vorn_rect b;
      if (plate_box(ink, w, start, cut, b0, b1, &b) && plate_char_like(ink, w, b, ch)) cand[nc++] = b;
      start = cut;
    }
  }
  if (nc < kPlateChars) return 0;

  // Of several runs of seven, the one whose heights and bottoms agree best.
  int best = -1;
  long best_cost = 0;
  for (int s = 0; s + kPlateChars <= nc; ++s) {
    int hs[kPlateChars], bs[kPlateChars];
    for (int i = 0; i < kPlateChars; ++i) {
      hs[i] = cand[s + i].bottom - cand[s + i].top;
      bs[i] = cand[s + i].bottom;
    }
    qsort(hs, kPlateChars, sizeof(int), compare_int);
    qsort(bs, kPlateChars, sizeof(int), compare_int);
    const int mh = hs[kPlateChars / 2], mb = bs[kPlateChars / 2];
    long cost = 0;
    for (int i = 0; i < kPlateChars; ++i)
      cost += labs((long)(cand[s + i].bottom - cand[s + i].top) - mh) + labs((long)cand[s + i].bottom - mb);
    if (best < 0 || cost < best_cost) best = s, best_cost = cost;
  }
  for (int i = 0; i < nc; ++i) boxes[i] = cand[i];
  *first = best;
  return nc;
}

}  // namespace vorn
