"""The changes that are made to a source, each small enough to look right."""
import collections
import re

from cpp import CODE, DECLARATIONS, Source

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
LOGIC = {"&&": "||", "||": "&&"}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "+=": "-=", "-=": "+=", "|": "&",
              "&": "|", "|=": "&=", "&=": "|=", "<<": ">>"}
STEPS = {"++": "--", "--": "++"}
KEYWORDS = {"return", "if", "else", "for", "while", "do", "switch", "case", "default", "break",
            "continue", "goto", "throw", "try", "catch", "using", "typedef", "static_assert", "asm",
            "__asm__", "delete", "new", "sizeof", "namespace", "template", "extern"}
INTEGER = re.compile(r"(?P<digits>0[xX][0-9a-fA-F']+|0[0-7']*|[1-9][0-9']*)(?P<suffix>[uUlLzZ]*|h|min|s|ms|us|ns)$")


class Mutant(collections.namedtuple("Mutant", "path function operator line start end text source")):
    """One change: text in place of source[start:end]."""

    @property
    def changed(self):
        return self.source.text[:self.start] + self.text + self.source.text[self.end:]

    def _lines(self, middle):
        first, last = self.source.lines(self.start, self.end)
        return " ".join((self.source.text[first:self.start] + middle
                         + self.source.text[self.end:last]).split())

    @property
    def before(self):
        """The lines that it changes, blanks folded."""
        return self._lines(self.source.text[self.start:self.end])

    @property
    def after(self):
        return self._lines(self.text)


def mutants(path, text):
    """All mutants of a file, in the order of its text, each result once."""
    source = Source(text)
    left_alone = _left_alone(source)
    found = {}
    for make in (_comparisons, _conditions, _choices, _calls, _constants, _arithmetic):
        for operator, at, start, end, replacement in make(source):
            if at in left_alone or text[start:end] == replacement:
                continue
            mutant = Mutant(path, source.function[at], operator, source.line(start), start, end,
                            replacement, source)
            found.setdefault((start, end, replacement), mutant)
    return [found[key] for key in sorted(found, key=lambda place: place[:2])]


def _left_alone(source):
    """Tokens of attributes, static assertions, template heads and names of operators."""
    indexes = set()
    for index, token in enumerate(source.tokens):
        if token.text == "[" and source.at(index + 1) == "[":
            indexes.update(range(index, source.partner.get(index, index) + 1))
        elif token.text in ("static_assert", "__attribute__", "alignas", "asm", "__asm__"):
            bracket = index + 1 + (source.at(index + 1) == "volatile")
            indexes.update(range(index, source.partner.get(bracket, index) + 1))
        elif token.text == "operator":
            indexes.update(range(index, index + 3))
        elif token.text == "template" and source.at(index + 1) == "<":
            depth = 0
            for inner in range(index + 1, len(source.tokens)):
                depth += {"<": 1, ">": -1}.get(source.at(inner), 0)
                indexes.add(inner)
                if depth == 0:
                    break
    return indexes


def _replacement(source, operator, index, text):
    token = source.tokens[index]
    return operator, index, token.start, token.end, text


def _comparisons(source):
    for index, token in enumerate(source.tokens):
        if source.scope[index] == DECLARATIONS and not source.function[index]:
            continue
        if token.text in COMPARISONS and source.spaced(index):
            yield _replacement(source, "comparison", index, COMPARISONS[token.text])


def _arithmetic(source):
    for index, token in enumerate(source.tokens):
        if token.text in STEPS and source.scope[index] == CODE:
            yield _replacement(source, "arithmetic", index, STEPS[token.text])
        elif source.spaced(index) and token.kind == "punctuation":
            if token.text in LOGIC:
                yield _replacement(source, "logic", index, LOGIC[token.text])
            elif token.text in ARITHMETIC and not _joins_texts(source, index):
                yield _replacement(source, "arithmetic", index, ARITHMETIC[token.text])


def _joins_texts(source, index):
    return any(source.tokens[side].kind in ("string", "raw", "char")
               for side in (index - 1, index + 1) if 0 <= side < len(source.tokens))


def _conditions(source):
    """Of if, while and for: negated, always false, and for if always true. What the condition
    calls is called still."""
    for index, token in enumerate(source.tokens):
        if token.text not in ("if", "while", "for") or source.at(index + 1) != "(":
            continue
        first, last = index + 2, source.partner.get(index + 1, 0) - 1
        separators = [i for i in range(first, last + 1)
                      if source.at(i) == ";" and _depth(source, first, i) == 0]
        if token.text == "for":
            if len(separators) != 2:
                continue  # over a range
            first, last = separators[0] + 1, separators[1] - 1
        elif separators:
            first = separators[-1] + 1
        if first > last or _declares(source, first, last):
            continue
        start, end = source.tokens[first].start, source.tokens[last].end
        condition = source.text[start:end]
        if not _is_equality(source, first, last):  # negated already, as a comparison
            yield "condition negated", first, start, end, f"!({condition})"
        if condition not in ("true", "false"):
            yield "condition always false", first, start, end, f"({condition}) && false"
            if token.text == "if":
                yield "condition always true", first, start, end, f"({condition}) || true"


