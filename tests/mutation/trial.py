"""Tries mutants in several copies of the tree side by side."""
import collections
import threading
import time

import worker

EQUIVALENT = "equivalent"

# mutants: in the order in which they are tried. wanted: how many of them are to be judged; one that
# does not compile or is equivalent is replaced by the next.
Group = collections.namedtuple("Group", "folder mutants wanted")
Result = collections.namedtuple("Result", "mutant result detail seconds")


class Queue:
    """Hands out mutants of one group after the other until as many are judged as wanted."""

    def __init__(self, groups, replace=True):
        self._lock = threading.Lock()
        self._left = [[iter(group.mutants), group.wanted] for group in groups]

    def take(self):
        """(group, mutant), or None when nothing is left. The group goes back to give_back()."""
        with self._lock:
            for group in self._left:
                if group[1] > 0:
                    mutant = next(group[0], None)
                    if mutant is not None:
                        group[1] -= 1
                        return group, mutant
                    group[1] = 0
        return None

    def give_back(self, group):
        """The mutant proved nothing: another one is tried in its place."""
        with self._lock:
            group[1] += 1


def try_all(root, groups, listed, jobs, work, tell):
    """Results in the order in which they come; tell(result) is called with each. A mutant on the list
    of equivalent ones is not built."""
    queue, results, errors = Queue(groups), [], []
    lock = threading.Lock()

    def note(result):
        with lock:
            results.append(result)
            tell(result)

    def serve(own):
        try:
            own.prepare()
            for group, mutant in iter(queue.take, None):
                start = time.monotonic()
                if listed.reason(mutant):
                    verdict = worker.Verdict(EQUIVALENT, "")
                else:
                    verdict = own.judge(mutant)
                if verdict.result in (worker.NOT_COMPILED, EQUIVALENT):
                    queue.give_back(group)
                note(Result(mutant, *verdict, time.monotonic() - start))
        except Exception as error:  # raised again in the main thread
            errors.append(error)

    workers = [worker.Worker(root, (work / str(number)).resolve()) for number in range(jobs)]
    threads = [threading.Thread(target=serve, args=(own,), daemon=True) for own in workers]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if errors:
        raise errors[0]
    for name in sorted({name for own in workers for name in own.failing}):
        print(f"fails without a mutant, so it was left out: {name}")
    return results
