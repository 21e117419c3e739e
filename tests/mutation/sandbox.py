#!/usr/bin/env python3
"""Runs commands where a mutant can do no harm: it may kill or remove what it likes.

Started by worker.py as the first process of new process and mount namespaces, with a request (JSON)
on standard input. Every file system is read-only but for the directories that the request names;
/tmp is an empty one. Processes outside cannot be seen, and those inside end with this one.
"""
import json
import os
import resource
import signal
import subprocess
import sys
import time

# A mutant may make a loop endless: neither the machine's memory nor its disk may fill up.
MEMORY_BYTES = 4 << 30
FILE_BYTES = 1 << 30
TEMPORARY_SIZE = "1g"
KERNEL_PLACES = ("/proc", "/sys", "/dev")


def mount(*arguments):
    subprocess.run(["mount", *arguments], check=True)


def mount_points():
    with open("/proc/self/mountinfo") as lines:
        return [line.split()[4].encode().decode("unicode_escape") for line in lines]


def enclose(temporary, writable):
    for directory in writable:
        mount("--bind", directory, directory)
    mount("-t", "tmpfs", "-o", f"size={TEMPORARY_SIZE},mode=1777", "tmpfs", temporary)
    for point in mount_points():
        kept = any(point == own or point.startswith(own + "/") for own in (*writable, *KERNEL_PLACES))
        if not kept and os.path.exists(point):
            mount("-o", "remount,bind,ro", point)
    for directory in writable:
        if directory.startswith("/tmp/"):
            inside = temporary + directory[len("/tmp"):]
            os.makedirs(inside, exist_ok=True)
            mount("--rbind", directory, inside)
    mount("--rbind", temporary, "/tmp")


def prepare():
    signal.pthread_sigmask(signal.SIG_SETMASK, [])
    for number in (signal.SIGINT, signal.SIGQUIT, signal.SIGHUP):  # ignored in the background
        signal.signal(number, signal.SIG_DFL)
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY_BYTES, MEMORY_BYTES))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_BYTES, FILE_BYTES))


class Commands:
    """Runs commands side by side, each at most as long as it may, until the first one fails."""

    def __init__(self, log_directory, at_once):
        self.log_directory, self.at_once = log_directory, at_once
        self.running = {}  # process id: (command, log, start, process)

    def start(self, command):
        log = os.path.join(self.log_directory, f"output{len(os.listdir(self.log_directory))}")
        environment = dict(os.environ, **command.get("environment", {}))
        for name in ("TMPDIR", *command.get("unset", ())):
            environment.pop(name, None)
        with open(log, "wb") as out:
            process = subprocess.Popen(command["words"], stdout=out, stderr=subprocess.STDOUT,
                                       stdin=subprocess.DEVNULL, env=environment,
                                       cwd=command.get("directory"), start_new_session=True,
                                       preexec_fn=prepare)
        self.running[process.pid] = command, log, time.monotonic(), process

    def next_end(self):
        """(command, log, seconds, exit status; None after its time ran out)"""
        while True:
            pid, status = os.waitpid(-1, os.WNOHANG)  # orphans come to this process, too
            if pid in self.running:
                command, log, start, process = self.running.pop(pid)
                process.returncode = os.waitstatus_to_exitcode(status)
                return command, log, time.monotonic() - start, process.returncode
            if pid == 0:
                for pid, (command, log, start, process) in self.running.items():
                    if time.monotonic() - start > command["seconds"]:
                        os.killpg(pid, signal.SIGKILL)
                        process.returncode = -signal.SIGKILL
                        del self.running[pid]
                        return command, log, time.monotonic() - start, None
                signal.sigtimedwait([signal.SIGCHLD], 0.5)

    def run(self, commands, all_of_them):
        waiting, results = list(commands), []
        while waiting or self.running:
            while waiting and len(self.running) < self.at_once:
                self.start(waiting.pop(0))
            command, log, seconds, status = self.next_end()
            if status not in (0, None) and command.get("again"):
                # Only a failure that comes back is the mutant's.
                waiting.insert(0, dict(command, again=False))
                continue
            with open(log, errors="replace") as text:
                output = text.read()[-4000:] if status != 0 else ""
            results.append({"name": command["name"], "status": status, "seconds": seconds,
                            "output": output})
            if status != 0 and not all_of_them:
                break
        return results


def main():
    request = json.load(sys.stdin)
    # Waited for with sigtimedwait().
    signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGCHLD])
    enclose(request["temporary"], request["writable"])
    os.makedirs("/tmp/.output")
    results = Commands("/tmp/.output", request["at_once"]).run(request["commands"], request["all"])
    json.dump(results, sys.stdout)


if __name__ == "__main__":
    main()
