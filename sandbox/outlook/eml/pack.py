"""Carries the differences of two message files into the mail they came from.

Only the ranges that change are written anew. The generator of the email package is not used: it
folds headers again and drops what it does not understand, which breaks signatures.
"""

import base64
from email.utils import format_datetime, formataddr
from datetime import datetime, timedelta, timezone

from . import mime, text
from .contents import Contents, is_sealed
from .headers import HeaderBlock
from .properties import *
from .unpack import body_text

_NAME_TAGS = (ATTACH_LONG_FILENAME, ATTACH_FILENAME, DISPLAY_NAME)
_MAILBOXES = ((SENDER_NAME, SENDER_ADDRTYPE, SENDER_EMAIL, "Sender"),
              (REPRESENTING_NAME, REPRESENTING_ADDRTYPE, REPRESENTING_EMAIL, "From"))


def pack(data, before, after, warn=lambda text: None):
    """The mail with the differences in it; the same bytes when there are none."""
    return _Packer(data, warn).carry(before, after)


def _differences(before, after):
    """{tag: new value, None when removed} of the properties that somebody changed."""
    old, new = normalised(before.get("properties", {})), normalised(after.get("properties", {}))
    return {tag: new.get(tag) for tag in sorted(old.keys() | new.keys())
            if tag[:4] not in KEPT_BY_THE_STORE and old.get(tag) != new.get(tag)}


