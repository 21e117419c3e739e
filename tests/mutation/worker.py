"""One copy of the tree, in which mutants are made, built and tested one after the other."""
import collections
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

import folders
import selection

SANDBOX = pathlib.Path(__file__).with_name("sandbox.py")
BUILD_SECONDS = 900
TESTS_AT_ONCE = 8  # many tests wait for something
# A case may take so much longer than without the mutant before it counts as hanging.
CASE_SECONDS, GRACE_SECONDS, TIMES_SLOWER = 200, 20, 4

KILLED, SURVIVED, NOT_COMPILED = "killed", "survived", "does not compile"
Verdict = collections.namedtuple("Verdict", "result detail")


class Unusable(Exception):
    """The tree does not build, or no test of it passes, without a mutant."""


class Worker:
    def __init__(self, root, directory):
        self.root = root
        self.source, self.build = directory / "source", directory / "build"
        self.temporary = directory / "tmp"
        self.directory = directory
        self.writable = [str(directory)]
        self.environment = {}
        self.cases = {}          # stage: [case], those that pass without a mutant
        self.failing = []        # names of those that do not
        self.killers = collections.Counter()

    def prepare(self):
        """Brings the copy up to date. What is built in it stays from one run to the next."""
        self.temporary.mkdir(parents=True, exist_ok=True)
        self.directory.chmod(0o755)  # some tests go on as another user
        copy_tree(self.root, self.source)
        options = ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0"]
        if shutil.which("ccache"):
            options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
            cache = subprocess.run(["ccache", "--get-config", "cache_dir"], check=True, text=True,
                                   stdout=subprocess.PIPE).stdout.strip()
            pathlib.Path(cache).mkdir(parents=True, exist_ok=True)
            self.writable.append(cache)
            self.environment = {
                "CCACHE_DIR": cache, "CCACHE_BASEDIR": str(self.directory), "CCACHE_NOHASHDIR": "1",
                "CCACHE_SLOPPINESS": "pch_defines,time_macros,include_file_mtime,include_file_ctime"}
        done = subprocess.run(["cmake", "-S", self.source, "-B", self.build, "-G", "Ninja", *options],
                              text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if done.returncode != 0:
            raise Unusable(done.stdout[-3000:])

    # --- In the sandbox ---------------------------------------------------------------------------

    def run(self, commands, at_once=1, all_of_them=False):
        request = {"temporary": str(self.temporary), "writable": self.writable, "at_once": at_once,
                   "all": all_of_them, "commands": commands}
        words = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc"]
        if os.geteuid() != 0:
            words += ["--user", "--map-root-user"]
        done = subprocess.run([*words, sys.executable, str(SANDBOX)], input=json.dumps(request),
                              text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        if done.returncode != 0:
            raise Unusable("the sandbox (unshare, mount) does not work here:\n" + done.stderr[-2000:])
        return json.loads(done.stdout)

    def make(self, stage):
        """Builds the programs of a stage. @return exit status, output"""
        command = {"name": "ninja", "seconds": BUILD_SECONDS, "environment": self.environment,
                   "words": ["ninja", "-C", str(self.build), "-j", "2",
                             stage.target or f"tests/{stage.directory}/all"]}
        result = self.run([command])[0]
        return result["status"], result["output"]

    # --- Without a mutant ---------------------------------------------------------------------------

    def measure(self, stage):
        """Builds and runs a stage as it is: only cases that pass can kill a mutant."""
        if stage in self.cases:
            return
        status, output = self.make(stage)
        if status != 0:
            raise Unusable(f"tests/{stage.directory} does not build without a mutant:\n{output}")
        cases = {case["name"]: case for case in self.listed(stage)}
        passing = []
        for result in self.run(list(cases.values()), TESTS_AT_ONCE, all_of_them=True):
            case = cases[result["name"]]
            if result["status"] == 0:
                case["usual"] = result["seconds"]
                case["seconds"] = GRACE_SECONDS + TIMES_SLOWER * result["seconds"]
                passing.append(case)
            else:
                self.failing.append(case["name"])
        self.cases[stage] = passing

    def listed(self, stage):
        listing = subprocess.run(
            ["ctest", "--test-dir", self.build / "tests" / stage.directory, "--show-only=json-v1"],
            check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
        for test in json.loads(listing)["tests"]:
            properties = {p["name"]: p["value"] for p in test.get("properties", [])}
            labels = properties.get("LABELS", [])
            if ("slow" in labels or "command" not in test
                    or stage.label is not None and stage.label not in labels
                    or stage.pattern is not None and not re.search(stage.pattern, test["name"])):
                continue
            yield {"name": test["name"], "words": test["command"], "seconds": CASE_SECONDS,
                   "again": True, "directory": properties.get("WORKING_DIRECTORY"),
                   "environment": dict(e.split("=", 1) for e in properties.get("ENVIRONMENT", []))}

    # --- With one -------------------------------------------------------------------------------------

    def judge(self, mutant):
        path = self.source / mutant.path
        path.write_text(mutant.changed)
        try:
            done = set()
            for stage in folders.stages(self.root, selection.folder_of(mutant.path)):
                verdict = self.judge_in(stage, mutant, done)
                if verdict.result != SURVIVED:
                    return verdict
            return verdict if done else Verdict(SURVIVED, "no tests")
        finally:
            path.write_text(mutant.source.text)

    def judge_in(self, stage, mutant, done):
        if stage not in self.cases:
            # Measured without the mutant, which is made again then.
            (self.source / mutant.path).write_text(mutant.source.text)
            self.measure(stage)
            (self.source / mutant.path).write_text(mutant.changed)
        status, output = self.make(stage)
        if status != 0:
            if "Error running test executable" in output:  # its cases are listed when it is linked
                return Verdict(KILLED, "the test program does not start")
            return Verdict(NOT_COMPILED, output)
        cases = [case for case in self.order(stage, mutant) if case["name"] not in done]
        for result in self.run(cases, TESTS_AT_ONCE):
            done.add(result["name"])
            if result["status"] != 0:
                self.killers[mutant.path, result["name"]] += 1
                how = " does not end" if result["status"] is None else ""
                return Verdict(KILLED, result["name"] + how)
        return Verdict(SURVIVED, "")

    def order(self, stage, mutant):
        """What has killed mutants of the file before, then the suite of that name, then the fast ones."""
        stem = pathlib.PurePath(mutant.path).stem.lower()
        return sorted(self.cases[stage],
                      key=lambda case: (-self.killers[mutant.path, case["name"]],
                                        stem not in case["name"].lower(), case["usual"]))


def copy_tree(root, target):
    """Makes target hold what the tree tracks. A file that is the same already is left alone, so that
    it is not built again."""
    names = selection.tracked_files(root)
    for name in names:
        old, new = root / name, target / name
        if old.is_symlink():
            continue
        content = old.read_bytes()
        if not new.is_file() or new.read_bytes() != content:
            new.parent.mkdir(parents=True, exist_ok=True)
            new.write_bytes(content)
        new.chmod(old.stat().st_mode & 0o777)
    known = set(names)
    for path in list(target.rglob("*")):
        if path.is_file() and str(path.relative_to(target)) not in known:
            path.unlink()
