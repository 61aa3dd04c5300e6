"""Rewrites sources so that every mutant is compiled in once and chosen when the program runs.

    if (since >= limit)     ->     if (mutant<17>() ? (since) > (limit) : (since >= limit))
"""

import bisect
import os
import re
from dataclasses import dataclass, field

from clang import cindex
from clang.cindex import CursorKind, TokenKind, TypeKind

RELATIONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
EQUALITIES = ("==", "!=")
LOGICAL = {"&&": "||", "||": "&&"}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*"}
COMPOUND = {"+=": "-=", "-=": "+="}
NUMBER = re.compile(r"(0[xX][0-9a-fA-F']+|[0-9][0-9']*(\.[0-9]+)?)([uU]?[lL]{0,2}|[a-z]+)")
NUMBER_TYPES = {
    kind for kind in vars(TypeKind).values()
    if isinstance(kind, TypeKind) and TypeKind.CHAR_U.value <= kind.value <= TypeKind.LONGDOUBLE.value
}
EXPRESSIONS_THAT_STAND_ALONE = {
    CursorKind.CALL_EXPR, CursorKind.UNEXPOSED_EXPR, CursorKind.BINARY_OPERATOR, CursorKind.UNARY_OPERATOR,
    CursorKind.COMPOUND_ASSIGNMENT_OPERATOR,
}
FUNCTIONS = {
    CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR, CursorKind.DESTRUCTOR,
    CursorKind.CONVERSION_FUNCTION, CursorKind.FUNCTION_TEMPLATE,
}
LEAVING = re.compile(r"(return|co_return|throw|break|continue)\b")


@dataclass
class Mutant:
    file: str  # below src
    line: int
    offset: int
    what: str
    code: str  # the line as it stands
    constant: bool  # in a function that is also called at compile time
    number: int = 0
    dropped: bool = False

    def key(self):
        return f"{self.file}|{self.what}|{self.code}"

    def __str__(self):
        return f"src/{self.file}:{self.line}: {self.what}   [{self.code}]"

    def asked(self):
        return f"{'constantMutant' if self.constant else 'mutant'}<{self.number}>()"


@dataclass
class Place:
    """A stretch of a file that is written anew. Of two of the same stretch, the one of the lower rank is outside."""

    start: int
    end: int
    rank: int
    kind: str
    mutants: list
    parts: tuple = ()  # what the writing needs beside the text
    inside: list = field(default_factory=list)


