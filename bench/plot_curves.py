#!/usr/bin/python3
"""Draws the cost curves of `oru_bench --curves` (scripts/bench.sh --curves).

    plot_curves.py CSV_DIR [PNG_DIR]

Reads rate.csv, sockets.csv, chunks.csv and memory.csv from CSV_DIR and
writes one PNG per curve (about 860x430) into PNG_DIR (default CSV_DIR):
the measure, the server's CPU (or memory) per unit, and ours/raw at each point.

The PNGs copied to docs/bench/ are the only generated files kept in git,
because BENCHMARKS.md shows them; keep them small (a few tens of KiB).
"""

import csv
import io
import math
import os
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
from matplotlib.ticker import FuncFormatter, NullFormatter  # noqa: E402
from PIL import Image  # noqa: E402

SYSTEMS = [
    ("ours", "ours (SDK gateway, its client)", "C0", "-"),
    ("ours_rawclient", "SDK gateway, raw client", "C0", ":"),
    ("raw", "raw sockets", "C3", "-"),
]

# file: (title, x label, [(column suffix, panel title, y scale, in the ratio panel)])
CURVES = {
    "rate": ("Requests against connections", "control connections (16 requests in flight each)",
             [("req_per_s", "requests per second", "log", True),
              ("cpu_us_per_req", "gateway CPU µs per request", "log", True)]),
    "sockets": ("One stream fanned out, 64 KiB chunks", "sockets per stream",
                [("mib_per_s", "MiB/s delivered (all sockets)", "log", True),
                 ("cpu_ms_per_gib", "gateway CPU ms per GiB delivered", "log", True)]),
    "chunks": ("One stream to one socket", "chunk size, KiB",
               [("mib_per_s", "MiB/s delivered", "log", True),
                ("cpu_ms_per_gib", "gateway CPU ms per GiB", "log", True)]),
    "memory": ("Idle control connections", "idle control connections",
               [("rss_growth_kib", "gateway RSS growth, KiB", "symlog", False),
                ("bytes_per_conn", "RSS growth per connection, bytes", "linear", True)]),
}


def one_two_five(value, _):
    """Plain numbers on log axes, at 1, 2 and 5 of each decade only."""
    if value <= 0:
        return ""
    mantissa = value / 10 ** math.floor(math.log10(value) + 1e-9)
    if min(abs(mantissa - m) for m in (1, 2, 5)) > 1e-6:
        return ""
    return f"{round(value):,}" if value >= 1 else f"{value:g}"


def read(path):
    with open(path, newline="") as f:
        rows = list(csv.DictReader(f))
    return rows


def plot(name, rows, out_dir):
    title, xlabel, panels = CURVES[name]
    xname = next(iter(rows[0]))
    xs = [float(r[xname]) for r in rows]
    fig, axes = plt.subplots(1, len(panels) + 1, figsize=(9.6, 4.8), dpi=90)
    rounds = rows[0].get("rounds", "?")
    each = "1 round per point" if rounds == "1" else f"median of {rounds} rounds per point"
    fig.suptitle(f"{title} ({each})", fontsize=11)
    for ax, (suffix, ylabel, yscale, _) in zip(axes, panels):
        for system, label, color, style in SYSTEMS:
            column = f"{system}_{suffix}"
            if column in rows[0]:
                if name == "memory" and system == "ours":
                    label = "ours (SDK gateway)"  # held open by plain sockets
                ax.plot(xs, [float(r[column]) for r in rows], style, color=color, marker="o", ms=3, label=label)
        ax.set_title(ylabel, fontsize=9)
        ax.set_yscale(yscale)
    ratio_ax = axes[-1]
    for suffix, ylabel, _, in_ratio in panels:
        if not in_ratio:
            continue
        for system, label, color, style in SYSTEMS:
            if system == "raw" or f"{system}_{suffix}" not in rows[0]:
                continue
            ys = []
            for r in rows:
                ours, raw = float(r[f"{system}_{suffix}"]), float(r[f"raw_{suffix}"])
                ys.append(ours / raw if ours > 0 and raw > 0 else float("nan"))
            first = suffix == panels[0][0]
            what = {"req_per_s": "req/s", "mib_per_s": "MiB/s"}.get(suffix, "CPU" if "cpu" in suffix else "bytes")
            ratio_ax.plot(xs, ys, style, color="C0" if first else "C2", marker="o" if first else "s", ms=3,
                          label=f"{what}, {'ours' if system == 'ours' else 'SDK gateway, raw client'}")
    ratio_ax.axhline(1, color="grey", lw=0.8)
    ratio_ax.set_yscale("log")
    ratio_ax.set_title("ours / raw", fontsize=9)
    for ax in axes:
        ax.set_xscale("log")
        ax.set_xticks(xs)
        ax.xaxis.set_major_formatter(FuncFormatter(lambda v, _: f"{round(v):,}"))
        ax.xaxis.set_minor_formatter(NullFormatter())
        ax.set_xlabel(xlabel, fontsize=8)
        ax.tick_params(which="both", labelsize=7)
        ax.grid(True, which="major", lw=0.3)
        if ax.get_yscale() in ("log", "symlog"):
            ax.yaxis.set_major_formatter(FuncFormatter(one_two_five))
            ax.yaxis.set_minor_formatter(FuncFormatter(one_two_five))
    # Legends below the panels, where they hide no point.
    fig.legend(*axes[0].get_legend_handles_labels(), loc="lower left", ncol=1, fontsize=7, frameon=False)
    fig.legend(*ratio_ax.get_legend_handles_labels(), loc="lower right", ncol=2, fontsize=7, frameon=False)
    fig.tight_layout(rect=(0, 0.13, 1, 1))
    # A 64-colour palette keeps each picture at a few tens of KiB.
    buffer = io.BytesIO()
    fig.savefig(buffer, format="png")
    plt.close(fig)
    path = os.path.join(out_dir, name + ".png")
    Image.open(buffer).convert("RGB").quantize(64).save(path, optimize=True)
    return path


def main():
    if len(sys.argv) not in (2, 3) or sys.argv[1].startswith("-"):
        print("usage: plot_curves.py CSV_DIR [PNG_DIR]", file=sys.stderr)
        return 2
    csv_dir = sys.argv[1]
    out_dir = sys.argv[2] if len(sys.argv) == 3 else csv_dir
    os.makedirs(out_dir, exist_ok=True)
    for name in CURVES:
        path = os.path.join(csv_dir, name + ".csv")
        if not os.path.exists(path):
            print(f"plot_curves.py: {path} missing, skipped", file=sys.stderr)
            continue
        rows = read(path)
        if rows:
            print(plot(name, rows, out_dir))
    return 0


if __name__ == "__main__":
    sys.exit(main())
