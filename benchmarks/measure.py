#!/usr/bin/env python3
"""Measures Brindle and brindlectl on the emulated board beside its floor and other programs.

Usage: measure.py REPORT LOAD [quick], with the preset bench built. Writes all samples and the goals as JSON.

All programs that are timed share one core, the emulated board included, with real-time scheduling where it is
allowed, so that other work on the machine disturbs them as little as possible. Contenders take turns.
"""
import json
import os
import re
import resource
import subprocess
import sys
import tempfile
import time
from collections import defaultdict
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
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
# The third file's pages are written, and nothing when the content is the image's already.
UPDATE, UNCHANGED = "brindlectl update --journal . --file 3=file3", "brindlectl update --journal . image"
UNCHANGED_FLOOR = "bench-floor /dev/i2c-5 read:0:1 read:0:32768"
UPDATE_FLOOR = UNCHANGED_FLOOR + " write:21568:320 read:0:32768"


def pieces(size):
    """i2ctransfer once for each piece: it has no loop of its own, and its list ends at 42 messages."""
    return [f"i2ctransfer -y 5 w2@0x56 {at >> 8} {at & 255} r{size}@0x56" for at in range(0, 32768, size)]


# Task, program, its command lines, and how often these would have to run for 32 KiB. The first program is the
# unit for the others of its task.
PEERS = [
    ("read", "Brindle", ["Brindle /RA brindle.out"], 1),
    ("read", "floor", [FLOOR + "read:0:32768"], 1),
    ("read", "bare loop", [BARE + "read:0:32768"], 1),
    ("read", "i2ctransfer, 4096 bytes", pieces(4096), 1),
    ("read", "i2ctransfer, 16 bytes", pieces(16), 1),
    ("write", "Brindle", ["Brindle /WA image"], 1),
    ("write", "floor", [FLOOR + "write:0:32768"], 1),
    ("write", "bare loop", [BARE + "write:0:32768"], 1),
    ("write", "byte by byte", ["bench-floor --bare /dev/i2c-5 bytes:0:512"], 64),
    ("update one file", "brindlectl", [UPDATE], 1),
    ("update one file", "floor", [UPDATE_FLOOR], 1),
    ("update one file", "/WA and /VA", ["Brindle /WA image", "Brindle /VA image"], 1),
    ("update nothing", "brindlectl", [UNCHANGED], 1),
    ("update nothing", "floor", [UNCHANGED_FLOOR], 1),
]

# Programs that need no board: name, command line, exit code, and how many times /bin/true they may take.
STARTS = [
    ("Argument error", "Brindle /x", 22, 3),
    ("List an image", "brindlectl list image", 0, 3),
    ("Build an image", "brindlectl build --file 1=file1 --file 2=file2 --file 3=file3 built", 0, 5),
    ("Print a line", "bench-hello", 0, None),
    ("/bin/true", "/bin/true", 0, None),
]

# Executables for arm64: target, file, and how many KiB it may have when it is stripped.
EXECUTABLES = [("Brindle", "cli/Brindle", 150), ("brindlectl", "ctl/brindlectl", 300)]


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
        for _ in range(2 if quick else 25 if steps.startswith("read") else 5):
            for column, line in (("Brindle", "Brindle " + arguments), ("floor", FLOOR + steps),
                                 ("bare loop", BARE + steps)):
                restore()
                taken, switches = run(line)
                row[column].append(taken)
                row[column + ", switches"].append(switches / transfers(FLOOR + steps))
    return rows


