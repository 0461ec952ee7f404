"""The command line of the converter."""

import argparse
import json
import re
import sys
from pathlib import Path

from .pack import pack
from .show import side_by_side
from .unpack import message_from_bytes

_EPOCH = 11644473600


def main(arguments=None):
    options = _parser().parse_args(arguments)
    return options.run(options)


def _parser():
    parser = argparse.ArgumentParser(prog="eml.py", description="Converts between .eml files and "
                                     "the message files of the stand-in store.")
    commands = parser.add_subparsers(required=True, metavar="unpack|pack|show")

    unpacking = commands.add_parser("unpack", help="make message files of .eml files")
    unpacking.add_argument("--into", type=Path, required=True, metavar="DIR",
                           help="folder for the message files and manifest.json")
    direction = unpacking.add_mutually_exclusive_group()
    direction.add_argument("--received", dest="direction", action="store_const", const="received",
                           help="give every message a provider submit time, its Date if need be")
    direction.add_argument("--sent", dest="direction", action="store_const", const="sent",
                           help="give no message a provider submit time")
    unpacking.add_argument("files", nargs="+", type=Path, metavar="FILE.eml")
    unpacking.set_defaults(run=_unpack)

    packing = commands.add_parser(
        "pack", help="carry changes back, of one message or of all in a manifest",
        usage="eml.py pack --original FILE.eml --before A.json --after B.json --out OUT.eml\n"
              "       eml.py pack --manifest DIR/manifest.json --after DIR --out DIR")
    source = packing.add_mutually_exclusive_group(required=True)
    source.add_argument("--original", type=Path, metavar="FILE.eml")
    source.add_argument("--manifest", type=Path, metavar="DIR/manifest.json")
    packing.add_argument("--before", type=Path, metavar="A.json")
    packing.add_argument("--after", type=Path, required=True, metavar="B.json|DIR")
    packing.add_argument("--out", type=Path, required=True, metavar="OUT.eml|DIR")
    packing.set_defaults(run=_pack)

    showing = commands.add_parser(
        "show", help="print mails as a person sees them, before and after a check",
        usage="eml.py show BEFORE.eml AFTER.eml\n"
              "       eml.py show --manifest DIR/manifest.json --report REPORT.json --after DIR")
    showing.add_argument("mails", nargs="*", type=Path, metavar="BEFORE.eml AFTER.eml")
    showing.add_argument("--manifest", type=Path, metavar="DIR/manifest.json")
    showing.add_argument("--report", type=Path, metavar="REPORT.json")
    showing.add_argument("--after", type=Path, metavar="DIR")
    showing.set_defaults(run=_show)
    return parser


def _complain(about, text):
    print(f"eml.py: {about}: {text}", file=sys.stderr)


def _unpack(options):
    options.into.mkdir(parents=True, exist_ok=True)
    entries, taken, failed = [], {"manifest.json"}, False
    for source in options.files:
        try:
            data = source.read_bytes()
            modified = int((source.stat().st_mtime + _EPOCH) * 10_000_000)
        except OSError as error:
            _complain(source, error.strerror)
            failed = True
            continue
        name = _free_name(source, taken)
        message = message_from_bytes(data, name=name, modified=modified,
                                     direction=options.direction)
        _write_json(options.into / name, message)
        entries.append({"source": str(source.resolve()), "message": name})
    _write_json(options.into / "manifest.json", {"messages": entries})
    return 1 if failed else 0


def _free_name(source, taken):
    stem = re.sub(r"[^A-Za-z0-9._-]", "_", source.stem).lstrip(".") or "message"
    number, name = 1, f"{stem}.json"
    while name.lower() in taken:
        number += 1
        name = f"{stem}-{number}.json"
    taken.add(name.lower())
    return name


def _write_json(path, value):
    # In ASCII: a reader that does not know UTF-8 from other code pages gets the same text.
    path.write_text(json.dumps(value, indent=1) + "\n", encoding="ascii")


def _pack(options):
    if options.original:
        if not options.before:
            _complain("pack", "--original needs --before")
            return 2
        return 0 if _pack_one(options.original, options.before, options.after, options.out) else 1
    try:
        entries = json.loads(options.manifest.read_bytes())["messages"]
        pairs = [(Path(entry["source"]), entry["message"]) for entry in entries]
    except (OSError, ValueError, KeyError, TypeError) as error:
        _complain(options.manifest, error)
        return 1
    options.out.mkdir(parents=True, exist_ok=True)
    results = [_pack_one(source, options.manifest.parent / name, options.after / name,
                         (options.out / name).with_suffix(".eml"))
               for source, name in pairs]
    return 0 if all(results) else 1


def _pack_one(original, before, after, out):
    try:
        old, new = (json.loads(path.read_bytes()) for path in (before, after))
        data = original.read_bytes()
        out.write_bytes(pack(data, old, new, lambda text: _complain(out, text)))
        return True
    except (OSError, ValueError, KeyError, TypeError, AttributeError) as error:
        _complain(out, f"not written: {error}")
        return False


def _show(options):
    """Two mails, or of a run of the demo's those in which something was found."""
    try:
        if len(options.mails) == 2:
            print(side_by_side(*(message_from_bytes(path.read_bytes(), name="", modified=0)
                                 for path in options.mails)))
            return 0
        if not (options.manifest and options.report and options.after) or options.mails:
            _complain("show", "needs two mails, or --manifest, --report and --after")
            return 2
        sources = {entry["message"]: Path(entry["source"]).name
                   for entry in _load(options.manifest)["messages"]}
        for report in _load(options.report)["messages"]:
            if all(found.startswith("the rule in ") for found in report["found"]):
                continue
            message = report["message"]
            print(sources[message], side_by_side(_load(options.manifest.parent / message),
                                                 _load(options.after / message)), "", sep="\n")
    except (OSError, ValueError, KeyError, TypeError) as error:
        _complain("show", error)
        return 1
    return 0


def _load(path):
    return json.loads(path.read_bytes())
