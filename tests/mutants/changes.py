"""The changes that are tried: each turns a piece of one source file into something else."""

import dataclasses
import re

import syntax
from syntax import Kind, bare, span

# What replaces an operator between two operands, or before or behind one.
OPERATORS = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"),
    "==": ("!=",), "!=": ("==",),
    "+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "%": ("*",),
    "&": ("|",), "|": ("&",), "^": ("&",), "<<": (">>",), ">>": ("<<",),
    "+=": ("-=",), "-=": ("+=",), "*=": ("/=",), "/=": ("*=",), "%=": ("*=",),
    "&=": ("|=",), "|=": ("&=",), "^=": ("&=",), "<<=": (">>=",), ">>=": ("<<=",),
    "&&": ("||",), "||": ("&&",),
    "++": ("--",), "--": ("++",),
}
COMPARISONS = ("<", "<=", ">", ">=", "==", "!=")
# What replaces an operator in front of its operand.
PREFIX_OPERATORS = {"++": ("--",), "--": ("++",), "-": ("+",), "!": ("",), "~": ("",)}

TRUTH = {"true": "false", "false": "true", "miTRUE": "miFALSE", "miFALSE": "miTRUE"}
INTEGER = re.compile(r"(0[xX][0-9a-fA-F']+|0[bB][01']+|[0-9][0-9']*)([uUlLzZ]*)$")
FLOAT = re.compile(r"([0-9][0-9.']*(?:[eE][+-]?[0-9]+)?|\.[0-9]+(?:[eE][+-]?[0-9]+)?)([fFlL]?)$")
CHARACTER = re.compile(r"'(\\?.)'$")
ESCAPES = {"\\0": 0, "\\n": 10, "\\t": 9, "\\r": 13, "\\\\": 92, "\\'": 39}


@dataclasses.dataclass(frozen=True)
class Mutant:
    file: str         # relative to the project's root
    start: int        # the span that is replaced, in bytes
    end: int
    old: str
    new: str
    kind: str         # operator, constant, condition, deletion, call order, argument order
    line: int
    column: int
    line_text: str    # the line on which the span begins, without the space around it
    place: int = 1    # counts equal changes on lines of equal text, from the top of the file

    @property
    def change(self):
        """On one line: the old text and the new one."""
        return f"{one_line(self.old)} -> {one_line(self.new) or '(nothing)'}"

    @property
    def key(self):
        """What identifies the change when lines move."""
        return self.file, self.line_text, self.change, self.place

    def applied_to(self, data):
        return data[:self.start] + self.new.encode("utf-8") + data[self.end:]

    def __str__(self):
        return f"{self.file}:{self.line}:{self.column}: {self.change}"


def one_line(text):
    return " ".join(text.split())


def mutants_of(source, name):
    """All mutants of a SourceFile, called `name` in what they print, from its top to its end."""
    found = {}
    for declaration in source.declarations:
        for cursor in syntax.walk(declaration):
            for start, end, new, kind in changes_at(source, cursor):
                if 0 <= start < end:
                    found.setdefault((start, end, new), kind)
    places = {}
    mutants = []
    for (start, end, new), kind in sorted(found.items()):
        line, column = source.line_and_column(start)
        mutant = Mutant(name, start, end, source.text(start, end), new, kind, line, column,
                        source.line_text(line))
        places[mutant.key] = place = places.get(mutant.key, 0) + 1
        mutants.append(dataclasses.replace(mutant, place=place))
    return mutants


def changes_at(source, cursor):
    """(start, end, new text, kind) of the changes that begin with this node of the tree."""
    yield from operator_changes(source, cursor)
    yield from constant_changes(source, cursor)
    yield from condition_changes(source, cursor)
    yield from statement_changes(source, cursor)
    yield from argument_changes(source, cursor)


# ---- operators ----

