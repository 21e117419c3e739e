"""Reads C++ as far as mutations need it: tokens, what encloses them, the function they stand in.

It is no parser. It relies on the form that clang-format gives the sources; what it takes wrongly
does not compile and so costs one build.
"""
import bisect
import collections
import re

TOKEN = re.compile(r"""
    (?P<comment>//(?:\\\n|[^\n])*|/\*.*?\*/)
  | (?P<directive>(?:(?<=\n)|(?<=\A))[ \t]*\#(?:\\\n|[^\n])*)
  | (?P<raw>(?:u8|[uUL])?R"(?P<mark>[^(\s]{0,16})\(.*?\)(?P=mark)")
  | (?P<string>(?:u8|[uUL])?"(?:\\.|[^"\\\n])*")
  | (?P<char>(?:u8|[uUL])?'(?:\\.|[^'\\\n])+')
  | (?P<number>\.?[0-9](?:[eEpP][+-]|'[0-9a-fA-F]|[0-9a-zA-Z_.])*)
  | (?P<name>[A-Za-z_]\w*)
  | (?P<punctuation><<=|>>=|<=>|->\*|\.\.\.|::|->|\+\+|--|<<|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)
  | (?P<space>\s+)
""", re.X | re.S)

# Punctuation would win over space, were it not for this.
SPACE = re.compile(r"\s+")

OPENING, CLOSING = "([{", ")]}"

# Builds with a sanitizer or counters define these; mutants are built without.
NOT_DEFINED = re.compile(r"\s*#\s*ifdef\s+(HCRPT_SANITIZE|HCRPT_COVERAGE)\b")
CONDITION = re.compile(r"\s*#\s*(if|else|elif|endif)")

# What a brace encloses.
CODE, DECLARATIONS, VALUES = "code", "declarations", "values"

Token = collections.namedtuple("Token", "kind text start end")


def tokens(text):
    """All tokens but space, comments, preprocessor lines and what these leave out."""
    found, position = [], 0
    depth, left_out = 0, None  # the depth at which code is left out
    while position < len(text):
        space = SPACE.match(text, position)
        if space and not (text[space.end() - 1] != "\n" and text[space.end():space.end() + 1] == "#"):
            position = space.end()
            continue
        match = TOKEN.match(text, position)
        position = match.end()
        kind = match.lastgroup if match.lastgroup != "mark" else "raw"
        if kind == "directive":
            condition = CONDITION.match(match.group())
            word = condition.group(1) if condition else ""
            depth += {"if": 1, "endif": -1}.get(word, 0)
            if left_out is None and NOT_DEFINED.match(match.group()):
                left_out = depth
            elif left_out is not None and (depth < left_out or word in ("else", "elif")
                                           and depth == left_out):
                left_out = None
        elif left_out is None and kind not in ("comment", "space"):
            found.append(Token(kind, match.group(), match.start(), match.end()))
    return found


