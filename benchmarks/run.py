#!/usr/bin/env python3
"""Runs the benchmarks of a build directory and writes docs/performance.md; see scripts/bench.

Each figure has a yardstick that was measured alternately with it in the same run. Figures are
medians. The script needs only Python 3; gnuplot draws the plots.
"""
import argparse
import contextlib
import datetime
import json
import os
import pathlib
import platform
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
DOCUMENT = ROOT / "docs/performance.md"
PLOTS = ROOT / "docs/performance"
MARK = "<!-- made by scripts/bench -->"

RUNS = 15          # minimum for a program
REPETITIONS = 9    # for a benchmark inside a process
CRASHES = 100
REPORTS = 30
IDLE_SECONDS = 60


class Row:
    def __init__(self, what, figure, yardstick, relation, target, met, note=""):
        self.cells = [what, figure, yardstick, relation, target, "yes" if met else "**no**", note]


class Bench:
    def __init__(self, build):
        self.build = build.resolve()
        self.programs = self.build / "benchmarks"
        self.root = self.build / "root"
        self.tools = self.root / "bin/unwrapped/lnx64.o"
        self.rows = []
        self.growth = {}  # title: (unit of x, {series: [(x, y)]})
        self._library = None

    # --- Sessions and processes --------------------------------------------------------------

    @contextlib.contextmanager
    def session(self, parent=None):
        """Makes a session; yields its directory and the environment that leads to it."""
        with tempfile.TemporaryDirectory(prefix="hcrpt-bench.", dir=parent) as directory:
            path = pathlib.Path(directory)
            for name in ("appdata", "data/telemon", "tmp", "work"):
                (path / name).mkdir(parents=True)
            environment = {k: v for k, v in os.environ.items() if not k.startswith("CRPT_")}
            environment.update(
                ZEB_SESSION_INFO=f"{path}/work:1", HUT_INSIDE_NETWORK="true",
                HUT_APP_ROOT=str(self.root), HUT_APP_DATA_DIR=str(path / "appdata"),
                HUT_DATA_DIR=str(path / "data"), HUT_TMP_DIR=str(path / "tmp"))
            yield path, environment

    @contextlib.contextmanager
    def crash_reporter(self, directory, environment):
        """Starts a crash reporter; yields it once it has made its registration file."""
        reporter = subprocess.Popen([self.tools / "crash_reporter"], env=environment,
                                    stdout=subprocess.DEVNULL, start_new_session=True)
        try:
            file = store(directory) / "processRegFile.txt"
            for _ in range(200):
                if file.exists():
                    break
                time.sleep(0.05)
            else:
                sys.exit("bench: the crash reporter does not start")
            yield reporter
        finally:
            reporter.send_signal(signal.SIGTERM)
            try:
                reporter.wait(30)
            except subprocess.TimeoutExpired:
                reporter.kill()
                reporter.wait()

    @contextlib.contextmanager
    def idle_host(self, directory, environment):
        """Starts a registered host that only sleeps."""
        host = subprocess.Popen([self.programs / "deep_host", "-idle"], env=environment,
                                cwd=directory / "work")
        try:
            yield host
        finally:
            host.kill()
            host.wait()

    def stopwatch(self, *arguments, environment=None, status=None):
        """Returns nanoseconds and error output of a program under the stopwatch."""
        done = subprocess.run([self.programs / "stopwatch", *map(str, arguments)], env=environment,
                              capture_output=True, text=True, check=True)
        nanoseconds, ended = map(int, done.stdout.split())
        if status is not None and ended != status:
            sys.exit(f"bench: {arguments}: status {ended} instead of {status}")
        return nanoseconds, done.stderr

    def library(self):
        """Returns the median nanoseconds of each benchmark inside a process, by name."""
        if self._library is None:
            with tempfile.NamedTemporaryFile(suffix=".json") as out:
                subprocess.run(
                    [self.programs / "library_benchmarks", f"--benchmark_repetitions={REPETITIONS}",
                     "--benchmark_enable_random_interleaving=true", "--benchmark_min_time=0.05",
                     f"--benchmark_out={out.name}", "--benchmark_out_format=json"],
                    env={**os.environ, "TMPDIR": memory()}, stdout=subprocess.DEVNULL,
                    stderr=subprocess.DEVNULL, check=True)
                found = json.load(open(out.name))
            scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
            self._library = {b["run_name"].removesuffix("/real_time"):
                             b["real_time"] * scale[b["time_unit"]]
                             for b in found["benchmarks"] if b.get("aggregate_name") == "median"}
        return self._library

    def library_row(self, what, name, yardstick, sizes, target, unit):
        results = self.library()
        figure, base = (results[f"{n}/{sizes[-1]}"] for n in (name, yardstick))
        self.rows.append(Row(what, ms(figure), ms(base), times(figure / base), f"≤ {target} ×",
                             figure <= target * base))
        self.growth[what] = (unit, {
            "library": [(n, results[f"{name}/{n}"]) for n in sizes],
            "yardstick": [(n, results[f"{yardstick}/{n}"]) for n in sizes]})

    # --- Rows --------------------------------------------------------------------------------

    def trace(self):
        series = {"library": [], "yardstick": []}
        for name, parent in (("tmpfs", memory()), ("disk", self.build)):
            for frames in (2, 10, 20, 50, 199) if name == "tmpfs" else (10, 50, 199):
                figure, base = self.raw_trace(frames, parent)
                if name == "tmpfs" and frames in (2, 20, 199):
                    series["library"].append((frames, figure))
                    series["yardstick"].append((frames, base))
                if frames in (10, 50, 199):
                    self.rows.append(Row(
                        f"fault to complete raw trace, {frames} frames of the host, {name}",
                        ms(figure), ms(base), times(figure / base), "≤ 1.15 ×",
                        figure <= 1.15 * base))
        self.growth["raw trace, tmpfs"] = ("frames", series)

    def raw_trace(self, frames, parent):
        """Returns the medians of the library and of the bare loop with as many lines."""
        own_frames = 8  # frames of the crash handler and the signal, above the host's
        ours, bare = [], []
        with self.session(parent) as (path, environment):
            work = path / "work"
            for _ in range(RUNS):
                ours.append(self.stopwatch("-file", "hs_mangled", work, self.programs / "deep_host",
                                           "-crash", frames, environment=environment)[0])
                trace = next(work.glob("hs_mangled*"))
                lines = trace.read_text().count("[0x")
                trace.unlink()
                bare.append(self.stopwatch("-file", "bare", work, self.programs / "raw_trace_loop",
                                           frames + own_frames, "bare.log")[0])
                trace = work / "bare.log"
                if trace.read_text().count("[0x") != lines:
                    sys.exit(f"bench: {lines} frames, but another number in the bare loop")
                trace.unlink()
        return statistics.median(ours), statistics.median(bare)

    def conversion(self):
        sizes = (1000, 10000, 100000)
        self.library_row("raw trace to stack-trace log, 100,000 lines", "conversion", "demanglerAlone",
                         sizes, 1.25, "lines")
        results = self.library()
        faster = results["cxxfilt/100000"] / results["conversion/100000"]
        self.rows.append(Row("the same, lines per second beside `c++filt`",
                             ms(results["conversion/100000"]), ms(results["cxxfilt/100000"]),
                             times(faster) + " as many", "≥ 2.2 ×", faster >= 2.2))

    def routine(self):
        log = ROOT / "tests/data/demangled-null-write.log"
        done = subprocess.run([self.programs / "crash_handler_report", str(RUNS), log],
                              capture_output=True, text=True, check=True)
        samples = {"routine": [], "pipelines": []}
        for line in done.stdout.splitlines():
            name, *figure = line.split()
            if name in samples:
                samples[name].append(int(figure[0]))
        figure, base = (statistics.median(samples[n]) for n in ("routine", "pipelines"))
        self.rows.append(Row("crash handler after its wait: facts, analysis, JSON", ms(figure),
                             ms(base), f"{times(figure / base)}, {ms(figure - base)} more",
                             "≤ 1.15 × + 3 ms", figure <= 1.15 * base + 3e6))

    def end(self):
        ends = []
        with self.session(self.build) as (path, environment):
            # The crash reporter runs as long as a host runs, like in a real session.
            with self.crash_reporter(path, environment), self.idle_host(path, environment):
                for _ in range(CRASHES):
                    ends.append(self.stopwatch("-exit", path / "work", self.programs / "deep_host",
                                               "-session", 20, environment=environment,
                                               status=139)[0])
            reports = sum(1 for _ in path.glob("**/CrashReport_*"))
        if reports != CRASHES:
            sys.exit(f"bench: {CRASHES} crashes, {reports} reports")
        median, worst = statistics.median(ends), sorted(ends)[int(CRASHES * 0.99) - 1]
        self.rows.append(Row(f"fault to end of process, median of {CRASHES}", ms(median),
                             "1 s of the poll", "", "≤ 1.15 s", median <= 1.15e9))
        self.rows.append(Row("the same, 99th percentile", ms(worst), "1 s of the poll", "",
                             "≤ 1.4 s", worst <= 1.4e9))

    def start(self):
        programs = (("-start", "deep_host"), ("", "start_only"))
        taken, resident, own = ([], []), ([], []), ([], [])
        with self.session() as (path, environment):
            store(path).mkdir(parents=True)
            (store(path) / "processRegFile.txt").touch()
            for _ in range(3 * RUNS):
                for i, (argument, program) in enumerate(programs):
                    nanoseconds, output = self.stopwatch("-run", path, self.programs / program,
                                                         argument, environment=environment, status=0)
                    taken[i].append(nanoseconds)
                    for list_, kib in zip((resident, own), output.split()):
                        list_[i].append(int(kib))
        figure, base = map(statistics.median, taken)
        self.rows.append(Row("loading the library and `registration()`", ms(figure), ms(base),
                             f"{ms(figure - base)} more", "≤ + 2 ms", figure - base <= 2e6))
        for name, samples in (("resident memory", resident), ("memory of its own", own)):
            figure, base = map(statistics.median, samples)
            self.rows.append(Row(f"the same, {name}", f"{figure:.0f} KiB", f"{base:.0f} KiB",
                                 f"{figure - base:.0f} KiB more", "≤ + 400 KB",
                                 (figure - base) * 1024 <= 400e3))
        with tempfile.TemporaryDirectory() as directory:
            copy = shutil.copy(self.root / "lib/lnx64.o/libzeb_HCrashReporter.so", directory)
            subprocess.run(["strip", copy], check=True)
            size = os.path.getsize(copy)
        self.rows.append(Row("library, stripped", f"{size / 1e3:.0f} KB", "", "", "≤ 400 KB",
                             size <= 400e3))

    def crowd(self):
        points = []
        for processes in (2, 20, 200):
            done = subprocess.run([self.programs / "registration_crowd", str(processes)],
                                  capture_output=True, text=True, check=True)
            registered, records, longest = map(int, done.stdout.split())
            points.append((processes, longest))
        self.rows.append(Row(
            "registration of 200 processes at once",
            f"{registered} registered, {records} records, longest {ms(longest)}", "", "",
            "all; none beyond its 3 attempts (3 s)",
            registered == records == 200 and longest <= 3.1e9))
        self.growth["registration at once, the longest"] = ("hosts", {"library": points})

    def exit(self):
        self.library_row("`isExitCondition`, 10,000 records of ended processes", "exitCondition",
                         "readingAndExistenceTests", (100, 1000, 10000), 1.5, "records")

    def store_pass(self):
        self.library_row("a pass over 5,000 files without reports", "passWithoutReports",
                         "oneListing", (50, 500, 5000), 2, "files")
        self.library_row("a pass over 500 raw traces converted already", "passOverConvertedTraces",
                         "readingTraces", (5, 50, 500), 1, "traces")

    def json(self):
        sizes = sorted(int(n.split("/")[1]) for n in self.library() if n.startswith("treeToJson/"))
        self.library_row("tree of a full arena to JSON", "treeToJson", "rapidjsonAlone", sizes, 1.5,
                         "leaves")

    def upload(self):
        script = self.root / "report_server/report_server"
        host = cache_value(self.build, "HCRPT_REPORT_HOST")
        ours, bare = [], []
        with self.session() as (path, environment):
            server = path / "server"
            subprocess.run([script, "start", server], stdout=subprocess.DEVNULL, check=True)
            try:
                port = (server / "port").read_text().strip()
                ca = shutil.copy(server / "ca.pem", path / "data/telemon/cacert.pem")
                environment["VELCURL_CONNECT_TO"] = f"{host}:443:127.0.0.1:{port}"
                store(path).mkdir(parents=True)
                report = json.dumps({"stacktrace": ["libfoo.so(bar()+0x1)"] * 300}, indent=2)
                for _ in range(RUNS // 2):
                    paths = [store(path) / f"CrashReport_{n}_host_user_now.json"
                             for n in range(REPORTS)]
                    for each in paths:
                        each.write_text(report)
                    bare.append(self.shell_loop(paths, host, port, ca, path))
                    done = subprocess.run([self.programs / "upload_pass"], env=environment,
                                          capture_output=True, text=True, check=True)
                    ours.append(int(done.stderr.splitlines()[-1]))
                sent = sum(1 for _ in path.glob("appdata/**/*.send_success"))
                if sent != REPORTS:
                    sys.exit(f"bench: {sent} of {REPORTS} reports arrived")
            finally:
                subprocess.run([script, "stop", server], stdout=subprocess.DEVNULL, check=True)
        figure, base = statistics.median(ours), statistics.median(bare)
        self.rows.append(Row(f"upload of {REPORTS} reports", ms(figure), ms(base),
                             times(figure / base), "≤ 1.1 ×", figure <= 1.1 * base))

    def shell_loop(self, paths, host, port, ca, directory):
        """Returns the nanoseconds of a shell loop with the same curl command for each report."""
        loop = """for report in "$@"; do
            curl -q --http1.1 --no-progress-meter --connect-timeout 10 --max-time 120 \
                --connect-to "$HOST:443:127.0.0.1:$PORT" --noproxy '*' --verbose --cacert "$CA" \
                -F file_loc=@"$report" -F domain=bench.example -F access=none \
                "https://$HOST/cgi-bin/crashreporter.cgi" > "$LOG" 2>&1 || exit 1
            done"""
        start = time.monotonic_ns()
        subprocess.run(["sh", "-c", loop, "sh", *map(str, paths)], check=True,
                       env={"PATH": os.environ["PATH"], "HOST": host, "PORT": port, "CA": str(ca),
                            "LOG": str(directory / "loop.log")})
        return time.monotonic_ns() - start

    def idle(self):
        with self.session() as (path, environment):
            with self.crash_reporter(path, environment) as reporter, \
                    self.idle_host(path, environment):
                time.sleep(20)  # until the work of its start is over
                before = of_process(reporter.pid)
                time.sleep(IDLE_SECONDS)
                after = of_process(reporter.pid)
        wakeups, ticks = (after[n] - before[n] for n in ("wakeups", "ticks"))
        self.rows.append(Row(
            f"crash reporter, idle for {IDLE_SECONDS} s",
            f"{wakeups} wake-ups, {after['resident'] / 1e6:.1f} MB, {ticks * 10} ms of processor",
            "", "", "≤ 10, ≤ 10 MB, not measurable",
            wakeups <= 10 and after["resident"] <= 10e6 and ticks <= 1))

    ROWS = {"trace": trace, "conversion": conversion, "routine": routine, "end": end,
            "start": start, "crowd": crowd, "exit": exit, "pass": store_pass, "json": json,
            "upload": upload, "idle": idle}


def store(directory):
    return directory / "work/.crashReporter/1/crashStore"


def memory():
    """Returns a directory in memory."""
    return "/dev/shm"


def of_process(pid):
    fields = dict(line.split(":", 1) for line in open(f"/proc/{pid}/status"))
    stat = open(f"/proc/{pid}/stat").read().rsplit(")", 1)[1].split()
    return {"wakeups": int(fields["voluntary_ctxt_switches"]),
            "resident": int(fields["VmRSS"].split()[0]) * 1024,
            "ticks": int(stat[11]) + int(stat[12])}


def cache_value(build, name):
    for line in open(build / "CMakeCache.txt"):
        if line.startswith(name + ":"):
            return line.split("=", 1)[1].strip()
    sys.exit(f"bench: no {name} in {build}")


def ms(nanoseconds):
    value = nanoseconds / 1e6
    return f"{value:.2f} ms" if abs(value) < 10 else f"{value:.0f} ms"


def times(ratio):
    return f"{ratio:.2f} ×"


def table(rows):
    head = ["what", "figure", "yardstick", "relation", "target", "met"]
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    return "\n".join(lines + ["| " + " | ".join(row.cells[:6]) + " |" for row in rows]) + "\n"


def machine(build):
    model = next((line.split(":", 1)[1].strip() for line in open("/proc/cpuinfo")
                  if line.startswith("model name")), "unknown processor")
    system = next((line.split("=", 1)[1].strip().strip('"') for line in open("/etc/os-release")
                   if line.startswith("PRETTY_NAME=")), "unknown system")
    kind = cache_value(build, "CMAKE_BUILD_TYPE")
    flags = cache_value(build, "CMAKE_CXX_FLAGS_" + kind.upper())
    return (f"Made on {datetime.date.today()} by `scripts/bench`: {system}, "
            f"Linux {platform.release()}, {model}, {os.cpu_count()} processors,\n"
            f"{kind} (`{flags}`). Load before the run: {os.getloadavg()[0]:.2f}.\n")


def plot(growth):
    """Draws one panel for each series with logarithmic axes: linear growth is a line of slope
    one."""
    PLOTS.mkdir(exist_ok=True)
    columns = 2
    rows = (len(growth) + columns - 1) // columns
    commands = [f"set terminal svg size {columns * 420},{rows * 300} font 'sans,11' noenhanced",
                f"set output '{PLOTS / 'growth.svg'}'",
                f"set multiplot layout {rows},{columns}", "set logscale xy", "set key top left",
                "set grid", "set ylabel 'ms'", "set format y '%g'"]
    for title, (unit, series) in growth.items():
        data = []
        for name, points in series.items():
            block = "\n".join(f"{x} {y / 1e6}" for x, y in points)
            commands.append(f"${name} << EOD\n{block}\nEOD")
            data.append(f"${name} with linespoints title '{name}'")
        commands.append(f"set title \"{title.replace('`', '')}\"")
        commands.append(f"set xlabel '{unit}'")
        commands.append("plot " + ", ".join(data))
    commands.append("unset multiplot")
    subprocess.run(["gnuplot"], input="\n".join(commands) + "\n", text=True, check=True)


def growth_table(growth):
    lines = ["| what | work | library, ms | yardstick, ms |", "|---|---|---|---|"]
    for title, (unit, series) in growth.items():
        figures = {name: " / ".join(f"{y / 1e6:.3g}" for _, y in points)
                   for name, points in series.items()}
        work = " / ".join(f"{x:,}" for x, _ in series["library"]) + " " + unit
        lines.append(f"| {title} | {work} | {figures['library']} | {figures.get('yardstick', '')} |")
    return "\n".join(lines) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--keep", action="store_true", help="leave the documents as they are")
    parser.add_argument("rows", nargs="*", help=", ".join(Bench.ROWS))
    arguments = parser.parse_intermixed_args()
    for row in arguments.rows:
        if row not in Bench.ROWS:
            parser.error(f"no such row: {row}")
    bench = Bench(arguments.build)
    head = machine(bench.build)
    for name, measure in Bench.ROWS.items():
        if not arguments.rows or name in arguments.rows:
            print(f"bench: {name} ...", file=sys.stderr)
            measure(bench)
    print(table(bench.rows))
    if arguments.keep or arguments.rows:
        return
    plot(bench.growth)
    text = DOCUMENT.read_text().split(MARK)[0].rstrip()
    DOCUMENT.write_text(f"{text}\n\n{MARK}\n\n{head}\n{table(bench.rows)}\n"
                        f"## Growth\n\n![Growth](performance/growth.svg)\n\n"
                        f"{growth_table(bench.growth)}")


if __name__ == "__main__":
    main()