def operator_changes(source, cursor):
    if cursor.kind in (Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR):
        token = binary_operator(source, cursor)
        for new in OPERATORS.get(token.text, ()) if token else ():
            yield token.start, token.end, new, "operator"
        if token and token.text in ("&&", "||"):
            # One operand alone determines the result.
            neutral = "true" if token.text == "&&" else "false"
            for operand in cursor.get_children():
                if source.text_of(operand) not in TRUTH:
                    yield *span(operand), neutral, "condition"
    elif cursor.kind == Kind.UNARY_OPERATOR:
        start, end = span(cursor)
        first, last = source.token_at(start), source.tokens_between(start, end)[-1:]
        if first and first.text in PREFIX_OPERATORS:
            for new in PREFIX_OPERATORS[first.text]:
                yield first.start, first.end, new, "operator"
        elif last and last[0].text in ("++", "--"):
            yield last[0].start, last[0].end, OPERATORS[last[0].text][0], "operator"
    elif cursor.kind == Kind.CALL_EXPR and cursor.spelling.startswith("operator"):
        for child in cursor.get_children():
            if not child.spelling.startswith("operator"):
                continue
            token = source.token_at(span(child)[0])
            if token is None:
                continue
            table = PREFIX_OPERATORS if token.start == span(cursor)[0] else OPERATORS
            for new in table.get(token.text, ()):
                yield token.start, token.end, new, "operator"


def binary_operator(source, cursor):
    """The operator's token; None when a macro hides it."""
    operands = list(cursor.get_children())
    if len(operands) != 2:
        return None
    between = source.tokens_between(span(operands[0])[1], span(operands[1])[0])
    return between[0] if len(between) == 1 else None


# ---- constants ----

LITERALS = (Kind.INTEGER_LITERAL, Kind.FLOATING_LITERAL, Kind.CHARACTER_LITERAL,
            Kind.CXX_BOOL_LITERAL_EXPR)


def constant_changes(source, cursor):
    if cursor.kind in LITERALS:
        token = source.token_at(span(cursor)[0])
        # The name of a macro is in the place of its value.
        if token is not None:
            for new in other_constants(token.text):
                yield token.start, token.end, new, "constant"


def other_constants(text):
    """What a literal is replaced by: integers one more and one less, other numbers one percent
    more (and 1.0 also by 0.0), characters the next one, truth values the other one."""
    if text in TRUTH:
        return [TRUTH[text]]
    if match := INTEGER.match(text):
        digits, suffix = match.group(1).replace("'", ""), match.group(2)
        octal = re.fullmatch("0[0-7]+", digits)
        value = int(digits, 8 if octal else 0)
        show = hex if digits[:2] in ("0x", "0X") else str
        less = show(value - 1) + suffix if value > 0 else "(-1)"
        return [show(value + 1) + suffix, less]
    if match := FLOAT.match(text):
        value, suffix = float(match.group(1).replace("'", "")), match.group(2)
        others = [1.0] if value == 0 else [value * 1.01] + ([0.0] if value == 1 else [])
        return [float_text(other) + suffix for other in others]
    if match := CHARACTER.match(text):
        letter = match.group(1)
        code = ESCAPES.get(letter, ord(letter) if len(letter) == 1 else None)
        if code is not None and code + 1 < 127:
            after = chr(code + 1)
            return [f"'{after}'" if code + 1 >= 32 and after not in "\\'" else f"'\\x{code + 1:02x}'"]
    return []


def float_text(value):
    text = f"{value:.9g}"
    return text if any(c in text for c in ".en") else text + ".0"


# ---- conditions ----

def condition_changes(source, cursor):
    condition = condition_of(source, cursor)
    if condition is None or source.text_of(condition) in TRUTH:
        return
    start, end = span(condition)
    for new in ("true", "false"):
        yield start, end, new, "condition"
    # Another operator or a dropped "!" negates these already.
    inner = bare(condition)
    token = binary_operator(source, inner) if inner.kind == Kind.BINARY_OPERATOR else None
    compares = token is not None and token.text in COMPARISONS
    overloaded = any(inner.spelling == "operator" + text for text in COMPARISONS)
    first = source.token_at(span(inner)[0])
    negated = inner.kind == Kind.UNARY_OPERATOR and first is not None and first.text in ("!", *COMPARISONS)
    if not compares and not overloaded and not negated:
        yield start, end, f"!({source.text(start, end)})", "condition"


