#!/usr/bin/env python3
"""Makes the page and the picture of the measurements, or judges them.

  report.py ROWS.json --page PAGE.md --picture PICTURE.svg --machine TEXT
  report.py ROWS.json --check

ROWS.json holds one JSON object a line, as bench/measure.h prints them. What each row includes is in
bench/includes.txt. Prints the table. Exits with 1 when a goal is missed, with --check when a figure
is more than twice its goal.
"""
import argparse
import datetime
import html
import json
import pathlib
import sys

GENEROUS = 2  # for --check, which runs beside other tests

# What of a whole is the library's own work, without the calls of the system: its name, the rows whose
# times are that work, the row that is the whole, how many times the whole holds it, the goal in percent.
SHARES = [
    ("own work of a server query, 64 players",
     ["query response, 64 players, from the datagram to the queued event"],
     "64 server queries, answered at once, processor", 64, 5),
    ("own work of a frame through a pipe",
     ["53-byte frames decoded out of one read", "event post, get, ten getters, free; posters: 1"],
     "53-byte frames through a real pipe to host events", 1, 10),
    ("own work of a ping batch, 256 addresses",
     ["ping JSON, 256 addresses: times faster"], "ping batch, addresses: 256", 1, 1),
]


def read_includes():
    """Beginning of a row's name -> what its figure includes."""
    path = pathlib.Path(__file__).parent / "includes.txt"
    lines = [line for line in path.read_text().splitlines() if line and not line.startswith("#")]
    return dict(line.split(": ", 1) for line in lines)


def shares(rows):
    times = {row["name"]: row["subject"] for row in rows if row["platform"] == "Wine"}
    for name, parts, whole, count, goal in SHARES:
        if all(part in times for part in [*parts, whole]):
            own, of = sum(times[part] for part in parts), times[whole] / count
            yield {"platform": "Wine", "name": name, "against": "the whole of it", "value": 100 * own / of,
                   "goal": goal, "atLeast": False, "unit": "%", "baseline": of, "subject": own}


def read_rows(path):
    includes = read_includes()
    rows = [json.loads(line) for line in pathlib.Path(path).read_text().splitlines()]
    rows += shares(rows)
    for row in rows:
        known = [name for name in includes if row["name"].startswith(name)]
        row["includes"] = includes[max(known, key=len)] if known else ""
        row["share"] = None
        if row["goal"]:
            row["share"] = row["goal"] / row["value"] if row["atLeast"] else row["value"] / row["goal"]
    return rows


def number(value):
    return f"{value:.2f}" if value < 100 else f"{value:,.0f}"


def duration(nanoseconds):
    if nanoseconds == 0:
        return ""
    for unit, size in (("ns", 1), ("us", 1e3), ("ms", 1e6), ("s", 1e9)):
        if nanoseconds < 1000 * size:
            break
    return f"{nanoseconds / size:.3g} {unit}"


def goal_of(row):
    return ("at least " if row["atLeast"] else "at most ") + number(row["goal"])


def unit_of(row):
    return "" if row["unit"] == "ratio" else " " + row["unit"]


def table(rows):
    lines = ["| what | includes | measured against | on | takes | the other takes | value | goal | reached |",
             "|---|---|---|---|---|---|---|---|---|"]
    for row in rows:
        lines.append(f"| {row['name']} | {row['includes']} | {row['against']} | {row['platform']} | "
                     f"{duration(row['subject'])} | {duration(row['baseline'])} | "
                     f"{number(row['value'])}{unit_of(row)} | {goal_of(row)}{unit_of(row)} | "
                     f"{'yes' if row['share'] <= 1 else '**no**'} |")
    return "\n".join(lines)


def figures(rows):
    lines = ["| figure | on | value |", "|---|---|---|"]
    return "\n".join(lines + [f"| {row['name']} | {row['platform']} | {number(row['value'])} {row['unit']} |"
                              for row in rows])


