"""Charsets, encoded words and transfer encodings. Nothing here fails on bad input."""

import base64
import binascii
import re
from email import quoprimime

LINE_END = re.compile(r"\r\n|\r|\n")
MAX_LINE = 998  # bytes, without the line end: what mail transport allows

# What senders mean is often the larger set that contains the one they name.
_SUPERSETS = {"gb2312": "gb18030", "gbk": "gb18030", "euc-kr": "cp949", "ks_c_5601-1987": "cp949",
              "shift_jis": "cp932"}
# Python's own notations, not charsets of mail.
_NO_CHARSETS = {"idna", "punycode", "unicode_escape", "raw_unicode_escape", "undefined"}

_UU = ("x-uuencode", "uuencode", "uue", "x-uue")
_WORD = re.compile(r"=\?([^?\s]*)\?([bBqQ])\?([^?]*)\?=")
_WORD_GAP = re.compile(r"(\?=)[ \t\r\n]+(?==\?[^?\s]*\?[bBqQ]\?)")


def decode(raw, charset=None):
    """Gives (text, charset that turns the text back into bytes); latin-1 takes what nothing else does."""
    named = (charset or "us-ascii").strip().lower()
    for candidate in (named, _SUPERSETS.get(named), "utf-8"):
        if candidate is None or candidate.replace("-", "_") in _NO_CHARSETS:
            continue
        try:
            text = raw.decode(candidate)
            text.encode("utf-8")  # some decoders let lone surrogates through, JSON does not
            return text, candidate
        except (LookupError, ValueError):
            continue
    return raw.decode("latin-1"), "latin-1"


def encode(text, charset):
    """The bytes of the text in this charset, or None where it does not hold every character."""
    try:
        return text.encode(charset)
    except (LookupError, ValueError):
        return None


def decode_words(text):
    """Decodes RFC 2047 encoded words; what is not one, or is broken, stays as it is written."""
    pieces, position = [], 0
    pending, pending_charset = b"", None

    def flush():
        nonlocal pending
        if pending:
            pieces.append(decode(pending, pending_charset)[0])
        pending = b""

    text = _WORD_GAP.sub(r"\1", text)
    for match in _WORD.finditer(text):
        charset = match[1].split("*")[0].lower()
        content = match[3].encode("utf-8")
        if match[2] in "bB":
            raw = decode_base64(content)
        else:
            raw = binascii.a2b_qp(content.replace(b"_", b" "), header=False)
        # A character may be cut in two by neighbouring words of one charset.
        if match.start() != position or charset != pending_charset:
            flush()
            pieces.append(text[position:match.start()])
        pending, pending_charset, position = pending + raw, charset, match.end()
    flush()
    pieces.append(text[position:])
    return "".join(pieces)


def encode_words(text):
    """The text as UTF-8 encoded words of at most 75 characters."""
    words, chunk = [], b""
    for character in text:
        raw = character.encode("utf-8", "replace")
        if len(chunk) + len(raw) > 45:
            words.append(chunk)
            chunk = b""
        chunk += raw
    words.append(chunk)
    return ["=?utf-8?B?" + base64.b64encode(word).decode() + "?=" for word in words]


def header_value(text, name, eol):
    """The text as the value of a header field, folded; it reads back as the same text."""
    plain = (text.isascii() and text.isprintable() and text == text.strip() and "=?" not in text)
    if plain and len(name) + 2 + len(text) <= 78:
        return text
    if plain:
        tokens = re.findall(r"\s*\S+", text)
        if all(len(token) <= MAX_LINE // 2 for token in tokens):
            lines, line = [], " " * (len(name) + 2)
            for token in tokens:
                if len(line) + len(token) > 78 and line.strip():
                    lines.append(line)
                    line = ""
                line += token
            return eol.join(lines + [line]).strip(" ")
    return (eol + " ").join(encode_words(text)) if text else ""


def decode_base64(raw):
    try:
        return binascii.a2b_base64(raw)
    except binascii.Error:
        whole = re.sub(rb"[^A-Za-z0-9+/]", b"", raw)  # cut short: what is there of it
        whole = whole[:-1] if len(whole) % 4 == 1 else whole
        return binascii.a2b_base64(whole + b"=" * (-len(whole) % 4))


def _decode_uu(raw):
    content, inside = [], False
    for line in raw.splitlines():
        if line.startswith(b"begin "):
            inside = True
        elif inside and line.strip() == b"end":
            return b"".join(content)
        elif inside and line:
            try:
                content.append(binascii.a2b_uu(line))
            except binascii.Error:
                length = (((line[0] - 32) & 63) * 4 + 5) // 3  # some encoders pad with rubbish
                try:
                    content.append(binascii.a2b_uu(line[:length]))
                except binascii.Error:
                    return raw
    return b"".join(content) if inside else raw


def transfer_encoding(value):
    """The name alone, as written by careless senders too."""
    named = re.match(r"[a-z0-9-]+", value.strip().lower())
    return named[0] if named else ""


def decode_transfer(raw, encoding):
    if encoding == "base64":
        return decode_base64(raw)
    if encoding == "quoted-printable":
        return binascii.a2b_qp(raw)
    if encoding in _UU:
        return _decode_uu(raw)
    return raw


def encode_transfer(content, encoding, eol, *, eight_bit, boundaries):
    """Gives (bytes, encoding used): the one wanted if it keeps the content, else the next that does.

    `eight_bit` lets bytes above 127 stand in an encoding that changes nothing; `boundaries` are the
    delimiters around, which must not occur in it.
    """
    mostly_text = sum(byte > 126 or byte < 9 for byte in content[:4096]) * 4 < len(content[:4096])
    for candidate in (encoding, "quoted-printable" if mostly_text else "base64", "base64"):
        if candidate == "base64":
            lines = base64.encodebytes(content).replace(b"\n", eol)
            return lines.removesuffix(eol), candidate
        if candidate == "quoted-printable":
            raw = quoprimime.body_encode(content.decode("latin-1"), eol=eol.decode()).encode("latin-1")
        elif candidate in _UU:
            continue
        else:  # it changes nothing, and neither does one that nobody knows
            raw = content
            if (b"\0" in raw or not (eight_bit or raw.isascii())
                    or any(len(line) > MAX_LINE for line in raw.split(b"\n"))):
                continue
        if (not any(boundary in raw for boundary in boundaries)
                and decode_transfer(raw, candidate) == content):
            return raw, candidate
    raise AssertionError("base64 takes everything")
