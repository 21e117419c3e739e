"""The books of a long session: whether every crash has its report, and nothing else came."""
import collections
import re
import statistics

REPORT = re.compile(r"CrashReport_(\d+)_.*\.json")

RSS_GROWTH_KIB = 2048
SAMPLES_FOR_RSS = 8  # fewer show how a program warms up, not how it grows

Crash = collections.namedtuple("Crash", "pid way")
Sample = collections.namedtuple("Sample", "minute pid rss descriptors watched")


def report_name(name):
    """The name of the report that a stored or filed one is, or None."""
    found = REPORT.search(name)
    return found.group(0) if found else None


class Books:
    """What a session has left. Reports go by their names, which hold the process id."""

    def __init__(self):
        self.crashes = []
        self.delivered = []    # as the server keeps them; one that came twice is there twice
        self.filed = []        # names with the outcome behind them
        self.waiting = []      # files that a crash store is not to hold at the end
        self.in_place = set()  # names of reports that the crash reporter wrote
        self.cut = set()       # names that waited when a crash reporter was killed
        self.unsure = set()    # names that waited when the server was ended

    def twice(self):
        return sorted(n for n, times in collections.Counter(self.delivered).items() if times > 1)

    def failed(self):
        return sorted(n[:-len(".send_fail")] for n in self.filed if n.endswith(".send_fail"))

    def problems(self):
        found = []
        outcomes = collections.defaultdict(list)
        for name in self.filed:
            report, _, outcome = name.rpartition(".")
            outcomes[report].append(outcome)
            if report_name(name) != report or outcome not in ("send_success", "send_fail"):
                found.append(f"filed in a way that nobody expects: {name}")
        names = collections.defaultdict(set)
        for name in set(self.delivered) | set(outcomes):
            matched = REPORT.fullmatch(name)
            names[int(matched.group(1)) if matched else name].add(name)

        crashes = collections.defaultdict(list)
        for crash in self.crashes:
            crashes[crash.pid].append(crash.way)
        for pid, ways in sorted(crashes.items()):
            reports = names.pop(pid, set())
            what = f"process {pid} ({', '.join(ways)})"
            if len(reports) < len(ways):
                found.append(f"{what} has no report")
            elif len(reports) > len(ways):
                found.append(f"{what} has several reports: {', '.join(sorted(reports))}")
        for reports in names.values():
            found += [f"of no process that crashed: {name}" for name in sorted(reports)]

        for name in self.twice():
            if name not in self.cut:
                found.append(f"delivered twice, though no crash reporter was killed over it: {name}")
        arrived = set(self.delivered)
        for name, ends in sorted(outcomes.items()):
            if len(ends) > 1:
                found.append(f"filed {len(ends)} times: {name}: {', '.join(sorted(ends))}")
            elif ends == ["send_success"] and name not in arrived:
                found.append(f"filed as sent, not at the server: {name}")
            elif ends == ["send_fail"] and name in arrived - self.cut - self.unsure:
                found.append(f"filed as failed, though at the server: {name}")
        found += [f"at the server, not filed: {name}" for name in sorted(arrived - set(outcomes))]
        found += [f"left in the crash store: {name}" for name in sorted(self.waiting)]
        return found


def quarters(values):
    """Medians of the first and of the last quarter."""
    size = max(1, len(values) // 4)
    return statistics.median(values[:size]), statistics.median(values[-size:])


def growth(samples):
    """What of the crash reporter has grown: over the session, and of each that lived long."""
    found = [] if samples else ["the crash reporter was never looked at"]
    runs = [("over the session", samples)]
    for pid in sorted({sample.pid for sample in samples}):
        runs.append((f"of crash reporter {pid}", [s for s in samples if s.pid == pid]))
    for whose, run in runs:
        if len(run) < 2:
            continue
        first, last = quarters([sample.descriptors for sample in run])
        if first != last:
            found.append(f"descriptors {whose}: {first:g} at first, {last:g} at last")
        if len(run) < SAMPLES_FOR_RSS:
            continue
        first, last = quarters([sample.rss for sample in run])
        if last > first + RSS_GROWTH_KIB:
            found.append(f"memory {whose}: {first:g} KiB at first, {last:g} KiB at last")
    return found
