"""Reads the lines of trace files, and takes the mails' content out of them."""

import datetime
import functools
import re
from pathlib import Path

# The plug-in's own lines are shorter (vek/trace/file_channel.h).
LONGEST_LINE = 128 << 10
LONGEST_HEADER = 400
BLOCK = 1 << 20

HEADER = "OXW TRACE FILE"
HEADER_FORM = re.compile(HEADER + r"\t Tracer version: (.*?)  UTC time: .*?  "
                         r"Local time: (\d{4}-\d\d-\d\d \d\d:\d\d:\d\d) \((UTC[^)]*)\)  "
                         r"PID: (\d+)\(0x[0-9a-f]+\)")
FOOTER = "End of trace file"
FOOTER_FORM = re.compile(FOOTER + r", local time: [-\d]+ [:\d]+")
STAMP = re.compile(r"([01]\d|2[0-3]):([0-5]\d):([0-5]\d)\.(\d{3})", re.ASCII)
LEVEL = re.compile(r"\d{1,4}", re.ASCII)
THREAD = re.compile(r"\d{1,10}", re.ASCII)


class Unreadable(Exception):
    """There is no trace to be read; the text says why."""


def files_of(trace):
    """The trace's files, in the order in which they were written: of a folder, all that
    are named *.log or *.log.old, whatever is in them."""
    if not trace.is_dir():
        return [trace]
    files = [path for path in sorted(trace.iterdir())
             if path.is_file() and path.name.endswith((".log", ".log.old"))]
    if not files:
        raise Unreadable(f"{trace}: has no file named *.log or *.log.old")
    # What a full file was renamed to is older than the file.
    return sorted(files, key=lambda path: (path.name.removesuffix(".old"),
                                           not path.name.endswith(".old")))


def read_lines(path):
    """Gives the lines of a file as texts without their ends. Bytes that are no UTF-8 stand there as
    "\\x9b"; of a line that is too long there is a part."""
    rest = b""
    with path.open("rb") as file:
        while block := file.read(BLOCK):
            block = rest + block
            end = block.rfind(b"\n") + 1
            rest = block[end:][:LONGEST_LINE]
            for line in block[:end].decode("utf-8-sig", "backslashreplace").split("\n")[:-1]:
                yield line.removesuffix("\r")[:LONGEST_LINE]
    if rest:
        yield rest.decode("utf-8-sig", "backslashreplace")


def fields_of(line):
    """Time, thread, level and text of a line, or nothing when it has no such form."""
    fields = line.split("\t", 3)
    if len(fields) == 4 and STAMP.fullmatch(fields[0]) and THREAD.fullmatch(fields[1]) and \
            LEVEL.fullmatch(fields[2]):
        return fields
    return None


def parse_header(line):
    """Version, local time in seconds, offset from UTC as text and process id, or nothing."""
    found = HEADER_FORM.match(line[:LONGEST_HEADER])
    if not found:
        return None
    try:
        local = datetime.datetime.fromisoformat(found[2] + "+00:00")
    except ValueError:
        return None
    return found[1], int(local.timestamp()), found[3], found[4]


# Lines up to this level hold nothing of a mail.
HARMLESS_LEVEL = 500

