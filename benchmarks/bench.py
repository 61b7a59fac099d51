# Measures what the helper costs beside what a user would pick instead, and prints one table.
# ./bench starts it.
#
# Exit status: 0 when all rows ran and gave right answers, whatever the numbers are.

import argparse
import itertools
import json
import math
import os
import pathlib
import shutil
import statistics
import sys
import time

from data import DATA, GIB, MEMORY, PROGRAMS, ROOT, SCRATCH, NotRun, call
from rows import peak, rows_of
from sides import CP_OPENSSL, OTHERS, OURS, Side

# Measuring.


def run(row, side, output):
    if not isinstance(side, Side):
        return side
    side.before()
    output.unlink(missing_ok=True)
    spent = row.measure(side.command, output)
    if side.expected is not None:
        with open(output, encoding="utf-8") as lines:
            for line, text in itertools.zip_longest(lines, side.expected):
                if None in (line, text) or text not in line:
                    raise RuntimeError(f"{line!r:.200} instead of {text!r}")
    side.after()
    return spent / row.per


# Both sides in turn: once to warm up, then at least five times, and what is quick for ten seconds.
def run_in_turn(row, quick):
    least, most = (3, 3) if quick else (6, 26)
    make, *arguments = row.sides
    sides, runs, end = make(*arguments), [], time.monotonic() + 10
    while len(runs) < least or len(runs) < most and time.monotonic() < end:
        runs.append([run(row, *each) for each in zip(sides, [OURS, OTHERS])])
    return runs[1:]


def result_of(row, quick):
    result = {"name": row.name, "what": row.what, "unit": "B" if row.measure is peak else "s"}
    if row.aim and not quick:  # the aims are for the full sizes
        result["aim"] = {"judged": row.aim[0], "atMost": row.aim[1]}
    try:
        shutil.rmtree(SCRATCH, ignore_errors=True)
        SCRATCH.mkdir()
        runs = run_in_turn(row, quick)
    except NotRun as reason:
        return {**result, "notRun": str(reason)}
    except Exception as failure:  # whatever it is: the other rows are still measured
        return {**result, "failed": f"{type(failure).__name__}: {failure}"}
    finally:
        for folder in [SCRATCH, MEMORY]:
            shutil.rmtree(folder, ignore_errors=True)
    result["runs"] = len(runs)
    for name, values in zip(["ours", "other"], zip(*runs)):
        result[name] = {"median": statistics.median(values), "min": min(values), "max": max(values)}
    if "other" in result:
        result["ratio"] = statistics.median(ours / other for ours, other in runs)
        result["difference"] = statistics.median(ours - other for ours, other in runs)
    if "aim" in result:
        result["met"] = {**result, "ours": result["ours"]["median"]}[row.aim[0]] <= row.aim[1]
    return result


# Reporting.

# Three significant digits, without an exponent.
def digits(value):
    return f"{value:.{max(0, 2 - int(math.log10(max(abs(value), 1))))}f}"


def amount(value, unit):
    scales = [(1, "s"), (1e-3, "ms"), (1e-6, "µs")] if unit == "s" else [(1e9, "GB"), (1e6, "MB")]
    scale, name = next((each for each in scales if abs(value) >= each[0]), scales[-1])
    return f"{digits(value / scale)} {name}"


def cells(result):
    def text(value, judged="ours"):
        return digits(value) if judged == "ratio" else amount(value, result["unit"])
    judged, most = result.get("aim", {"judged": "ratio", "atMost": None}).values()
    ours, other = ["{} ({} .. {})".format(*map(text, result[side].values()))
                   if side in result else "" for side in ["ours", "other"]]
    unit = {"ours": "", "ratio": " times", "difference": " more"}[judged]
    met = {True: "met", False: "not met"}.get(result.get("met"), "")
    for trouble, name in [("notRun", "not run"), ("failed", "failed")]:
        if trouble in result:
            ours, met = f"{name}: {result[trouble]}", name
    return [result["what"], ours, other, text(result[judged], judged) if other else "",
            f"≤ {text(most, judged)}{unit}" if most else "", met]


def table(results):
    rows = [["What", "Ours: median (min .. max)", "The other: median (min .. max)", "Ratio", "Aim",
             "Met"], *map(cells, results)]
    widths = [max(map(len, column)) for column in zip(*rows)]
    rows.insert(1, ["-" * width for width in widths])
    return "".join("| " + " | ".join(map(str.ljust, row, widths)) + " |\n" for row in rows)


