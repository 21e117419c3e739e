#!/usr/bin/env python3
"""A long session of hosts that crash, with its books at the end; see scripts/soak.

Needs nothing but Python 3 and what has been built. Exits 0 only if the books balance.
"""
import argparse
import collections
import datetime
import heapq
import os
import pathlib
import platform
import random
import re
import secrets
import shutil
import signal
import sys
import tempfile
import time

sys.dont_write_bytecode = True  # leaves nothing in the source tree

import plan
from books import Books, Crash, Sample, growth, quarters, report_name
from session import Session, age_of, children_of, names_in, text_of

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
DOCUMENT = ROOT / "docs/reliability.md"
MARK, END_MARK = "<!-- made by scripts/soak -->", "<!-- end of what scripts/soak makes -->"

TICK = 0.1
# A host waits up to 100 seconds for its log, then makes its report.
HOST_SECONDS = 240
LEAVE_SECONDS = 120
# A crash reporter looks at the registrations of an earlier one for five seconds.
SECONDS_TO_BEGIN = 8
LOG_BYTES = 5 << 20  # a log is put aside at 4 MiB; a pass that runs may add to it first
CRASH_STATUS = {128 + s for s in (signal.SIGSEGV, signal.SIGILL, signal.SIGFPE, signal.SIGBUS,
                                  signal.SIGABRT, signal.SIGQUIT)}


class Interrupted(BaseException):
    pass