# What may stand in a line of a higher level, with # for each number and entry id: a line that is
# none of these loses its text.
KNOWN = set(r"""
Adding message to queue...
Application: Outlook, version: #
Async processor exiting, message not added to queue
Async processor not started
Async processor thread already stopped
Async processor thread started successfully
Async processor thread stopped
bytes read: #
bytes written: #
CAddin::checking opened mail items on connect
Can't load mapistub. Try mapi32
Check incoming only setted. Scanning not need on send
Connect to mail_scanner
Connect to the product: process #, local id #, port #
Connection to the product is lost
Create IMessage from IExchExtCallback
Default client is outlook
Delete attach #
Delete property #
Disable onRead thread guard before test property
End uncompress RTF
Get IMessage from entry list
Get path succeeded for msiComponentId and msiApplicationLcid
Get path succeeded for msiComponentId and msiOfficeLCID
Get property #
Get size result: #
Get storage property #
Get stream from cache
Get stream property # accessMode: # openMode: #
IsNeedScan by policy: #
IsNeedScan by user settings: #
It is not new mail item. Skip it: #
ItemRead: Can not get message entry id.
Keep content of property #
Logoff background session. result: #
Logon background session
MailItem # was recently checked on read, skipping
MailItem hasn't been processed in background, processing now
MailItem is being currently processed in background, skipping
Message exists # seconds
Message is added to queue, queue now contains # messages
Message is already present in queue
Message is being processed now. Skip add to queue
No attachments
No need to check on read
No settings are known yet, nothing is stored on apply
Not need update user settings on apply under policy
OnDelivery no need to check
OnItemSend: Item read is already processing this message
OnItemSend: Mail item is not saved, save it
OnItemSend: No need to check on send
OnItemSend: checking message..
OnItemSend: message checked
OnNewMail
OnNewMail: Item read is already processing this message
OnNewMailEx #
OnNewMailEx <empty>
OnNewMailEx no need to check
OnRead: message '#' was recently checked on read, skipping
Plugin disabled. Scanning not needed
plugins::mail_processing::CAddin::ItemReadImpl Item add is already processing this message
plugins::mail_processing::CAddin::ItemReadImpl Item send is already processing this message
plugins::mail_processing::CAddin::ItemReadImpl message is not saved, exiting
plugins::mail_processing::CAddin::ItemReadImpl skip check on read. Message just created
PR_ATTACH_SIZE[#]: #
PR_BODY size=#
PR_BODY_HTML size=#
Preparing to stop async processor thread...
Process item as new mail: #
Process message with id: #
Process property save
Property not found for id: #
Put back content of property #
RegistryWatcher created
RegistryWatcher: unsubscribing #
Request attachment IO
Set default client
Skip add message for empty entry id
Skip save cause error in office # Office app crash after save shared message
Skip update for ConfigUpdateTime
Start uncompress RTF
Stop of async processor thread prepared
Stopping async processor thread...
Stream initialized
Stream initialized by DATA_BIN
Stream initialized by DATA_OBJ
The item is no mail
Update settings window
Use OOM # or more
Write request blocked, because it's an OLE attachment
Write request blocked, because the message is encrypted or signed
[ASYNC] Async processor thread exiting
[ASYNC] Async processor thread is waiting for events...
[ASYNC] Message queue is empty
[ASYNC] Processing message from queue, # messages remain...
[ASYNC] Processing of message is skipped, task not ready
""".strip().split("\n"))

NUMBER = re.compile(r"\b0x[0-9a-f]+\b|\b[0-9A-F]{8,}(?:,[0-9A-F]{8,})*\b|-?\b\d+(?:\.\d+)*\.?",
                    re.ASCII)
SCOPE = re.compile(r"[=<][>=] [\w()]{1,40}", re.ASCII)
# The remoting names calls, connections and features; what a call brings is none of these.
REMOTING = re.compile(r"rmt\t|VEK remoting")
REPEATED = re.compile(r"\d+ times more: ", re.ASCII)
SETS = re.compile(r"(?:\d+ times more: )?Set property 0x[0-9a-f]{8} value: ", re.ASCII)
USER_FOLDER = re.compile(r"((?:[\\/]|\\\\)(?:users|home)[\\/]+)[^\\/\"]+", re.IGNORECASE)


def without_content(text, level):
    """A line's text without what it holds of a mail, and without the user's name in paths."""
    if level <= HARMLESS_LEVEL or REMOTING.match(text):
        return USER_FOLDER.sub(r"\1...", text)
    repeated = REPEATED.match(text)
    body = text[repeated.end():] if repeated else text
    if SCOPE.fullmatch(body) or NUMBER.sub("#", body) in KNOWN:
        return text
    sets = SETS.match(text)
    kept = sets[0].removesuffix(" value: ") if sets else ""
    return f"{kept} (left out: {len(text) - len(kept)} characters)".strip()


def strip(files, out):
    """Writes the lines of `files` without the mails' content; gives how many were written, and how
    many have no line's form and are left out."""
    written = dropped = 0
    harmless = functools.lru_cache(10_000)(without_content)
    for path in files:
        for number, line in enumerate(read_lines(path)):
            fields = fields_of(line)
            if whole := HEADER_FORM.match(line[:LONGEST_HEADER]) or FOOTER_FORM.match(line):
                line = whole[0]
            elif fields and number > 0:  # the first of a file that was cut may be a line's end
                fields[3] = harmless(fields[3], int(fields[2]))
                line = "\t".join(fields)
            else:
                dropped += 1
                continue
            out.write(line.encode("utf-8", "replace") + b"\r\n")
            written += 1
    return written, dropped


def name_of(path):
    """A file's name without the folders, which may name the user."""
    return Path(path).name