def machine():
    processor = call("sh", "-c", "sysctl -n machdep.cpu.brand_string 2>/dev/null || "
                     "sed -n 's/^model name.*: //p' /proc/cpuinfo | head -n 1").stdout.strip()
    memory = os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE") / GIB
    system, compiler = os.uname(), (PROGRAMS / "compiler.txt").read_text()
    return (f"{processor or 'unknown processor'}, {os.cpu_count()} cores, {memory:.0f} GiB, "
            f"{system.sysname} {system.release}, {compiler}")


STYLE = r"""
set terminal svg noenhanced size 800,500 font 'sans-serif,14' background 'white'
set style data yerrorlines; set for [line=1:4] linetype line linewidth 2
set linetype 5 linecolor 'gray' linewidth 1 dashtype 2
set logscale xy; set grid; set key top left; set format y '%g s'
"""
# Each plot's file, what grows, in which unit, the titles of its curves, and what stands beside the
# last of them. Through that one's last point goes the line of proportional growth.
PLOTS = [
    ("discover", "assets", 1, {"first": "first page", "last": "last page", "all": "all pages"},
     "sqlite3 -json"),
    ("export", "MiB", 1 << 20, {"export": "export"}, CP_OPENSSL),
    ("session", "requests", 1, {"session": "requests in one pipe"}, "echoing C program"),
    ("resources", "resources of each asset", 1, {"resources": "a page of 500 assets"}, None),
    ("reclaim", "assets moved", 1, {"reclaim": "reclaim"}, "sqlite3"),
]


def draw(points, folder):
    script = f"cd '{folder}'\n{STYLE}"
    for file, grows, unit, titles, other in PLOTS:
        curves = []
        for curve, title in titles.items():
            data = [[int(point["name"].split("-")[2]) / unit, *point["ours"].values(),
                     *point.get("other", {}).values()]
                    for point in points if point["name"].split("-")[1] == curve]
            lines = "".join(" ".join(map(str, each)) + "\n" for each in data)
            script += f"${curve} << end\n{lines}end\n"
            curves.append(f"${curve} title '{title}'")
        if other:
            curves.append(f"${curve} using 1:5:6:7 title '{other}'")
        x, y, *_ = data[-1]
        curves.append(f"{y / x} * x with lines linetype 5 title 'in proportion'")
        script += f"set output '{file}.svg'; set xlabel '{grows}'\nplot {', '.join(curves)}\n"
    (DATA / "plots.gnuplot").write_text(script)
    call("gnuplot", DATA / "plots.gnuplot")


def main():
    parser = argparse.ArgumentParser(prog="./bench")
    parser.error = lambda message: sys.exit(f"./bench: {message}")
    for flag in ["--quick", "--plots", "--check"]:
        parser.add_argument(flag, action="store_true")
    parser.add_argument("--json")
    parser.add_argument("--markdown")
    parser.add_argument("names", nargs="*")
    options = parser.parse_intermixed_args()
    rows = [row for row in rows_of(options.quick)
            if row.name.startswith("growth-") or not options.plots]
    for name in options.names:
        if not any(row.name.startswith(name) for row in rows):
            sys.exit(f"./bench: no row's name begins with “{name}”; the rows are "
                     + " ".join(row.name for row in rows))
    try:  # better known now than at the end
        for file in filter(None, [options.json, options.markdown]):
            open(file, "a", encoding="utf-8").close()
    except OSError as error:
        sys.exit(f"./bench: {error.filename} can't be written: {error.strerror}")
    if options.check:
        return 0
    results = []
    for row in (row for row in rows if row.name.startswith(tuple(options.names or [""]))):
        print(f"{row.name}: ", end="", file=sys.stderr, flush=True)
        results.append(result_of(row, options.quick))
        print(", ".join(filter(None, cells(results[-1])[1:])), file=sys.stderr)
    text = f"{machine()}\n\n{table(results)}"
    print(text, end="")
    if options.markdown:
        pathlib.Path(options.markdown).write_text(text, encoding="utf-8")
    if options.json:
        pathlib.Path(options.json).write_text(json.dumps(
            {"machine": machine(), "quick": options.quick, "rows": results}) + "\n")
    points = [result for result in results if result["name"].startswith("growth-")]
    if not options.names and all("ours" in point for point in points):
        draw(points, DATA if options.quick else ROOT / "docs")
    return any("failed" in result for result in results)


sys.exit(main())
