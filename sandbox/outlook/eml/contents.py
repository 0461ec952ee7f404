"""Decides, as a mail client does, which parts are the bodies and which are attachments."""

_KINDS = {"text/plain": "plain", "text/html": "html"}
_EMBEDDED = ("message/rfc822", "message/global", "message/news")
_ENCRYPTED = ("application/pkcs7-mime", "application/x-pkcs7-mime")


class Contents:
    def __init__(self, root):
        bodies = _bodies(root)
        self.plain, self.html = bodies.get("plain"), bodies.get("html")
        self.attachments = [part for part in root.walk()
                            if not part.children and part not in (self.plain, self.html)]


def is_embedded(part):
    return part.content_type in _EMBEDDED


def is_sealed(part):
    """Whether the part is an encrypted mail, or stands inside a signed or encrypted part."""
    if part.parent is None and part.content_type in _ENCRYPTED:
        return True
    while part := part.parent:
        if part.content_type in ("multipart/signed", "multipart/encrypted"):
            return True
    return False


def message_class(root):
    if root.content_type == "multipart/signed":
        return "IPM.Note.SMIME.MultipartSigned"
    return "IPM.Note.SMIME" if root.content_type in _ENCRYPTED else "IPM.Note"


def _bodies(part):
    if not part.children:
        kind = _kind(part)
        return {kind: part} if kind else {}
    if part.content_type == "multipart/alternative":
        found = {}
        for child in part.children:
            found = {**_bodies(child), **found}
        return found
    if part.content_type == "multipart/related":
        return _bodies(_related_root(part))
    if part.content_type == "multipart/signed":
        return _bodies(part.children[0])
    return next((found for child in part.children if (found := _bodies(child))), {})


def _kind(part):
    alone = part.parent is None
    if part.content_type.startswith("multipart/"):
        return "plain"  # its delimiters are not to be found: the text is all that is left
    if part.disposition == "attachment":
        return None
    if part.file_name and not alone and part.parent.content_type != "multipart/alternative":
        return None
    return _KINDS.get(part.content_type)


def _related_root(part):
    start = part.parameter("content-type", "start")
    named = [child for child in part.children if start and child.header("content-id") == start]
    return (named or part.children)[0]