def transfers(line):
    return sum(-(-int(length) // (16 if kind == "read" else 64))
               for kind, length in re.findall(r"(read|write|erase):\d+:(\d+)", line))


def measure_peers(quick):
    restore()
    text = b"".join(subprocess.check_output(line.split()) for line in pieces(4096))
    if bytes(int(byte, 16) for byte in text.split()) != Path("image").read_bytes():
        sys.exit("i2ctransfer reads something else")
    rows = new_table()
    for _ in range(1 if quick else 5):
        for task, program, lines, times in PEERS:
            if quick and task == "write":
                continue
            # Real-time scheduling reserves 50 ms of every busy second for other work, and the board is busy
            # for as long as the wire would be: without the rest, only some runs would be interrupted.
            time.sleep(1)
            restore("outdated" if task == "update one file" else "image")
            rows[task][program].append(times * sum(run(line)[0] for line in lines))
    return rows


def measure_footprint(_):
    """Looks at /WA when it writes: it needs no more memory from then on."""
    with subprocess.Popen(["Brindle", "/WA", "image"], stdout=subprocess.DEVNULL) as child:
        time.sleep(0.5)
        status = Path(f"/proc/{child.pid}/status").read_text()
    return {"/WA": {"KiB": [int(re.search(r"VmHWM:\s+(\d+)", status)[1])],
                    "threads": [int(re.search(r"Threads:\s+(\d+)", status)[1])]}}


def measure_starts(quick):
    rows = new_table()
    for _ in range(10 if quick else 100):
        for name, line, code, _ in STARTS:
            rows[name]["us"].append(run(line, code)[0])
    for name, line, code, _ in STARTS:
        for _ in range(20):
            process = subprocess.run(line.split(), env={**os.environ, "LD_DEBUG": "statistics"},
                                     capture_output=True, text=True, check=False)
            rows[name]["cycles"].append(int(re.search(r"startup time.*: (\d+) cycles", process.stderr)[1]))
        # What wait4 says of a child's memory counts this process's memory too.
        run(f"time -q -f %M -o memory {line}", code)
        rows[name]["KiB"].append(int(Path("memory").read_text()))
    return rows


def measure_pieces(quick):
    options = "0.01 --benchmark_repetitions=3" if quick else "0.2 --benchmark_repetitions=9"
    line = f"bench-micro --benchmark_format=json --benchmark_min_time={options}"
    rows = new_table()
    for result in json.loads(subprocess.check_output(line.split(), stderr=subprocess.DEVNULL))["benchmarks"]:
        if result["run_type"] == "iteration":
            rows[result["name"].replace("/real_time", "")]["us"].append(result["real_time"])
    return rows


def processor_time(line):
    """Runs a command without a compiler cache, and returns the seconds that it computed."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    environment = {**os.environ, "CCACHE_DISABLE": "1"}
    subprocess.run(line.split(), cwd=ROOT, env=environment, stdout=sys.stderr, check=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime


def measure_builds():
    """Builds for arm64. The processor time of a small program's compilation is the unit of the build's."""
    build = os.path.abspath("arm64")
    processor_time(f"cmake --preset aarch64 -B {build} -DBRINDLE_BUILD_TESTS=OFF")
    hello = f"aarch64-linux-gnu-g++ -std=c++20 -Os -c benchmarks/hello.cpp -o {build}/hello.o"
    rows = {}
    for target, file, _ in EXECUTABLES:
        seconds = processor_time(f"cmake --build {build} --target {target} -- --quiet")
        subprocess.run(["aarch64-linux-gnu-strip", "-o", "stripped", f"{build}/{file}"], check=True)
        sizes = subprocess.check_output(["aarch64-linux-gnu-size", f"{build}/{file}"]).splitlines()[1]
        rows[target] = {"stripped": [os.path.getsize("stripped") / 1024],
                        "loaded": [sum(map(int, sizes.split()[:2])) / 1024], "seconds": [seconds],
                        "hellos": [seconds / min(processor_time(hello) for _ in range(5))]}
    return rows


def board(options, words):
    return subprocess.run(["brindle-board", *options, "board.eeprom", "--", *words], check=True,
                          stdin=open("image", "rb"), stdout=subprocess.PIPE).stdout


def calls(line, content="image"):
    """Returns the calls that a command makes on the node."""
    Path("board.eeprom").write_bytes(Path(content).read_bytes())
    board(["--trace", "trace"], line.split())
    return [call.split(" ", 4)[4] for call in Path("trace").read_text().splitlines() if " chip " not in call]


def measure_on_board(quick):
    """Has this program measure inside of a board that holds all three files, the first one of 16 KiB."""
    Path("image").touch()
    for number, size in enumerate((16384, 5000, 300), 1):
        Path(f"file{number}").write_bytes(os.urandom(size))
        board([], ["Brindle", "/W", str(number), f"file{number}"])
    Path("image").write_bytes(Path("board.eeprom").read_bytes())
    for arguments, steps, _ in selected(quick):
        if calls("Brindle " + arguments) != calls(FLOOR + steps):
            sys.exit(f"Brindle {arguments} and the floor make different calls on the node")
    Path("other").write_bytes(os.urandom(300))
    run("brindlectl build --from image --file 3=other outdated")
    for line, floor, content in (UPDATE, UPDATE_FLOOR, "outdated"), (UNCHANGED, UNCHANGED_FLOOR, "image"):
        if calls(line, content) != calls(floor, content):
            sys.exit(f"{line} and the floor make different calls on the node")
    tables = {}
    for options, table in ([], "commands"), ([], "footprint"), (["--clock", "400000"], "peers"):
        tables[table] = json.loads(board(options, [sys.executable, __file__, table, quick * "quick"]))
    return tables


def goals(tables):
    """Compares figures with limits. Ratios are of the smallest times: what disturbs a run makes it longer."""
    found = []
    for arguments, _, limit in COMMANDS:
        row = tables["commands"].get(name_of(arguments))
        if row and limit:
            found.append((f"{name_of(arguments)} / floor", min(row["Brindle"]) / min(row["floor"]), limit))
    for task in "update one file", "update nothing":
        row = tables["peers"][task]
        found.append((f"{task} / floor", min(row["brindlectl"]) / min(row["floor"]), 1.02))
    row = tables["peers"]["update one file"]
    found.append(("update one file / (/WA and /VA)", min(row["brindlectl"]) / min(row["/WA and /VA"]), 0.4))
    starts = tables["starts"]
    for name, _, _, limit in STARTS:
        if limit:
            found.append((f"{name} / true", min(starts[name]["us"]) / min(starts["/bin/true"]["us"]), limit))
    found.append(("Memory of /WA / print a line",
                  tables["footprint"]["/WA"]["KiB"][0] / starts["Print a line"]["KiB"][0], 1.5))
    found.append(("Threads of /WA", tables["footprint"]["/WA"]["threads"][0], 2))
    for target, _, limit in EXECUTABLES if "builds" in tables else []:
        found.append((f"{target} stripped, arm64 (KiB)", tables["builds"][target]["stripped"][0], limit))
    return [{"goal": name, "measured": measured, "limit": limit} for name, measured, limit in found]


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
    inside = {"commands": measure_commands, "footprint": measure_footprint, "peers": measure_peers}
    if sys.argv[1] in inside:
        json.dump(inside[sys.argv[1]](quick), sys.stdout)
        return
    report = Path(sys.argv[1]).resolve()
    folders = (str(ROOT / "build/bench" / folder) for folder in ("cli", "ctl", "board", "benchmarks"))
    os.environ["PATH"] = ":".join([*folders, "/usr/sbin", os.environ["PATH"]])
    with tempfile.TemporaryDirectory() as work:
        os.chdir(work)
        tables = {} if quick else {"builds": measure_builds()}
        scheduling = ask_for_quiet()
        tables.update(measure_on_board(quick), starts=measure_starts(quick), pieces=measure_pieces(quick))
    machine = f"{os.cpu_count()} cores, kernel {os.uname().release}, {scheduling}"
    machine += f", load average {sys.argv[2]} at the start"
    report.write_text(json.dumps({"machine": machine, "goals": goals(tables), "tables": tables}, indent=1))


if __name__ == "__main__":
    main()
