#!/usr/bin/env python3
"""Measures Brindle and brindlectl on the emulated board beside its floor and other programs.

Usage: measure.py REPORT LOAD [quick | DOCUMENT CHART], with the preset bench built. Prints the report, and writes it as
REPORT.md, with all samples as REPORT.json and the chart as REPORT.svg. Updates the tables between DOCUMENT's two marks,
and CHART.

All programs that are timed share one core, the emulated board included, with real-time scheduling where it is
allowed, so that other work on the machine disturbs them as little as possible. Contenders take turns.
"""
import json
import os
import re
import subprocess
import sys
import tempfile
import time
from collections import defaultdict
from functools import partial
from pathlib import Path
from statistics import median

ROOT = Path(__file__).resolve().parent.parent
MARKS = re.compile(r"(?<=<!-- figures begin: by ./bench --update-docs -->\n).*(?=<!-- figures end -->)", re.S)
FLOOR = "bench-floor /dev/i2c-5 read:0:1 read:4:12 "  # begins with the chip's probe and the table, as Brindle
BARE = FLOOR.replace("floor", "floor --bare", 1)

# Brindle's arguments, what the floor does for them, and how many times the floor they may take.
COMMANDS = [
    ("/RA brindle.out", "read:0:32768", 1.1),
    ("/VA image", "read:0:32768", None),
    ("/R 1 brindle.out", "read:64:16386", None),
    ("/RBI brindle.out", "read:0:64", None),
    ("/W 1 file1", "write:64:16386", None),
    ("/WA image", "write:0:32768", 1.01),
    ("/E", "erase:0:32768", 1.01),
]
# The third file's pages are written, and nothing when the chip holds the image already. Page 0, which has no
# checksum, and the pages to be written are read twice before, the second time with other transfers.
UPDATE, UPDATE_IMAGE = "brindlectl update --journal . --file 3=file3", "brindlectl update --journal . image"
UNCHANGED_FLOOR = "bench-floor /dev/i2c-5 read:0:1 read:0:32832"
CONFIRMING = " read:0:5 read:5:59 read:19520:5 read:19525:315"
UPDATE_FLOOR = UNCHANGED_FLOOR + CONFIRMING + " write:19520:302 read:0:32832"


def pieces(size):
    """i2ctransfer once for each piece: it has no loop of its own, and its list ends at 42 messages."""
    return [f"i2ctransfer -y 5 w2@0x56 {at >> 8} {at & 255} r{size}@0x56" for at in range(0, 32768, size)]


# Task, program, its command lines. The first program is the unit for the others of its task.
PEERS = [
    ("read", "Brindle", ["Brindle /RA brindle.out"]),
    ("read", "floor", [FLOOR + "read:0:32768"]),
    ("read", "bare loop", [BARE + "read:0:32768"]),
    ("read", "i2ctransfer, 4096 bytes", pieces(4096)),
    ("read", "i2ctransfer, 16 bytes", pieces(16)),
    ("write", "Brindle", ["Brindle /WA image"]),
    ("write", "floor", [FLOOR + "write:0:32768"]),
    ("write", "bare loop", [BARE + "write:0:32768"]),
    ("update one file", "brindlectl", [UPDATE]),
    ("update one file", "floor", [UPDATE_FLOOR]),
    ("update one file", "/WA and /VA", ["Brindle /WA image", "Brindle /VA image"]),
    ("update nothing", "brindlectl", [UPDATE_IMAGE]),
    ("update nothing", "floor", [UNCHANGED_FLOOR]),
    ("three files of 400 bytes", "Brindle /RA", ["Brindle /RA brindle.out"]),
    ("three files of 400 bytes", "brindlectl list", ["brindlectl list"]),
    ("three files of 400 bytes", "brindlectl extract", ["brindlectl extract board 2 -"]),
]

# What the board holds before a task; the image if nothing is said here.
CONTENTS = {"update one file": "outdated", "three files of 400 bytes": "small-files"}

# Boards whose EEPROM belongs to the kernel's driver: bytes of a message to the chip, length of a write cycle. What
# is written there differs in every byte from what was there before.
DRIVERS = {f"{way}, {cycle} ms": ["--claim", claim, "--write-cycle", f"{cycle}000"]
           for cycle in (5, 3) for way, claim in (("64 bytes", "0x56"), ("1 byte", "0x56:1"))}
