"""Finds in a trace's lines what happened to each message.

An event is what one event of Outlook did to one message: it was received and checked in the
background, opened or sent. Events of the same entry id are one message.
"""

import datetime
import functools
import re
from array import array
from collections import deque

from trace_report import lines as form
from trace_report.meaning import (BEGIN, CHANGED, CHECK, CHECKED, DIRECT, ELSEWHERE, EMPTY, END, FAILED,
                                  FORCED, HANDLERS, ID, NEW_ID, NEW_IDS, NO_END, NO_MAIL, NOT_CHECKED,
                                  OLD, OPENED, PLAIN, QUEUED, REASON, RECEIVED, RECENT, SAVED,
                                  SETTINGS_SAY_NO, SKIP, SUBJECT, TAKEN, kind_of)

DAY = 86_400_000
HALF_DAY = DAY // 2
# A line may be written so long after its time was taken.
LATE = 60_000
# A header that follows so soon, of the same process, goes on: the file was full, or could not be
# written for a while.
AFTER_END, AFTER_FAILURE = 2000, 120_000
DETAIL, WARNING, ERROR = 700, 500, 300

# How much the page shows at most.
MOST_LINES = 1_500_000
MOST_TEXT = 48 << 20
LONGEST_TEXT = 400
MOST_MARKS = 5000
# Calls within calls, and messages that wait: more is not to be believed.
MOST_CALLS, MOST_WAITING = 100, 100_000

FAILURE = re.compile(r"Exception - (.*?)\. At (?:[^ ]*[\\/])?([^ \\/]+\(\d+\))\s*$")


class Message:
    def __init__(self, entry_id):
        self.entry_id, self.subject, self.subject_is_set = entry_id, "", False

    def take_subject(self, subject, is_set):
        # The one that the scanner set last, or else the headers' first.
        if is_set or not self.subject:
            self.subject, self.subject_is_set = subject, is_set


class Event:
    """Times are milliseconds, -1 where the trace has none. `held` is how long the event held
    Outlook's thread, `check` how long the check took."""
    __slots__ = ("message", "road", "thread", "arrived", "begun", "ended", "check", "held",
                 "outcome", "reason", "arrival", "first", "last", "changed", "error", "queued",
                 "dropped")

    def __init__(self, message, road, thread, begun, line):
        self.message, self.road, self.thread = message, road, thread
        self.arrived = self.begun = begun
        self.ended = self.check = self.held = -1
        self.outcome, self.reason = None, ""
        self.arrival = self.first = self.last = line
        self.changed = self.queued = self.dropped = False
        self.error = ""


class Frame:
    """A call that has begun: "=>" until "<="."""
    __slots__ = ("name", "begun", "line", "event", "ids", "error")

    def __init__(self, name, begun, line):
        self.name, self.begun, self.line = name, begun, line
        self.event, self.ids, self.error = None, deque(), ""


class Thread:
    __slots__ = ("run", "number", "index", "frames", "background", "handles", "is_background",
                 "why_not")

    def __init__(self, run, number, index):
        self.run, self.number, self.index = run, number, index
        self.frames, self.background = [], None
        self.handles = self.is_background = False
        self.why_not = ""

    @property
    def event(self):
        for frame in reversed(self.frames):
            if frame.event is not None:
                return frame.event
        return self.background


class Run:
    """A process, from its first line to its last."""

    def __init__(self, file, header, number):
        self.file, self.number = file, number
        self.version, _, self.zone, self.process = header or ("", 0, "", "")
        self.threads, self.queue, self.messages = {}, deque(), {}
        self.checks = 0       # that have begun and not ended
        self.foreign = {}     # errors of threads that have no event, while there is a check
        self.first = self.last = None
        self.closed = False   # in good order


