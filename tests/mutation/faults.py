"""Small faults for C++ sources: finds the places where one can be planted.

Knows the language by its tokens only and relies on the layout that clang-format
gives (blanks around binary operators, none inside templates and around pointers).
What comes out wrong does not compile, and is not counted.
"""

import hashlib
import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
  | (?P<string>"(?:\\.|[^"\\\n])*")
  | (?P<char>'(?:\\.|[^'\\\n])+')
  | (?P<number>\b(?:0[xX][0-9A-Fa-f]+|\d+)\b)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator><<=|>>=|<=|>=|==|!=|&&|\|\||<<|>>|\+\+|--|[-+*/%&|^]=|->|::|[^\s\w])
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)

BINARY = {
    "<": ["<=", ">="],
    ">": [">=", "<="],
    "<=": ["<", ">"],
    ">=": [">", "<"],
    "==": ["!="],
    "!=": ["=="],
    "&&": ["||"],
    "||": ["&&"],
    "+": ["-"],
    "-": ["+"],
    "*": ["/"],
    "/": ["*"],
    "%": ["/"],
    "&": ["|"],
    "|": ["&"],
    "^": ["|"],
    "<<": [">>"],
    ">>": ["<<"],
    "+=": ["-=", "="],
    "-=": ["+=", "="],
    "|=": ["&=", "="],
    "&=": ["|=", "="],
}
WORDS = {"true": "false", "false": "true", "qMin": "qMax", "qMax": "qMin"}
NOT_STATEMENTS = set(
    "return case default typedef using const static constexpr struct class enum template public"
    " private protected if for while switch do else extern friend virtual".split()
)
EMPTY_RESULTS = {"", "0", "false", "true", "QByteArray()", "QString()", "*this"}
# A planted signal number would reach other processes of the machine; the others
# are no code of ours.
NEVER_TOUCHED = re.compile(r"\bkill\(|\bQ_UNUSED\(|\bDRIVER_NONNULL\(|^ *virtual .* = 0;|~\w+\(\)")
TABLE_ROW = 8  # so many numbers in a line are a table, which gets one fault a line


@dataclass(frozen=True)
class Fault:
    file: str
    line: int
    start: int
    end: int
    kind: str
    before: str
    after: str
    id: str
    source: str  # the whole file without the fault

    def planted(self):
        return self.source[: self.start] + self.after + self.source[self.end :]

    def __str__(self):
        return f"{self.id} {self.file}:{self.line} {self.kind}: {short(self.before)} -> {short(self.after)}"


def short(text):
    text = " ".join(text.split())
    return text if len(text) <= 60 else text[:57] + "..."


