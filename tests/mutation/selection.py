"""Which mutants are tried: those of a change, or a sample."""
import random
import re
import subprocess

from operators import mutants

# Folders that hold nothing that ships.
NOT_PRODUCT = {"tests", "fuzz", "benchmarks", "examples", "include", "cmake", "docs", "scripts",
               "build", "out"}
HUNK = re.compile(r"^@@ -\S+ \+(\d+)(?:,(\d+))? @@")


def git(root, *arguments):
    return subprocess.run(["git", "-C", str(root), *arguments], check=True, text=True,
                          stdout=subprocess.PIPE).stdout


def tracked_files(root):
    """What is in the tree, and what is new and not ignored."""
    names = git(root, "ls-files", "-z", "--cached", "--others", "--exclude-standard").split("\0")
    return sorted({name for name in names if name and (root / name).is_file()})


def folder_of(path):
    return path.partition("/")[0]


def is_product(path):
    return (path.endswith((".cpp", ".h")) and "/" in path and not path.startswith(".")
            and folder_of(path) not in NOT_PRODUCT)


def product_files(root):
    return [path for path in tracked_files(root) if is_product(path)]


def mutants_of(root, paths):
    return [mutant for path in paths for mutant in mutants(path, (root / path).read_text())]


# --- The lines of a change -----------------------------------------------------------------------

def changed_lines(root, base):
    """{path: lines} of product files that have come since base: None for the uncommitted change,
    or where there is none, for the last commit."""
    if base is None:
        base = "HEAD" if git(root, "status", "--porcelain") else "HEAD~1"
    base = git(root, "merge-base", base, "HEAD").strip()
    lines = parse_diff(git(root, "diff", "--unified=0", "--no-color", "--no-ext-diff", "--relative",
                           base))
    for path in git(root, "ls-files", "-z", "--others", "--exclude-standard").split("\0"):
        if path:
            lines[path] = set(range(1, 2 + (root / path).read_bytes().count(b"\n")))
    return {path: numbers for path, numbers in lines.items() if is_product(path) and numbers}


def parse_diff(text):
    lines, path = {}, None
    for line in text.splitlines():
        if line.startswith("+++ "):
            path = line[6:] if line.startswith("+++ b/") else None
        match = HUNK.match(line)
        if match and path:
            first, count = int(match.group(1)), int(match.group(2) or 1)
            lines.setdefault(path, set()).update(range(first, first + count))
    return lines


def change(root, base, most):
    """Mutants of the changed lines, at the most so many, spread over the lines; and how many there
    would be."""
    lines = changed_lines(root, base)
    found = [mutant for mutant in mutants_of(root, sorted(lines))
             if mutant.line in lines[mutant.path]]
    return spread(found, most), len(found)


def spread(found, most):
    """One mutant of each line, then a second one of each line, until there are enough."""
    rest, by_line = [], {}
    shuffled = random.Random(0).sample(found, len(found))
    for mutant in shuffled:
        by_line.setdefault((mutant.path, mutant.line), []).append(mutant)
    for turn in range(max(map(len, by_line.values()), default=0)):
        rest += [of_line[turn] for of_line in by_line.values() if turn < len(of_line)]
    return sorted(rest[:most], key=lambda m: (m.path, m.start))


# --- A sample --------------------------------------------------------------------------------------

def sample(root, folders, number, seed):
    """[(folder, mutants in random order, how many of them to judge)]: the number is divided among
    the folders as their mutants are."""
    paths = product_files(root)
    available = list(dict.fromkeys(map(folder_of, paths)))
    for folder in folders:
        if folder not in available:
            raise ValueError(f"no product folder '{folder}'; there are: {' '.join(available)}")
    by_folder = {folder: mutants_of(root, [p for p in paths if folder_of(p) == folder])
                 for folder in folders or available}
    shares = divided(number, {folder: len(found) for folder, found in by_folder.items()})
    return [(folder, random.Random(f"{seed}/{folder}").sample(found, len(found)), shares[folder])
            for folder, found in by_folder.items()]


def divided(number, weights):
    """The number in whole parts, by weight."""
    total, shares, given, weight = sum(weights.values()), {}, 0, 0
    for name, own in weights.items():
        weight += own
        shares[name] = min(own, number * weight // total - given) if total else 0
        given = number * weight // total if total else 0
    return shares
