// Character boxes of a deskewed plate patch: Otsu binarisation of the band, the rows that cross many strokes,
// the border's uprights cleared, pieces cut from the column profile of the middle of those rows (where border
// lines never reach), pieces of one character merged, pieces wider than a character split at their thinnest
// columns, and each part's box grown up and down through its ink.
#include <stdlib.h>

#include "recognition/plate_internal.h"
#include "vorn_imgproc.h"

namespace vorn {
namespace {

int compare_int(const void *a, const void *b) { return *(const int *)a - *(const int *)b; }

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
  int runs[kTo - kFrom], sorted[kTo - kFrom];
  for (int v = kFrom; v < kTo; ++v) sorted[v - kFrom] = runs[v - kFrom] = stroke_runs(ink + (size_t)v * w, w);
  // The level of the busy rows is the eighth busiest row's, so that a few noisy rows beside the plate do not set it.
  qsort(sorted, kTo - kFrom, sizeof(int), compare_int);
  const int most = sorted[kTo - kFrom - 8];
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

// The box of the character whose core (its ink in the middle rows c0..c1) lies in columns [l, r). From the core
// the box grows up and down row by row, through the ink runs that touch the columns reached so far, while none of
// them is longer than `line` (a border line) and not beyond rows lo..hi; runs are clipped to columns [xl, xr) so
// that a character does not take in its neighbours. The columns are then trimmed to the ink. Returns -1 when the
// core holds no ink, else the number of directions (0..2) in which the box did not end on paper (it met a border
// line or the row limit).
int plate_box(const uint8_t *ink, int w, int l, int r, int c0, int c1, int lo, int hi, int xl, int xr, int line,
               vorn_rect *box) {
  int top = -1, bottom = -1, bl = r, br = l;  // br inclusive
  for (int v = c0; v <= c1; ++v) {
    const uint8_t *row = ink + (size_t)v * w;
    for (int u = l; u < r; ++u)
      if (row[u]) {
        if (top < 0) top = v;
        bottom = v;
        if (u < bl) bl = u;
        if (u > br) br = u;
      }
  }
  if (top < 0) return -1;
  int open = 0;
  // One direction at a time: [al, ar] the columns reached in the last row taken.
  for (int dir = -1; dir <= 1; dir += 2) {
    int al = bl, ar = br;
    for (int v = dir < 0 ? c0 - 1 : c1 + 1; dir < 0 ? v >= lo : v <= hi; v += dir) {
      const uint8_t *row = ink + (size_t)v * w;
      int nl = w, nr = -1;
      bool border = false;
      for (int u = al - 1 > xl ? al - 1 : xl; u <= ar + 1 && u < xr; ++u) {
        if (!row[u]) continue;
        int a = u, b = u;
        while (a > 0 && row[a - 1]) --a;
        while (b < w - 1 && row[b + 1]) ++b;
        if (b - a + 1 > line) border = true;
        if (a < xl) a = xl;
        if (b > xr - 1) b = xr - 1;
        if (a < nl) nl = a;
        if (b > nr) nr = b;
        u = b;
      }
      if (nr < 0) break;
      if (border) {
        ++open;
        break;
      }
      open += v == (dir < 0 ? lo : hi);
      al = nl;
      ar = nr;
      if (dir < 0) top = v;
      else bottom = v;
      if (nl < bl) bl = nl;
      if (nr > br) br = nr;
    }
  }
  *box = {bl, top, br + 1, bottom + 1};
  return open;
}

// Whether a box can be a character of height about `ch`: tall enough but not much taller, at least 0.3 of it wide
// (every character of the type has bars or bowls; a bare stem is what is left of a border upright), not a solid
// block (unless narrow: a 1 or I thickened by blur).
bool plate_char_like(const uint8_t *ink, int w, const vorn_rect &b, int ch) {
  const int bw = b.right - b.left, bh = b.bottom - b.top;
  if (bh * 100 < ch * 55 || bh * 100 > ch * 130 || bw * 100 < ch * 30 || bw * 100 > ch * 105) return false;
  int filled = 0;
  for (int v = b.top; v < b.bottom; ++v)
    for (int u = b.left; u < b.right; ++u) filled += ink[(size_t)v * w + u];
  return bw * 5 < ch * 2 || filled * 10 <= bw * bh * 8;
}

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
  // The middle rows of the character rows: border lines and what lies beyond them may reach into the first and
  // last of the character rows, never into the middle ones, and every character has ink there.
  const int c0 = b0 + (b1 - b0 + 1) / 5, c1 = b1 - (b1 - b0 + 1) / 5;
  plate_unshear(ink, w, c0, c1);
  // Boxes grow at most a fifth of the rows' height beyond them (the characters at the near end of a plate seen in
  // perspective are taller than the rest).
  const int reach = (b1 - b0 + 1) / 5;
  const int lo = b0 - reach > 0 ? b0 - reach : 0, hi = b1 + reach < kPatchH - 1 ? b1 + reach : kPatchH - 1;

