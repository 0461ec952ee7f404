import base64
import email
import unittest

from support import *

NOTICE = "\r\n---------------------\r\nThis message was checked."


def setting(tag, value):
    return lambda message: message["properties"].update({tag: value})


def appending(tag, text):
    def change(message):
        message["properties"][tag] += text
    return change


def renaming(number, name):
    return lambda message: message["attachments"][number]["properties"].update(
        {tag: name for tag in (DISPLAY_NAME, "3704001E", "3707001E")} |
        {ATTACH_LONG_FILENAME: name, ATTACH_FILENAME: name})


def replacing(number, content):
    return lambda message: message["attachments"][number]["properties"].update(
        {ATTACH_DATA: base64.b64encode(content).decode()})


def deleting(number):
    def change(message):
        del message["attachments"][number]
    return change


def removing(tag):
    return lambda message: message["properties"].pop(tag)


class Pack(unittest.TestCase):
    def test_no_change_keeps_every_byte(self):
        for name, data in samples().items():
            with self.subTest(name):
                message = unpack(data)
                self.assertEqual(data, pack(data, message, message))

    def test_a_subject_changes_in_every_sample_and_nothing_else_does(self):
        for subject in ("[Checked] nothing found", "Проверено: ничего не найдено — " * 8,
                        "=?not?a?word?=", " blanks ", "two\r\nX-Lines: 1", ""):
            for name, data in samples().items():
                with self.subTest(name, subject=subject):
                    packed, differences, _ = carry(data, setting(SUBJECT, subject))
                    self.assertEqual(["header Subject"], differences)
                    self.assertEqual(subject, unpack(packed)["properties"][SUBJECT])
                    body = data.partition(b"\r\n\r\n")[2]
                    self.assertTrue(packed.endswith(b"\r\n\r\n" + body))

    def test_a_notice_changes_the_text_of_its_part_alone(self):
        for name, data in samples().items():
            for tag in (BODY, BODY_HTML) if name != "signed" else ():
                if tag in unpack(data)["properties"]:
                    with self.subTest(name, tag=tag):
                        packed, differences, _ = carry(data, appending(tag, NOTICE))
                        self.assertRegex(" ".join(differences), r"^text [\d.]+$")
                        self.assertEqual(unpack(data)["properties"][tag] + NOTICE,
                                         unpack(packed)["properties"][tag])

    def test_each_change_is_exactly_its_difference(self):
        def embedded(message):
            inner = message["attachments"][0]["message"]
            setting(SUBJECT, "Checked")(inner)
            deleting(0)(inner)

        table = (
            ("plain", appending(BODY, "\r\nпроверено"), ["text 1", "encoding 1"]),
            ("html_only", appending(BODY_HTML, "<p>€ ок</p>"), ["text 1", "encoding 1"]),
            ("cyrillic_koi8r", appending(BODY, "проверено"), ["text 1"]),
            ("plain", removing(BODY), ["text 1"]),
            ("alternative", removing(BODY_HTML), ["structure 1.2"]),
            ("alternative", removing(BODY), ["structure 1.1"]),
            ("attachments", renaming(0, "safe.pdf"), ["name 1.2"]),
            ("attachments", renaming(1, 'a "name", длинное имя; ' * 4 + ".png"), ["name 1.3"]),
            ("attachments", replacing(0, b"removed"), ["content 1.2"]),
            ("attachments", replacing(2, b"\0\xff\r"), ["content 1.4", "encoding 1.4"]),
            ("attachments", deleting(1), ["structure 1.3"]),
            ("eicar_attachment", deleting(0), ["structure 1.2"]),
            ("nested", embedded, ["header Subject 1.2.1", "structure 1.2.1.2"]),
            ("plain", setting(INTERNET_MESSAGE_ID, "<1@x>"), ["header Message-ID"]),
            ("plain", setting(CLIENT_SUBMIT_TIME, 133541032180000000 + 10**7), ["header Date"]),
            ("plain", setting(SENDER_NAME, "Someone, Else"), ["header From"]),
            ("alternative", setting(SENDER_EMAIL, "x@example.net"), ["header Sender"]),
            ("plain", setting("3FFF001F", "любой\ntext"), ["header X-MAPI-3FFF001F"]),
            ("plain", setting("3FFF0003", 7), ["header X-MAPI-3FFF0003"]),
            ("plain", setting("30070040", 5), []),
        )
        for name, change, expected in table:
            with self.subTest(name, expected=expected):
                packed, differences, _ = carry(sample(name), change)
                self.assertEqual(sorted(expected), sorted(differences))
                after = unpack(sample(name))
                change(after)
                for tag in (SUBJECT, BODY, BODY_HTML, SENDER_NAME):
                    self.assertEqual(after["properties"].get(tag) or "",
                                     unpack(packed)["properties"].get(tag) or "")

    def test_new_names_and_contents_read_back(self):
        for name in ("safe.txt", 'q"u\\ote.txt', "имя " * 60 + ".txt", "two\r\nlines", "=?x?="):
            packed, _, _ = carry(sample("attachments"), renaming(2, name))
            part = email.message_from_bytes(packed).get_payload(3)
            self.assertEqual(name, part.get_filename())
        for content in (b"", b"plain\n", b"\0\r\n--frames-mixed-1--", bytes(range(256)), b"x" * 5000):
            for number in range(3):
                packed, _, _ = carry(sample("attachments"), replacing(number, content))
                part = email.message_from_bytes(packed).get_payload(number + 1)
                self.assertEqual(content, part.get_payload(decode=True))

    def test_transport_headers_are_carried_line_by_line(self):
        data = sample("alternative")
        table = (
            ("added", lambda text: text + "\r\nX-Checked: да\r\n\r\n", ["header X-Checked"]),
            ("added without end", lambda text: text + "X-A: 1", ["header X-A"]),
            ("replaced", lambda text: text.replace("two offers", "2 offers"), ["header Subject"]),
            ("removed", lambda text: text.replace("Reply-To: nora.lindqvist@example.com\r\n", ""),
             ["header Reply-To"]),
            ("no header", lambda text: text + "out of: place", ["header X-MAPI-007D001F"]),
        )
        for name, edit, expected in table:
            with self.subTest(name):
                headers = unpack(data)["properties"][TRANSPORT_HEADERS]
                packed, differences, _ = carry(data, setting(TRANSPORT_HEADERS, edit(headers)))
                self.assertEqual(expected, differences)
                self.assertTrue(packed.endswith(data.partition(b"\r\n\r\n")[2]))

    def test_all_at_once(self):
        def change(message):
            for step in (setting(SUBJECT, "Checked"), appending(BODY, NOTICE), renaming(0, "a.pdf"),
                         replacing(0, b"gone"), setting("3FFF001E", "x")):
                step(message)
            appending(TRANSPORT_HEADERS, "\r\nX-Checked: yes\r\n\r\n")(message)
            for number in (2, 1):
                deleting(number)(message)
        _, differences, _ = carry(sample("attachments"), change)
        self.assertEqual({"header Subject", "header X-Checked", "header X-MAPI-3FFF001F",
                          "text 1.1", "name 1.2", "content 1.2", "structure 1.3",
                          "structure 1.4"}, set(differences))

    def test_the_last_attachment_leaves_an_empty_part(self):
        data = simple("Content-Type: multipart/mixed; boundary=b\r\n",
                      "--b\r\nContent-Type: image/png\r\n\r\nx\r\n--b--\r\n")
        packed, _, _ = carry(data, deleting(0))
        self.assertTrue(packed.endswith(b"--b\r\n\r\n\r\n--b--\r\n"))

    def test_the_rest_keeps_its_bytes(self):
        odd = simple("X-Odd:   a\r\n\t b \r\nx-odd:c\r\n", "tail\xff \r\n \r\n")
        for data in (odd, odd.replace(b"\r\n", b"\n")):
            packed, _, _ = carry(data, setting(SUBJECT, "New"))
            self.assertEqual(data.replace(b"Old", b"New"), packed)
            end = b"\r\n" if b"\r\n" in data else b"\n"
            packed, _, _ = carry(data, appending(BODY, "\xe4\r\nend"))
            self.assertEqual(data + b"\xe4" + end + b"end", packed)

    def test_signed_and_encrypted_parts_are_kept_and_changes_in_them_are_told(self):
        for name, change, told in (("signed", setting(SUBJECT, "Checked"), 0),
                                   ("signed", appending(BODY, NOTICE), 1),
                                   ("signed", lambda after: after["attachments"].clear(), 2),
                                   ("encrypted", lambda after: after["attachments"].clear(), 1)):
            data = sample(name)
            packed, differences, warnings = carry(data, change)
            self.assertTrue(packed.endswith(data.partition(b"\r\n\r\n")[2]), name)
            self.assertEqual(told, len(warnings), warnings)
            self.assertEqual(told == 0, bool(differences))

    def test_a_message_of_another_mail_is_refused(self):
        before, after = (unpack(sample("attachments")) for _ in range(2))
        with self.assertRaises(ValueError):
            pack(sample("plain"), before, after)
