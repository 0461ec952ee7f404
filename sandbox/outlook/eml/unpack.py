"""From a mail to a message file."""

import base64
import hashlib
import re
from email.utils import getaddresses, mktime_tz, parsedate_tz

from . import contents, headers, mime, text
from .properties import *

MAX_EMBEDDED = 8  # a message nested deeper stays an attachment by value

_EPOCH = 11644473600  # seconds from 1601 to 1970
_ONE_OFF = bytes.fromhex("00000000812B1FA4BEA310199D6E00DD010F540200000190")
_OLE_OBJECTS = ("application/x-oleobject", "application/oleobject")
_EXTENSIONS = {"text/plain": ".txt", "text/html": ".htm", "text/calendar": ".ics",
               "image/png": ".png", "image/jpeg": ".jpg", "image/gif": ".gif",
               "application/pdf": ".pdf", "application/zip": ".zip", "message/rfc822": ".eml",
               "application/pkcs7-mime": ".p7m", "application/pkcs7-signature": ".p7s"}


def binary(raw):
    return base64.b64encode(raw).decode()


def file_time(date):
    """A header's date as 100 ns units since 1601, or None where it is none."""
    try:
        parsed = parsedate_tz(date)
        ticks = (int(mktime_tz(parsed)) + _EPOCH) * 10_000_000 if parsed else 0
    except (ValueError, OverflowError, IndexError, TypeError):
        return None
    return ticks if 0 < ticks < 1 << 63 else None


def mailboxes(part, name):
    """(display name, address) of each mailbox in all fields of a name."""
    values = [value for field, value in part.fields() if field.lower() == name and value]
    try:
        pairs = getaddresses(values)
    except (ValueError, IndexError, TypeError):
        pairs = []
    if not any(address for _, address in pairs):
        group = re.compile(r":\s*;\s*$")  # a group without members, such as undisclosed recipients
        pairs = [("", value) for value in values if not group.search(value)]
    decoded = [(text.decode_words(shown).strip(), text.decode_words(address).strip())
               for shown, address in pairs if address]
    return [(shown or address, address) for shown, address in decoded]


def message_from_bytes(data, *, name, modified, direction=None):
    """The message file of a mail. `name` is unique in its run; `modified` is a file time for mails
    that have no date; `direction` overrides what the Received headers say."""
    message = _message(mime.parse(data), 0, direction)
    properties = message["properties"]
    stable = hashlib.sha256(data + b"\0" + name.encode()).digest()[:20]
    properties[ENTRY_ID] = binary(b"\0\0\0\0" + stable)
    properties[LAST_MODIFICATION_TIME] = properties.get(
        PROVIDER_SUBMIT_TIME, properties.get(CLIENT_SUBMIT_TIME, modified))
    return message


def _message(root, depth, direction=None):
    parts = contents.Contents(root)
    properties = {MESSAGE_CLASS: contents.message_class(root),
                  TRANSPORT_HEADERS: headers.block_text(root)}
    address_book = {}
    for tag, value in ((SUBJECT, root.header("subject")),
                       (INTERNET_MESSAGE_ID, root.header("message-id")),
                       (CLIENT_SUBMIT_TIME, file_time(root.header("date"))),
                       (PROVIDER_SUBMIT_TIME, _provider_time(root, direction))):
        if value is not None:
            properties[tag] = value
    author = mailboxes(root, "from")[:1]
    for mailbox, tags in (
            (mailboxes(root, "sender")[:1] or author,
             (SENDER_NAME, SENDER_ADDRTYPE, SENDER_EMAIL, SENDER_ENTRY_ID)),
            (author, (REPRESENTING_NAME, REPRESENTING_ADDRTYPE, REPRESENTING_EMAIL,
                      REPRESENTING_ENTRY_ID))):
        if mailbox:
            entry = _address_book_entry(*mailbox[0])
            address_book[entry[ENTRY_ID]] = {"properties": entry}
            values = (entry[DISPLAY_NAME], "SMTP", entry[EMAIL_ADDRESS], entry[ENTRY_ID])
            properties.update(zip(tags, values))
    recipients = [(kind, mailbox) for kind, field in ((TO, "to"), (CC, "cc"), (BCC, "bcc"))
                  for mailbox in mailboxes(root, field)]
    for tag, kind in ((DISPLAY_TO, TO), (DISPLAY_CC, CC)):
        properties[tag] = "; ".join(shown for of, (shown, _) in recipients if of == kind)
    for tag, part in ((BODY, parts.plain), (BODY_HTML, parts.html)):
        if part:
            properties[tag] = body_text(part)[0]
    properties[HAS_ATTACH] = bool(parts.attachments)
    return {
        "properties": properties,
        "recipients": [{"properties": {RECIPIENT_TYPE: kind, DISPLAY_NAME: shown, ADDRTYPE: "SMTP",
                                       EMAIL_ADDRESS: address}}
                       for kind, (shown, address) in recipients],
        "attachments": [_attachment(part, number, depth)
                        for number, part in enumerate(parts.attachments)],
        "addressBook": list(address_book.values()),
    }


def body_text(part):
    """(text with CR LF line ends, charset that writes it back) of a body part."""
    decoded, charset = text.decode(part.content(), part.charset)
    return text.LINE_END.sub("\r\n", decoded), charset


def _provider_time(root, direction):
    if direction == "sent":
        return None
    received = root.header("received")
    time = file_time(received.rpartition(";")[2]) if received else None
    return file_time(root.header("date")) if time is None and direction == "received" else time


def _address_book_entry(shown, address):
    one_off = _ONE_OFF + "".join(value + "\0" for value in (shown, "SMTP", address)).encode(
        "utf-16-le", "replace")
    return {ENTRY_ID: binary(one_off), DISPLAY_NAME: shown, ADDRTYPE: "SMTP",
            EMAIL_ADDRESS: address, SMTP_ADDRESS: address}


def short_name(name):
    """The name as eight and three characters."""
    stem, dot, extension = name.rpartition(".") if "." in name else (name, "", "")
    stem, extension = (re.sub(r"[^A-Za-z0-9_-]", "", piece) for piece in (stem, extension))
    if name == f"{stem}{dot}{extension}" and len(stem) <= 8 and len(extension) <= 3:
        return name
    return f"{stem[:6].upper() or 'ATTACH'}~1{dot}{extension[:3].upper()}"


def _attachment(part, number, depth):
    name = part.file_name or f"ATT{number + 1:05}" + _EXTENSIONS.get(part.content_type, ".dat")
    content = part.content()
    properties = {ATTACH_NUM: number, RECORD_KEY: binary(part.path.encode()),
                  ATTACH_METHOD: BY_VALUE, ATTACH_MIME_TAG: part.content_type,
                  ATTACH_LONG_FILENAME: name, ATTACH_FILENAME: short_name(name),
                  DISPLAY_NAME: name, ATTACH_SIZE: len(content)}
    if content_id := (part.header("content-id") or "").strip("<> "):
        properties[ATTACH_CONTENT_ID] = content_id
    if contents.is_embedded(part) and depth < MAX_EMBEDDED:
        message = _message(mime.parse(content), depth + 1)
        properties[ATTACH_METHOD] = EMBEDDED_MESSAGE
        properties[DISPLAY_NAME] = part.file_name or message["properties"].get(SUBJECT) or name
        return {"properties": properties, "message": message}
    if part.content_type in _OLE_OBJECTS:
        properties[ATTACH_METHOD] = OLE_OBJECT
        return {"properties": properties, "storage": {"CONTENTS": binary(content)}}
    properties[ATTACH_DATA] = binary(content)
    return {"properties": properties}