DRIVER_FILE = "/sys/bus/i2c/devices/5-0056/eeprom"
WHOLE = (0, 32768)  # address and length
FILE2 = (16512, 3002)
SHARE = 16  # in a quick run, only this fraction of an image is written byte by byte


def dd(source, target, start, length):
    """Returns dd's command line for a part of a file. The driver takes 4096 bytes at once, and no more."""
    return (f"dd status=none conv=notrunc bs=4096 iflag=skip_bytes,count_bytes oflag=seek_bytes "
            f"if={source} of={target} skip={start} seek={start} count={length}")


def dd_update(part, confirmed):
    """Returns what dd does for an update: the reading before, parts of it again, the writing, the reading after."""
    readings = [dd(DRIVER_FILE, "dd.out", *piece) for piece in (WHOLE, *confirmed, WHOLE)]
    return [*readings[:-1], dd("image", DRIVER_FILE, *part), readings[-1]]


UPDATE_FILE2 = "brindlectl update --journal . --file 2=file2"
# Tasks through the driver. The board holds outdated-TASK before.
DRIVEN_BY_PAGES = [
    ("file", "brindlectl", [UPDATE_FILE2]),
    ("file", "dd, two readings", dd_update(FILE2, [])),
    ("file", "dd, all readings", dd_update(FILE2, [(0, 64), FILE2])),
    ("image", "brindlectl", [UPDATE_IMAGE]),
    ("image", "dd, two readings", dd_update(WHOLE, [])),
    ("image", "dd, all readings", dd_update(WHOLE, [WHOLE])),
]


