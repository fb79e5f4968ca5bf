"""What can be changed in a C++ source, and how. The sources have the format of .clang-format: there are spaces around binary operators,
and none around the brackets of templates."""
import bisect
import re

TOKEN = re.compile(r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>(?m:^)[ \t]*\#(?:[^\n\\]|\\.)*)
  | (?P<text>(?:u8|[uUL])?"(?:[^"\\\n]|\\.)*")
  | (?P<letter>(?:u8|[uUL])?'(?:[^'\\\n]|\\.)*')
  | (?P<number>\b(?:0[xX][0-9A-Fa-f]+|[0-9]+)[uUlL]*\b(?!\.))
  | (?P<word>[A-Za-z_]\w*)
  | (?P<sign><<=|>>=|\.\.\.|->|::|<<|<=|>=|==|!=|&&|\|\||\+\+|--|[^\s\w])
""", re.VERBOSE | re.DOTALL)

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&"}
CODE = re.compile(r"(NTE|ERROR|SCARD_[EW]|CKR)_[A-Z]\w*")
NO_CALL = {"return", "throw", "if", "for", "while", "switch", "catch", "sizeof", "static_assert", "else", "do", "case", "delete", "new"}
LETTERS = "abcdefghijklmnopqrstuvwxyz"

# Locks that end with their block, locks that are members, and locks that are returned. A unique_lock may be passed on by name,
# so it stays, with its own mutex.
LOCKS = [
    (re.compile(r"(?:const )?std::(?:lock_guard|scoped_lock)<[^;]*?> \w+\([^;]*\);"), ""),
    (re.compile(r"const (?:LoginLock|LoginLock::Pause|LogLock) \w+;"), ""),
    (re.compile(r"const auto \w+ = [^;=]*\bLock\(\);"), ""),
    (re.compile(r"std::unique_lock<std::(\w+)> (\w+)\(\w+\);"), r"std::\1 others; std::unique_lock<std::\1> \2(others);"),
    (re.compile(r"return std::unique_lock<std::(\w+)>\(\w+\);"), r"return std::unique_lock<std::\1>();"),
]


class Change:
    """A change in one place: the characters begin..end of the file are replaced."""

    def __init__(self, source, kind, begin, end, make):
        self.source, self.kind, self.begin, self.end = source, kind, begin, end
        self.make = make  # called with a random generator; returns the new text
        self.new = None

    def choose(self, random):
        self.new = self.make(random)

    @property
    def file(self):
        return self.source.name

    @property
    def line(self):
        return self.source.line(self.begin)

    def changed(self):
        """The whole file with the change."""
        return self.source.content[:self.begin] + self.new + self.source.content[self.end:]

    def told(self):
        """The lines concerned, joined into one, before and after the change."""
        content = self.source.content
        first = content.rfind("\n", 0, self.begin) + 1
        last = content.find("\n", self.end)
        before, after = content[first:self.begin], content[self.end:last]
        return " ".join((before + content[self.begin:self.end] + after).split()), " ".join((before + self.new + after).split())


class Source:
    """A file and its tokens, without comments and directives."""

    def __init__(self, name, content):
        self.name, self.content = name, content
        self.ends = [at.start() for at in re.finditer("\n", content)]
        self.tokens = [token for token in TOKEN.finditer(content) if token.lastgroup not in ("comment", "directive")]
        self.bodies = self.find_bodies()

    def line(self, offset):
        return bisect.bisect_left(self.ends, offset) + 1

    def word(self, index):
        return self.tokens[index].group() if 0 <= index < len(self.tokens) else ""

    def find_bodies(self):
        """For each token: whether it is in the body of a function."""
        found, open_braces = [], [False]
        for index, token in enumerate(self.tokens):
            if token.group() == "{":
                before = self.word(index - 1)
                statements = before in (")", "const", "override", "noexcept", "else", "do", "try", "mutable") or open_braces[-1]
                open_braces.append(statements and before not in ("=", "return", ",", "("))
            elif token.group() == "}" and len(open_braces) > 1:
                open_braces.pop()
            found.append(open_braces[-1])
        return found

    def partner(self, index):
        """The index of the bracket that closes the one at index."""
        depth = 0
        for at in range(index, len(self.tokens)):
            depth += {"(": 1, ")": -1}.get(self.word(at), 0)
            if depth == 0:
                return at
        return index

    def change(self, kind, first, last, make):
        return Change(self, kind, self.tokens[first].start(), self.tokens[last].end(), make if callable(make) else lambda _: make)

    def is_between_spaces(self, index):
        begin, end = self.tokens[index].span()
        return self.content[begin - 1].isspace() and self.content[end].isspace()


def conditions(source):
    for index, token in enumerate(source.tokens):
        word = token.group()
        if word in COMPARISONS and source.is_between_spaces(index):
            yield source.change("condition", index, index, COMPARISONS[word])
        elif word == "!" and not source.is_between_spaces(index):
            yield source.change("condition", index, index, "")
        elif word in ("if", "while") and source.word(index + 1) == "(":
            last = source.partner(index + 1)
            condition = source.content[source.tokens[index + 1].end():source.tokens[last].start()]
            yield source.change("condition", index + 1, last, f"(!({condition}))")
        elif word in ("true", "false"):
            yield source.change("condition", index, index, {"true": "false", "false": "true"}[word])


def moved(number, step):
    digits = number.rstrip("uUlL")
    if digits.startswith(("0x", "0X")):
        return f"0x{int(digits, 16) + step:0{len(digits) - 2}X}" + number[len(digits):]
    return str(int(digits) + step) + number[len(digits):]


def constants(source):
    """Not the sizes of arrays in headers: the tests would expect objects of another size."""
    for index, token in enumerate(source.tokens):
        if token.lastgroup != "number" or source.name.endswith(".h") and source.word(index - 1) == "[":
            continue
        number = token.group()
        yield source.change("constant", index, index, moved(number, 1))
        if not re.fullmatch(r"0[xX]?0*[uUlL]*", number):
            yield source.change("constant", index, index, moved(number, -1))


def calls(source):
    """Statements such as g_log.WriteLine("x"); or m_list->Of(x).clear();"""
    for index, token in enumerate(source.tokens):
        begins = source.word(index - 1) in (";", "{", "}", ")", "else", ":")
        if not begins or token.lastgroup != "word" or token.group() in NO_CALL or not source.bodies[index]:
            continue
        last = end_of_call(source, index)
        if last is not None:
            yield source.change("call", index, last, ";")


def end_of_call(source, index):
    """The index of the semicolon after a chain of names and calls; None for any other statement."""
    called = False
    while True:
        if source.tokens[index].lastgroup != "word":
            return None
        index += 1
        while source.word(index) == "(":
            index, called = source.partner(index) + 1, True
        if source.word(index) == ";":
            return index if called else None
        if source.word(index) not in (".", "->", "::"):
            return None
        index += 1


def codes(source, families):
    for index, token in enumerate(source.tokens):
        named = CODE.fullmatch(token.group())
        others = sorted(families[named.group(1)] - {token.group()}) if named else []
        if others:
            yield source.change("code", index, index, lambda random, others=others: random.choice(others))


def with_another_letter(text, random):
    """A literal with one character changed. Escapes stay."""
    first = text.index('"') + 1
    places = [at.start() for at in re.finditer(r"\\x[0-9A-Fa-f]+|\\.|.", text[first:-1]) if not at.group().startswith("\\")]
    at = first + random.choice(places)
    return text[:at] + random.choice([letter for letter in LETTERS if letter != text[at].lower()]) + text[at + 1:]


def is_for_the_compiler(source, index):
    """Whether a literal belongs to a static_assert or to extern "C"."""
    while index > 0 and source.word(index - 1) not in (";", "{", "}"):
        index -= 1
    return source.word(index) in ("static_assert", "extern")


def texts(source):
    for index, token in enumerate(source.tokens):
        text = token.group()
        if token.lastgroup == "text" and re.search(r'"(?:[^\\"]|\\.[^"\\])', text) and not is_for_the_compiler(source, index):
            yield source.change("text", index, index, lambda random, text=text: with_another_letter(text, random))


def locks(source):
    plain = re.sub(r"//[^\n]*", lambda comment: " " * len(comment.group()), source.content)
    for pattern, new in LOCKS:
        for lock in pattern.finditer(plain):
            yield Change(source, "lock", *lock.span(), lambda _, lock=lock, new=new: lock.expand(new))


def all_changes(sources):
    """{kind: changes}, in the order of the files."""
    families = {}
    for source in sources:
        for token in source.tokens:
            named = CODE.fullmatch(token.group())
            if named:
                families.setdefault(named.group(1), set()).add(token.group())
    found = {"condition": [], "constant": [], "call": [], "code": [], "text": [], "lock": []}
    for source in sources:
        for finder in (conditions, constants, calls, lambda one: codes(one, families), texts, locks):
            for change in finder(source):
                found[change.kind].append(change)
    return found
