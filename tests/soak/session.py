"""A session of its own: places, hosts, crash reporters and the report server, all of them real."""
import ctypes
import os
import pathlib
import resource
import shutil
import signal
import subprocess
import time

from books import report_name

LIBC = ctypes.CDLL(None)
PR_SET_PDEATHSIG, PR_SET_CHILD_SUBREAPER = 1, 36

LAUNCHED = "CRPT_ALREADY_RUNNING"
REPORTER_NAME = "crash_reporter"


def leave_nothing_behind():
    """In a new process: it dies with the driver, also where that is killed, and dumps no core."""
    LIBC.prctl(PR_SET_PDEATHSIG, signal.SIGKILL)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def text_of(path):
    """Content of a file that may vanish at any time; then it is empty."""
    try:
        return pathlib.Path(path).read_text(errors="replace")
    except OSError:
        return ""


def names_in(path):
    try:
        return sorted(os.listdir(path))
    except FileNotFoundError:
        return []


def children_of(pid):
    return [int(child) for child in text_of(f"/proc/{pid}/task/{pid}/children").split()]


def age_of(pid):
    """Seconds since its start; 0 when it has ended."""
    words = text_of(f"/proc/{pid}/stat").rpartition(")")[2].split()
    uptime = text_of("/proc/uptime").split()
    return float(uptime[0]) - int(words[19]) / os.sysconf("SC_CLK_TCK") if words else 0


class Host:
    def __init__(self, process, way, crashes, directory):
        self.process, self.way, self.crashes, self.directory = process, way, crashes, directory
        self.pid = process.pid
        self.started = time.monotonic()


