"""What a run says."""
import collections

import equivalent
import selection
import worker


def progress(result):
    mutant = result.mutant
    place = f"{mutant.path}:{mutant.line}: {mutant.operator}"
    detail = f", {result.detail}" if result.result == worker.KILLED else ""
    print(f"{result.result:<16} {place} ({result.seconds:.0f} s{detail})", flush=True)
    if result.result == worker.SURVIVED:
        print("\n".join("    " + line for line in equivalent.block(mutant).splitlines()), flush=True)


def summary(results):
    """Prints the figures of each folder. @return the mutants that survived"""
    folders = collections.defaultdict(collections.Counter)
    for result in results:
        folders[selection.folder_of(result.mutant.path)][result.result] += 1
    print(f"\n{'folder':<16} {'tried':>6} {'killed':>7} {'survived':>9} {'equivalent':>11} "
          f"{'not compiled':>13}")
    for folder, counts in sorted(folders.items()):
        print(line(folder, counts))
    total = sum(folders.values(), collections.Counter())
    print(line("all", total))
    tried = total[worker.KILLED] + total[worker.SURVIVED]
    if tried:
        print(f"killed: {100 * total[worker.KILLED] / tried:.1f} %")
    return [result.mutant for result in results if result.result == worker.SURVIVED]


def line(name, counts):
    killed, survived = counts[worker.KILLED], counts[worker.SURVIVED]
    return (f"{name:<16} {killed + survived:>6} {killed:>7} {survived:>9} "
            f"{counts['equivalent']:>11} {counts[worker.NOT_COMPILED]:>13}")


def stale(listed, root):
    """Names entries of the list that the sources no longer know."""
    for function, before, after in listed.unknown(
            selection.mutants_of(root, selection.product_files(root))):
        print(f"equivalent.txt: no such mutant any more: {function}: {before} -> {after}")