class Source:
    """The tokens of one file with, for each token, its partner (of a bracket), the kind of what
    encloses it, and the function whose body or initialisers it belongs to ("" outside)."""

    def __init__(self, text):
        self.text = text
        self.tokens = tokens(text)
        self.partner = self._pair()
        self.scope, self.function = [], []
        self._enclose()
        self._line_starts = [0] + [m.end() for m in re.finditer("\n", text)]

    def line(self, offset):
        """Counted from 1."""
        return bisect.bisect_right(self._line_starts, offset)

    def lines(self, start, end):
        """Offsets of the beginning of the line of start, and of the end of the line of end."""
        first = self._line_starts[self.line(start) - 1]
        last = self.text.find("\n", end)
        return first, len(self.text) if last < 0 else last

    def at(self, index):
        """The text of a token; "" outside the file."""
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def spaced(self, index):
        """Tells whether blanks or line breaks stand on both sides: binary operators have them,
        template brackets, references and pointers do not."""
        token = self.tokens[index]
        return (token.start > 0 and self.text[token.start - 1].isspace()
                and token.end < len(self.text) and self.text[token.end].isspace())

    def _pair(self):
        partner, stack = {}, []
        for index, token in enumerate(self.tokens):
            if token.kind != "punctuation":
                continue
            if token.text in OPENING:
                stack.append(index)
            elif token.text in CLOSING and stack:
                partner[index] = stack.pop()
                partner[partner[index]] = index
        return partner

    def _enclose(self):
        stack = []  # (kind, function) of each open brace
        beginning = 0  # of the declaration, at the level of declarations
        for index, token in enumerate(self.tokens):
            kind, function = stack[-1] if stack else (DECLARATIONS, "")
            if token.kind == "punctuation" and token.text == "}" and stack:
                stack.pop()
                outer = stack[-1][0] if stack else DECLARATIONS
                if outer == DECLARATIONS and kind != VALUES:
                    beginning = index + 1
            self.scope.append(kind)
            self.function.append(function)
            if token.kind != "punctuation":
                continue
            if token.text == "{":
                inner = self._brace(index, beginning, kind)
                name = function
                if kind == DECLARATIONS and inner == CODE:
                    name = self._function_name(beginning, index)
                    for earlier in range(beginning, index + 1):  # signature and initialisers
                        self.function[earlier] = name
                stack.append((inner, name))
                if inner == DECLARATIONS:
                    beginning = index + 1
            elif token.text in ";:" and kind == DECLARATIONS and not self._in_brackets(index):
                if token.text == ";" or self.at(index - 1) in ("public", "private", "protected"):
                    beginning = index + 1

    def _in_brackets(self, index):
        return False if index == 0 else any(
            opening < index < self.partner.get(opening, -1)
            for opening in range(max(0, index - 200), index) if self.at(opening) == "(")

    def _brace(self, index, beginning, outer):
        before = self.at(index - 1)
        if outer == DECLARATIONS:
            head = [token.text for token in self.tokens[beginning:index]]
            if "(" not in head or "operator" in head and head[-1] == "=":
                if head and head[0] in ("namespace", "class", "struct", "union", "extern", "template",
                                        "enum", "inline", "typedef"):
                    return VALUES if head[0] == "enum" or before == "=" else DECLARATIONS
                return VALUES
            if head[0] in ("class", "struct"):  # with an attribute or base that has brackets
                return DECLARATIONS
            if before in (")", "const", "noexcept", "override", "final", "try", "}", "&", ">", "*"):
                return CODE
            if "->" in head:
                return CODE
            return VALUES
        if outer == VALUES and before != ")":
            return VALUES
        if before in (")", "else", "do", "try", ";", "{", "}", ":", "mutable", "noexcept"):
            return CODE
        if before == "]" and self._is_lambda(self.partner.get(index - 1)):
            return CODE
        if "->" in (self.at(index - 2), self.at(index - 4)):
            return CODE
        statement = index - 1
        while statement >= 0 and self.at(statement) not in (";", "{", "}"):
            statement -= 1
        if self.at(statement + 1) in ("struct", "class"):
            return DECLARATIONS
        return VALUES

    def _is_lambda(self, opening):
        return opening is not None and self.at(opening - 1) in ("(", ",", "=", "return", "{", "")

    def _function_name(self, beginning, brace):
        for index in range(beginning, brace):
            if self.at(index) == "(" and index > beginning:
                first = index - 1
                if "operator" in (self.at(first), self.at(first - 1), self.at(first - 2)):
                    while self.at(first) != "operator":
                        first -= 1
                elif self.tokens[first].kind != "name":
                    continue
                if self.at(first) in ("__attribute__", "alignas", "noexcept", "decltype"):
                    continue
                if self.at(first - 1) == "~":
                    first -= 1
                while self.at(first - 1) == "::" and self.tokens[first - 2].kind == "name":
                    first -= 2
                return "".join(self.at(i) for i in range(first, index))
        return ""
