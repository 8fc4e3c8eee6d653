"""Where the library can be broken in one small way, and how: found in clang's syntax tree.

A site is a stretch of one source file with the texts that may stand in its place. Log sites are
read as text, since the tree of a macro's argument says where the macro stands and no more.
"""
import re
from dataclasses import dataclass, field

from clang.cindex import CursorKind as K
from clang.cindex import Index, TypeKind

FLIPS = {
    '<': ['<=', '>='], '<=': ['<', '>'], '>': ['>=', '<='], '>=': ['>', '<'],
    '==': ['!='], '!=': ['=='], '&&': ['||'], '||': ['&&'],
    '+': ['-'], '-': ['+'], '*': ['/'], '/': ['*'], '%': ['*'],
    '&': ['|'], '|': ['&'], '<<': ['>>'], '>>': ['<<'],
    '+=': ['-='], '-=': ['+='], '*=': ['+='], '|=': ['&='], '&=': ['|='],
}
LEVELS = {'TRACE': 'DEBUG', 'DEBUG': 'TRACE', 'INFO': 'WARN', 'WARN': 'ERROR', 'ERROR': 'WARN'}
LOG_SITE = re.compile(r'\bZOLT_(TRACE|DEBUG|INFO|WARN|ERROR)\(')
STRING = re.compile(r'"(?:[^"\\\n]|\\.)*"')
NAME = re.compile(r'(?:\w+::)*[A-Za-z_]\w*$')
SCOPES = re.compile(r'\b(ErrnoKeeper|AfterLog|PendingException|FSAccount|lock_guard)\b')
INTEGERS = {TypeKind.INT, TypeKind.UINT, TypeKind.LONG, TypeKind.ULONG, TypeKind.LONGLONG,
            TypeKind.ULONGLONG, TypeKind.SHORT, TypeKind.USHORT}
EXPRESSIONS = {K.CALL_EXPR, K.BINARY_OPERATOR, K.COMPOUND_ASSIGNMENT_OPERATOR, K.UNARY_OPERATOR,
               K.CXX_THROW_EXPR, K.UNEXPOSED_EXPR, K.CXX_DELETE_EXPR}
FUNCTIONS = {K.FUNCTION_DECL, K.CXX_METHOD, K.CONSTRUCTOR, K.DESTRUCTOR, K.FUNCTION_TEMPLATE,
             K.LAMBDA_EXPR, K.CONVERSION_FUNCTION}
COMPILE_TIME = {K.STATIC_ASSERT, K.ENUM_DECL, K.CXX_UNARY_EXPR, K.ANNOTATE_ATTR}


@dataclass
class Mutation:
    original: str   # what a reader is shown
    changed: str
    code: str       # the C++ that replaces the site, or None for a shape of its own
    number: int = 0
    alive: bool = True


@dataclass
class Site:
    file: str
    start: int
    end: int
    # 'value': an expression in place of another; 'drop': a statement left out; 'jump': the same of
    # return, break and continue; 'scope': an object that is not made; 'piece': a log line's part
    shape: str
    mutations: list = field(default_factory=list)


def flat(text):
    """On one line, so that a copy of it shifts no line number."""
    return ' '.join(re.sub(r'//[^\n]*', ' ', text).split()) if '\n' in text else text


def changed_literal(literal):
    first = STRING.match(literal)
    inner, rest = first.group()[1:-1], literal[first.end():]
    if inner == '':
        return '"x"' + rest
    blank = inner.find(' ')
    if blank >= 0 and len(inner) > 1:
        return '"' + inner[:blank] + inner[blank + 1:] + '"' + rest
    if inner.endswith('\\n'):
        return '"' + inner[:-2] + ' "' + rest
    last = inner[-1]
    if len(inner) > 1 and inner[-2] == '\\':
        return None
    return '"' + inner[:-1] + ('x' if last != 'x' else 'y') + '"' + rest


def closing(text, position):
    """Where the parenthesis that opens at `position` closes."""
    depth = 0
    while position < len(text):
        string = STRING.match(text, position)
        if string:
            position = string.end()
            continue
        depth += {'(': 1, '[': 1, '{': 1, ')': -1, ']': -1, '}': -1}.get(text[position], 0)
        if depth == 0:
            return position
        position += 1
    raise ValueError('unbalanced')


def pieces(text, start, end, separator):
    """The stretches of text[start:end] between separators that stand in no parenthesis."""
    found, begin, position = [], start, start
    while position < end:
        string = STRING.match(text, position)
        if string:
            position = string.end()
        elif text[position] in '([{':
            position = closing(text, position) + 1
        elif text.startswith(separator, position):
            found.append((begin, position))
            position += len(separator)
            begin = position
        else:
            position += 1
    found.append((begin, end))
    for a, b in found:
        stripped = text[a:b].strip()
        if stripped:
            offset = a + text[a:b].index(stripped)
            yield offset, offset + len(stripped)


