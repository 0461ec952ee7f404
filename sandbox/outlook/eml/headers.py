"""One header block, edited field by field; fields that nobody touches keep their bytes."""

import re
from difflib import SequenceMatcher
from urllib.parse import quote

from . import text

_FIELD = re.compile(r"[\041-\071\073-\176]+:")
_PARAMETER = re.compile(r';(\s*)([^\s=;"]+)\s*=\s*((?:"(?:\\.|[^"\\])*")?[^;]*)', re.S)


def block_text(part):
    """The header block as the transport headers property: lossless, every line ended by CR LF."""
    raw, _ = text.decode(part.data[part.start:part.headers_end])
    lines = text.LINE_END.split(raw.replace("\0", "\N{SYMBOL FOR NULL}"))
    return "".join(line + "\r\n" for line in lines if line)


def parameter_text(name, value, eol):
    """A parameter as header text; other than plain ASCII in the extended notation."""
    if value.isascii() and value.isprintable() and "=?" not in value and len(value) < 200:
        escaped = value.replace("\\", "\\\\").replace('"', '\\"')
        return f'{name}="{escaped}"'
    # Cut between characters, so that no piece holds half a one.
    pieces, piece = [], ""
    for character in value:
        quoted = quote(character.encode("utf-8", "replace"), safe="")
        if len(piece) + len(quoted) > 60:
            pieces.append(piece)
            piece = ""
        piece += quoted
    pieces.append(piece)
    if len(pieces) == 1:
        return f"{name}*=utf-8''{piece}"
    return (";" + eol + " ").join(
        f"{name}*{number}*={'' if number else chr(39).join(('utf-8', '', ''))}{piece}"
        for number, piece in enumerate(pieces))


class HeaderBlock:
    def __init__(self, part):
        self._part = part
        self._eol = part.line_end
        self._charset = text.decode(part.data[part.start:part.headers_end])[1]
        self._lines = [part.data[start:stop] for start, stop in part.lines]
        self._fields = self._grouped(self._lines)
        self.changed = False

    @staticmethod
    def _grouped(lines):
        fields = []
        for line in lines:
            if fields and line[:1] in (b" ", b"\t"):
                fields[-1] += line
            else:
                fields.append(line)
        return fields

    @staticmethod
    def _name(field):
        return field.partition(b":")[0].decode("latin-1").lower()

    def _find(self, name):
        return [at for at, field in enumerate(self._fields) if self._name(field) == name.lower()]

    def has(self, name):
        return bool(self._find(name))

    def _store(self, name, raw):
        """Puts the field in the place of the first of its name, or last."""
        found = self._find(name)
        if not found:
            self._fields.append(raw)
        elif self._fields[found[0]] != raw:
            self._fields[found[0]] = raw
        else:
            return
        self.changed = True

    def set(self, name, value):
        """Sets an unstructured field to a text; None removes every field of the name."""
        if value is None:
            for at in reversed(self._find(name)):
                del self._fields[at]
                self.changed = True
            return
        self._store(name, self._make(name, text.header_value(value, name, self._eol.decode())))

    def set_raw(self, name, value):
        self._store(name, self._make(name, value))

    def _make(self, name, value):
        found = self._find(name)
        written = self._fields[found[0]].partition(b":")[0].decode("latin-1") if found else name
        return f"{written}: {value}".encode("utf-8") + self._eol

    def set_first_token(self, name, value):
        """Replaces what stands before the parameters of a field."""
        found = self._find(name)
        rest = self._fields[found[0]].partition(b";") if found else (b"", b"", b"")
        tail = rest[1] + rest[2] if rest[1] else self._eol
        self._store(name, f"{name}: {value}".encode() + tail)

    def set_parameter(self, name, parameter, value, default):
        """Sets a parameter of a field; a field that is not there starts with the default."""
        found = self._find(name)
        field = self._fields[found[0]].decode("latin-1") if found else f"{name}: {default}"
        if field.replace('\\"', "").count('"') % 2:
            field = f"{name}: {default}"  # with a quote left open nothing after it can be read
        eol = self._eol.decode()
        new = parameter_text(parameter, value, eol)
        pieces, position, done = [], 0, False
        for match in _PARAMETER.finditer(field):
            if match[2].split("*")[0].lower() != parameter:
                continue
            pieces.append(field[position:match.start()])
            if not done:
                pieces.append(";" + match[1] + new)
            position, done = match.end(), True
        pieces.append(field[position:].rstrip("\r\n"))
        result = "".join(pieces)
        if not done:
            result = result.rstrip("; \t\r\n") + ";" + eol + " " + new
        self._store(name, result.encode("latin-1") + self._eol)

    def has_parameter(self, name, parameter):
        return any(match[2].split("*")[0].lower() == parameter for at in self._find(name)
                   for match in _PARAMETER.finditer(self._fields[at].decode("latin-1")))

    def carry_text(self, before, after):
        """Carries the difference of two states of the transport headers property."""
        old = [line for line in text.LINE_END.split(before) if line]
        new = [line for line in text.LINE_END.split(after) if line]
        if len(old) != len(self._lines):
            raise ValueError("the transport headers before the change are not those of the mail")
        head = 0
        while head < min(len(old), len(new)) and old[head] == new[head]:
            head += 1
        tail = 0
        while tail < min(len(old), len(new)) - head and old[-1 - tail] == new[-1 - tail]:
            tail += 1
        changed = SequenceMatcher(None, old[head:len(old) - tail], new[head:len(new) - tail], False)
        lines = self._lines[:head]
        for kind, old_from, old_to, new_from, new_to in changed.get_opcodes():
            if kind == "equal":
                lines += self._lines[head + old_from:head + old_to]
            else:
                for line in new[head + new_from:head + new_to]:
                    lines.append(self._encode_line(line, first=not lines))
        self._fields = self._grouped(lines + self._lines[len(old) - tail:])
        self.changed = True

    def _encode_line(self, line, first):
        if line[0] in " \t" and line.strip() and not first:
            name, value = "", line.strip()
        elif _FIELD.match(line):
            name, _, value = line.partition(":")
        else:  # it would end the headers
            name, value = "X-MAPI-007D001F", line
        raw = text.encode(line, "us-ascii" if self._charset == "us-ascii" else self._charset)
        if name != "X-MAPI-007D001F" and raw is not None and len(raw) <= text.MAX_LINE:
            return raw + self._eol
        folded = text.header_value(value.strip(), name, self._eol.decode())
        return (f"{name}: {folded}" if name else " " + folded).encode() + self._eol

    def bytes(self):
        part = self._part
        fields = [field if field.endswith((b"\r", b"\n")) else field + self._eol
                  for field in self._fields]
        result = b"".join(fields)
        if part.start and part.data[part.start - 1] not in b"\r\n":
            result = self._eol + result  # the delimiter before was not ended
        if part.body == part.headers_end:
            if part.body < part.end:
                return result + self._eol  # the blank line that was missing
            if self._lines and not self._lines[-1].endswith((b"\r", b"\n")):
                return result.removesuffix(self._eol)
        return result