def _depth(source, first, index):
    return sum((source.at(i) in ("(", "[", "{")) - (source.at(i) in (")", "]", "}"))
               for i in range(first, index))


def _is_equality(source, first, last):
    operators = [source.at(i) for i in range(first, last + 1) if _depth(source, first, i) == 0
                 and source.tokens[i].kind == "punctuation" and source.spaced(i)]
    return operators in (["=="], ["!="])


def _declares(source, first, last):
    return any(source.at(i) == "=" and _depth(source, first, i) == 0
               and source.tokens[i - 1].kind == "name" and i - 2 >= first
               and (source.tokens[i - 2].kind == "name" or source.at(i - 2) in ("*", "&", ">"))
               for i in range(first, last + 1))


def _choices(source):
    """a ? b : c becomes a ? c : b."""
    for index, token in enumerate(source.tokens):
        if token.text != "?":
            continue
        depth, colon, end = 0, None, index + 1
        questions = 0
        while end < len(source.tokens):
            text = source.at(end)
            if text in ("(", "[", "{"):
                end = source.partner.get(end, end)
            elif text in (")", "]", "}", ";", ",") and depth == 0:
                break
            elif text == "?":
                questions += 1
            elif text == ":":
                if questions:
                    questions -= 1
                elif colon is None:
                    colon = end
                else:
                    break
            end += 1
        if colon is None or end <= colon + 1:
            continue
        first = source.text[source.tokens[index + 1].start:source.tokens[colon - 1].end]
        second = source.text[source.tokens[colon + 1].start:source.tokens[end - 1].end]
        yield ("branches swapped", index, source.tokens[index + 1].start, source.tokens[end - 1].end,
               f"{second} : {first}")


def _calls(source):
    """Statements that only call or assign are left out."""
    heads = set()  # the semicolons of a for end no statement
    for index in range(len(source.tokens)):
        if source.at(index) == "for":
            heads.update(range(index + 1, source.partner.get(index + 1, index) + 1))
        if source.scope[index] != CODE or index in heads or not _begins_statement(source, index):
            continue
        end, operator = _call_or_assignment(source, index)
        if end is not None:
            yield operator, index, source.tokens[index].start, source.tokens[end].end, "{}"


def _begins_statement(source, index):
    before = source.at(index - 1)
    if before in (";", "{", "}", "else"):
        return source.scope[index - 1] == CODE or before == "{"
    if before == ":":
        return source.at(index - 2) == "default" or source.at(index - 3) == "case"
    if before == ")":
        opening = source.partner.get(index - 1)
        return opening is not None and source.at(opening - 1) in ("if", "while", "for")
    return False


def _call_or_assignment(source, index):
    """Where the statement ends that begins here, and what it does."""
    at = index
    if source.at(at) == "(" and source.at(at + 1) == "void":
        at += 3
    if source.at(at) == "::":
        at += 1
    if source.at(at) == "*":
        at += 1
    calls = False
    if at >= len(source.tokens) or source.tokens[at].kind != "name" or source.at(at) in KEYWORDS:
        return None, None
    at += 1
    while at < len(source.tokens):
        text = source.at(at)
        if text in ("::", ".", "->"):
            at, calls = at + 2, False
        elif text in ("(", "["):
            at, calls = source.partner.get(at, at) + 1, text == "("
        else:
            break
    if source.at(at) == ";" and calls:
        return at, "call removed"
    if source.at(at) in ("=", "+=", "-=", "|=", "&=") and source.scope[at] == CODE:
        while at < len(source.tokens) and source.at(at) != ";":
            at = source.partner.get(at, at) + 1 if source.at(at) in ("(", "[", "{") else at + 1
        return at, "assignment removed"
    return None, None


def _constants(source):
    for index, token in enumerate(source.tokens):
        if token.text in ("true", "false"):
            yield _replacement(source, "constant", index, "false" if token.text == "true" else "true")
        if token.kind != "number" or _is_pure(source, index) or _is_array_size(source, index):
            continue
        match = INTEGER.match(token.text)
        if not match:
            continue
        digits, suffix = match.group("digits").replace("'", ""), match.group("suffix")
        octal = len(digits) > 1 and digits[0] == "0" and digits[1] in "01234567"
        value = int(digits, 8 if octal else 0)
        write = (lambda n: f"0{n:o}") if octal else hex if digits[:2] in ("0x", "0X") else str
        for other in (value + 1, value - 1):
            if other >= 0:
                yield _replacement(source, "constant", index, write(other) + suffix)


def _is_array_size(source, index):
    """In a declaration such as "int ends[2];": a larger one is no other behaviour, and a smaller one
    that no warning finds needs a sanitizer to be seen."""
    return (source.at(index - 1) == "[" and source.at(index + 1) == "]"
            and source.at(index + 2) in (";", "=", "{", "[")
            and (source.tokens[index - 3].kind == "name" or source.at(index - 3) in (">", "*"))
            and source.at(index - 3) not in KEYWORDS)


def _is_pure(source, index):
    """= 0 behind a function."""
    return (source.at(index - 1) == "=" and source.at(index + 1) == ";"
            and source.at(index - 2) in (")", "const", "noexcept", "override"))