class Finder:
    def __init__(self, root):
        self.root = root          # every file that is broken lies under it
        self.texts = {}
        self.sites = {}           # (file, start, end, shape) -> Site
        self.logs = {}            # file -> [(start, end)]

    def parse(self, path, arguments):
        unit = Index.create().parse(path, args=arguments)
        fatal = [d for d in unit.diagnostics if d.severity >= 3]
        if fatal:
            raise SystemExit(f'{path} cannot be parsed: {fatal[0]}')
        for cursor in unit.cursor.get_children():
            if self.ours(cursor):
                self.walk(cursor, [])

    def ours(self, cursor):
        file = cursor.location.file
        if file is None or not file.name.startswith(self.root):
            return False
        self.load(file.name)
        return True

    def load(self, name):
        if name in self.texts:
            return
        self.texts[name] = open(name).read()
        if not self.texts[name].isascii():
            raise SystemExit(f'{name}: offsets need ASCII')
        self.logs[name] = []
        if not name.endswith('/logger2.h'):
            self.read_logs(name)

    def add(self, file, start, end, shape, original, changed, code):
        if shape == 'value' and any(a <= start and end <= b for a, b in self.logs[file]):
            return
        site = self.sites.setdefault((file, start, end, shape), Site(file, start, end, shape))
        if all(m.changed != changed for m in site.mutations):
            site.mutations.append(Mutation(flat(original), flat(changed), code))

    # Log sites, as text.
    def read_logs(self, file):
        text = self.texts[file]
        for match in LOG_SITE.finditer(text):
            end = closing(text, match.end() - 1) + 1
            start, body = match.start(), (match.end(), end - 1)
            self.logs[file].append((start, end))
            whole = text[start:end]
            lowered = whole.replace(match.group(1), LEVELS[match.group(1)], 1)
            self.add(file, start, end, 'log', whole, '', None)
            self.add(file, start, end, 'log', whole, lowered, flat(lowered))
            joined = re.compile(r'joined\(').match(text, body[0])
            if joined and closing(text, joined.end() - 1) == body[1] - 1:
                parts = pieces(text, joined.end(), body[1] - 1, ',')
            else:
                parts = pieces(text, *body, '<<')
            for a, b in parts:
                part = text[a:b]
                if STRING.match(part):
                    other = changed_literal(part)
                    if other:
                        self.add(file, a, b, 'literal', part, other, other)
                elif part not in ('std::oct', 'std::dec'):
                    self.add(file, a, b, 'piece', part, f'not {part}', None)

    # Everything else, in the tree.
    def walk(self, cursor, parents):
        kind = cursor.kind
        if kind in COMPILE_TIME or self.is_constant(cursor):
            return
        extent = cursor.extent
        if extent.start.file is not None and extent.start.file.name in self.texts:
            self.visit(cursor, kind, parents, extent)
        children = list(cursor.get_children())
        for child in children:
            if kind == K.CASE_STMT and child == children[0]:
                continue
            self.walk(child, parents + [cursor])

    def is_constant(self, cursor):
        if cursor.kind not in FUNCTIONS | {K.VAR_DECL, K.FIELD_DECL}:
            return False
        file = cursor.extent.start.file
        if file is None or file.name not in self.texts:
            return False
        head = self.texts[file.name][cursor.extent.start.offset:cursor.location.offset]
        return re.search(r'\b(constexpr|constinit|consteval)\b', head) is not None

    def visit(self, cursor, kind, parents, extent):
        file, start, end = extent.start.file.name, extent.start.offset, extent.end.offset
        text = self.texts[file]
        own = text[start:end]
        if not own or LOG_SITE.match(own):
            return
        children = list(cursor.get_children())

        def value(original, changed, a=start, b=end):
            self.add(file, a, b, 'value', original, changed, flat(changed))

        def span(child):
            return child.extent.start.offset, child.extent.end.offset

        if kind in (K.BINARY_OPERATOR, K.COMPOUND_ASSIGNMENT_OPERATOR) and len(children) == 2:
            self.flip(value, text, start, end, span(children[0]), span(children[1]), cursor)
        elif kind == K.CALL_EXPR:
            if cursor.spelling in ('operator==', 'operator!=') and len(children) == 3:
                self.flip(value, text, start, end, span(children[0]), span(children[-1]), cursor)
            if cursor.spelling in ('max', 'min'):
                other = {'max': 'min', 'min': 'max'}[cursor.spelling]
                if own.startswith(f'std::{cursor.spelling}('):
                    value(own, own.replace(f'std::{cursor.spelling}', f'std::{other}', 1))
        elif kind == K.UNARY_OPERATOR and children:
            a, b = span(children[0])
            if a > start and own[0] in '!-~' and own[:2] != '--':
                value(own, text[a:b])
            elif own.startswith('++'):
                value(own, '--' + own[2:])
            elif own.startswith('--'):
                value(own, '++' + own[2:])
        elif kind == K.INTEGER_LITERAL:
            self.integer(value, own)
        elif kind == K.CXX_BOOL_LITERAL_EXPR and own in ('true', 'false'):
            value(own, 'false' if own == 'true' else 'true')
        elif kind == K.CHARACTER_LITERAL and own.startswith("'"):
            value(own, "'x'" if own != "'x'" else "'y'")
        elif kind == K.STRING_LITERAL and own.startswith('"'):
            other = changed_literal(own)
            if other:
                value(own, other)
        elif kind == K.DECL_REF_EXPR:
            self.constant(value, cursor, own)
        elif kind in (K.IF_STMT, K.WHILE_STMT, K.CONDITIONAL_OPERATOR):
            self.condition(value, text, children, span)
        elif kind == K.RETURN_STMT and children:
            self.returned(value, text, children[0], span)
        elif kind == K.DECL_STMT and len(children) == 1 and children[0].kind == K.VAR_DECL:
            self.scope(file, start, end, children[0])
        self.statement(file, start, end, own, cursor, kind, parents, children)

    def flip(self, value, text, start, end, left, right, cursor):
        if left[1] > right[0] or left == (start, end):
            return
        between = text[left[1]:right[0]]
        operator = between.strip()
        if operator not in FLIPS or '\n//' in between:
            return
        if operator in ('<<', '>>') and cursor.type.get_canonical().kind not in INTEGERS:
            return
        for other in FLIPS[operator]:
            value(text[start:end],
                  text[start:left[1]] + between.replace(operator, other) + text[right[0]:end])

    @staticmethod
    def integer(value, own):
        if own in ('JNI_TRUE', 'JNI_FALSE'):
            value(own, '!' + own)
        elif re.match(r'(O_|XATTR_|RTLD_|AT_|JNI_ABORT)', own):
            value(own, '0')
        elif NAME.match(own):
            value(own, own + ' + 1')
        elif re.match(r'[0-9][0-9a-fA-FxXuUlL\']*$', own):
            value(own, '1' if own == '0' else own + ' + 1')
            if own != '0':
                value(own, '0')

    @staticmethod
    def constant(value, cursor, own):
        target = cursor.referenced
        if target is None or not NAME.match(own):
            return
        if target.kind == K.ENUM_CONSTANT_DECL:
            value(own, f'static_cast<std::remove_cvref_t<decltype({own})>>({own} + 1)')
        elif target.kind == K.VAR_DECL and re.match(r'[A-Z][A-Z0-9_]+$', target.spelling):
            kind = target.type.get_canonical().kind
            if kind in INTEGERS or kind == TypeKind.POINTER:
                value(own, own + ' + 1')

    @staticmethod
    def condition(value, text, children, span):
        if any(c.kind == K.VAR_DECL for c in children):
            return
        expressions = [c for c in children if c.kind.is_expression()]
        if not expressions:
            return
        a, b = span(expressions[0])
        condition = text[a:b]
        if not condition or condition.startswith('!') or re.fullmatch(r'[^&|]*(==|!=)[^&|]*', condition):
            return
        value(condition, f'!({condition})', a, b)

    @staticmethod
    def returned(value, text, child, span):
        a, b = span(child)
        expression = text[a:b]
        kind = child.type.get_canonical().kind
        if kind == TypeKind.BOOL or child.type.spelling == 'jboolean':
            if not re.fullmatch(r'true|false|!.*|JNI_\w+', expression, re.S):
                value(expression, f'!({expression})', a, b)
        elif kind in INTEGERS and not re.fullmatch(r'-?[\w:]+', expression):
            value(expression, f'({expression}) + 1', a, b)
        elif kind == TypeKind.POINTER and expression != 'nullptr':
            value(expression, 'nullptr', a, b)
        elif child.type.get_canonical().spelling.startswith('std::basic_string<') and expression[0] != '{':
            value(expression, 'std::string()', a, b)

    def scope(self, file, start, end, variable):
        text = self.texts[file][start:end]
        match = re.fullmatch(r'const ((?:std::)?\w+) (\w+)\s*([({].*[)}])?;', text, re.S)
        if match and SCOPES.fullmatch(match.group(1).removeprefix('std::')):
            made = variable.type.get_canonical().spelling.removeprefix('const ')
            self.add(file, start, end, 'scope', text, '',
                     (made, match.group(2), match.group(3) or '()'))

    def statement(self, file, start, end, own, cursor, kind, parents, children):
        if not parents:
            return
        parent = parents[-1]
        siblings = list(parent.get_children())
        if parent.kind == K.COMPOUND_STMT:
            last = (cursor == siblings[-1] and len(parents) > 1 and parents[-2].kind in FUNCTIONS)
        elif parent.kind == K.IF_STMT:
            last = False
            if not any(cursor == s for s in siblings[1:]):
                return
        elif parent.kind in (K.FOR_STMT, K.WHILE_STMT, K.CXX_FOR_RANGE_STMT, K.CASE_STMT,
                             K.DEFAULT_STMT):
            last = False
            if cursor != siblings[-1]:
                return
        else:
            return
        if kind in (K.BREAK_STMT, K.CONTINUE_STMT) or (kind == K.RETURN_STMT and not children):
            if not last:
                self.add(file, start, end, 'jump', own, '', None)
        elif kind in EXPRESSIONS and self.texts[file][end:end + 1] == ';':
            if not (last and 'throw' in own):
                self.add(file, start, end, 'drop', own, '', None)
