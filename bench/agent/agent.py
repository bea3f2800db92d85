"""What the agent costs a program that is monitored.

ddsperf runs with and without orx-run: its throughput and round trip in turns, and the instructions that its own
threads spend on a sample at 1 kHz, under callgrind. Times of ddsperf vary by a tenth from run to run; the
instructions show what the times cannot.
"""
import json
import os
import pathlib
import re
import signal
import statistics
import subprocess
import sys
import tempfile

# The rule by which tests and benchmarks keep out of each other's way.
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "tests/helpers"))
from free_domain import free_domain  # noqa: E402

PROGRAM_DOMAIN, MONITORING_DOMAIN = free_domain(), free_domain()
ROUNDS = 7  # of times; the first is not counted
SECONDS = 3  # of each run
SHORT, LONG = 2, 7  # seconds of the two callgrind runs whose difference is counted
CALLGRIND_ROUNDS = 3
NAMES = {False: "ddsperf alone", True: "ddsperf under orx-run"}

build = pathlib.Path(sys.argv[1]).resolve()


def command(arguments, options):
    """`options` of orx-run; None for ddsperf by itself."""
    program = ["ddsperf", "-i", str(PROGRAM_DOMAIN), *arguments]
    if options is None:
        return program
    return [str(build / "bin/orx-run"), "--domain", str(MONITORING_DOMAIN), "--verbosity", "error", *options, "--",
            *program]


class Running:
    """A process that ends with the block, whatever happens."""

    def __init__(self, arguments, **options):
        self.process = subprocess.Popen(
            arguments, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, start_new_session=True, **options)

    def __enter__(self):
        return self

    def output(self):
        return self.process.communicate(timeout=90)[0]

    def __exit__(self, *_):
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGTERM)
            try:
                self.process.communicate(timeout=10)
            except subprocess.TimeoutExpired:
                os.killpg(self.process.pid, signal.SIGKILL)
                self.process.communicate()


def measure_pair(measured, peer, monitored, read):
    """Both sides run alike. The median of what `read` finds in the lines of the measured one."""
    with Running(command(["-D", str(SECONDS + 2), *peer], () if monitored else None)):
        with Running(command(["-D", str(SECONDS), *measured], () if monitored else None)) as running:
            output = running.output()
    figures = [figure for figure in map(read, output.splitlines()) if figure is not None]
    if len(figures) < 2:
        raise SystemExit("agent bench: ddsperf printed no figures:\n" + output)
    return statistics.median(figures[1:])  # the first second has discovery in it


def read_rate(line):
    found = re.search(r"rate (\d+(?:\.\d+)?) (k?)S/s", line)
    return float(found[1]) * (1000 if found[2] else 1) if found else None


def read_round_trip(line):
    found = re.search(r" 50% (\d+(?:\.\d+)?)us", line)
    return float(found[1]) * 1000 if found and " size " in line else None


def percentile(values, part):
    return sorted(values)[int(part * (len(values) - 1))]


def row(name, nanoseconds, ratios, **more):
    return {"name": name, "nanoseconds": nanoseconds, "ratio": statistics.median(ratios),
            "ratio_p10": percentile(ratios, 0.1), "ratio_p90": percentile(ratios, 0.9), **more}


def compare(title, note, measure):
    """In turns; `measure` gives nanoseconds."""
    times = {False: [], True: []}
    for number in range(ROUNDS):
        for monitored in (False, True):
            figure = measure(monitored)
            if number > 0:
                times[monitored].append(figure)
    ratios = [under / alone for alone, under in zip(times[False], times[True])]
    return {"title": title, "note": note, "rows": [
        row(NAMES[False], statistics.median(times[False]), [1.0]),
        row(NAMES[True], statistics.median(times[True]), ratios)]}


# ---- Instructions ----

# Once a second ddsperf reads the CPU time and the name of every thread of its process. Each thread that anybody adds
# makes that longer, so it is counted apart.
REPORT = ("ddsrt_getrusage_anythread", "ddsrt_thread_list", "ddsrt_thread_getname_anythread")
ENGINE = re.compile(r"/libddsc\.so")
AGENT = re.compile(r"/lib(orx|zdds)[^/]*\.so")
EVERYTHING = ("--select", "//*=*", "--polling-period", "1")
SIDES = {"ddsperf alone": None, "ddsperf under orx-run": (), "ddsperf, everything selected": EVERYTHING}