class Session:
    def __init__(self, build, directory):
        self.build, self.directory = build, directory
        self.root = build / "root"
        self.tools = self.root / "bin/unwrapped/lnx64.o"
        self.scenarios = build / "tests/crash/crash_scenarios"
        self.server_script = self.root / "report_server/report_server"
        for name in ("work", "hosts", "appdata", "tmp", "data/telemon"):
            (directory / name).mkdir(parents=True)
        self.place = directory / "work/.crashReporter/1"
        self.store = self.place / "crashStore"
        self.backup = directory / "appdata/crashStoreBackup"
        self.server_store = directory / "server/store"
        self.mark = f"ZEB_SESSION_INFO={directory}/work:1"
        self.hosts = {}    # running ones, by process id
        self.ended = {}    # process id: how it ended, of all others that were waited for
        self.server = None
        self.port = None
        # Crash reporters that have lost their parent become children of this process.
        LIBC.prctl(PR_SET_CHILD_SUBREAPER, 1)

    # --- Processes ---------------------------------------------------------------------------

    def environment(self):
        gone = ("CRPT_OFF", LAUNCHED, "VELCURL_CURL", "VELCURL_MAX_TIME", "LD_LIBRARY_PATH",
                "LD_PRELOAD")
        values = {k: v for k, v in os.environ.items() if k not in gone}
        values.update(
            ZEB_SESSION_INFO=f"{self.directory}/work:1", HUT_INSIDE_NETWORK="true",
            HUT_APP_ROOT=str(self.root), HUT_APP_DATA_DIR=str(self.directory / "appdata"),
            HUT_DATA_DIR=str(self.directory / "data"), HUT_TMP_DIR=str(self.directory / "tmp"),
            VELCURL_CONNECT_TO=f"{self.report_host()}:443:127.0.0.1:{self.port}")
        return values

    def report_host(self):
        for line in text_of(self.build / "CMakeCache.txt").splitlines():
            if line.startswith("HCRPT_REPORT_HOST:"):
                return line.partition("=")[2]
        raise RuntimeError(f"{self.build} names no report server")

    def start_host(self, way, arguments, crashes, launches):
        """A host; launches says whether it starts a crash reporter of its own."""
        directory = self.directory / "hosts" / f"{time.monotonic_ns()}"
        directory.mkdir()
        values = self.environment()
        if not launches:
            values[LAUNCHED] = "true"
        with open(directory / "output", "wb") as output:
            process = subprocess.Popen(arguments, cwd=directory, env=values, stdout=output,
                                       stdin=subprocess.DEVNULL, stderr=subprocess.STDOUT,
                                       preexec_fn=leave_nothing_behind)
        host = Host(process, way, crashes, directory)
        self.hosts[host.pid] = host
        return host

    def start_reporter(self):
        process = subprocess.Popen([self.tools / REPORTER_NAME], cwd=self.directory / "work",
                                   env=self.environment(), stdin=subprocess.DEVNULL,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                   preexec_fn=leave_nothing_behind)
        process.returncode = 0  # it is waited for here, with all the others

    def reap(self):
        """Waits for what has ended. @return hosts among it, each with its status."""
        hosts = []
        while True:
            try:
                pid, status = os.waitpid(-1, os.WNOHANG)
            except ChildProcessError:
                return hosts
            if pid == 0:
                return hosts
            host = self.hosts.pop(pid, None)
            if host:
                host.process.returncode = os.waitstatus_to_exitcode(status)
                hosts.append(host)
            elif self.server and pid == self.server.pid:
                self.server.returncode = os.waitstatus_to_exitcode(status)
            else:
                self.ended[pid] = os.waitstatus_to_exitcode(status)

    def reporter(self):
        """The crash reporter that serves: the one that holds the session's lock."""
        try:
            lock = (self.place / "reporter.lock").stat().st_ino
        except FileNotFoundError:
            return None
        for line in text_of("/proc/locks").splitlines():
            words = line.split()
            if len(words) > 5 and words[1] == "FLOCK" and words[5].endswith(f":{lock}"):
                pid = int(words[4])
                if text_of(f"/proc/{pid}/comm").strip() == REPORTER_NAME:
                    return pid
        return None

    def reporters(self):
        """Process ids of all crash reporters that ever wrote a log."""
        return [int(name[len("crashReporter"):-len(".log")]) for name in names_in(self.place)
                if name.startswith("crashReporter") and name.endswith(".log")]

    def processes(self):
        """Process ids of all that belongs to this session, but for the server."""
        found = []
        for name in names_in("/proc"):
            if name.isdigit() and self.mark in text_of(f"/proc/{name}/environ").split("\0"):
                found.append(int(name))
        return found

    def kill_all(self):
        for host in list(self.hosts.values()):
            os.kill(host.pid, signal.SIGKILL)
        # Again, since one of them may just have started another.
        for _ in range(200):
            left = self.processes()
            if not left:
                break
            for pid in left:
                try:
                    os.kill(pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
            time.sleep(0.02)
            self.reap()
        self.end_server()

    # --- The report server -------------------------------------------------------------------

    def start_server(self):
        directory = self.directory / "server"
        ready = directory / "port"
        ready.unlink(missing_ok=True)
        arguments = [self.server_script, "run", directory]
        if self.port:
            arguments += ["--port", str(self.port)]
        self.server = subprocess.Popen(
            arguments, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            preexec_fn=lambda: LIBC.prctl(PR_SET_PDEATHSIG, signal.SIGTERM))
        for _ in range(1500):
            if ready.exists():
                break
            time.sleep(0.02)
            self.server.poll()
            if self.server.returncode is not None:
                break
        if not ready.exists():
            raise RuntimeError("the report server does not start")
        port = int(text_of(ready))
        if self.port and port != self.port:
            raise RuntimeError(f"port {self.port} was taken while the report server was down")
        self.port = port
        trusted = self.directory / "data/telemon/cacert.pem"
        shutil.copy(directory / "ca.pem", f"{trusted}.new")
        os.replace(f"{trusted}.new", trusted)

    def end_server(self):
        if self.server is None:
            return
        if self.server.returncode is None:
            self.server.terminate()
            self.server.wait()
        self.server = None

    def set_answer(self, answer):
        """What the server says to everyone; empty: as usual again."""
        path = self.directory / "server/answer"
        if not answer:
            path.unlink(missing_ok=True)
            return
        path.with_suffix(".new").write_text(answer)
        os.replace(path.with_suffix(".new"), path)

    # --- What is there -----------------------------------------------------------------------

    def waiting(self):
        """Names of the reports in the crash store."""
        return [name for name in names_in(self.store) if report_name(name) == name]

    def stale_files(self):
        """What the stores are not to hold once the session is over. Facts of processes may stay:
        the next crash reporter removes them."""
        names = names_in(self.store)
        left = [n for n in names if n.startswith("CrashReport_")
                or ".hcrpt-" in n or ".crashcopy_" in n]
        for name in names:
            readable = name.replace("_mangled", "")
            if name.startswith("hs_mangled_err_pid") and readable not in names:
                left.append(name)
        return left + [n for n in names_in(self.backup) if ".hcrpt-" in n]

    def written_in_place(self):
        """Names of the reports that a crash reporter wrote for a process that had ended."""
        return {report_name(name) for name in names_in(self.backup)
                if report_name(name) and '"writtenBy"' in text_of(self.backup / name)}
