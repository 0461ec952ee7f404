"""Makes the page: what needs no script is written by the template, the rest is data in it."""

import base64
import datetime
import hashlib
import json
import statistics
from pathlib import Path

import jinja2
from markupsafe import Markup

from trace_report import meaning
from trace_report import trace as model

FOLDER = Path(__file__).parent
# Outlook takes the median of so many; milliseconds.
OCCURRENCES = 5
LIMITS = [
    ("start", ("OnConnection",), 1000),
    ("opening an item", ("OnRead(OU2007)", "OnRead(OU2003)"), 500),
    ("closing", ("OnQuit", "OnDisconnection"), 500),
]
SLOWEST = 20
MOST_TROUBLES = 200


def when(milliseconds, form="%Y-%m-%d %H:%M:%S"):
    moment = datetime.datetime.fromtimestamp(milliseconds // 1000, datetime.timezone.utc)
    return f"{moment.strftime(form)}.{milliseconds % 1000:03}"


def limits(trace):
    """A row for each of Outlook's limits: what, limit, how many, the worst median of five in a row,
    the longest, how many took longer than the limit, the line of the longest."""
    rows = []
    for what, names, limit in LIMITS:
        calls = [(ended - begun, line) for _, begun, ended, name, line in trace.calls
                 if name in names]
        row = {"what": what, "limit": limit, "count": len(calls)}
        if calls:
            times = [took for took, _ in calls]
            row["longest"], row["line"] = max(calls)
            row["median"] = max(statistics.median(times[i:i + OCCURRENCES])
                                for i in range(max(1, len(times) - OCCURRENCES + 1)))
            row["over"] = sum(took > limit for took in times)
        rows.append(row)
    return rows


def slowest(trace, message_ids):
    """The events that held Outlook longest, or whose checks took longest."""
    def took(event):
        return max(event.held, event.check)

    found = sorted((event for event in trace.events if took(event) >= 0), key=took, reverse=True)
    limit = dict((road, limit) for road, limit in ((meaning.OPENED, 500),))
    return [{"event": event, "subject": event.message.subject, "id": event.message.entry_id,
             "road": meaning.ROADS[event.road], "outcome": meaning.OUTCOMES[event.outcome],
             "begun": when(event.begun, "%H:%M:%S"), "message": message_ids[event.message],
             "over": event.held > limit.get(event.road, event.held)}
            for event in found[:SLOWEST]]


def troubles(trace):
    found = sorted(trace.troubles.items(), key=lambda item: (item[1][0], -item[1][1]))
    return [{"text": text, "level": level, "count": count, "line": first,
             "time": when(time, "%H:%M:%S")}
            for text, (level, count, first, _, time) in found[:MOST_TROUBLES]]


def notes(trace):
    """What whoever reads the page must know of the trace."""
    most = max(trace.level_ids, default=0)
    said = []
    if most < model.DETAIL:
        said.append(f"The trace has no line above level {most}: nothing of single messages is in it. "
                    "Have the levels up to 700 written (the product's value TraceLevel), start "
                    "Outlook anew and do again what went wrong. Until then, answers to the scanner, "
                    "such as a property that a message does not have, stand among the errors.")
    else:
        said.append("A subject is known where the scanner set the subject or the mail's headers; a "
                    "message that is being sent has no entry id yet. \u201cChecked\u201d says that "
                    "the scanner came to its end; what it found is in the product's log and reports.")
    if trace.anonymous:
        said.append("The mails' content is left out: subjects, header fields, names, addresses.")
    if trace.unknown:
        said.append(f"{trace.unknown} lines are no trace lines and were passed over."
                    if trace.unknown > 1 else "One line is no trace line and was passed over.")
    if trace.half_calls:
        said.append("The beginnings of calls that end in the trace are missing: "
                    f"{trace.half_calls}.")
    open_ends = sum(event.outcome == meaning.NO_END for event in trace.events)
    if open_ends:
        said.append(f"Events without an end: {open_ends}. The trace was cut, Outlook was ended, or "
                    "they went on when it was copied.")
    if any(not run.closed for run in trace.runs):
        said.append("It was not closed in good order: Outlook was running, or did not end by itself.")
    if trace.clock_steps:
        said.append(f"The clock went back by more than a second, times: {trace.clock_steps}.")
    if trace.date_is_assumed:
        said.append("A file's beginning is missing; its date is taken from the file's last change.")
    if trace.lines_left_out:
        said.append(f"The page shows the first {len(trace.times)} lines; {trace.lines_left_out} more "
                    "count in the rows and tables alone.")
    return said


def lanes_of(trace):
    """The lanes and, for each thread, the lane that it is in: threads that only write lines share
    one."""
    busy = {event.thread for event in trace.events} | {call[0] for call in trace.calls}
    lanes, of_thread, others = [], {}, {}
    several = len(trace.runs) > 1
    order = sorted(trace.threads, key=lambda thread: (
        thread.run.number, thread.index not in busy, not thread.handles, thread.is_background,
        thread.index))
    for thread in order:
        process = f"{thread.run.process or thread.run.file} " if several else ""
        if thread.index in busy:
            name = "Outlook" if thread.handles else (
                "background" if thread.is_background else "checks")
            of_thread[thread.index] = len(lanes)
            lanes.append(f"{process}{name}, {thread.number}")
        else:
            if thread.run.number not in others:
                others[thread.run.number] = len(lanes)
                lanes.append("")
            lane = of_thread[thread.index] = others[thread.run.number]
            count = sum(of == lane for of in of_thread.values())
            lanes[lane] = f"{process}{count} {'other ' * bool(busy)}thread{'s' * (count > 1)}"
    return lanes, [of_thread[thread.index] for thread in trace.threads]


def columns(rows):
    return [list(column) for column in zip(*rows)]


def data_of(trace, message_ids):
    base = min(trace.times) if trace.times else 0
    lanes, lane_of_thread = lanes_of(trace)
    reasons, names = {}, {}

    def at(time):
        return time - base if time >= 0 else -1

    events = columns(
        (message_ids[event.message], event.road, event.thread, at(event.arrived), at(event.begun),
         at(event.ended), event.check, event.held, event.outcome,
         reasons.setdefault(event.reason, len(reasons)), event.arrival, event.first, event.last)
        for event in trace.events)
    calls = columns((thread, at(begun), at(ended), names.setdefault(name, len(names)), line)
                    for thread, begun, ended, name, line in trace.calls)
    steps, last = [], base
    for time in trace.times:
        steps.append(time - last)
        last = time
    return {
        "base": base,
        "until": max(trace.times, default=base) - base,
        "outcomes": meaning.OUTCOMES,
        "roads": meaning.ROADS,
        "limits": {name: limit for _, names_of, limit in LIMITS for name in names_of},
        "lanes": lanes,
        "threads": [thread.number for thread in trace.threads],
        "laneOfThread": lane_of_thread,
        "untilOfThread": [at(thread.run.last) for thread in trace.threads],
        "messages": [[message.entry_id, message.subject] for message in message_ids],
        "events": events,
        "reasons": list(reasons),
        "calls": calls,
        "names": list(names),
        "marks": columns((at(time), thread, level, line)
                         for time, thread, level, line in trace.marks),
        "levels": trace.level_ids,
        "texts": trace.texts,
        "lines": {"steps": steps, "threads": trace.line_threads.tolist(),
                  "levels": trace.line_levels.tolist(), "texts": trace.line_texts.tolist()},
    }


def as_script(data):
    """JSON that no text in it can end: neither a tag nor a comment can begin in it."""
    text = json.dumps(data, ensure_ascii=False, separators=(",", ":"))
    for character in "<>&\u2028\u2029":
        text = text.replace(character, f"\\u{ord(character):04x}")
    return Markup(text)


def own(name):
    """A file of the page's, and the hash by which alone a browser takes it."""
    text = (FOLDER / name).read_text(encoding="utf-8")
    digest = base64.b64encode(hashlib.sha256(text.encode()).digest()).decode()
    return Markup(text), f"'sha256-{digest}'"


def render(trace):
    message_ids = {}
    for event in trace.events:
        message_ids.setdefault(event.message, len(message_ids))
    style, style_hash = own("page.css")
    script, script_hash = own("page.js")
    environment = jinja2.Environment(loader=jinja2.FileSystemLoader(FOLDER), autoescape=True,
                                     undefined=jinja2.StrictUndefined, trim_blocks=True,
                                     lstrip_blocks=True)
    counts = [sum(event.outcome == outcome for event in trace.events)
              for outcome in range(len(meaning.OUTCOMES))]
    files = [f"process {run.process or 'unknown'}, {run.file}"
             + (f", version {run.version}" if run.version else "")
             + (f", {run.zone}" if run.zone else "") for run in trace.runs]
    return environment.get_template("page.html").render(
        policy=f"default-src 'none'; script-src {script_hash}; style-src {style_hash}; "
               "base-uri 'none'; form-action 'none'",
        style=style, script=script, data=as_script(data_of(trace, message_ids)),
        title=", ".join(trace.files[:3]) + (", \u2026" if len(trace.files) > 3 else ""),
        files=files, first=when(min(trace.times)), last=when(max(trace.times)),
        lines=trace.lines, messages=len(message_ids), events=len(trace.events),
        outcomes=list(zip(meaning.OUTCOMES, counts)), limits=limits(trace), occurrences=OCCURRENCES,
        slowest=slowest(trace, message_ids), troubles=troubles(trace),
        all_troubles=len(trace.troubles), notes=notes(trace))