class Reader:
    """Finds the places of one file in a translation unit."""

    def __init__(self, unit, path, name):
        self.name = name
        with open(path, "rb") as file:
            self.text = file.read().decode("latin-1")
        whole = unit.get_extent(path, (0, len(self.text)))
        tokens = [(token.extent.start.offset, token.extent.end.offset) for token in unit.get_tokens(extent=whole)
                  if token.kind != TokenKind.COMMENT]
        self.tokens = [(start, end, self.text[start:end]) for start, end in tokens]
        self.starts = [start for start, _ in tokens]
        self.lines = [0] + [match.end() for match in re.finditer("\n", self.text)]
        self.places = {}

    # The text

    def between(self, start, end):
        """The tokens from here to there."""
        index = bisect.bisect_left(self.starts, start)
        while index < len(self.tokens) and self.tokens[index][1] <= end:
            yield self.tokens[index]
            index += 1

    def stretch(self, start, end):
        """The code from here to there on one line, without comments; none if a string runs over lines."""
        text = ""
        last = start
        for begin, finish, word in self.between(start, end):
            if "\n" in word:
                return None
            text += " " * (begin > last) + word
            last = finish
        return text

    def words(self, start, end):
        return [word for _, _, word in self.between(start, end)]

    def word_before(self, offset):
        index = bisect.bisect_left(self.starts, offset)
        return self.tokens[index - 1][2] if index > 0 else ""

    def semicolon(self, end):
        """The offset behind the semicolon that ends a statement; none when something else comes first."""
        begin = bisect.bisect_left(self.starts, end)
        return self.tokens[begin][1] if begin < len(self.tokens) and self.tokens[begin][2] == ";" else None

    def closing(self, start):
        """The offset behind the parenthesis that closes the first one from here."""
        depth = 0
        for _, finish, word in self.between(start, len(self.text)):
            depth += {"(": 1, ")": -1}.get(word, 0)
            if depth == 0 and word == ")":
                return finish
        return None

    # What is found

    def mutant(self, offset, what, constant):
        line = bisect.bisect_right(self.lines, offset)
        end = self.text.find("\n", offset)
        code = self.text[self.lines[line - 1]:end].strip().encode("latin-1").decode("utf-8", "replace")
        return Mutant(self.name, line, offset, what, code, constant)

    def add(self, start, end, rank, kind, offset, whats, context, parts=()):
        if (start, end, kind) not in self.places:
            mutants = [self.mutant(offset, what, context.constant) for what in whats]
            self.places[start, end, kind] = Place(start, end, rank, kind, mutants, parts)

    def read(self, cursor, context):
        kind = cursor.kind
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        if kind in (CursorKind.STATIC_ASSERT, CursorKind.ENUM_CONSTANT_DECL, CursorKind.CONCEPT_DECL):
            return
        if kind in FUNCTIONS:
            body = next((child.extent.start.offset for child in cursor.get_children()
                         if child.kind == CursorKind.COMPOUND_STMT), end)
            result = None if kind == CursorKind.FUNCTION_TEMPLATE else cursor.result_type.get_canonical()
            context = Context("constexpr" in self.words(start, body), result)
        elif kind == CursorKind.LAMBDA_EXPR:
            context = Context(False, None)
        children = list(cursor.get_children())

        if kind in (CursorKind.VAR_DECL, CursorKind.FIELD_DECL) and "constexpr" in self.words(start, end):
            if not self.read_constant(cursor, start, end):
                return
        elif kind == CursorKind.IF_STMT:
            self.read_if(children, start, end, context)
        elif kind == CursorKind.WHILE_STMT and children:
            if self.text.startswith("while", start):
                self.negate(children[0], context)
        elif kind == CursorKind.CONDITIONAL_OPERATOR and children:
            self.negate(children[0], context)
        elif kind == CursorKind.RETURN_STMT and children:
            self.read_return(children[0], start, end, context)
        elif kind == CursorKind.CXX_BOOL_LITERAL_EXPR:
            word = self.text[start:end]
            if word in ("true", "false"):
                other = "false" if word == "true" else "true"
                self.add(start, end, 4, "flip", start, [f"{word} becomes {other}"], context)
        elif kind in (CursorKind.INTEGER_LITERAL, CursorKind.FLOATING_LITERAL, CursorKind.CALL_EXPR,
                      CursorKind.UNEXPOSED_EXPR) and (match := NUMBER.fullmatch(self.text[start:end])):
            self.read_number(match, start, end, context)
        elif kind == CursorKind.UNARY_OPERATOR:
            if self.text[start:start + 1] == "!" and self.text[start:start + 2] != "!=":
                self.add(start, end, 3, "flip", start, ["! is left out"], context)

        if kind in (CursorKind.BINARY_OPERATOR, CursorKind.CALL_EXPR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR):
            self.read_binary(children, start, end, context)
        self.read_statements(kind, cursor, children, start, context)
        if kind == CursorKind.CASE_STMT:
            children = children[1:]
        for child in children:
            self.read(child, context)

    def read_constant(self, cursor, start, end):
        """A constant whose number can be another one, as long as nobody needs it at compile time."""
        kind = cursor.type.get_canonical()
        if kind.kind not in NUMBER_TYPES and not kind.spelling.startswith("const std::chrono::"):
            return False
        ofClass = cursor.semantic_parent.kind in (CursorKind.CLASS_DECL, CursorKind.STRUCT_DECL)
        self.add(start, end, 0, "constant", start, [], Context(False, None), ("inline const" if ofClass else "const",))
        return True

    def read_number(self, match, start, end, context):
        before = self.text[:start].rstrip()
        after = self.text[end:].lstrip()
        # The boundary is moved by the relation already.
        for relation in RELATIONS:
            if before.endswith(relation) and before[-2:] not in ("<<", ">>", "->") or \
                    after.startswith(relation) and after[:2] not in ("<<", ">>"):
                return
        number, suffix = match.group(1), match.group(3)
        if suffix and re.fullmatch("[a-z]+", suffix) and not re.fullmatch("[ul]+", suffix):
            value = str(int(number.replace("'", "")) + 1) if "." not in number else number + "1"
            other = value + suffix
        else:
            other = f"{match.group(0)} + 1"
        self.add(start, end, 4, "other", start, [f"{match.group(0)} becomes {other}"], context, (other,))

    def read_binary(self, children, start, end, context):
        parts = [child for child in children if child.kind.is_expression()]
        if len(parts) < 2:
            return
        left, right = parts[0], parts[-1]
        a, b = left.extent.end.offset, right.extent.start.offset
        if left.extent.start.offset != start or right.extent.end.offset != end or a > b:
            return
        words = self.words(a, b)
        if len(words) != 1:
            return
        word = words[0]
        offset = a + self.text[a:b].find(word)
        lhs, rhs = self.stretch(start, a), self.stretch(b, end)
        if lhs is None or rhs is None:
            return
        if word in RELATIONS:
            other = RELATIONS[word]
            self.add(start, end, 3, "other", offset, [f"{word} becomes {other}"], context, (f"({lhs}) {other} ({rhs})",))
        elif word in EQUALITIES:
            self.add(start, end, 3, "flip", offset, [f"{word} is negated"], context)
        elif word in LOGICAL:
            other = LOGICAL[word]
            self.add(start, end, 3, "other", offset, [f"{word} becomes {other}"], context, (f"({lhs}) {other} ({rhs})",))
            self.negate(left, context)
            self.negate(right, context)
        elif word in ARITHMETIC or word in COMPOUND:
            if not counts(left.type) or not counts(right.type):
                return
            if word in COMPOUND:
                end = self.semicolon(end)
                if end:
                    self.add(start, end, 2, "instead", offset, [f"{word} becomes {COMPOUND[word]}"], context,
                             (f"{lhs} {COMPOUND[word]} {rhs};",))
            else:
                other = ARITHMETIC[word]
                self.add(start, end, 3, "other", offset, [f"{word} becomes {other}"], context,
                         (f"({lhs}) {other} ({rhs})",))

    def is_plain(self, cursor):
        """No comparison and nothing else of which another mutant is the negation."""
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        while cursor.kind in (CursorKind.PAREN_EXPR, CursorKind.UNEXPOSED_EXPR):
            children = [child for child in cursor.get_children() if child.kind.is_expression()]
            if len(children) != 1:
                break
            cursor = children[0]
            if cursor.extent.start.offset > start:
                start, end = cursor.extent.start.offset, cursor.extent.end.offset
        text = self.text[start:end]
        if text.startswith("!") or text in ("true", "false"):
            return False
        depth = 0
        for word in self.words(start, end):
            depth += {"(": 1, "[": 1, "{": 1, ")": -1, "]": -1, "}": -1}.get(word, 0)
            if depth == 0 and (word in RELATIONS and cursor.type.kind == TypeKind.BOOL and "<" not in text
                               or word in EQUALITIES or word in LOGICAL):
                return False
        return not any(re.search(rf"\s{relation}\s", text) for relation in RELATIONS)

    def negate(self, cursor, context):
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        if cursor.kind.is_expression() and self.is_plain(cursor):
            self.add(start, end, 2, "truth", start, ["the condition is negated"], context)

    def read_if(self, children, start, end, context):
        words = self.words(start, end)
        if words[:1] != ["if"] or words[1:2] == ["constexpr"]:
            return
        close = self.closing(start)
        if close is None:
            return
        head = [child for child in children if child.extent.start.offset < close]
        bodies = [child for child in children if child.extent.start.offset >= close]
        if not head or not bodies:
            return
        condition = head[-1]
        declared = next((child for child in reversed(head)
                         if child.kind in (CursorKind.VAR_DECL, CursorKind.DECL_STMT)), None)
        isDeclared = declared is not None and condition.extent.end.offset <= declared.extent.end.offset
        if not isDeclared:
            self.negate(condition, context)
        if len(bodies) > 1 or not self.leaves(bodies[0]):
            return
        what = ["the early exit is never taken"]
        if not isDeclared:
            self.add(condition.extent.start.offset, condition.extent.end.offset, 1, "never", start, what, context)
        elif declared is head[0]:
            names = [child for child in [declared, *declared.get_children()] if child.kind == CursorKind.VAR_DECL]
            if names:
                self.add(declared.extent.start.offset, declared.extent.end.offset, 1, "never declared", start, what,
                         context, (names[0].spelling,))

    def leaves(self, body):
        if body.kind == CursorKind.COMPOUND_STMT:
            statements = list(body.get_children())
            if not statements:
                return False
            body = statements[-1]
        return bool(LEAVING.match(self.text, body.extent.start.offset))

    def read_return(self, value, start, end, context):
        if not self.text.startswith("return", start):
            return
        a, b = value.extent.start.offset, value.extent.end.offset
        text = self.text[a:b]
        if re.fullmatch(r"std::nullopt|nullptr|true|false|\{\}|[A-Za-z:]+\(\)|0", text) or NUMBER.fullmatch(text):
            return
        result = context.result
        if value.type.get_canonical().kind == TypeKind.BOOL or result is not None and result.kind == TypeKind.BOOL:
            self.negate(value, context)
            return
        if result is None or result.kind in (TypeKind.LVALUEREFERENCE, TypeKind.VOID):
            return
        close = self.semicolon(end)
        if close and not text.startswith("{"):
            self.add(start, close, 0, "before", start, ["an empty value is returned"], context, ("return {};",))

    def read_statements(self, kind, cursor, children, start, context):
        """What stands where a statement stands and is only an expression."""
        if kind == CursorKind.COMPOUND_STMT:
            statements = children
        elif kind in (CursorKind.IF_STMT, CursorKind.FOR_STMT, CursorKind.WHILE_STMT, CursorKind.CXX_FOR_RANGE_STMT):
            close = self.closing(start)
            statements = [child for child in children if close and child.extent.start.offset >= close]
        elif kind in (CursorKind.CASE_STMT, CursorKind.DEFAULT_STMT):
            statements = children[-1:]
        else:
            return
        for statement in statements:
            if statement.kind not in EXPRESSIONS_THAT_STAND_ALONE:
                continue
            a, b = statement.extent.start.offset, statement.extent.end.offset
            # The expression of an operator or a literal can begin behind what it begins with.
            close = self.semicolon(b)
            if close is None or LEAVING.match(self.text, a) or re.match("co_yield|goto|case|default", self.text[a:b]):
                continue
            if self.word_before(a) not in (";", "{", "}", ")", ":", "else"):
                continue
            what = "the assignment is left out" if self.assigns(statement) else "the call is left out"
            self.add(a, close, 0, "leave out", a, [what], context)

    def assigns(self, statement):
        depth = 0
        for word in self.words(statement.extent.start.offset, statement.extent.end.offset):
            depth += {"(": 1, "[": 1, "{": 1, ")": -1, "]": -1, "}": -1}.get(word, 0)
            if depth == 0 and (re.fullmatch(r"[-+*/|&^%]?=", word) or word in ("++", "--")):
                return True
        return False