class Soak:
    def __init__(self, session, rng, minute, short):
        self.session, self.rng, self.minute, self.short = session, rng, minute, short
        self.books = Books()
        self.counts = collections.Counter()
        self.problems = []
        self.samples = []
        self.killed = set()   # crash reporters that were killed here
        self.actions = []
        self.number = 0
        self.keeper = None    # a host that runs throughout, so that the crash reporter stays
        self.resting = None   # since when there has been no host, for the crash reporter to leave
        self.began = time.monotonic()

    # --- Time --------------------------------------------------------------------------------

    def now(self):
        return (time.monotonic() - self.began) / self.minute

    def at(self, when, action, *arguments):
        """When in minutes of the session."""
        self.number += 1
        heapq.heappush(self.actions, (when, self.number, action, arguments))

    def soon(self, seconds, action, *arguments):
        self.at(self.now() + seconds / self.minute, action, *arguments)

    def tell(self, text):
        print(f"{self.now():7.2f}  {text}", flush=True)

    def complain(self, text):
        self.problems.append(text)
        self.tell(f"PROBLEM: {text}")

    def tick(self):
        while self.actions and self.actions[0][0] <= self.now():
            _, _, action, arguments = heapq.heappop(self.actions)
            action(*arguments)
        for host in self.session.reap():
            self.ended(host)
        server = self.session.server
        if server is not None and server.returncode is not None:
            raise RuntimeError("the report server has ended")
        time.sleep(TICK)

    def until(self, condition, seconds):
        end = time.monotonic() + seconds
        while not condition():
            if time.monotonic() >= end:
                return False
            self.tick()
        return True

    # --- Hosts -------------------------------------------------------------------------------

    def example(self, way, *arguments, launches=False, crashes=False):
        program = self.session.tools / "example_host"
        return self.session.start_host(way, [program, *arguments], crashes, launches)

    def start_keeper(self):
        self.keeper = self.example("keeper", "-wait", "1000000", launches=True)

    def host(self, way):
        if self.resting:
            self.soon(2, self.host, way)
            return
        launches = self.rng.random() < 0.25
        works = 1 if self.short else self.rng.choice((1, 1, 3, 10, 60))
        if way == "exit":
            self.example(way, "-wait", str(works), launches=launches)
        elif way in ("SIGTERM", "SIGKILL"):
            host = self.example(way, "-wait", "1000000", launches=launches)
            self.soon(works, self.send, host, way)
        elif way in plan.EXAMPLE_WAYS:
            self.example(way, "-crash", way, "-wait", str(works), "-dump", launches=launches,
                         crashes=way != "forced-core")
        else:
            host = self.session.start_host(way, [self.session.scenarios, way], True, False)
            if way == "wait-for-signal":
                self.signal_when_ready(host)

    def signal_when_ready(self, host):
        """From outside, as a user would who has lost patience."""
        if (host.directory / "failing").exists():
            self.send(host, self.rng.choice(("SIGQUIT", "SIGSEGV", "SIGABRT")))
        elif host.pid in self.session.hosts:
            self.soon(0.2, self.signal_when_ready, host)

    def send(self, host, name):
        if host.pid in self.session.hosts:
            os.kill(host.pid, getattr(signal, name))

    def ended(self, host):
        status = host.process.returncode
        what = f"host {host.pid} ({host.way})"
        if host.crashes:
            self.counts[host.way] += 1
            self.books.crashes.append(Crash(host.pid, host.way))
            expected = status == -signal.SIGKILL if host.way == "killed while it waited" \
                else status in CRASH_STATUS
        elif host.way == "forced-core":
            expected = status == 0
            copy = re.search(r"process (\d+) has ended by exit status (\d+)",
                             text_of(host.directory / "output"))
            if copy and int(copy.group(2)) in CRASH_STATUS:
                self.counts[host.way] += 1
                self.books.crashes.append(Crash(int(copy.group(1)), host.way))
            else:
                self.complain(f"{what}: no copy of it died")
        else:
            self.counts["ordinary end"] += host is not self.keeper
            expected = status == (0 if host.way == "exit" else
                                  -getattr(signal, host.way, signal.SIGKILL))
        if not expected:
            self.complain(f"{what} ended with {status}: {text_of(host.directory / 'output')!r}")
        elif host.crashes and not (host.directory / f"hs_mangled_err_pid{host.pid}.log").exists():
            self.complain(f"{what} left no raw trace in its working directory")
        shutil.rmtree(host.directory)

    # --- The crash reporter ------------------------------------------------------------------

    def next_reporter(self, who):
        """Sees to another one. Only a host is started where one came meanwhile by itself."""
        if who == "host":
            self.example("exit", "-wait", "5", launches=True)
        elif self.session.reporter() is None:
            self.session.start_reporter()

    def pause_before_next(self):
        return self.rng.uniform(0.5, 2 if self.short else 25)

    def kill_now(self, reporter, who):
        os.kill(reporter, signal.SIGKILL)
        self.killed.add(reporter)
        time.sleep(0.1)
        self.books.cut.update(self.session.waiting())
        self.tell(f"crash reporter {reporter} killed; {len(self.session.waiting())} reports wait")
        self.soon(self.pause_before_next(), self.next_reporter, who)

    def kill(self, who):
        reporter = self.session.reporter()
        if reporter is None:
            self.soon(1, self.kill, who)
            return
        self.counts["crash reporters killed"] += 1
        self.kill_now(reporter, who)

    def kill_in_upload(self, who):
        self.example("null-write", "-crash", "null-write", crashes=True)
        end = time.monotonic() + 20
        while time.monotonic() < end:
            reporter = self.session.reporter()
            # A pass is a child; it starts the upload tool by way of a shell.
            for child in children_of(reporter) if reporter else ():
                if any(children_of(grandchild) for grandchild in children_of(child)):
                    self.counts["crash reporters killed in an upload"] += 1
                    self.kill_now(reporter, who)
                    return
            time.sleep(0.02)
        self.tell("no upload was seen, so nothing was killed in it")

    def terminate(self, who):
        reporter = self.session.reporter()
        if reporter is None:
            self.soon(1, self.terminate, who)
            return
        os.kill(reporter, signal.SIGTERM)
        self.counts["crash reporters ended by SIGTERM"] += 1
        self.tell(f"crash reporter {reporter} asked to leave")
        self.soon(self.pause_before_next(), self.next_reporter, who)

    def leave(self, _):
        self.resting = time.monotonic()
        self.send(self.keeper, "SIGKILL")
        self.soon(1, self.await_leaving)

    def await_leaving(self):
        if not self.session.hosts and self.session.reporter() is None:
            self.counts["crash reporters that left by themselves"] += 1
            self.tell("the crash reporter has left")
        elif time.monotonic() < self.resting + HOST_SECONDS + LEAVE_SECONDS:
            self.soon(0.5, self.await_leaving)
            return
        else:
            self.complain("the crash reporter has not left, though no host runs")
        self.resting = None
        self.start_keeper()

    def kill_waiting_host(self, _):
        """A host is killed while it waits for a log that does not come."""
        reporter = self.session.reporter()
        if reporter is None:
            self.soon(1, self.kill_waiting_host, None)
            return
        os.kill(reporter, signal.SIGSTOP)
        try:
            host = self.session.start_host("killed while it waited", [
                self.session.scenarios, "null-write"], True, False)
            copy = self.session.store / f"hs_mangled_err_pid{host.pid}.log"
            for _ in range(500):
                if copy.exists():
                    break
                time.sleep(0.02)
            else:
                self.complain(f"host {host.pid}: its raw trace has not come")
            self.send(host, "SIGKILL")
        finally:
            os.kill(reporter, signal.SIGCONT)

    def sample(self, minute, tries=40):
        """Memory and descriptors of the crash reporter when it has nothing to do."""
        if self.resting:
            return
        reporter = self.session.reporter()
        if reporter is not None:
            for host in self.session.reap():
                self.ended(host)
            watched, descriptors = 0, 0
            for name in names_in(f"/proc/{reporter}/fd"):
                try:
                    watches = os.readlink(f"/proc/{reporter}/fd/{name}") == "anon_inode:[pidfd]"
                except OSError:
                    continue
                watched += watches
                descriptors += not watches
            rss = re.search(r"^VmRSS:\s+(\d+) kB", text_of(f"/proc/{reporter}/status"), re.M)
            idle = not children_of(reporter) and not self.session.waiting() \
                and age_of(reporter) > SECONDS_TO_BEGIN
            if rss and idle and watched <= len(self.session.hosts):
                self.samples.append(Sample(minute, reporter, int(rss.group(1)), descriptors,
                                           watched))
                self.tell(f"crash reporter {reporter}: {rss.group(1)} KiB, {descriptors} "
                          f"descriptors, watches {watched} of {len(self.session.hosts)} hosts")
                return
            if not tries and idle and watched > len(self.session.hosts):
                self.complain(f"crash reporter {reporter} watches {watched} processes, "
                              f"{len(self.session.hosts)} run")
        if tries:
            self.soon(0.5, self.sample, minute, tries - 1)
        else:
            self.counts["minutes without a sample"] += 1

    # --- The report server -------------------------------------------------------------------

    def refuse(self, _):
        self.counts["failures of the server"] += 1
        self.tell("the server answers 503")
        self.session.set_answer("503 Service Unavailable")

    def end_of_refuse(self, _):
        self.session.set_answer("")
        self.tell("the server answers as usual")

    def down(self, _):
        if self.session.server is None:
            return
        self.counts["times the server was down"] += 1
        self.books.unsure.update(self.session.waiting())
        self.session.end_server()
        self.books.unsure.update(self.session.waiting())
        self.tell("the server is down")

    def end_of_down(self, _):
        if self.session.server is None:
            self.session.start_server()
            self.tell("the server is up")

    # --- All of it ---------------------------------------------------------------------------

    def run(self, actions):
        self.session.start_server()
        self.began = time.monotonic()
        self.start_keeper()
        if not self.until(self.session.reporter, 30):
            raise RuntimeError("the crash reporter does not start")
        for when, action, argument in actions:
            self.at(when, getattr(self, re.sub("[ -]", "_", action)), argument)
        while self.actions:
            self.tick()
        self.finish()

    def finish(self):
        self.end_of_refuse(None)
        self.end_of_down(None)
        self.tell("no further host starts")
        if self.session.reporter() is None:
            self.session.start_reporter()
            self.until(self.session.reporter, 30)
        others = lambda: set(self.session.hosts) - {self.keeper.pid}
        if not self.until(lambda: not others(), HOST_SECONDS):
            for pid in others():
                self.complain(f"host {pid} ({self.session.hosts[pid].way}) does not end")
        self.send(self.keeper, "SIGKILL")
        if self.until(lambda: not self.session.processes(), LEAVE_SECONDS):
            self.counts["crash reporters that left by themselves"] += 1
        else:
            for pid in self.session.processes():
                self.complain(f"process {pid} is left: {text_of(f'/proc/{pid}/comm').strip()}")
        # One that has ended is waited for a moment later.
        self.until(lambda: set(self.session.reporters()) <= set(self.session.ended), 5)
        self.balance()

    def balance(self):
        session, books = self.session, self.books
        books.delivered = [report_name(n) or n for n in names_in(session.server_store)]
        books.filed = names_in(session.backup)
        books.waiting = session.stale_files()
        books.in_place = session.written_in_place()
        self.problems += books.problems() + growth(self.samples)
        for reporter in session.reporters():
            status = session.ended.get(reporter)
            if status != 0 and not (status == -signal.SIGKILL and reporter in self.killed):
                self.problems.append(f"crash reporter {reporter} ended with {status}")
        for name in names_in(session.place):
            size = (session.place / name).stat().st_size if ".log" in name else 0
            self.counts["bytes of the longest log"] = max(
                size, self.counts["bytes of the longest log"])
            if size > LOG_BYTES:
                self.problems.append(f"{name} has {size} bytes")

    # --- What is told ------------------------------------------------------------------------

    def table(self):
        books, counts = self.books, self.counts
        first = lambda field: quarters([getattr(s, field) for s in self.samples] or [0])
        crashes = collections.Counter(crash.way for crash in books.crashes)
        rows = [(f"crashes: `{way}`" if way != "killed while it waited" else
                 "crashes: killed while it waited for its log", number)
                for way, number in sorted(crashes.items())]
        rows += [
            ("crashes in all", len(books.crashes)),
            ("hosts that ended without a crash", counts["ordinary end"]),
            ("reports delivered", len(set(books.delivered))),
            ("of these twice, after a crash reporter was killed", len(books.twice())),
            ("reports filed as failed", len(books.failed())),
            ("reports written by the crash reporter in place of the process",
             len(books.in_place)),
            ("reports left in the crash store", len(books.waiting)),
            ("times the server answered 503 for a while", counts["failures of the server"]),
            ("times the server was down", counts["times the server was down"]),
        ]
        rows += [(name, counts[name]) for name in (
            "crash reporters killed", "crash reporters killed in an upload",
            "crash reporters ended by SIGTERM", "crash reporters that left by themselves")]
        rows += [
            ("crash reporters started, those included that found another serving",
             len(self.session.reporters())),
            ("memory of the crash reporter (VmRSS, KiB), median of the first and the last quarter",
             "%g, %g" % first("rss")),
            ("its descriptors when idle, without those of watched hosts, likewise",
             "%g, %g" % first("descriptors")),
            ("samples", len(self.samples)),
            ("longest log, KiB", counts["bytes of the longest log"] // 1024),
            ("what does not balance", len(self.problems)),
        ]
        return "".join(f"| {name} | {value} |\n" for name, value in
                       [("what", "count"), *rows]).replace("\n", "\n|---|---|\n", 1)


def heading(arguments):
    system = re.search(r'^PRETTY_NAME="(.*)"', text_of("/etc/os-release"), re.M)
    processor = re.search(r"^model name\s*: (.*)", text_of("/proc/cpuinfo"), re.M)
    build = re.search(r"^CMAKE_BUILD_TYPE:[^=]*=(.*)", text_of(arguments.build / "CMakeCache.txt"),
                      re.M)
    length = "--short" if arguments.short else arguments.minutes
    return (f"Made on {datetime.date.today()} by `scripts/soak {length} --seed {arguments.seed}`: "
            f"{system.group(1)}, Linux {platform.release()},\n{processor.group(1)}, {os.cpu_count()} processors, {build.group(1)} build.\n")


def write_document(text):
    """Only what stands between the marks is written anew."""
    content = DOCUMENT.read_text()
    before, found, rest = content.partition(MARK)
    after = rest.partition(END_MARK)[2]
    if not found or END_MARK not in rest:
        sys.exit(f"soak: no marks in {DOCUMENT}")
    DOCUMENT.write_text(f"{before}{MARK}\n\n{text}\n{END_MARK}{after}")


def interrupt(number, _):
    raise Interrupted(number)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("minutes", type=int, nargs="?", default=60)
    parser.add_argument("--seed", type=int)
    parser.add_argument("--keep", action="store_true")
    parser.add_argument("--short", action="store_true")
    arguments = parser.parse_args()
    if arguments.minutes < 4:
        parser.error("four minutes at least")
    arguments.build = arguments.build.resolve()
    if arguments.seed is None:
        arguments.seed = secrets.randbelow(1 << 32)
    rng = random.Random(arguments.seed)
    actions = plan.short_plan(rng) if arguments.short else plan.plan(rng, arguments.minutes)

    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, interrupt)
    print(f"soak: seed {arguments.seed}, {len(actions)} actions", flush=True)
    directory = pathlib.Path(tempfile.mkdtemp(prefix="hcrpt-soak."))
    kept = False
    try:
        soak = Soak(Session(arguments.build, directory), rng, 10 if arguments.short else 60,
                    arguments.short)
        try:
            soak.run(actions)
        finally:
            # A second signal does not keep this from being done.
            for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
                signal.signal(number, signal.SIG_IGN)
            soak.session.kill_all()
        text = f"{heading(arguments)}\n{soak.table()}"
        print(f"\n{text}")
        if not arguments.keep and not arguments.short:
            write_document(text)
        for name in soak.books.twice():
            print(f"soak: delivered twice: {name}")
        for problem in soak.problems:
            print(f"soak: {problem}")
        if soak.problems:
            kept = not arguments.short
            where = f"; the files are in {directory}" if kept else ""
            print(f"soak: {len(soak.problems)} things do not balance{where}")
            return 1
        print("soak: the books balance")
        return 0
    except Interrupted as interrupted:
        print(f"soak: interrupted by signal {interrupted}", file=sys.stderr)
        return 128 + int(str(interrupted))
    finally:
        if not kept:
            shutil.rmtree(directory, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