  // A column whose ink runs unbroken from three rows above the character rows to three rows below them is an
  // upright of the plate's border (characters end within a row or two of them): it is cleared, which also parts a
  // first or last character that touches it.
  const int up0 = b0 - 3 > 0 ? b0 - 3 : 0, up1 = b1 + 3 < kPatchH - 1 ? b1 + 3 : kPatchH - 1, vm = (b0 + b1) / 2;
  for (int u = 0; u < w; ++u) {
    int a = vm, b = vm;
    if (!ink[(size_t)vm * w + u]) continue;
    while (a > 0 && ink[(size_t)(a - 1) * w + u]) --a;
    while (b < kPatchH - 1 && ink[(size_t)(b + 1) * w + u]) ++b;
    if (a <= up0 && b >= up1)
      for (int v = a; v <= b; ++v) ink[(size_t)v * w + u] = 0;
  }

  // Pieces: runs of columns holding ink in the middle rows.
  int prof[kPatchW];
  for (int u = 0; u < w; ++u) {
    int c = 0;
    for (int v = c0; v <= c1; ++v) c += ink[(size_t)v * w + u];
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

  // Strokes of one character that are apart in the middle rows (the sides of O, U, N) meet above or below them:
  // neighbouring pieces whose boxes reach into each other and that together are no wider than a character are
  // merged.
  const int rows = b1 - b0 + 1, line0 = rows * 3 / 2;
  vorn_rect pbox[kPlateMaxSegments];
  int popen[kPlateMaxSegments], merged = 0;
  for (int i = 0; i < np; ++i) {
    const int l = pieces[i].l, r = pieces[i].r;
    const int xl = l - rows * 45 / 100 > 0 ? l - rows * 45 / 100 : 0;
    const int xr = r + rows * 70 / 100 < w ? r + rows * 70 / 100 : w;
    vorn_rect b;
    const int kb = plate_box(ink, w, l, r, c0, c1, lo, hi, xl, xr, line0, &b);
    if (kb < 0) continue;
    // Pieces merge when neither runs through the band, their tops and bottoms agree within a tenth of the rows
    // (a broken upright of the border does not agree with the character beside it), one's box reaches the other
    // and together they are no wider than 1.1 times the rows.
    const vorn_rect &q = pbox[merged > 0 ? merged - 1 : 0];
    if (merged > 0 && kb < 2 && popen[merged - 1] < 2 && abs(q.top - b.top) * 10 <= rows &&
        abs(q.bottom - b.bottom) * 10 <= rows) {
      Seg &p = pieces[merged - 1];
      const int ul = q.left < b.left ? q.left : b.left, ur = q.right > b.right ? q.right : b.right;
      if ((q.right + 1 >= l || b.left <= p.r + 1) && (ur - ul) * 10 <= rows * 11) {
        p.r = r;
        pbox[merged - 1] = {ul, q.top < b.top ? q.top : b.top, ur, q.bottom > b.bottom ? q.bottom : b.bottom};
        if (kb > popen[merged - 1]) popen[merged - 1] = kb;
        continue;
      }
    }
    pieces[merged] = pieces[i];
    popen[merged] = kb;
    pbox[merged++] = b;
  }
  np = merged;

  // The character height: the median height of the pieces that are no wider than tall.
  int heights[kPlateMaxSegments], nh = 0;
  for (int i = 0; i < np; ++i) {
    const int bw = pbox[i].right - pbox[i].left, bh = pbox[i].bottom - pbox[i].top;
    if (popen[i] < 2 && bw <= bh && bw * 5 >= bh) heights[nh++] = bh;
  }
  if (nh < 3) return 0;
  qsort(heights, nh, sizeof(int), compare_int);
  const int ch = heights[nh / 2];
  const int line = ch * 3 / 2;

  // Pieces wider than any one character hold touching characters (digits advance by about 0.76 of their height,
  // letters by 0.89): such a piece is cut at its thinnest columns near the even division points.
  Seg parts[kPlateMaxSegments];
  int nparts = 0;
  for (int i = 0; i < np && nparts < kPlateMaxSegments; ++i) {
    const int l = pieces[i].l, r = pieces[i].r, sw = r - l;
    int k = 1;
    if (sw * 100 > ch * 95) {
      k = (sw * 100 + ch * 40) / (ch * 80);
      if (k < 2) k = 2;
    }
    int start = l;
    for (int j = 1; j <= k && nparts < kPlateMaxSegments; ++j) {
      int cut = r;
      if (j < k) {
        const int nominal = l + sw * j / k, reach = sw / k / 4;
        cut = nominal;
        for (int c = nominal - reach; c <= nominal + reach; ++c)
          if (c > start && c < r && prof[c] < prof[cut]) cut = c;
      }
      parts[nparts++] = {start, cut};
      start = cut;
    }
  }
  // Boxes: each part grows into the columns up to its neighbours, at most 0.45 of a character height to the left
  // (the bars of T and J, the foot of 1) and 0.7 to the right (the bars of L, E and F).
  vorn_rect cand[kPlateMaxSegments];
  int nc = 0;
  for (int i = 0; i < nparts; ++i) {
    const int l = parts[i].l, r = parts[i].r;
    int xl = l - ch * 45 / 100, xr = r + ch * 70 / 100;
    if (i > 0 && xl < parts[i - 1].r) xl = parts[i - 1].r;
    if (i + 1 < nparts && xr > parts[i + 1].l) xr = parts[i + 1].l;
    if (xl < 0) xl = 0;
    if (xr > w) xr = w;
    vorn_rect b;
    const int open = plate_box(ink, w, l, r, c0, c1, lo, hi, xl, xr, line, &b);
    if (open >= 0 && open < 2 && plate_char_like(ink, w, b, ch)) cand[nc++] = b;
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
