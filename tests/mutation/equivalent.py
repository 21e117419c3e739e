"""The list of mutants that no test can kill, each with its reason.

A block of lines for each, blocks parted by empty lines:

    in: Class::function      as its definition names it; "-" outside functions
    from: the lines as they are, blanks folded into one
    to: the lines as the mutant has them
    because: why no test can notice; may go on in indented lines
"""
import collections

KEYS = ("in", "from", "to", "because")
Entry = collections.namedtuple("Entry", "function before after reason")


class FormError(Exception):
    pass


def read(text, reasons=True):
    """The entries of a list; without reasons when it is one of survivors."""
    entries, block, first = [], {}, 0
    for number, line in enumerate(text.splitlines() + [""], 1):
        if line.startswith("#"):
            continue
        if not line.strip():
            if block:
                entries.append(_entry(block, first, KEYS if reasons else KEYS[:3]))
            block = {}
        elif line[0].isspace():
            if not block:
                raise FormError(f"line {number} continues nothing")
            block[next(reversed(block))] += " " + " ".join(line.split())
        else:
            first = first if block else number
            key, _, value = line.partition(":")
            if key not in KEYS or key in block:
                raise FormError(f"line {number}: unexpected '{key}'")
            block[key] = " ".join(value.split())
    return entries


def _entry(block, number, needed):
    missing = [key for key in needed if not block.get(key)]
    if missing:
        raise FormError(f"block at line {number}: nothing behind '{missing[0]}'")
    return Entry(*(block.get(key, "") for key in KEYS))


class Equivalents:
    def __init__(self, entries):
        self._reasons = {entry[:3]: entry.reason for entry in entries}

    def reason(self, mutant):
        """Why no test can kill the mutant; None when the list does not hold it."""
        return self._reasons.get(identity(mutant))

    def unknown(self, mutants):
        """Entries that are none of these mutants: the source has changed."""
        known = {identity(mutant) for mutant in mutants}
        return [key for key in self._reasons if key not in known]


def identity(mutant):
    return mutant.function or "-", mutant.before, mutant.after


def block(mutant):
    """The mutant in the form of the list, but for the reason."""
    return "in: {}\nfrom: {}\nto: {}".format(*identity(mutant))
