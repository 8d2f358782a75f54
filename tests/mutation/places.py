"""Finds the places of a C++ source where one small change makes a mutant."""

import re
from dataclasses import dataclass

# One token each; comments and directives are recognised to be left alone.
TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ \t]*\#(?:[^\n\\]|\\.)*)
      | (?P<text>(?:L|u8|u|U)?"(?:[^"\\\n]|\\.)*")
      | (?P<character>L?'(?:[^'\\\n]|\\.)*')
      | (?P<number>\b\d[\w']*\b)
      | (?P<name>[A-Za-z_]\w*)
      | (?P<operator>::|->|<<=|>>=|<=>|&&|\|\||[-+*/%&|^=!<>]=|\+\+|--|<<|>>|[^\s\w])""",
    re.VERBOSE | re.MULTILINE | re.DOTALL)

SWAPPED = {
    "==": "!=", "!=": "==", "<=": "<", ">=": ">", "&&": "||", "||": "&&", "+=": "-=", "-=": "+=",
    "++": "--", "--": "++",
}
SWAPPED_WORDS = {"true": "false", "false": "true"}
# These mean other things as well; as operators the project's format sets them between blanks.
SWAPPED_BETWEEN_BLANKS = {"<": "<=", ">": ">=", "+": "-", "-": "+", "/": "*", "|": "&", "%": "/"}

# No statement of its own can be left out where one of these begins.
DECLARING = {
    "using", "namespace", "class", "struct", "enum", "template", "typedef", "static_assert", "public",
    "private", "protected", "friend", "extern", "constexpr", "static", "explicit", "virtual", "case",
    "default", "inline", "override", "const", "noexcept", "else", "do", "if", "for", "while", "switch", "try", "catch", "operator",
}

DECLARATION = re.compile(r"(?!return\b|throw\b|delete\b|new\b)(?:const\s+)?[A-Za-z_][\w:]*(?:<[^;=()]*>)?"
                         r"(?:\s+const)?[\s*&]+(?:const\s+)?([A-Za-z_]\w*)\s*[=({;\[]")


@dataclass(frozen=True)
class Mutant:
    file: str
    begin: int  # characters of the file that are replaced
    end: int
    before: str
    after: str
    line: int
    text: str  # of the line
    place: int  # which of the places in this file with this line text and this change

    def change(self):
        change = f"{' '.join(self.before.split())} -> {self.after}"
        return change if self.place == 0 else f"{change} (place {self.place + 1})"

    def key(self):
        return f"{self.file}|{self.text}|{self.change()}"

    def apply(self, source):
        return source[:self.begin] + self.after + source[self.end:]


def tokens_of(source):
    return [t for t in TOKEN.finditer(source) if t.lastgroup not in ("comment", "directive")]


def other_text(literal):
    """The literal with one letter changed that is neither an escape nor part of a conversion."""
    begin = literal.index('"') + 1
    position = begin
    while position < len(literal) - 1:
        if literal[position] == "\\":
            position += 2
        elif literal[position] == "%":
            position = re.compile(r"%[-+ #0-9.*]*(?:ll|l|h|I64)?[A-Za-z%]").match(literal, position).end()
        elif literal[position].isalnum():
            letter = "q" if literal[position] != "q" else "j"
            return literal[:position] + letter + literal[position + 1:]
        else:
            position += 1
    if literal.endswith('""'):
        return literal[:-1] + 'q"'
    # No letters: one character less.
    last = re.search(r'(?:\\.|[^\\])"$', literal)
    return literal[:last.start()] + '"' if last and last.start() >= begin else None


def other_number(number):
    match = re.fullmatch(r"(0[xX])?([0-9A-Fa-f']+?)([uUlL]*)", number)
    if not match:
        return None
    value = int(match[2].replace("'", ""), 16 if match[1] else 10) + 1
    return (hex(value) if match[1] else str(value)) + match[3]


def token_changes(source, tokens):
    for previous, token in zip([None, *tokens], tokens):
        if previous and previous.group() in ("extern", "operator"):
            continue
        kind, text = token.lastgroup, token.group()
        spaced = source[token.start() - 1:token.start()].isspace() and \
            source[token.end():token.end() + 1].isspace()
        after = None
        if kind == "text":
            after = other_text(text)
        elif kind == "number":
            after = other_number(text)
        elif kind == "name":
            after = SWAPPED_WORDS.get(text)
        elif kind == "operator":
            after = SWAPPED.get(text) or (SWAPPED_BETWEEN_BLANKS.get(text) if spaced else None)
        if after is not None:
            yield token.start(), token.end(), after


def closing(tokens, index):
    """Index of the bracket that closes the one at `index`."""
    depth = 0
    for i in range(index, len(tokens)):
        depth += tokens[i].group() in "([{"
        depth -= tokens[i].group() in ")]}"
        if depth == 0:
            return i
    return len(tokens) - 1


def condition_changes(source, tokens):
    for i, token in enumerate(tokens[:-1]):
        if token.group() in ("if", "while") and tokens[i + 1].group() == "(":
            begin, end = tokens[i + 1].end(), tokens[closing(tokens, i + 1)].start()
            condition = source[begin:end]
            if ";" in condition:  # after a declaration of its own
                begin += condition.rindex(";") + 1
                condition = source[begin:end]
            # The one comparison of a condition is turned round already, in its place.
            plain = re.fullmatch(r"[^&|]*[^&|=!<>](?:==|!=)[^&|=]*", condition)
            if condition.strip() not in ("", "true", "false") and not plain:
                yield begin, end, f"!({condition.strip()})"


def statement_changes(source, tokens, is_header):
    """Statements that begin behind a brace, a semicolon or a condition and end at a semicolon."""
    loop_heads = set()
    for i, token in enumerate(tokens[:-1]):
        if token.group() == "for":
            loop_heads.update(range(i, closing(tokens, i + 1)))
    index = 1
    while index < len(tokens):
        token, previous = tokens[index], tokens[index - 1].group()
        begins = previous in (";", "{", "}", ")", "else") and token.lastgroup in ("name", "operator") \
            and (token.lastgroup == "name" or token.group() in ("++", "--", "*"))
        if not begins or token.group() in DECLARING or index in loop_heads:
            index += 1
            continue
        end = index
        while end < len(tokens) and tokens[end].group() not in (";", "{", "}"):
            end = closing(tokens, end) + 1 if tokens[end].group() in "([" else end + 1
        # Only an early return can be left out; a function that returns nothing does not compile.
        left_alone = token.group() == "return" and previous != ")"
        left_alone |= source[token.start():tokens[end - 1].end()].endswith(("= default", "= delete"))
        if end < len(tokens) and tokens[end].group() == ";" and not left_alone:
            declared = DECLARATION.match(source, token.start())
            # Without a declaration nothing compiles that uses the name; guards of a scope have no use.
            used = declared and len(re.findall(rf"\b{declared[1]}\b", source)) > 1
            if not used and not (declared and is_header):
                yield token.start(), tokens[end].end(), ";"
        index += 1


def find_mutants(name, source):
    tokens = tokens_of(source)
    lines = source.splitlines()
    changes = set(token_changes(source, tokens)) | set(condition_changes(source, tokens)) | \
        set(statement_changes(source, tokens, name.endswith(".h")))
    seen = {}
    mutants = []
    for begin, end, after in sorted(changes):
        line = source.count("\n", 0, begin) + 1
        mutant = Mutant(name, begin, end, source[begin:end], after, line, lines[line - 1].strip(), 0)
        place = seen.get(mutant.key(), 0)
        seen[mutant.key()] = place + 1
        mutants.append(Mutant(*list(mutant.__dict__.values())[:-1], place))
    return mutants
