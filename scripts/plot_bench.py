#!/usr/bin/env python3
"""Draws the benchmark report's chart: per row, the median ratio of our time to OpenCV's at each frame size
(bars) with the best repetition's ratio (tick), on a log scale with 1 marked.

Usage: plot_bench.py RATIOS.csv OUT.svg"""
import csv
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402


def main(src, out):
    rows = list(csv.DictReader(open(src)))
    sizes = list(dict.fromkeys(r["size"] for r in rows))
    names = list(dict.fromkeys(r["name"] for r in rows))
    by = {(r["size"], r["name"]): r for r in rows}
    height = 0.8 / len(sizes)
    fig, ax = plt.subplots(figsize=(10, 0.32 * len(names) * len(sizes) + 1.5))
    colours = ["#3b75af", "#ef8636", "#519e3e"]
    for k, size in enumerate(sizes):
        ys, med, low = [], [], []
        for i, name in enumerate(names):
            r = by.get((size, name))
            if not r:
                continue
            ys.append(len(names) - 1 - i + (len(sizes) - 1 - k) * height - 0.4 + height / 2)
            med.append(float(r["median"]))
            low.append(float(r["min"]))
        ax.barh(ys, med, height=height * 0.9, color=colours[k % len(colours)], label=size + " (median)", left=0)
        ax.plot(low, ys, "|", color="black", markersize=7, label="best repetition" if k == 0 else None)
    ax.axvline(1.0, color="#b22222", linewidth=1)
    ax.set_xscale("log")
    ax.set_yticks(range(len(names)))
    ax.set_yticklabels(reversed(names), fontsize=8)
    ax.set_ylim(-0.6, len(names) - 0.4)
    ax.set_xlabel("our time / OpenCV's time (single thread; below 1: faster)")
    ax.legend(loc="lower right", fontsize=8)
    ax.grid(axis="x", which="both", alpha=0.3)
    fig.tight_layout()
    fig.savefig(out)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2])
