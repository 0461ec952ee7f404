import base64
import json
import unittest

from support import *


def properties(data, **options):
    return unpack(data, **options)["properties"]


class Unpack(unittest.TestCase):
    def test_samples_give_the_properties_of_a_client(self):
        table = (
            ("plain", {SUBJECT: "Minutes of Monday's site meeting", SENDER_NAME: "Nora Lindqvist",
                       SENDER_ADDRTYPE: "SMTP", SENDER_EMAIL: "nora.lindqvist@example.com",
                       DISPLAY_TO: "Tom Berg", DISPLAY_CC: "archive@example.org",
                       CLIENT_SUBMIT_TIME: 133541032180000000,
                       PROVIDER_SUBMIT_TIME: 133541032220000000,
                       LAST_MODIFICATION_TIME: 133541032220000000,
                       INTERNET_MESSAGE_ID: "<20240305.100658.4711@mail.example.com>",
                       MESSAGE_CLASS: "IPM.Note", HAS_ATTACH: False, BODY_HTML: None}),
            ("alternative", {SENDER_NAME: "Office", REPRESENTING_NAME: "Lindqvist, Nora",
                             DISPLAY_TO: "Tom Berg; Paul O'Keeffe", HAS_ATTACH: False}),
            ("cyrillic_koi8r", {SUBJECT: "Отчёт за февраль и план на март",
                                SENDER_NAME: "Иван Петров"}),
            ("japanese_iso2022jp", {SUBJECT: "来週の打ち合わせの日程について", DISPLAY_TO: "佐藤健"}),
            ("arabic", {SUBJECT: "دعوة إلى افتتاح المعرض", HAS_ATTACH: True}),
            ("signed", {MESSAGE_CLASS: "IPM.Note.SMIME.MultipartSigned"}),
            ("encrypted", {MESSAGE_CLASS: "IPM.Note.SMIME", BODY: None}),
            ("empty_body", {BODY: "", PROVIDER_SUBMIT_TIME: None}),
            ("html_only", {BODY: None}),
        )
        for name, expected in table:
            found = properties(sample(name))
            for tag, value in expected.items():
                with self.subTest(name, tag=tag):
                    self.assertEqual(found.get(tag), value)

    def test_bodies_and_attachments_are_told_apart(self):
        table = (
            ("plain", "Tom,\r\n\r\nhere is", None, []),
            ("html_only", None, "£ 84.50", []),
            ("alternative", "differ by 1 200 €", "<b>1 200 €</b>", []),
            ("attachments", "the drawing, a colour", None,
             ["Frame drawing 7b.pdf", "sample.png", "Preisliste Frühjahr.txt"]),
            ("arabic", "مرحبا ليلى", None, ["برنامج.csv"]),
            ("signed", "electronically – please", None, ["contract.txt", "smime.p7s"]),
            ("encrypted", None, None, ["smime.p7m"]),
            ("newsletter", "The ferry’s", "<h2>Spring", ["logo.png"]),
            ("bounce", "could not be delivered", None, ["ATT00001.dat", "ATT00002.eml"]),
            ("invoice", "Jörg Vogel", "Jörg Vogel</p>", ["invoice-2024-0317.pdf"]),
        )
        for name, plain, html, files in table:
            with self.subTest(name):
                message = unpack(sample(name))
                for tag, text in ((BODY, plain), (BODY_HTML, html)):
                    if text is None:
                        self.assertNotIn(tag, message["properties"])
                    else:
                        self.assertIn(text, message["properties"][tag])
                self.assertEqual(files, [item["properties"][ATTACH_LONG_FILENAME]
                                         for item in message["attachments"]])

    def test_an_attachment_is_whole_and_a_nested_mail_is_a_message(self):
        attachment = unpack(sample("eicar_attachment"))["attachments"][0]["properties"]
        self.assertIn(b"EICAR-STANDARD", base64.b64decode(attachment[ATTACH_DATA]))
        self.assertEqual(("INVOIC~1.COM", "application/octet-stream", BY_VALUE, 68),
                         tuple(attachment[tag] for tag in (ATTACH_FILENAME, ATTACH_MIME_TAG,
                                                           ATTACH_METHOD, ATTACH_SIZE)))
        nested = unpack(sample("nested"))["attachments"][0]
        self.assertEqual(EMBEDDED_MESSAGE, nested["properties"][ATTACH_METHOD])
        self.assertEqual("Delivery on the 20th", nested["message"]["properties"][SUBJECT])
        self.assertEqual(1, len(nested["message"]["attachments"]))
        sheet = unpack(b"Content-Type: application/x-oleobject; name=Sheet\r\n\r\nrows")
        self.assertEqual({"CONTENTS": "cm93cw=="}, sheet["attachments"][0]["storage"])
        self.assertEqual(OLE_OBJECT, sheet["attachments"][0]["properties"][ATTACH_METHOD])

    def test_the_sender_is_in_the_address_book(self):
        message = unpack(sample("alternative"))
        book = {entry["properties"][ENTRY_ID]: entry["properties"][SMTP_ADDRESS]
                for entry in message["addressBook"]}
        self.assertEqual("office@example.com", book[message["properties"][SENDER_ENTRY_ID]])

    def test_the_direction_decides_on_the_provider_time(self):
        for name, direction, source in (("plain", "sent", None),
                                        ("empty_body", "received", CLIENT_SUBMIT_TIME)):
            found = properties(sample(name), direction=direction)
            self.assertEqual(found.get(source), found.get(PROVIDER_SUBMIT_TIME))

    def test_entry_ids_are_stable_and_differ(self):
        ids = [properties(data)[ENTRY_ID] for data in samples().values()]
        self.assertEqual(len(ids), len(set(ids)))
        self.assertEqual(ids, [properties(data)[ENTRY_ID] for data in samples().values()])

    def test_malformed_mail_gives_a_message_that_keeps_the_bytes(self):
        deep = b"".join(b"Content-Type: multipart/mixed; boundary=b%d\r\n\r\n--b%d\r\n" % (n, n)
                        for n in range(100))
        table = {
            "nothing": b"", "blank lines": b"\r\n\r\n", "only text": b"no header here\nat all",
            "no blank line": b"Subject: x", "starts folded": b" folded\r\nSubject: x\r\n\r\n",
            "bytes of no charset": b"Subject: \xff\xfe\r\n\r\n\xff\xfe\x81",
            "broken words": b"Subject: =?none?B?VEVT=A?= =?utf-8?Q?=ZZ=C3?= =?x?=\r\n\r\n",
            "zeros": b"Sub\0ject: a\0b\r\nFrom: \0 <a@b>\r\n\r\n\0\0",
            "lone CR": b"Subject: a\rTo: b@example.com\r\rbody\rmore",
            "no parts": b"Content-Type: multipart/mixed; boundary=x\r\n\r\ntext",
            "no boundary": b"Content-Type: multipart/mixed\r\n\r\n--\r\n\r\ntext",
            "nothing between": b"Content-Type: multipart/mixed; boundary=b\n\n--b\n--b\n--b--",
            "odd charset": simple("Content-Type: text/plain; charset=hex\r\n", "61\xe4"),
            "surrogates": simple("Content-Type: text/plain; charset=utf-7\r\n", "+2AA-"),
            "broken base64": simple("Content-Transfer-Encoding: base64\r\n", "QUJ*DR\r\nA"),
            "broken uu": simple("Content-Transfer-Encoding: x-uuencode\r\n", "begin 6 a\r\n~~~"),
            "date out of range": simple("Date: Mon, 99 Foo 99999 99:99:99 +9999999999\r\n"),
            "odd addresses": simple('To: "unclosed <a@, (x, :;;, <>\r\nSender: \r\nCc: ;:\r\n'),
            "odd parameters": simple("Content-Type: text/plain; name*1*=x'%ZZ; name*=; =\"\r\n"),
            "deep": deep,
            "deep messages": b"Content-Type: message/rfc822\r\n\r\n" * 300,
        }
        for name, data in table.items():
            with self.subTest(name):
                message = unpack(data)
                json.dumps(message, ensure_ascii=False).encode("utf-8")
                self.assertEqual(data, pack(data, message, message))
                if name != "lone CR":  # it reads as CR LF once it is written anew
                    packed, _, _ = carry(data, lambda after: after["properties"].update(
                        {SUBJECT: "New"}))
                    self.assertEqual("New", properties(packed)[SUBJECT])
        self.assertEqual("\xff\xfe\x81", properties(table["bytes of no charset"])[BODY])
