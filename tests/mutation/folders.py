"""Which tests are those of a product folder.

A folder's tests are those that CTest knows in tests/<folder>, unit tests first. What a folder does
only in whole processes is tested elsewhere; the table names where.
"""
import collections

# directory: below tests/. label: None for all but slow. pattern: regular expression for names. target:
# what is built, None for all of the directory.
Stage = collections.namedtuple("Stage", "directory label pattern target", defaults=(None, None, None))

ELSEWHERE = {
    "base": [Stage("utils", "unit")],
    "capture": [Stage("crash", pattern="^(Failure|Surroundings|Allocator|Sibling|.*/Failure)",
                      target="crash_matrix_tests")],
    "crash_reporter": [Stage("integration", pattern="CrashReporter|WaitingReports")],
    "recovery": [Stage("crash", pattern="RecoveredReport", target="crash_matrix_tests")],
    "store": [Stage("utils", "unit"), Stage("recovery", "unit"), Stage("crash_reporter", "unit")],
    "thread_hook": [Stage("crash", pattern="Thread", target="crash_matrix_tests")],
}


def stages(root, folder):
    """In the order in which they are run: a later one only when none before killed the mutant."""
    own = []
    if (root / "tests" / folder / "CMakeLists.txt").is_file():
        own = [Stage(folder, "unit"), Stage(folder)]
    return own + [stage for stage in ELSEWHERE.get(folder, [])
                  if (root / "tests" / stage.directory / "CMakeLists.txt").is_file()]
