"""Two messages as a person sees them, side by side."""

import base64
import unicodedata
from html.parser import HTMLParser
from itertools import zip_longest

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
    """Two message files."""
    columns = [_wrapped(_lines(message)) for message in (before, after)]
    rows = [("before", "after"), ("-" * _WIDTH, "-" * _WIDTH),
            *zip_longest(*columns, fillvalue="")]
    return "\n".join(f"{_padded(left)} | {right}".rstrip() for left, right in rows)


def _lines(message):
    properties = normalised(message["properties"])
    yield f"From:    {properties.get(REPRESENTING_NAME, '')}"
    yield f"Subject: {properties.get(SUBJECT, '')}"
    yield ""
    text = properties.get(BODY, "")
    if html := properties.get(BODY_HTML):
        text = _Text(html).text
    lines = [line for line in text.splitlines() if line.strip()]
    yield from lines[:_LONGEST_TEXT]
    if len(lines) > _LONGEST_TEXT:
        yield f"... {len(lines) - _LONGEST_TEXT} more lines"
    yield ""
    attachments = message.get("attachments", [])
    for attachment in attachments[:_MOST_ATTACHMENTS]:
        yield from _attachment(attachment)
    if len(attachments) > _MOST_ATTACHMENTS:
        yield f"... {len(attachments) - _MOST_ATTACHMENTS} more attachments"


def _attachment(attachment):
    properties = normalised(attachment["properties"])
    name = properties.get(ATTACH_LONG_FILENAME) or properties.get(DISPLAY_NAME, "")
    if "message" in attachment:
        yield f"[{properties.get(DISPLAY_NAME, name)}: a message]"
    elif "storage" in attachment:
        yield f"[{name}: an OLE object]"
    else:
        content = base64.b64decode(properties.get(ATTACH_DATA, ""))
        yield f"[{name}, {len(content)} bytes]"
        if len(content) <= _LONGEST_CONTENT and content.isascii() and b"\0" not in content:
            yield f"  {' '.join(content.decode().split())}"


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
