"""What the texts of a trace's lines say of messages."""

import email.errors
import email.header
import re

# Outcomes, the mildest first.
CHECKED, CHANGED, ELSEWHERE, NOT_CHECKED, NO_END, FAILED = range(6)
OUTCOMES = ["checked", "checked and changed", "skipped, checked elsewhere", "not checked",
            "no end in the trace", "failed"]
RECEIVED, OPENED, SENT, DIRECT = range(4)
ROADS = ["received", "opened", "sent", "check"]

# Of a subject, as the page has it.
LONGEST_SUBJECT = 300

HANDLERS = {"OnNewMailEx": RECEIVED, "OnItemAdd": RECEIVED, "OnDelivery": RECEIVED,
            "OnRead(OU2007)": OPENED, "OnRead(OU2003)": OPENED, "OnItemSend": SENT}
CHECK = "ProcessMessage"

SETTINGS_SAY_NO = "the settings say no"
READ_IMPL = "plugins::mail_processing::CAddin::ItemReadImpl"
# Lines that say why a message is not checked: the outcome and the reason.
SKIPPED = {
    "OnNewMailEx no need to check": (NOT_CHECKED, SETTINGS_SAY_NO),
    "OnDelivery no need to check": (NOT_CHECKED, SETTINGS_SAY_NO),
    "No need to check on read": (NOT_CHECKED, SETTINGS_SAY_NO),
    "OnItemSend: No need to check on send": (NOT_CHECKED, SETTINGS_SAY_NO),
    "OnItemSend: Item read is already processing this message":
        (NOT_CHECKED, "it was sent while a message was being opened"),
    "OnNewMail: Item read is already processing this message":
        (NOT_CHECKED, "it came while a message was being opened"),
    READ_IMPL + " Item send is already processing this message":
        (NOT_CHECKED, "it was opened while a message was being sent"),
    READ_IMPL + " Item add is already processing this message":
        (NOT_CHECKED, "it was opened while a message was being added"),
    READ_IMPL + " skip check on read. Message just created": (NOT_CHECKED, "it was just created"),
    READ_IMPL + " message is not saved, exiting": (NOT_CHECKED, "it is being written"),
    "MailItem is being currently processed in background, skipping":
        (ELSEWHERE, "the background thread has it in hand"),
    "Message is being processed now. Skip add to queue":
        (ELSEWHERE, "the background thread has it in hand"),
    "Message is already present in queue": (ELSEWHERE, "it is in the queue already"),
    "Async processor exiting, message not added to queue": (NOT_CHECKED, "Outlook is closing"),
    "Skip add message for empty entry id": (NOT_CHECKED, "it has no entry id"),
    "Failed to add message to async thread queue. MAPI EDK not initialized.":
        (FAILED, "MAPI is not initialised"),
    "[ASYNC] Processing of message is skipped, task not ready":
        (NOT_CHECKED, "protection is off, or the product was never reached"),
}
# Lines that say why the settings say no.
WHY_NOT = {
    "Plugin disabled. Scanning not needed": "protection is off",
    "Check incoming only setted. Scanning not need on send": "only incoming mail is checked",
    "IsNeedScan by policy: 0": "a policy says no",
    "IsNeedScan by user settings: 0": "the user's settings say no",
}
IDLE = ("[ASYNC] Message queue is empty", "[ASYNC] Async processor thread is waiting for events...",
        "[ASYNC] Async processor thread exiting")

# What a text is, each found once: (what, value).
(PLAIN, BEGIN, END, SKIP, REASON, NEW_IDS, NEW_ID, ID, RECENT, OLD, QUEUED, TAKEN, EMPTY, SUBJECT,
 SAVED, NO_MAIL, FORCED) = range(17)
FIXED = {text: (SKIP, value) for text, value in SKIPPED.items()}
FIXED |= {text: (REASON, value) for text, value in WHY_NOT.items()}
FIXED |= {text: (EMPTY, None) for text in IDLE}
FIXED |= {
    "OnNewMail": (NEW_ID, None),
    "Process property save": (SAVED, None),
    "The item is no mail": (NO_MAIL, None),
    "Unable to stop async processor thread, thread should be terminated": (FORCED, None),
}
FORMS = [(re.compile(pattern, re.ASCII), what) for pattern, what in (
    (r"OnNewMailEx ([0-9A-Fa-f,]+)", NEW_IDS),
    (r"Process message with id: ([0-9A-Fa-f]*)", ID),
    (r"Process item as new mail: ([0-9A-Fa-f]*)", ID),
    (r"It is not new mail item\. Skip it: ([0-9A-Fa-f]*)", OLD),
    (r"MailItem ([0-9A-Fa-f]+) was recently checked on read, skipping", RECENT),
    (r"OnRead: message '([0-9A-Fa-f]+)' was recently checked on read, skipping", RECENT),
    (r"Message is added to queue, queue now contains (\d{1,9}) messages", QUEUED),
    (r"\[ASYNC\] Processing message from queue, (\d{1,9}) messages remain\.\.\.", TAKEN),
)]
FIRST_LETTERS = set("OPIM[")
SETS_SUBJECT = re.compile(r"Set property 0x0037001[ef] value: ")
SETS_HEADERS = re.compile(r"Set property 0x007d001[ef] value: ")
SUBJECT_HEADER = re.compile(r"(?:^|\\u000a)Subject:[ \t]*(.*?)(?=\\u000d\\u000a(?![ \t])|$)",
                            re.IGNORECASE)


def kind_of(text):
    if found := FIXED.get(text):
        return found
    if text.startswith("=> "):
        return BEGIN, text[3:60]
    if text.startswith("<= "):
        return END, text[3:60]
    if text.startswith("Set property 0x00"):
        if sets := SETS_SUBJECT.match(text):
            return SUBJECT, (text[sets.end():][:LONGEST_SUBJECT], True)
        if sets := SETS_HEADERS.match(text):
            header = SUBJECT_HEADER.search(text[sets.end():])
            return (SUBJECT, (unfolded(header[1]), False)) if header else (PLAIN, None)
    if text[:1] in FIRST_LETTERS:
        for pattern, what in FORMS:
            if found := pattern.fullmatch(text):
                return what, found[1]
    return PLAIN, None


def unfolded(value):
    """A header field's value as people read it."""
    value = value[:2000].replace("\\u000d\\u000a", "")
    try:
        return str(email.header.make_header(email.header.decode_header(value)))[:LONGEST_SUBJECT]
    except (ValueError, LookupError, email.errors.HeaderParseError):
        return value[:LONGEST_SUBJECT]