class Trace:
    def __init__(self, anonymous=False):
        self.anonymous = anonymous
        self.without_content = functools.lru_cache(10_000)(form.without_content)
        self.runs, self.files = [], []
        self.events, self.threads = [], []
        self.calls = []       # of Outlook: thread, begun, ended, name, line
        self.marks = []       # errors and warnings beside the checks: time, thread, level, line
        self.troubles = {}    # their texts: level, count, first line, last line, first time
        self.text_ids, self.texts, self.kinds = {}, [], []
        self.levels = {}      # of the lines: count
        self.level_ids = []
        self.times = array("q")
        self.line_threads, self.line_levels = array("I"), array("H")
        self.line_texts = array("I")
        self.lines = self.unknown = self.lost = self.lines_left_out = 0
        self.text_size = 0
        self.half_calls = self.clock_steps = 0
        self.date_is_assumed = False

    # Reading

    def read(self, path):
        run, day, last_stamp, last, now = None, None, None, 0, 0
        self.files.append(form.name_of(path))
        for line in form.read_lines(path):
            fields = line.split("\t", 3)
            if len(fields) != 4:
                if header := form.parse_header(line):
                    run, day = self.take_header(path, run, header, now)
                    last_stamp, last = None, header[1] * 1000
                elif line.startswith(form.FOOTER):
                    if run:
                        run.closed = True
                elif line:
                    self.unknown += 1
                continue
            stamp, number, level, text = fields
            if stamp != last_stamp:
                found = form.STAMP.fullmatch(stamp)
                if not found:
                    self.unknown += 1
                    continue
                hour, minute, second, thousandth = map(int, found.groups())
                of_day = ((hour * 60 + minute) * 60 + second) * 1000 + thousandth
                if run is None:
                    run, day = self.begin_without_header(path)
                    last = day + of_day
                now = day + of_day
                if now < last - HALF_DAY:
                    day, now = day + DAY, now + DAY
                elif now - DAY > last - LATE:
                    now -= DAY  # from before midnight, and written after it
                elif now < last - 1000:
                    self.clock_steps += 1
                last_stamp, last = stamp, now
            thread = run.threads.get(number)
            if thread is None:
                if not form.THREAD.fullmatch(number):
                    self.unknown += 1
                    continue
                thread = run.threads[number] = Thread(run, number, len(self.threads))
                self.threads.append(thread)
            if level not in self.levels:
                if not form.LEVEL.fullmatch(level):
                    self.unknown += 1
                    continue
                self.levels[level] = [0, len(self.level_ids), int(level)]
                self.level_ids.append(int(level))
            known = self.levels[level]
            known[0] += 1
            if run.first is None:
                run.first = now
            run.last = now
            self.take_line(now, thread, known[1], known[2], text)
        return run

    def take_header(self, path, run, header, now):
        local = header[1] * 1000
        before = run or (self.runs[-1] if self.runs else None)
        same = before and before.process == header[3] and before.last is not None
        patience = AFTER_END if before and before.closed else AFTER_FAILURE
        if not (same and 0 <= local + 999 - before.last < patience):
            self.end_run(before)
            before = Run(form.name_of(path), header, len(self.runs))
            self.runs.append(before)
        before.closed = False
        return before, local - local % DAY

    def begin_without_header(self, path):
        """A file whose beginning is missing: its date is that of its last change."""
        self.date_is_assumed = True
        changed = datetime.datetime.fromtimestamp(path.stat().st_mtime)
        day = datetime.datetime(changed.year, changed.month, changed.day, tzinfo=datetime.timezone.utc)
        if self.runs:
            self.end_run(self.runs[-1])
        run = Run(form.name_of(path), None, len(self.runs))
        self.runs.append(run)
        return run, int(day.timestamp()) * 1000

    def finish(self):
        for run in self.runs:
            self.end_run(run)
        self.events = [event for event in self.events if not event.dropped]
        if not self.lines:
            raise form.Unreadable("there is no line of a trace in it" if self.unknown
                                  else "it is empty" if not self.runs else
                                  "it has a header and no line: nothing went wrong that its level "
                                  "has written")

    def take_line(self, now, thread, level_id, level, text):
        if self.anonymous:
            text = self.without_content(text, level)
        shown = text if len(text) <= LONGEST_TEXT else (
            f"{text[:LONGEST_TEXT]}\u2026 ({len(text)} characters)")
        text_id = self.text_ids.get(shown)
        if text_id is None or shown is not text:
            kind = kind_of(text)
        else:
            kind = self.kinds[text_id]
        if text_id is None and self.text_size < MOST_TEXT:
            text_id = self.text_ids[shown] = len(self.texts)
            self.texts.append(shown)
            self.kinds.append(kind)
            self.text_size += len(shown)
        line = self.lines
        self.lines += 1
        if text_id is None or len(self.times) >= MOST_LINES or len(self.times) < line:
            self.lines_left_out += 1
        else:
            self.times.append(now)
            self.line_threads.append(thread.index)
            self.line_levels.append(level_id)
            self.line_texts.append(text_id)
        what, value = kind
        if what != PLAIN:
            self.HANDLE[what](self, now, thread, line, value)
        if level <= WARNING:
            self.take_trouble(now, thread, line, level, text)

    # What lines say

    def begin_call(self, now, thread, line, name):
        frame = Frame(name, now, line)
        if len(thread.frames) >= MOST_CALLS:
            self.cut_call(thread, thread.frames.pop(0))
        if name == CHECK:
            event = thread.event
            if event is None or event.outcome is not None:
                event = self.new_event(thread, None, DIRECT, now, line)
                frame.event = event
            thread.run.checks += 1
        elif name in HANDLERS:
            thread.handles = True
            if name != "OnNewMailEx":
                frame.event = self.new_event(thread, None, HANDLERS[name], now, line)
        elif name.startswith("On"):
            thread.handles = True
        thread.frames.append(frame)

    def end_call(self, now, thread, line, name):
        frames = thread.frames
        for depth in reversed(range(len(frames))):
            if frames[depth].name == name:
                break
        else:
            self.half_calls += 1
            return
        while len(frames) > depth + 1:  # their ends are missing
            self.cut_call(thread, frames.pop())
        frame = frames.pop()
        if name == CHECK:
            self.end_check(now, thread, line, frame)
        else:
            if not frames or name.startswith("On"):
                self.calls.append((thread.index, frame.begun, now, name, frame.line))
            if frame.event is not None:
                self.end_event(frame.event, now, line)
            elif frame.error and name == "OnItemLoad":
                self.tell(thread, frame, "", OPENED, now, line, (FAILED, frame.error))
            for entry_id in frame.ids:  # none of them was begun
                self.tell(thread, frame, entry_id, RECEIVED, now, line,
                          (FAILED, frame.error) if frame.error else
                          (NOT_CHECKED, "the trace does not say why"))

    def tell(self, thread, frame, entry_id, road, now, line, value):
        """An event that came to nothing, for a call that knows no more of it."""
        event = self.new_event(thread, entry_id, road, frame.begun, frame.line)
        self.say(thread, event, *value)
        self.end_event(event, now, line)

    def cut_call(self, thread, frame):
        if frame.name == CHECK:
            thread.run.checks -= 1
        event = frame.event if frame.event is not None else (
            thread.event if frame.name == CHECK else None)
        if event is not None and event.outcome is None and not event.queued:
            event.outcome = NO_END

    def end_check(self, now, thread, line, frame):
        run = thread.run
        run.checks -= 1
        event = frame.event if frame.event is not None else thread.event
        if event is not None:
            event.check, event.last = now - frame.begun, line
            event.outcome = CHANGED if event.changed else CHECKED
            if run.foreign:
                # The one whose worker wrote an error first is told of it first.
                first = next(iter(run.foreign))
                event.outcome, event.reason = FAILED, run.foreign.pop(first)
            if frame.event is not None:
                self.end_event(event, now, line)
        if run.checks <= 0:
            run.checks = 0
            run.foreign.clear()

    def new_event(self, thread, entry_id, road, now, line):
        event = Event(self.message(thread.run, entry_id), road, thread.index, now, line)
        self.events.append(event)
        return event

    @staticmethod
    def message(run, entry_id):
        """Messages without an id cannot be told from each other."""
        if not entry_id:
            return Message("")
        if entry_id not in run.messages:
            run.messages[entry_id] = Message(entry_id)
        return run.messages[entry_id]

    def end_event(self, event, now, line):
        event.last = line
        if event.road != DIRECT and not event.queued:
            event.held = now - event.begun
        if not event.queued:
            event.ended = now
        if event.outcome is None and not event.queued:
            event.outcome = FAILED if event.error else NOT_CHECKED
            event.reason = event.error or "the trace does not say why"

    def skip(self, now, thread, line, value):
        frame = thread.frames[-1] if thread.frames else None
        event = thread.event
        if event is not None and (frame is None or frame.name != "OnNewMailEx" or not frame.ids
                                  or frame.event is not None):
            self.say(thread, event, *value)
        elif frame and frame.name == "OnNewMailEx":
            while frame.ids:
                self.tell(thread, frame, frame.ids.popleft(), RECEIVED, now, line, value)
        elif frame and frame.name == "OnItemLoad":
            self.tell(thread, frame, "", OPENED, now, line, value)

    @staticmethod
    def say(thread, event, outcome, reason):
        event.outcome = outcome
        event.reason = thread.why_not or reason if reason == SETTINGS_SAY_NO else reason

    def reason(self, now, thread, line, value):
        thread.why_not = value

    def new_ids(self, now, thread, line, value):
        if thread.frames and thread.frames[-1].name == "OnNewMailEx":
            thread.frames[-1].ids = deque(filter(None, value.split(",")))

    def new_id(self, now, thread, line, value):
        frame = thread.frames[-1] if thread.frames else None
        if not frame or frame.name != "OnNewMailEx":
            return
        event = frame.event
        if event is not None:
            self.end_event(event, now, line)
        entry_id = frame.ids.popleft() if frame.ids else ""
        frame.event = self.new_event(thread, entry_id, RECEIVED, now, line)
        # What followed an item that was added is told of here.
        for outer in thread.frames[:-1]:
            if outer.name == "OnItemAdd" and outer.event is not None:
                outer.event.dropped, outer.event = True, None

    def identify(self, now, thread, line, value):
        event = thread.event
        if event is None or not value:
            return
        known, event.message = event.message, self.message(thread.run, value)
        if known.subject:
            event.message.take_subject(known.subject, known.subject_is_set)

    def recent(self, now, thread, line, value):
        self.identify(now, thread, line, value)
        if thread.event is not None:
            self.say(thread, thread.event, ELSEWHERE, "it was opened within the last 30 seconds")

    def old(self, now, thread, line, value):
        self.identify(now, thread, line, value)
        if thread.event is not None:
            self.say(thread, thread.event, NOT_CHECKED, "it is not new")

    def queued(self, now, thread, line, value):
        event, queue, size = thread.event, thread.run.queue, int(value)
        if event is None or event.queued:
            event = self.new_event(thread, None, RECEIVED, now, line)
        event.queued, event.arrived = True, now
        for frame in thread.frames:  # the background thread goes on with it
            if frame.event is event:
                frame.event = None
        self.settle(queue, size - 1, size)
        queue.append(event)

    @staticmethod
    def settle(queue, least, most):
        """What is known of the queue, beside what the trace says: messages whose lines are missing
        came first, or went."""
        least = min(least, MOST_WAITING)
        while len(queue) > most:
            lost = queue.popleft()
            if lost is not None:
                lost.outcome = NO_END
        if len(queue) < least:
            queue.extendleft([None] * (least - len(queue)))

    def taken(self, now, thread, line, value):
        self.idle(now, thread, line, None)
        thread.is_background = True
        queue = thread.run.queue
        event = queue.popleft() if queue else None
        self.settle(queue, int(value), 1 << 62)
        if event is None:
            event = self.new_event(thread, None, RECEIVED, now, line)
        event.thread, event.begun, event.queued = thread.index, now, False
        event.first = event.last = line
        event.held = -1
        thread.background = event

    def idle(self, now, thread, line, value):
        thread.is_background = True
        event, thread.background = thread.background, None
        if event is not None:
            self.end_event(event, now, line)
            event.held = -1

    def subject(self, now, thread, line, value):
        event = thread.event
        if event is not None:
            event.message.take_subject(*value)

    def saved(self, now, thread, line, value):
        if thread.event is not None:
            thread.event.changed = True

    def no_mail(self, now, thread, line, value):
        if thread.frames and thread.frames[-1].event is not None:
            event, thread.frames[-1].event = thread.frames[-1].event, None
            event.dropped = True

    def forced(self, now, thread, line, value):
        for other in thread.run.threads.values():
            if event := other.background:
                event.outcome, event.reason = FAILED, "it was ended by force when Outlook closed"

    def take_trouble(self, now, thread, line, level, text):
        event = thread.event
        in_check = bool(thread.frames) and thread.frames[-1].name == CHECK
        if in_check:
            return  # an answer to the scanner
        if level <= ERROR:
            found = FAILURE.search(text) if len(text) < LONGEST_TEXT else None
            reason = f"{found[1]}, {found[2]}" if found and found[1] else text[:200].strip()
            if event is not None:
                event.error = reason
            elif thread.frames:
                thread.frames[-1].error = reason
            elif thread.run.checks:
                thread.run.foreign[thread.number] = reason
        if len(self.marks) < MOST_MARKS:
            self.marks.append((now, thread.index, level, line))
        text = text[:LONGEST_TEXT]
        known = self.troubles.get(text)
        if known:
            known[1] += 1
            known[3] = line
        elif len(self.troubles) < MOST_MARKS:
            self.troubles[text] = [level, 1, line, line, now]

    def end_run(self, run):
        if run is None:
            return
        for thread in run.threads.values():
            while thread.frames:
                self.cut_call(thread, thread.frames.pop())
            if thread.background is not None:
                if thread.background.outcome is None:
                    thread.background.outcome = NO_END
                thread.background = None
        while run.queue:
            if event := run.queue.popleft():
                event.ended = event.begun  # its check never began
                event.outcome, event.reason = (NOT_CHECKED, "Outlook was closed before its turn") \
                    if run.closed else (NO_END, "it waits for its check")
        run.threads, run.checks = {}, 0
        run.foreign.clear()

    HANDLE = {BEGIN: begin_call, END: end_call, SKIP: skip, REASON: reason, NEW_IDS: new_ids,
              NEW_ID: new_id, ID: identify, RECENT: recent, OLD: old, QUEUED: queued, TAKEN: taken,
              EMPTY: idle, SUBJECT: subject, SAVED: saved, NO_MAIL: no_mail, FORCED: forced}
