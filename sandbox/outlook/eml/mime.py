"""The parts of a mail as ranges of its bytes, so that what is not changed can be kept as it is."""

import re
from email.message import Message
from email.utils import collapse_rfc2231_value

from . import text

MAX_DEPTH = 40  # a deeper part is taken as one lump

_LINE = re.compile(rb"[^\r\n]*(?:\r\n|\r|\n|\Z)")
_FIELD = re.compile(rb"(?:From |[\041-\071\073-\176]*:|[ \t])")
_BLANK = re.compile(rb"(?:\r\n|\r|\n)")


class Part:
    """One part: its header block is [start, headers_end), its body [body, end)."""

    def __init__(self, data, start, end, path="1", parent=None, default_type="text/plain"):
        self.data, self.start, self.end = data, start, end
        self.path, self.parent = path, parent
        self.children = []
        self.span = (start, end)  # what goes when the part is removed, its delimiter too
        self.shares_line_end = False  # nothing, not even a line end, before the next delimiter
        self.lines = []  # physical lines of the header block, as (from, to)
        self._read_headers()
        self._message = Message()
        self._message.set_default_type(default_type)
        for name, value in self.fields():
            if name.lower().startswith("content-"):
                self._message[name] = value
        depth = path.count(".")
        if self.content_type.startswith("multipart/") and depth < MAX_DEPTH:
            self._read_children()

    def _read_headers(self):
        position = self.start
        while position < self.end:
            stop = _LINE.match(self.data, position, self.end).end()
            if not _FIELD.match(self.data, position, stop):
                break
            self.lines.append((position, stop))
            position = stop
        self.headers_end = position
        blank = _BLANK.match(self.data, position, self.end)
        self.body = blank.end() if blank else position

    def _read_children(self):
        boundary = self.boundary
        if not boundary:
            return
        delimiter = re.compile(re.escape(b"--" + boundary) + rb"(--)?[ \t]*(?:\r\n|\r|\n|\Z)")
        marks, position, closed = [], self.body, None
        while (position := self.data.find(b"--" + boundary, position, self.end)) >= 0:
            match = delimiter.match(self.data, position, self.end)
            at_line_start = position == self.body or self.data[position - 1] in b"\r\n"
            if match and at_line_start:
                if match[1]:
                    closed = position
                    break
                marks.append((position, match.end()))
            position += 2
        inner_type = "message/rfc822" if self.content_type == "multipart/digest" else "text/plain"
        for number, (mark, start) in enumerate(marks):
            after = marks[number + 1][0] if number + 1 < len(marks) else closed
            end = self.end if after is None else max(start, after - self._line_end_before(after))
            child = Part(self.data, start, end, f"{self.path}.{number + 1}", self, inner_type)
            if after is None:  # the line end before an unclosed part would fall to its neighbour
                child.span = (mark - self._line_end_before(mark), self.end)
            else:
                child.span = (mark, after)
                child.shares_line_end = start == after
            self.children.append(child)

    def _line_end_before(self, position):
        if self.data[position - 2:position] == b"\r\n":
            return 2
        return 1 if self.data[position - 1:position] in (b"\r", b"\n") else 0

    def fields(self):
        """(name, unfolded value as text) of each header field, in order."""
        raw = []
        for start, stop in self.lines:
            line = self.data[start:stop].rstrip(b"\r\n")
            if line[:1] in (b" ", b"\t"):
                if raw:
                    raw[-1] += line
            elif not line.startswith(b"From "):
                raw.append(line)
        for field in raw:
            name, _, value = field.partition(b":")
            yield name.decode("ascii"), text.decode(value)[0].strip().replace("\0", "")

    def header(self, name):
        """The first field of this name as text with encoded words decoded, or None."""
        value = self.raw_header(name)
        return None if value is None else text.decode_words(value)

    def raw_header(self, name):
        wanted = name.lower()
        return next((value for field, value in self.fields() if field.lower() == wanted), None)

    @property
    def content_type(self):
        return self._message.get_content_type()

    @property
    def disposition(self):
        value = self._message.get("content-disposition", "")
        return value.split(";")[0].strip().lower()

    @property
    def transfer_encoding(self):
        return text.transfer_encoding(self._message.get("content-transfer-encoding", ""))

    @property
    def charset(self):
        return self.parameter("content-type", "charset")

    @property
    def boundary(self):
        value = self.parameter("content-type", "boundary")
        return (text.encode(value, "utf-8") or b"").rstrip() if value else b""

    @property
    def boundaries(self):
        """The delimiters of all multiparts around this part."""
        return ([b"--" + self.parent.boundary] + self.parent.boundaries) if self.parent else []

    @property
    def file_name(self):
        return (self.parameter("content-disposition", "filename")
                or self.parameter("content-type", "name"))

    def parameter(self, header, name):
        """A parameter of a header, in any of its notations; empty when there is none."""
        try:
            value = self._message.get_param(name, "", header=header)
            if isinstance(value, tuple):
                return collapse_rfc2231_value(value).strip()
            return text.decode_words(value).strip()
        except (ValueError, LookupError, IndexError, TypeError):
            return ""

    def content(self):
        """The body with its transfer encoding undone."""
        return text.decode_transfer(self.data[self.body:self.end], self.transfer_encoding)

    def walk(self):
        yield self
        for child in self.children:
            yield from child.walk()

    @property
    def line_end(self):
        """How lines end in the mail, by its first one; CR LF when it has none."""
        found = _BLANK.search(self.data)
        return found[0] if found else b"\r\n"


def parse(data):
    return Part(data, 0, len(data))
