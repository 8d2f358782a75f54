#!/usr/bin/env python3
"""Makes the table and the chart of the measurements.

  report.py ROWS.json NOTES.md TABLE.md CHART.svg MACHINE COMPILER

ROWS.json holds one JSON object a line, as bench/measure.h prints them.
NOTES.md is what a person wrote about the figures; the table is put in front of it. Prints the table.
Exits with 1 when a goal is missed.
"""
import datetime
import html
import json
import sys


def read_rows(path):
    with open(path, encoding="utf-8") as file:
        return [json.loads(line) for line in file]


def is_reached(row):
    if row["goal"] == 0:
        return None
    return row["value"] >= row["goal"] if row["atLeast"] else row["value"] <= row["goal"]


def number(value):
    return f"{value:.2f}" if value < 100 else f"{value:,.0f}"


def duration(nanoseconds):
    if nanoseconds == 0:
        return ""
    for unit, size in (("ns", 1), ("us", 1e3), ("ms", 1e6), ("s", 1e9)):
        if nanoseconds < 1000 * size:
            break
    return f"{nanoseconds / size:.3g} {unit}"


def table(rows):
    lines = ["| what | measured against | on | takes | the other takes | value | goal | reached |",
             "|---|---|---|---|---|---|---|---|"]
    for row in rows:
        reached = is_reached(row)
        if reached is None:
            continue
        goal = ("at least " if row["atLeast"] else "at most ") + number(row["goal"])
        unit = "" if row["unit"] == "ratio" else " " + row["unit"]
        lines.append(f"| {row['name']} | {row['against']} | {row['platform']} | "
                     f"{duration(row['subject'])} | {duration(row['baseline'])} | "
                     f"{number(row['value'])}{unit} | {goal}{unit} | {'yes' if reached else '**no**'} |")
    return "\n".join(lines)


def figures(rows):
    lines = ["| figure | on | value |", "|---|---|---|"]
    lines += [f"| {row['name']} | {row['platform']} | {number(row['value'])} {row['unit']} |"
              for row in rows if is_reached(row) is None]
    return "\n".join(lines)


def chart(rows):
    """Bars of each value as a share of its goal; the line at 100 % is the goal."""
    bars = [row for row in rows if is_reached(row) is not None]
    row_height, left, width, top = 22, 430, 420, 40
    height = top + row_height * len(bars) + 20
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {left + width + 60} {height}" '
             'font-family="sans-serif" font-size="12" role="img" '
             'aria-label="Each figure as a share of its goal">',
             f'<rect width="{left + width + 60}" height="{height}" fill="#ffffff"/>',
             f'<text x="{left}" y="18" fill="#333333">share of the goal that is used up '
             '(shorter is better; the line is the goal)</text>']
    goal_x = left + width * 0.75
    for i, row in enumerate(bars):
        share = row["goal"] / row["value"] if row["atLeast"] else row["value"] / row["goal"]
        y = top + i * row_height
        length = min(share, 4 / 3) * width * 0.75
        color = "#2a7f62" if share <= 1 else "#c0392b"
        name = html.escape(f"{row['name']} ({row['platform']})")
        parts.append(f'<text x="{left - 8}" y="{y + 13}" text-anchor="end" fill="#333333" '
                     f'font-size="10">{name}</text>')
        parts.append(f'<rect x="{left}" y="{y}" width="{length:.1f}" height="15" fill="{color}"/>')
        parts.append(f'<text x="{left + length + 5:.1f}" y="{y + 12}" fill="#333333" '
                     f'font-size="10">{share * 100:.0f} %</text>')
    parts.append(f'<line x1="{goal_x}" y1="{top - 8}" x2="{goal_x}" y2="{height - 12}" '
                 'stroke="#333333" stroke-dasharray="4 3"/>')
    parts.append("</svg>")
    return "\n".join(parts) + "\n"


def main():
    rows_path, notes_path, table_path, chart_path, machine, compiler = sys.argv[1:]
    rows = read_rows(rows_path)
    with open(notes_path, encoding="utf-8") as file:
        notes = file.read()
    page = (f"# Performance\n\nMade by `scripts/bench` on {datetime.date.today()}, {machine}, {compiler}. "
            "Times are medians. A ratio is the median of the rounds' ratios; each round runs "
            "both sides, one after the other.\n\n"
            f"{table(rows)}\n\n![Each figure as a share of its goal](images/performance.svg)\n\n"
            f"## Figures without a goal\n\n{figures(rows)}\n\n{notes}")
    with open(table_path, "w", encoding="utf-8") as file:
        file.write(page)
    with open(chart_path, "w", encoding="utf-8") as file:
        file.write(chart(rows))
    print(table(rows))
    return 0 if all(is_reached(row) is not False for row in rows) else 1


if __name__ == "__main__":
    sys.exit(main())