def driven_by_bytes(quick):
    part = (0, WHOLE[1] // SHARE) if quick else WHOLE
    return [("file", "brindlectl", [UPDATE_FILE2]),
            ("image", "brindlectl", [UPDATE_IMAGE]),
            ("image", "dd", [dd("image", DRIVER_FILE, *part)])]


# Programs that need no board: name, command line, exit code, and how many times /bin/true they may take.
STARTS = [
    ("Argument error", "Brindle /x", 22, 3),
    ("List an image", "brindlectl list image", 0, 3),
    ("Build an image", "brindlectl build --file 1=file1 --file 2=file2 --file 3=file3 built", 0, 5),
    ("Print a line", "bench-hello", 0, None),
    ("/bin/true", "/bin/true", 0, None),
]

# Executables for arm64, and how many KiB they may have when they are stripped.
EXECUTABLES = [("cli/Brindle", 150), ("ctl/brindlectl", 300)]


def new_table():
    """Returns an empty table: samples by row and column."""
    return defaultdict(lambda: defaultdict(list))


def name_of(arguments):
    """Returns a command line without its host file."""
    return re.sub(r" [a-z].*", "", arguments)


def run(line, code=0):
    """Runs a command, and returns the microseconds and the context switches that it took."""
    words = line.split()
    floor = words[0] == "bench-floor"
    files = [(os.POSIX_SPAWN_OPEN, 0, "image" if floor else "/dev/null", os.O_RDONLY, 0),
             (os.POSIX_SPAWN_OPEN, 1, "floor.out" if floor else "/dev/null", os.O_WRONLY | os.O_CREAT, 0o666)]
    start = time.perf_counter_ns()
    child = os.posix_spawnp(words[0], words, os.environ, file_actions=files)
    _, status, usage = os.wait4(child, 0)
    taken = (time.perf_counter_ns() - start) / 1000
    if os.waitstatus_to_exitcode(status) != code:
        sys.exit(f"'{line}' ended with {os.waitstatus_to_exitcode(status)}")
    return taken, usage.ru_nvcsw + usage.ru_nivcsw


def peak(line, code=0):
    """Returns the KiB of memory that a command needs. What wait4 says of a child counts this process's memory too."""
    run(f"time -q -f %M -o memory {line}", code)
    return int(Path("memory").read_text())


def restore(content="image"):
    """Gives the running board its memory back."""
    with open("board.eeprom", "r+b") as memory:
        memory.write(Path(content).read_bytes())


def selected(quick):
    return [command for command in COMMANDS if not (quick and re.match("(write|erase):0:", command[1]))]


def measure_commands(quick):
    rows = new_table()
    for arguments, steps, _ in selected(quick):
        row = rows[name_of(arguments)]
        transfers = sum(-(-int(length) // (16 if kind == "read" else 64))
                        for kind, length in re.findall(r"(read|write|erase):\d+:(\d+)", FLOOR + steps))
        for _ in range(2 if quick else 25 if steps.startswith("read") else 5):
            for column, line in (("Brindle", "Brindle " + arguments), ("floor", FLOOR + steps),
                                 ("bare loop", BARE + steps)):
                restore()
                taken, switches = run(line)
                row[column].append(taken)
                row[column + ", switches"].append(switches / transfers)
        row["KiB"].append(peak("Brindle " + arguments))
    return rows


def measure_peers(quick):
    restore()
    text = b"".join(subprocess.check_output(line.split()) for line in pieces(4096))
    if bytes(int(byte, 16) for byte in text.split()) != Path("image").read_bytes():
        sys.exit("i2ctransfer reads something else")
    rows = new_table()
    for _ in range(1 if quick else 5):
        for task, program, lines in PEERS:
            if quick and task == "write":
                continue
            # Real-time scheduling reserves 50 ms of every busy second for other work, and the board is busy
            # for as long as the wire would be: without the rest, only some runs would be interrupted.
            time.sleep(1)
            restore(CONTENTS.get(task, "image"))
            rows[task][program].append(sum(run(line)[0] for line in lines))
    return rows


def measure_driver(name, quick):
    """Returns the rows of one of DRIVERS."""
    by_bytes = name.startswith("1 byte")
    rows = new_table()
    for _ in range(1 if quick or by_bytes else 3):
        for task, program, lines in driven_by_bytes(quick) if by_bytes else DRIVEN_BY_PAGES:
            time.sleep(1)
            restore("outdated-part" if quick and by_bytes and task == "image" else f"outdated-{task}")
            rows[f"{task}, {name}"][program].append(sum(run(line)[0] for line in lines))
            if Path("board.eeprom").read_bytes() != Path("image").read_bytes():
                sys.exit(f"{lines} did not write the image")
    return rows


def measure_starts(quick):
    rows = new_table()
    for _ in range(10 if quick else 100):
        for name, line, code, _ in STARTS:
            rows[name]["us"].append(run(line, code)[0])
    for name, line, code, _ in STARTS:
        rows[name]["KiB"].append(peak(line, code))
    return rows


def measure_pieces(quick):
    options = "0.01 --benchmark_repetitions=3" if quick else "0.2 --benchmark_repetitions=9"
    line = f"bench-micro --benchmark_format=json --benchmark_min_time={options}"
    rows = new_table()
    for result in json.loads(subprocess.check_output(line.split(), stderr=subprocess.DEVNULL))["benchmarks"]:
        if result["run_type"] == "iteration":
            rows[result["name"].replace("/real_time", "")]["us"].append(result["real_time"])
    return rows


def measure_sizes():
    build = os.path.abspath("arm64")
    for line in f"--preset aarch64 -B {build} -DBRINDLE_BUILD_TESTS=OFF", f"--build {build} -- --quiet":
        subprocess.run(["cmake", *line.split()], cwd=ROOT, stdout=sys.stderr, check=True)
    sizes = {}
    for file, _ in EXECUTABLES:
        subprocess.run(["aarch64-linux-gnu-strip", "-o", "stripped", f"{build}/{file}"], check=True)
        sizes[file] = os.path.getsize("stripped") / 1024
    return sizes


def inverted(content):
    """Returns a content that differs in every byte; so does its checksum for the sizes used here."""
    return bytes(byte ^ 0xFF for byte in content)


def board(options, words):
    return subprocess.run(["brindle-board", *options, "board.eeprom", "--", *words], check=True,
                          stdin=open("image", "rb"), stdout=subprocess.PIPE).stdout


def calls(line, content):
    """Returns the calls that a command makes on the node after it has last opened it. Before, brindlectl examines
    the adapter: two opens and three calls, none of which reaches the chip."""
    Path("board.eeprom").write_bytes(Path(content).read_bytes())
    board(["--trace", "trace"], line.split())
    lines = [call.split(" ", 4) for call in Path("trace").read_text().splitlines() if " chip " not in call]
    return [call for _, _, _, opened, call in lines if opened == lines[-1][3]]


def measure_on_board(quick):
    """Has this program measure inside of a board that holds all three files, the first one of 16 KiB."""
    Path("image").touch()
    for number, size in enumerate((16384, 3000, 300), 1):
        content = os.urandom(size)
        Path(f"file{number}").write_bytes(content)
        Path(f"other{number}").write_bytes(inverted(content))
        board([], ["Brindle", "/W", str(number), f"file{number}"])
    Path("image").write_bytes(Path("board.eeprom").read_bytes())
    run("brindlectl build --from image --file 3=other3 outdated")
    run("brindlectl build --from image --file 2=other2 outdated-file")
    image = Path("image").read_bytes()
    Path("outdated-image").write_bytes(inverted(image))
    part = len(image) // SHARE
    Path("outdated-part").write_bytes(inverted(image[:part]) + image[part:])
    Path("small").write_bytes(os.urandom(400))
    run("brindlectl build --file 1=small --file 2=small --file 3=small small-files")
    pairs = [("Brindle " + arguments, FLOOR + steps, "image") for arguments, steps, _ in selected(quick)]
    for line, floor, content in *pairs, (UPDATE, UPDATE_FLOOR, "outdated"), (UPDATE_IMAGE, UNCHANGED_FLOOR, "image"):
        if calls(line, content) != calls(floor, content):
            sys.exit(f"{line} and the floor make different calls on the node")
    tables = {"quick": quick}
    for options, table in ([], "commands"), (["--clock", "400000"], "peers"):
        tables[table] = json.loads(board(options, [sys.executable, __file__, table, quick * "quick"]))
    tables["driver"] = {}
    for name, options in DRIVERS.items():
        if quick and "5 ms" in name:
            continue
        measured = board(["--clock", "400000", *options], [sys.executable, __file__, name, quick * "quick"])
        tables["driver"].update(json.loads(measured))
    return tables


def driver_goals(rows, quick):
    """Returns the goals of updates through the driver: name, measured ratio, limit."""
    found = []
    for name, row in rows.items():
        if "dd, all readings" in row:
            found.append((f"{name} / dd", min(row["brindlectl"]) / min(row["dd, all readings"]), 1.02))
        elif name.startswith("file"):
            share = SHARE if quick else 1
            image = rows[name.replace("file", "image")]["dd"]
            found.append((f"{name} / dd of the image", min(row["brindlectl"]) / (min(image) * share), 0.125))
    return found


def goals(tables):
    """Compares figures with limits. Ratios are of the smallest times: what disturbs a run makes it longer."""
    commands, peers, starts = tables["commands"], tables["peers"], tables["starts"]
    found = []
    for name, limit in [(name_of(arguments), limit) for arguments, _, limit in COMMANDS]:
        if limit and name in commands:
            found.append((f"{name} / floor", min(commands[name]["Brindle"]) / min(commands[name]["floor"]), limit))
    for task, unit, limit in (("update one file", "floor", 1.02), ("update one file", "/WA and /VA", 0.4),
                              ("update nothing", "floor", 1.02)):
        found.append((f"{task} / {unit}", min(peers[task]["brindlectl"]) / min(peers[task][unit]), limit))
    small = peers["three files of 400 bytes"]
    for program in ("brindlectl list", "brindlectl extract"):
        found.append((f"{program} / /RA", min(small[program]) / min(small["Brindle /RA"]), 0.15))
    found += driver_goals(tables["driver"], tables["quick"])
    for name, _, _, limit in STARTS:
        if limit:
            found.append((f"{name} / true", min(starts[name]["us"]) / min(starts["/bin/true"]["us"]), limit))
    found.append(("Memory / print a line",
                  max(row["KiB"][0] for row in commands.values()) / starts["Print a line"]["KiB"][0], 1.5))
    for file, limit in EXECUTABLES if "sizes" in tables else []:
        found.append((f"{file} stripped, arm64 (KiB)", tables["sizes"][file], limit))
    return [(name, f"{measured:.4g}", str(limit), "met" if measured <= limit else "MISSED")
            for name, measured, limit in found]


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


def tasks_table(title, rows):
    return table(f"{title} (median; ratios of the smallest)", ("Task", "Program", "ms", "In units of the first"),
                 [(task, program, ms(median(values)), ratio(values, next(iter(row.values()))))
                  for task, row in rows.items() for program, values in row.items()])


def markdown(tables):
    return "".join((
        table("Goals", ("Goal", "Measured", "At most", "Result"), goals(tables)),
        table("Whole commands, messages taking no time (ms: median, smallest-largest; ratios of the "
              "smallest; context switches for each transfer: Brindle / floor)",
              ("Command", "Brindle", "Floor", "Bare loop", "Brindle / floor", "Brindle / bare",
               "Switches a transfer", "Peak memory (KiB)"),
              [(name, spread(row["Brindle"]), spread(row["floor"]), spread(row["bare loop"]),
                ratio(row["Brindle"], row["floor"]), ratio(row["Brindle"], row["bare loop"]),
                f"{median(row['Brindle, switches']):.2f} / {median(row['floor, switches']):.2f}", str(row["KiB"][0]))
               for name, row in tables["commands"].items()]),
        tasks_table("At 400 kHz", tables["peers"]),
        tasks_table("Updates through the kernel's driver at 400 kHz; bytes of a message, write cycle",
                    tables["driver"]),
        table("Start and footprint", ("Program", "Start to end (ms)", "Peak memory (KiB)"),
              [(name, spread(row["us"]), str(row["KiB"][0])) for name, row in tables["starts"].items()]),
        table("Single pieces, without kernel and board", ("Piece", "us, median", "smallest", "largest"),
              [(name, *(f"{pick(row['us']):.2f}" for pick in (median, min, max)))
               for name, row in tables["pieces"].items()])))


def chart(peers):
    """Returns the bar chart of whole images at 400 kHz as SVG: 10 ms a pixel."""
    wire = 32768 * 9 / 0.4
    lines, y = [], 0
    for task, title, limit, least in (("read", "Reading 32 KiB at 400 kHz", "the wire alone", wire),
                                      ("write", "Writing 32 KiB at 400 kHz (write cycle 5 ms)",
                                       "wire and write cycles alone", wire + 512 * 5000)):
        lines.append(f'<text x="10" y="{y + 22}" font-weight="bold">{title}</text>')
        y += 34
        for name, us in (limit, least), *((name, median(values)) for name, values in peers.get(task, {}).items()):
            colour = {limit: "#9aa5ad", "floor": "#9aa5ad", "Brindle": "#1f6f8b"}.get(name, "#c98b3c")
            length = us / 1e4
            lines += [f'<text x="200" y="{y + 14}" text-anchor="end">{name}</text>',
                      f'<rect x="210" y="{y}" width="{length:.1f}" height="18" fill="{colour}"/>',
                      f'<text x="{216 + length:.1f}" y="{y + 14}">{us / 1e6:.2f} s</text>']
            y += 24
    head = (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 720 {y + 10}" font-family="sans-serif" '
            f'font-size="13">')
    return "\n".join([head, '<rect width="100%" height="100%" fill="white"/>', *lines, "</svg>\n"])


def ask_for_quiet():
    """Pins this process and its children to one core, with real-time scheduling. Returns what was granted."""
    os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})
    try:
        os.sched_setscheduler(0, os.SCHED_FIFO, os.sched_param(1))
    except PermissionError:
        return "ordinary scheduling"
    return "real-time scheduling"