class Finder:
    def __init__(self, file, text):
        self.file = file
        self.text = text
        self.is_header = file.endswith(".h")
        self.tokens = [m for m in TOKEN.finditer(text) if m.lastgroup not in ("comment", "directive")]
        self.faults = []
        self.seen_lines = {}

    def find(self):
        for at, token in enumerate(self.tokens):
            getattr(self, token.lastgroup)(at, token)
        self.statements()
        self.conditions()
        self.keep_one_in_table_rows()
        return sorted(self.named(), key=lambda fault: (fault.start, fault.end, fault.after))

    def add(self, kind, start, end, after):
        before = self.text[start:end]
        line_start = self.text.rfind("\n", 0, start) + 1
        line_end = self.text.find("\n", start)
        line = self.text[line_start:line_end]
        if before != after and not NEVER_TOUCHED.search(line):
            self.faults.append((kind, start, end, after))

    def named(self):
        """Ids hold the line's text and not its number, so that they outlive edits elsewhere."""
        lines = self.text.split("\n")
        starts = [0]
        for line in lines:
            starts.append(starts[-1] + len(line) + 1)
        occurrence = {}
        nth = []
        for line in lines:
            nth.append(occurrence.setdefault(line.strip(), 0))
            occurrence[line.strip()] += 1
        for kind, start, end, after in set(self.faults):
            number = self.text.count("\n", 0, start)
            line = lines[number]
            column = start - starts[number] - (len(line) - len(line.lstrip()))
            key = (self.file, line.strip(), nth[number], column, kind, after)
            name = hashlib.sha256(repr(key).encode()).hexdigest()[:10]
            before = self.text[start:end]
            yield Fault(self.file, number + 1, start, end, kind, before, after, name, self.text)

    # One token each.

    def operator(self, at, token):
        text, start, end = token.group(), token.start(), token.end()
        before, behind = self.text[start - 1 : start], self.text[end : end + 1]
        if text in BINARY and before.isspace() and behind.isspace():
            for other in BINARY[text]:
                self.add("operator", start, end, other)
        elif text == "?":
            self.add("choice", start, end, "&& false ?")
            self.add("choice", start, end, "|| true ?")
        elif text in ("++", "--"):
            self.add("operator", start, end, "--" if text == "++" else "++")
        elif text in ("!", "~") or (text == "-" and not behind.isspace() and self.opens_operand(at)):
            self.add("operator", start, end, "")

    def opens_operand(self, at):
        previous = self.tokens[at - 1]
        return previous.lastgroup == "operator" and previous.group() not in (")", "]") or (
            previous.group() == "return"
        )

    def number(self, at, token):
        text = token.group()
        value = int(text, 0) if text.startswith(("0x", "0X")) else int(text)
        for other in [value + 1] + ([value - 1] if value > 0 else []):
            shown = f"0x{other:0{len(text) - 2}X}" if text[:2] in ("0x", "0X") else str(other)
            self.add("constant", token.start(), token.end(), shown)

    def char(self, at, token):
        text = token.group()
        if text == r"'\0'":
            self.add("constant", token.start(), token.end(), r"'\1'")
        elif len(text) == 3:
            self.add("constant", token.start(), token.end(), f"'{chr(ord(text[1]) + 1)}'")

    def string(self, at, token):
        units = re.findall(r"\\(?:x[0-9A-Fa-f]+|[0-7]{1,3}|.)|.", token.group()[1:-1])
        if not units:
            self.add("constant", token.start(), token.end(), '"~"')
            return
        for other in (units[1:], units[:-1]):
            self.add("constant", token.start(), token.end(), '"' + "".join(other) + '"')

    def word(self, at, token):
        if token.group() in WORDS:
            self.add("constant", token.start(), token.end(), WORDS[token.group()])

    # Conditions and whole statements.

    def closing(self, at):
        """The index of the parenthesis that closes the one at index @p at."""
        depth = 0
        for i in range(at, len(self.tokens)):
            depth += {"(": 1, ")": -1}.get(self.tokens[i].group(), 0)
            if depth == 0:
                return i
        return at

    def conditions(self):
        for at, token in enumerate(self.tokens):
            if token.group() not in ("if", "while") or self.tokens[at + 1].group() != "(":
                continue
            start, end = self.tokens[at + 1].end(), self.tokens[self.closing(at + 1)].start()
            condition = self.text[start:end]
            self.add("condition", start, end, f"false && ({condition})")
            if token.group() == "if":
                self.add("condition", start, end, f"true || ({condition})")

    def statements(self):
        blocks = []  # whether each open brace holds code
        at = 0
        is_start = False
        while at < len(self.tokens):
            text = self.tokens[at].group()
            if text == "{":
                blocks.append(self.opens_code(at, blocks, is_start))
                is_start = blocks[-1]
            elif text == "}":
                if blocks:
                    blocks.pop()
                is_start = bool(blocks) and blocks[-1]
            elif not blocks or not blocks[-1]:
                is_start = False
            elif text in ("if", "for", "while", "switch") and self.tokens[at + 1].group() == "(":
                at = self.closing(at + 1)
                is_start = True
            elif text == "else" or text == ";":
                is_start = True
            elif text == ":" and self.ends_label(at):
                is_start = True
            elif is_start:
                at = self.statement(at)
                is_start = self.tokens[at].group() == ";"
                continue
            at += 1

    def opens_code(self, at, blocks, is_start):
        if at == 0:
            return False
        previous = self.tokens[at - 1].group()
        return previous in (")", "const", "override", "else", "do") or (
            bool(blocks) and blocks[-1] and is_start
        )

    def ends_label(self, at):
        return self.tokens[at - 1].group() == "default" or any(
            self.tokens[i].group() == "case" for i in range(max(0, at - 4), at)
        )

    def statement(self, at):
        """Handles the statement that begins at index @p at; the index to go on from."""
        end = at
        while end < len(self.tokens) and self.tokens[end].group() not in (";", "{", "}"):
            if self.tokens[end].group() == ":" and self.ends_label(end):
                return end
            end += 1
        if end == len(self.tokens) or self.tokens[end].group() != ";":
            return end
        start, stop = self.tokens[at].start(), self.tokens[end].end()
        text = self.text[start:stop]
        first = self.tokens[at].group()
        if first == "return":
            if text[len("return") : -1].strip() not in EMPTY_RESULTS:
                self.add("return", start, stop, "return {};")
        elif first not in NOT_STATEMENTS and not re.match(r"[\w:]+(<.*?>)?[&*]* +[&*]?\w", text):
            self.add("statement", start, stop, ";")
        return end

    def keep_one_in_table_rows(self):
        rows = {}
        for token in self.tokens:
            if token.lastgroup == "number":
                rows.setdefault(self.text.count("\n", 0, token.start()), []).append(token)
        dropped = set()
        for numbers in rows.values():
            if len(numbers) < TABLE_ROW:
                continue
            chosen = int(hashlib.sha256(numbers[0].string[numbers[0].start() : numbers[-1].end()].encode()).hexdigest(), 16)
            kept = numbers[chosen % len(numbers)]
            dropped |= {n.start() for n in numbers if n is not kept}
        self.faults = [fault for fault in self.faults if fault[1] not in dropped]


def faults_in(file, text):
    return Finder(file, text).find()