def condition_of(source, cursor):
    """The condition's expression; None for nodes without one and for declared variables."""
    children = list(cursor.get_children())
    if cursor.kind == Kind.CONDITIONAL_OPERATOR:
        return children[0]
    if cursor.kind == Kind.DO_STMT:
        return children[1]
    if cursor.kind not in (Kind.IF_STMT, Kind.WHILE_STMT, Kind.FOR_STMT):
        return None
    first, last = condition_span(source, span(cursor)[0], cursor.kind == Kind.FOR_STMT)
    return next((c for c in children if span(c) == (first, last) and c.kind.is_expression()), None)


def condition_span(source, start, is_for):
    """From behind the opening parenthesis, or the semicolon that precedes the condition, to the
    closing one, or the semicolon behind it."""
    depth = semicolons = 0
    inside = []
    for token in source.tokens_between(start, len(source.data)):
        if token.text in ("(", "[", "{"):
            depth += 1
            if depth == 1:
                continue
        elif token.text in (")", "]", "}"):
            depth -= 1
            if depth == 0:
                break
        elif token.text == ";" and depth == 1:
            semicolons += 1
            if is_for and semicolons == 2:
                break
            inside = []
            continue
        if depth > 0:
            inside.append(token)
    return (inside[0].start, inside[-1].end) if inside else (-1, -1)


# ---- statements ----

def statement_changes(source, cursor):
    statements = statements_in(cursor)
    for statement in statements:
        start, end = span(statement)
        if is_deletable(statement) and end > start:
            after = source.token_at(next_start(source, end))
            if after is not None and after.text == ";":
                yield start, after.end, ";", "deletion"
    # Branches of one "if" are not consecutive: only one of them runs.
    neighbors = zip(statements, statements[1:]) if cursor.kind == Kind.COMPOUND_STMT else ()
    for first, second in neighbors:
        if is_call(first) and is_call(second):
            a, b = source.text_of(first), source.text_of(second)
            if a != b:
                (start, middle), (again, end) = span(first), span(second)
                yield start, end, b + source.text(middle, again) + a, "call order"


def statements_in(cursor):
    """The statements directly below a node, in their order."""
    children = list(cursor.get_children())
    if cursor.kind == Kind.COMPOUND_STMT:
        return children
    if cursor.kind in (Kind.WHILE_STMT, Kind.FOR_STMT, Kind.CXX_FOR_RANGE_STMT, Kind.CASE_STMT,
                       Kind.DEFAULT_STMT, Kind.LABEL_STMT):
        return children[-1:]
    if cursor.kind == Kind.DO_STMT:
        return children[:1]
    if cursor.kind == Kind.IF_STMT:
        # The branches follow the condition; nothing else before them is a plain expression.
        plain = [c for c in children if c.kind not in (Kind.DECL_STMT, Kind.VAR_DECL)]
        return plain[1:] if plain and plain[0].kind.is_expression() else plain
    return []


def is_deletable(statement):
    if statement.kind in (Kind.BREAK_STMT, Kind.CONTINUE_STMT):
        return True
    if statement.kind == Kind.RETURN_STMT:
        return not list(statement.get_children())
    return statement.kind.is_expression()


def is_call(statement):
    expression = bare(statement)
    return expression.kind == Kind.CALL_EXPR and not expression.spelling.startswith("operator")


def next_start(source, offset):
    following = source.tokens_between(offset, min(offset + 200, len(source.data)))
    return following[0].start if following else -1


# ---- arguments ----

def argument_changes(source, cursor):
    if cursor.kind != Kind.CALL_EXPR or cursor.spelling.startswith("operator"):
        return
    # Default arguments have empty spans.
    arguments = [span(a) for a in cursor.get_arguments() if a is not None]
    for (start, middle), (again, end) in zip(arguments, arguments[1:]):
        a, b = source.text(start, middle), source.text(again, end)
        if middle <= again and a != b:
            yield start, end, b + source.text(middle, again) + a, "argument order"