class _Packer:
    def __init__(self, data, warn):
        self._data, self._warn = data, warn
        self._root = mime.parse(data)
        self._eol = self._root.line_end
        self._blocks = {}
        self._edits = []  # (from, to, bytes)

    def carry(self, before, after):
        contents = Contents(self._root)
        changes = _differences(before, after)
        if TRANSPORT_HEADERS in changes:
            self._carry_headers(before, changes.pop(TRANSPORT_HEADERS))
        for tag, part in ((BODY, contents.plain), (BODY_HTML, contents.html)):
            if part and tag in changes:
                new = changes.pop(tag)
                if not self._is_sealed(part):
                    self._carry_body(part, new)
        for tag, field in ((SUBJECT, "Subject"), (INTERNET_MESSAGE_ID, "Message-ID")):
            if tag in changes:
                self._block(self._root).set(field, changes.pop(tag))
        if (date := _date(changes.get(CLIENT_SUBMIT_TIME))) is not None:
            self._block(self._root).set("Date", date)
            del changes[CLIENT_SUBMIT_TIME]
        for *tags, field in _MAILBOXES:
            self._carry_mailbox(changes, after, tags, field)
        self._carry_attachments(contents, before, after)
        self._carry_rest(self._root, changes)
        if before.get("recipients", []) != after.get("recipients", []):
            self._warn("changed recipients have no place in the mail")
        return self._result()

    def _block(self, part):
        return self._blocks.setdefault(part.path, (part, HeaderBlock(part)))[1]

    def _carry_headers(self, before, new):
        if new is None:
            self._warn("the mail keeps its headers, though the message lost them")
            return
        old = normalised(before["properties"]).get(TRANSPORT_HEADERS, "")
        self._block(self._root).carry_text(old, new)

    def _carry_mailbox(self, changes, after, tags, field):
        """A changed name or address goes to its header; without a Sender the author is the sender."""
        changed = [tag for tag in tags if tag in changes]
        if not changed or any(changes[tag] is None for tag in changed):
            return
        properties = normalised(after["properties"])
        if properties.get(tags[1], "SMTP") != "SMTP":
            return
        shown, address = (properties.get(tag, "") for tag in (tags[0], tags[2]))
        if not (address.isascii() and address.isprintable() and (shown.isprintable())):
            return
        if field == "Sender" and not self._block(self._root).has(field):
            field = "From"
        self._block(self._root).set_raw(field, formataddr((shown, address), "utf-8"))
        for tag in changed:
            del changes[tag]

    def _carry_rest(self, part, changes):
        for tag, value in changes.items():
            if value is not None:
                self._block(part).set(f"X-MAPI-{tag}", _as_text(value))

    def _carry_body(self, part, new):
        if new is None:
            self._remove_body(part)
            return
        charset = body_text(part)[1]
        content = part.content()
        if b"\n" in content:
            line_end = "\r\n" if b"\r\n" in content else "\n"
        else:
            line_end = "\r\n" if part.transfer_encoding == "base64" else self._eol.decode()
        new = text.LINE_END.sub(line_end, new)
        raw = text.encode(new, charset)
        if raw is None or text.decode(raw, part.charset)[0] != new:
            raw = new.encode("utf-8", "replace")
            self._set_charset(part, "utf-8")
        self._write(part, raw)

    def _set_charset(self, part, charset):
        block = self._block(part)
        kind = part.content_type if part.content_type.startswith("text/") else "text/plain"
        block.set_parameter("Content-Type", "charset", charset, kind)
        self._mark_as_mime()

    def _mark_as_mime(self):
        if not self._block(self._root).has("MIME-Version"):
            self._block(self._root).set("MIME-Version", "1.0")

    def _write(self, part, content):
        """Puts new content into a part, in its own encoding where that holds it."""
        old = self._data[part.body:part.end]
        encoding = part.transfer_encoding
        eight_bit = not old.isascii() or encoding in ("8bit", "binary")
        raw, used = text.encode_transfer(content, encoding, self._eol, eight_bit=eight_bit,
                                         boundaries=part.boundaries)
        if used == "base64" and old.endswith(b"\n"):
            raw += self._eol
        if used != encoding:
            self._block(part).set("Content-Transfer-Encoding", used)
            self._mark_as_mime()
        if part.body == part.headers_end:  # no blank line ends the headers yet
            self._block(part).changed = True  # writing the block adds it before an old body
            if raw and not old:
                ended = part.start == part.headers_end or self._data[part.body - 1] in b"\r\n"
                raw = self._eol * (1 if ended else 2) + raw
        if part.shares_line_end:
            raw += self._eol
        self._edits.append((part.body, part.end, raw))

    def _remove_body(self, part):
        """One form of several goes as a whole; any other body becomes empty."""
        if (part.parent and part.parent.content_type == "multipart/alternative"
                and not self._is_last(part)):
            self._remove(part)
        else:
            self._write(part, b"")

    def _is_last(self, part):
        """Whether nothing else is left beside the part: a multipart must have one."""
        siblings = part.parent.children if part.parent else [part]
        removed = {start for start, _, _ in self._edits}
        return sum(sibling.span[0] not in removed for sibling in siblings) < 2

    def _remove(self, part):
        if not self._is_last(part):
            self._edits.append((*part.span, b""))
            return
        # An empty part takes its place.
        block = self._block(part)
        for field in ("Content-Type", "Content-Transfer-Encoding", "Content-Disposition",
                      "Content-ID", "Content-Description", "Content-Location"):
            block.set(field, None)
        self._edits.append((part.body, part.end, b""))

    def _carry_attachments(self, contents, before, after):
        parts = {part.path: part for part in contents.attachments}
        remaining = {_path(item): item for item in after.get("attachments", [])}
        for item in before.get("attachments", []):
            path = _path(item)
            if path not in parts:
                raise ValueError("the attachments before the change are not those of the mail")
            part, changed = parts[path], remaining.pop(path, None)
            if changed is None:
                if not self._is_sealed(part):
                    self._remove(part)
            elif changed != item:
                self._carry_attachment(part, item, changed)
        if remaining:
            self._warn("added attachments have no place in the mail")

    def _carry_attachment(self, part, before, after):
        changes = _differences(before, after)
        content = None
        if "message" in before and "message" in after:
            old = part.content()
            new = pack(old, before["message"], after["message"], self._warn)
            content = new if new != old else None
        if ATTACH_DATA in changes:
            content = base64.b64decode(changes.pop(ATTACH_DATA) or "")
        names = [changes.pop(tag) for tag in _NAME_TAGS if tag in changes]
        if not changes and not any(names) and content is None or self._is_sealed(part):
            return
        if content is not None:
            self._write(part, content)
        if any(names):
            self._rename(part, next(name for name in names if name))
        if changes.get(ATTACH_MIME_TAG):
            self._block(part).set_first_token("Content-Type", changes.pop(ATTACH_MIME_TAG))
        self._carry_rest(part, changes)

    def _rename(self, part, name):
        """Where the part says its name now; else where that changes least."""
        block = self._block(part)
        in_type = block.has_parameter("Content-Type", "name")
        in_disposition = block.has_parameter("Content-Disposition", "filename")
        if not in_type and not in_disposition:
            in_disposition = block.has("Content-Disposition") or not block.has("Content-Type")
            in_type = not in_disposition
        if in_type:
            block.set_parameter("Content-Type", "name", name, part.content_type)
        if in_disposition:
            block.set_parameter("Content-Disposition", "filename", name, "attachment")

    def _is_sealed(self, part):
        """Whether a change would break a signature or what is encrypted; says so when it would."""
        if sealed := is_sealed(part):
            self._warn(f"part {part.path} is signed or encrypted and keeps its bytes")
        return sealed

    def _result(self):
        edits = [(part.start, part.headers_end, block.bytes())
                 for part, block in self._blocks.values() if block.changed] + self._edits
        pieces, position = [], 0
        # What lies inside a removed range sorts after it and goes with it; an insertion goes first.
        in_order = sorted(edits, key=lambda edit: (edit[0], edit[0] != edit[1], -edit[1]))
        for start, end, raw in in_order:
            if start >= position:
                pieces += (self._data[position:start], raw)
                position = end
        return b"".join(pieces) + self._data[position:]


def _path(attachment):
    properties = normalised(attachment.get("properties", {}))
    return base64.b64decode(properties.get(RECORD_KEY, "")).decode("latin-1")


def _date(ticks):
    try:
        moment = datetime(1601, 1, 1, tzinfo=timezone.utc) + timedelta(microseconds=ticks // 10)
        return format_datetime(moment)
    except (TypeError, ValueError, OverflowError):
        return None


def _as_text(value):
    if isinstance(value, bool):
        return "true" if value else "false"
    return str(value)