class Profile:
    """Instructions of one thread."""

    def __init__(self, file, operation):
        self.total = self.report = self.calls = self.agent = 0
        self.is_own = False  # ran code of the program itself
        names, objects = {}, {}
        callee = holder = called = None  # function called, object of the code at hand, object called
        is_inclusive = False
        with open(file, errors="replace") as lines:
            for line in lines:
                if line.startswith(("fn=", "cfn=")):
                    name = self.known(line, names)
                    callee = name if line.startswith("c") else callee
                elif line.startswith("ob="):
                    holder = self.known(line, objects)
                    self.is_own |= holder.endswith("/ddsperf")
                elif line.startswith("cob="):
                    called = self.known(line, objects)
                    self.is_own |= called.endswith("/ddsperf")
                elif line.startswith("calls="):
                    # The shim has functions of the same names: what reaches the engine counts.
                    if callee == operation and ENGINE.search(called or holder):
                        self.calls += int(line[6:].split()[0])
                    called, is_inclusive = None, True
                elif line.startswith("totals:"):
                    self.total = int(line.split()[1])
                elif line[0].isdigit() or line[0] in "+-*":
                    cost = int(line.split()[-1])
                    if is_inclusive:  # the line behind a call
                        self.report += cost if callee in REPORT else 0
                    elif AGENT.search(holder or ""):
                        self.agent += cost
                    is_inclusive = False

    @staticmethod
    def known(line, table):
        """Names stand in full where they come first."""
        identifier, _, name = line.partition("=")[2].strip().partition(" ")
        if name:
            table[identifier] = name
        return table.get(identifier, "")


FIGURES = ("threads that move samples", "its own threads, less its report", "its own threads",
           "code of the agent, on its own threads")


def profile(arguments, operation, seconds, options):
    """Instructions by the order of FIGURES, and samples."""
    with tempfile.TemporaryDirectory() as folder:
        # The environment of a tool is handed on to the program that orx-run becomes.
        tool = ["valgrind", "--tool=callgrind", "--fair-sched=yes", "--separate-threads=yes", "--trace-children=yes",
                f"--callgrind-out-file={folder}/out.%p"]
        with Running(tool + command(["-D", str(seconds), *arguments], options)) as running:
            output = running.output()
        threads = [Profile(file, operation) for file in pathlib.Path(folder).glob("out.*-*")]
    own = [thread for thread in threads if thread.is_own]
    # Pings and statistics are written too, a few a second.
    moving = [thread for thread in own if thread.calls > 100 * seconds]
    if not moving:
        raise SystemExit("agent bench: no samples under callgrind:\n" + output)
    return ([sum(thread.total for thread in moving), sum(thread.total - thread.report for thread in own),
             sum(thread.total for thread in own), sum(thread.agent for thread in own)],
            sum(thread.calls for thread in moving))


def instructions_per_sample(arguments, operation, options):
    """The start and the end are in both runs, and so in neither figure."""
    short, long = (profile(arguments, operation, seconds, options) for seconds in (SHORT, LONG))
    return [(b - a) / (long[1] - short[1]) for a, b in zip(short[0], long[0])]


def count_instructions(title, arguments, operation, feeder=None):
    feed = Running(["ddsperf", "-i", str(PROGRAM_DOMAIN), *feeder]) if feeder else None
    try:
        figures = {side: [] for side in SIDES}
        for _ in range(CALLGRIND_ROUNDS):
            for side, options in SIDES.items():
                figures[side].append(instructions_per_sample(arguments, operation, options))
    finally:
        if feed:
            feed.__exit__()
    alone = next(iter(SIDES))
    rows = []
    for index, what in enumerate(FIGURES):
        # The agent's own code beside all that the program's threads do; the others beside the same without it.
        base = 1 if index == len(FIGURES) - 1 else index
        before = [figure[base] for figure in figures[alone]]
        for side in SIDES:
            under = [figure[index] for figure in figures[side]]
            if base == index or side != alone:
                ratios = [b / a + (1 if base != index else 0) for a, b in zip(before, under)]
                if side == alone:  # how far it is from itself, run by run
                    ratios = [figure / statistics.median(under) for figure in under]
                rows.append(row(f"{side}: {what}", 0, ratios, per_piece=statistics.median(under)))
    return {"title": title, "note": "instructions of a sample, in parentheses; start and end left out", "rows": rows}


def show(table):
    print(f"\n{table['title']}\n  {table['note']}")
    print(f"  {'':68} {'ns':>12} {'ratio':>8} {'p10..p90':>17}")
    for each in table["rows"]:
        figure = f"  ({each['per_piece']:.1f})" if "per_piece" in each else ""
        print(f"  {each['name']:68} {each['nanoseconds']:12.1f} {each['ratio']:8.3f} "
              f"{each['ratio_p10']:8.3f}..{each['ratio_p90']:<7.3f}{figure}", flush=True)


def main():
    tables = [
        compare("The agent and throughput", "ddsperf pub and sub, 64 bytes, time of a sample received; ratio to no agent",
                lambda monitored: 1e9 / measure_pair(["sub"], ["pub", "size", "64"], monitored, read_rate)),
        compare("The agent and the round trip", "ddsperf ping and pong, median of a second; ratio to no agent",
                lambda monitored: measure_pair(["ping"], ["pong"], monitored, read_round_trip)),
        count_instructions("The agent and the instructions of a sample written at 1 kHz",
                           ["pub", "1kHz"], "dds_write_ts"),
        count_instructions("The agent and the instructions of a sample received at 1 kHz",
                           ["sub"], "dds_take", ["pub", "1kHz"]),
    ]
    for table in tables:
        show(table)
    pathlib.Path(sys.argv[2]).write_text(json.dumps(tables, indent=2) + "\n")


main()