def verdict(rows):
    missed = [row for row in rows if row["share"] > 1]
    if not missed:
        nearest = max(rows, key=lambda row: row["share"])
        return (f"All {len(rows)} goals are reached. Nearest to its limit is \"{nearest['name']}\" "
                f"({nearest['platform']}): {number(nearest['value'])}, {goal_of(nearest)}.")
    lines = [f"{len(rows) - len(missed)} of {len(rows)} goals are reached, **{len(missed)} missed**:", ""]
    return "\n".join(lines + [f"- {row['name']} ({row['platform']}): {number(row['value'])}{unit_of(row)}, "
                              f"{goal_of(row)}" for row in missed])


def picture(rows):
    """Bars of each value as a share of its goal, between a column of names and one of numbers."""
    size, line, left, width, right, top = 15, 26, 620, 400, 80, 50
    height = top + line * len(rows) + 10
    goal_x = left + 0.75 * width
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {left + width + right} {height}" '
             f'font-family="sans-serif" font-size="{size}" fill="#222222" role="img" '
             'aria-label="Each figure as a share of its goal">',
             '<rect width="100%" height="100%" fill="#ffffff"/>',
             f'<text x="{goal_x}" y="20" text-anchor="middle">the goal</text>',
             f'<text x="{left + width + right - 10}" y="20" text-anchor="end">used</text>']
    for i, row in enumerate(rows):
        y = top + i * line
        length = min(row["share"], 4 / 3) * 0.75 * width
        color = "#2a7f62" if row["share"] <= 1 else "#c0392b"
        parts.append(f'<text x="{left - 12}" y="{y + size}" text-anchor="end">'
                     f'{html.escape(row["name"])} ({row["platform"]})</text>')
        parts.append(f'<rect x="{left}" y="{y + 2}" width="{length:.1f}" height="{size + 1}" fill="{color}"/>')
        parts.append(f'<text x="{left + width + right - 10}" y="{y + size}" text-anchor="end">'
                     f'{row["share"] * 100:.0f} %</text>')
    parts.append(f'<line x1="{goal_x}" y1="28" x2="{goal_x}" y2="{height - 6}" stroke="#222222" '
                 'stroke-dasharray="4 3"/>')
    return "\n".join([*parts, "</svg>"]) + "\n"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("rows")
    parser.add_argument("--page")
    parser.add_argument("--picture")
    parser.add_argument("--machine", default="")
    parser.add_argument("--check", action="store_true")
    arguments = parser.parse_args()

    rows = read_rows(arguments.rows)
    with_goal = [row for row in rows if row["share"] is not None]
    silent = [row["name"] for row in with_goal if not row["includes"]]
    if silent:
        print("error: bench/includes.txt does not say what these include:", *silent, sep="\n  ")
        return 1
    if arguments.check:
        slips = [row for row in with_goal if row["share"] > GENEROUS]
        for row in with_goal:
            print(f"{row['share'] * 100:6.0f} % of the goal  {row['name']}")
        for row in slips:
            print(f"error: {row['name']} is {number(row['value'])}, {goal_of(row)} is the goal")
        return 1 if slips or not with_goal else 0

    pathlib.Path(arguments.page).write_text(
        f"# Performance\n\nMade by `scripts/bench` on {datetime.date.today()}, {arguments.machine}. Times are "
        "medians. A ratio is the median of the rounds' ratios; each round runs both sides, one after the "
        "other, so that whatever else the machine does meets both.\n\n"
        f"{verdict(with_goal)}\n\n{table(with_goal)}\n\n"
        "![Each figure as a share of its goal](images/performance.svg)\n\n"
        f"## Figures without a goal\n\n{figures([row for row in rows if row['share'] is None])}\n\n"
        "What was tried, and what it was worth then: [bench/notes.md](../bench/notes.md).\n")
    pathlib.Path(arguments.picture).write_text(picture(with_goal))
    print(table(with_goal))
    print("\n" + verdict(with_goal))
    return 0 if all(row["share"] <= 1 for row in with_goal) else 1


if __name__ == "__main__":
    sys.exit(main())