@dataclass
class Context:
    constant: bool
    result: object


def counts(kind):
    """True of numbers, times, and what points into a row."""
    kind = kind.get_canonical()
    if kind.kind in NUMBER_TYPES or kind.kind in (TypeKind.POINTER, TypeKind.DEPENDENT, TypeKind.ENUM):
        return True
    return bool(re.match(r"(const )?(std::chrono::|__gnu_cxx::__normal_iterator)", kind.spelling))


def read_unit(path, arguments, root, own):
    """The places of a source and of the own headers that it includes: file below root -> (text, places)."""
    unit = cindex.Index.create().parse(path, args=arguments)
    errors = [str(each) for each in unit.diagnostics if each.severity >= cindex.Diagnostic.Error]
    if errors:
        raise SystemExit(f"{path} does not parse: {errors[0]}")
    readers = {}
    for cursor in unit.cursor.get_children():
        file = cursor.location.file
        if file is None or not own(file.name):
            continue
        name = str(root_relative(file.name, root))
        if name not in readers:
            readers[name] = Reader(unit, file.name, name)
        readers[name].read(cursor, Context(False, None))
    return {name: (reader.text, list(reader.places.values())) for name, reader in readers.items()}


def root_relative(path, root):
    return os.path.relpath(os.path.realpath(path), os.path.realpath(root))


