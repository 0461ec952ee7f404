"""Two mails as a person sees them, side by side."""

import unicodedata
from html.parser import HTMLParser
from itertools import zip_longest

from . import mime
from .contents import Contents
from .unpack import body_text, message_from_bytes
from .properties import *

_WIDTH = 66
_LONGEST_TEXT = 12  # lines
_MOST_ATTACHMENTS = 6
_LONGEST_CONTENT = 160  # characters of an attachment's text
_BLOCKS = ("p", "br", "div", "tr", "li", "h1", "h2", "h3", "title")


class _Text(HTMLParser):
    """What is left of HTML without its markup."""

    def __init__(self, html):
        super().__init__()
        self.text, self._hidden = "", False
        self.feed(html)
        self.close()

    def handle_starttag(self, tag, attributes):
        self._hidden = tag in ("style", "script")
        self.text += "\n" * (tag in _BLOCKS)

    def handle_endtag(self, tag):
        self._hidden = False
        self.text += "\n" * (tag in _BLOCKS)

    def handle_data(self, data):
        if not self._hidden:
            self.text += " ".join(data.split("\n"))


def side_by_side(before, after):
    columns = [_wrapped(_lines(mail)) for mail in (before, after)]
    rows = [("before", "after"), ("-" * _WIDTH, "-" * _WIDTH),
            *zip_longest(*columns, fillvalue="")]
    return "\n".join(f"{_padded(left)} | {right}".rstrip() for left, right in rows)


def _lines(mail):
    message = message_from_bytes(mail, name="", modified=0)
    yield f"From:    {message['properties'].get(REPRESENTING_NAME, '')}"
    yield f"Subject: {message['properties'].get(SUBJECT, '')}"
    yield ""
    parts = Contents(mime.parse(mail))
    shown = parts.html or parts.plain
    text = body_text(shown)[0] if shown else ""
    lines = [line for line in (_Text(text).text if parts.html else text).splitlines()
             if line.strip()]
    yield from lines[:_LONGEST_TEXT]
    if len(lines) > _LONGEST_TEXT:
        yield f"... {len(lines) - _LONGEST_TEXT} more lines"
    yield ""
    for part, attachment in list(zip(parts.attachments, message["attachments"]))[:_MOST_ATTACHMENTS]:
        of, content = attachment["properties"], part.content()
        name = of[DISPLAY_NAME] if "message" in attachment else of[ATTACH_LONG_FILENAME]
        yield f"[{name}, {len(content)} bytes]"
        if len(content) <= _LONGEST_CONTENT and content.isascii() and b"\0" not in content:
            yield f"  {' '.join(content.decode().split())}"
    if len(parts.attachments) > _MOST_ATTACHMENTS:
        yield f"... {len(parts.attachments) - _MOST_ATTACHMENTS} more attachments"


def _wrapped(lines):
    for line in lines:
        line = "".join(c if c.isprintable() else " " for c in line)
        yield line[:_WIDTH]
        for start in range(_WIDTH, len(line), _WIDTH - 2):
            yield "  " + line[start:start + _WIDTH - 2]


def _padded(text):
    width = sum(0 if unicodedata.combining(c) else
                1 + (unicodedata.east_asian_width(c) in "WF") for c in text)
    return text + " " * (_WIDTH - width)
