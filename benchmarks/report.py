#!/usr/bin/env python3
"""Prints the report of measure.py, and writes it as REPORT.md and REPORT.svg beside REPORT.json.

Usage: report.py REPORT.json [DOCUMENT CHART]. Updates the tables between DOCUMENT's two marks, and CHART.
"""
import json
import re
import sys
from pathlib import Path
from statistics import median

MARKS = re.compile(r"(?<=<!-- figures begin: by ./bench --update-docs -->\n).*(?=<!-- figures end -->)", re.S)


def table(title, head, rows):
    """Returns a Markdown table that is readable as plain text too, or nothing when it has no rows."""
    if not rows:
        return ""
    widths = [max(len(cell) for cell in column) for column in zip(head, *rows)]
    rule = ["-" * widths[0]] + ["-" * (width - 1) + ":" for width in widths[1:]]
    lines = ["| " + " | ".join([cell.ljust(width) if at == 0 else cell.rjust(width)
                                for at, (cell, width) in enumerate(zip(row, widths))]) + " |"
             for row in (head, rule, *rows)]
    return "\n".join([f"### {title}", "", *lines, "", ""])


def ms(microseconds):
    return f"{microseconds / 1000:.{1 if microseconds < 1e5 else 0}f}"


def spread(values):
    return f"{ms(median(values))} ({ms(min(values))}-{ms(max(values))})"


def ratio(values, unit):
    return f"{min(values) / min(unit):.3f}"


def markdown(machine, goals, tables):
    parts = [
        table("Goals", ("Goal", "Measured", "At most", "Result"),
              [(goal["goal"], f"{goal['measured']:.4g}", str(goal["limit"]),
                "met" if goal["measured"] <= goal["limit"] else "MISSED") for goal in goals]),
        table("Whole commands, messages taking no time (ms: median, smallest-largest; ratios of the "
              "smallest; context switches for each transfer: Brindle / floor)",
              ("Command", "Brindle", "Floor", "Bare loop", "Brindle / floor", "Brindle / bare",
               "Switches a transfer"),
              [(name, spread(row["Brindle"]), spread(row["floor"]), spread(row["bare loop"]),
                ratio(row["Brindle"], row["floor"]), ratio(row["Brindle"], row["bare loop"]),
                f"{median(row['Brindle, switches']):.2f} / {median(row['floor, switches']):.2f}")
               for name, row in tables["commands"].items()]),
        table("Whole images at 400 kHz (median; ratios of the smallest)",
              ("Task", "Program", "ms", "In units of the first"),
              [(task, program, ms(median(values)), ratio(values, next(iter(row.values()))))
               for task, row in tables["peers"].items() for program, values in row.items()]),
        table("Start and footprint",
              ("Program", "Start to end (ms)", "Dynamic loader (1000 cycles)", "Peak resident memory (KiB)"),
              [(name, spread(row["us"]), f"{min(row['cycles']) / 1000:.0f}", str(row["KiB"][0]))
               for name, row in tables["starts"].items()]
              + [(name, "", "", str(row["KiB"][0])) for name, row in tables["footprint"].items()]),
        table("Executables for arm64",
              ("Target", "Stripped (KiB)", "Loaded: text and data (KiB)",
               "Processor time to build what the above lack (s)", "In compilations of a small program"),
              [(name, *(f"{row[unit][0]:.1f}" for unit in ("stripped", "loaded", "seconds", "hellos")))
               for name, row in tables.get("builds", {}).items()]),
        table("Single pieces, without kernel and board", ("Piece", "us, median", "smallest", "largest"),
              [(name, *(f"{pick(row['us']):.2f}" for pick in (median, min, max)))
               for name, row in tables["pieces"].items()])]
    return "".join(parts) + f"Machine: {machine}.\n"


def chart(peers):
    """Returns the bar chart of whole images at 400 kHz as SVG: 10 ms a pixel, cut off after 4.3 s."""
    wire = 32768 * 9 / 0.4
    alone = {"read": ("Reading 32 KiB at 400 kHz", "the wire alone", wire),
             "write": ("Writing 32 KiB at 400 kHz (write cycle 5 ms)", "wire and write cycles alone",
                       wire + 512 * 5000)}
    lines, y = [], 0
    for task, row in peers.items():
        if task not in alone:
            continue
        title, limit, least = alone[task]
        lines.append(f'<text x="10" y="{y + 22}" font-weight="bold">{title}</text>')
        y += 34
        bars = {limit: least, "floor": median(row["floor"]), **{name: median(row[name]) for name in row}}
        del bars["bare loop"]
        for name, us in bars.items():
            colour = {limit: "#9aa5ad", "floor": "#9aa5ad", "Brindle": "#1f6f8b"}.get(name, "#c98b3c")
            length = min(us / 1e4, 430)
            label = f"{us / 1e6:.{2 if us < 1e7 else 0}f} s"
            lines += [f'<text x="200" y="{y + 14}" text-anchor="end">{name}</text>',
                      f'<rect x="210" y="{y}" width="{length:.1f}" height="18" fill="{colour}"/>',
                      f'<text x="{216 + length:.1f}" y="{y + 14}">{label}</text>']
            if length == 430:
                lines.append(f'<path d="M610 {y + 20} l8 -22 h6 l-8 22 z" fill="white"/>')
            y += 24
    head = (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 720 {y + 10}" font-family="sans-serif" '
            f'font-size="13">')
    return "\n".join([head, '<rect width="100%" height="100%" fill="white"/>', *lines, "</svg>\n"])


def main():
    path = Path(sys.argv[1])
    data = json.loads(path.read_text())
    text, picture = markdown(**data), chart(data["tables"]["peers"])
    path.with_suffix(".md").write_text(text)
    path.with_suffix(".svg").write_text(picture)
    print(text, end="")
    if len(sys.argv) > 2:
        document = Path(sys.argv[2])
        document.write_text(MARKS.sub(lambda _: text, document.read_text()))
        Path(sys.argv[3]).write_text(picture)


if __name__ == "__main__":
    main()