# Writing


class Text:
    """Text, and which stretch of it belongs to which mutants."""

    def __init__(self, text="", marks=()):
        self.text = text
        self.marks = list(marks)

    def __add__(self, other):
        if isinstance(other, str):
            return Text(self.text + other, self.marks)
        shift = len(self.text)
        return Text(self.text + other.text, self.marks + [(a + shift, b + shift, who) for a, b, who in other.marks])

    def __radd__(self, other):
        return Text(other) + self

    def marked(self, who):
        return Text(self.text, [*self.marks, (0, len(self.text), who)])


def nested(places):
    """The places as a tree: of one that begins inside another and ends behind it, the later one is left out."""
    roots = []
    path = []
    for place in sorted(places, key=lambda each: (each.start, -each.end, each.rank)):
        place.inside = []
        while path and path[-1].end <= place.start and not (path[-1].end == place.start == path[-1].start):
            path.pop()
        if path and place.end > path[-1].end:
            continue
        (path[-1].inside if path else roots).append(place)
        path.append(place)
    return roots


def inner_mutants(place):
    return [each for inner in place.inside for each in [*inner.mutants, *inner_mutants(inner)]]


def write(text, start, end, places):
    result = Text()
    for place in places:
        result += text[start:place.start]
        result += write_place(text, place)
        start = place.end
    return result + text[start:end]