def main():
    quick = sys.argv[-1] == "quick"
    inside = {"commands": measure_commands, "peers": measure_peers}
    inside.update({name: partial(measure_driver, name) for name in DRIVERS})
    if sys.argv[1] in inside:
        json.dump(inside[sys.argv[1]](quick), sys.stdout)
        return
    report, documents = Path(sys.argv[1]).resolve(), [Path(name).resolve() for name in sys.argv[3:] if not quick]
    folders = (str(ROOT / "build/bench" / folder) for folder in ("cli", "ctl", "board", "benchmarks"))
    os.environ["PATH"] = ":".join([*folders, "/usr/sbin", os.environ["PATH"]])
    with tempfile.TemporaryDirectory() as work:
        os.chdir(work)
        tables = {} if quick else {"sizes": measure_sizes()}
        scheduling = ask_for_quiet()
        tables.update(measure_on_board(quick), starts=measure_starts(quick), pieces=measure_pieces(quick))
    machine = f"{os.cpu_count()} cores, kernel {os.uname().release}, {scheduling}"
    text = f"{markdown(tables)}Machine: {machine}, load average {sys.argv[2]} at the start.\n"
    picture = chart(tables["peers"])
    report.with_suffix(".json").write_text(json.dumps(tables, indent=1))
    report.with_suffix(".md").write_text(text)
    report.with_suffix(".svg").write_text(picture)
    print(text, end="")
    if documents:
        documents[0].write_text(MARKS.sub(lambda _: text, documents[0].read_text()))
        documents[1].write_text(picture)


if __name__ == "__main__":
    main()
