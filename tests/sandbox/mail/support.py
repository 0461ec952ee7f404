"""What the mail tests share: the samples, the converter and the comparison as modules."""

import copy
import importlib.machinery
import importlib.util
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
SAMPLES = ROOT / "sandbox/mail"
CONVERTER = ROOT / "sandbox/outlook/eml.py"
COMPARE = ROOT / "scripts/compare-mail"

sys.dont_write_bytecode = True
sys.path[:0] = [str(CONVERTER.parent), str(SAMPLES)]

from eml.pack import pack  # noqa: E402
from eml.properties import *  # noqa: E402,F403
from eml.unpack import message_from_bytes  # noqa: E402
from make_large import large_mail  # noqa: E402

_loader = importlib.machinery.SourceFileLoader("compare_mail", str(COMPARE))
compare_mail = importlib.util.module_from_spec(
    importlib.util.spec_from_loader("compare_mail", _loader))
_loader.exec_module(compare_mail)


def sample(name):
    return (SAMPLES / f"{name}.eml").read_bytes()


def samples():
    return {path.stem: path.read_bytes() for path in sorted(SAMPLES.glob("*.eml"))} | {
        "large": large_mail(1 << 20)}


def unpack(data, **options):
    return message_from_bytes(data, name="test.json", modified=1, **options)


def carry(data, change):
    """Gives (the mail after the change, what differs by the email package's reading, warnings)."""
    before = unpack(data)
    after = copy.deepcopy(before)
    change(after)
    warnings = []
    packed = pack(data, before, after, warnings.append)
    return packed, [what for what, _ in compare_mail.compare(data, packed)], warnings


def simple(headers="", body="Text\r\n"):
    return (f"From: a@example.com\r\nSubject: Old\r\n{headers}\r\n{body}").encode("latin-1")