def write_place(text, place):
    inner = write(text, place.start, place.end, place.inside)
    if place.kind == "constant":
        alive = [each for each in inner_mutants(place) if not each.dropped]
        if not alive:
            return inner
        at = inner.text.index("constexpr")
        word = place.parts[0]
        if "inline" in inner.text[:at].split():
            word = "const"
        head = Text(inner.text[:at] + word)
        shift = len(word) - len("constexpr")
        tail = Text(inner.text[at + len("constexpr"):])
        marks = [(a + shift, b + shift, who) for a, b, who in inner.marks]
        return Text(head.text + tail.text, marks).marked(alive)
    alive = [each for each in place.mutants if not each.dropped]
    if not alive:
        return inner
    asked = [each.asked() for each in place.mutants]
    if place.kind == "flip":
        new = f"({asked[0]} != (" + inner + "))"
    elif place.kind == "truth":
        new = f"({asked[0]} != static_cast<bool>(" + inner + "))"
    elif place.kind == "never":
        new = "(static_cast<bool>(" + inner + f") && !{asked[0]})"
    elif place.kind == "never declared":
        new = inner + f"; static_cast<bool>({place.parts[0]}) && !{asked[0]}"
    elif place.kind == "other":
        new = f"({asked[0]} ? ({place.parts[0]}) : (" + inner + "))"
    elif place.kind == "instead":
        new = f"{{ if ({asked[0]}) {place.parts[0]} else " + inner + " }"
    elif place.kind == "before":
        new = f"{{ if ({asked[0]}) {place.parts[0]} " + inner + " }"
    elif place.kind == "leave out":
        new = f"{{ if (!{asked[0]}) " + inner + " }"
    else:
        raise ValueError(place.kind)
    return new.marked(alive)


def written(text, places):
    """The new text of a file and its marks."""
    return '#include "Mutant.h"\n' + write(text, 0, len(text), nested(places))
