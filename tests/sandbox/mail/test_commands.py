import json
import subprocess
import tempfile
import unittest
from pathlib import Path

from support import *


def run(program, *arguments):
    return subprocess.run([sys.executable, "-B", program, *map(str, arguments)],
                          capture_output=True, text=True, check=False)


class Commands(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def test_a_folder_goes_there_and_back(self):
        twin = self.folder / "PLAIN.eml"
        twin.write_bytes(sample("invoice"))
        sources = [SAMPLES / "plain.eml", twin, SAMPLES / "newsletter.eml"]
        into, out = self.folder / "in", self.folder / "out"
        self.assertEqual(0, run(CONVERTER, "unpack", "--into", into, "--received",
                                *sources).returncode)
        entries = json.loads((into / "manifest.json").read_text())["messages"]
        self.assertEqual([str(path) for path in sources], [item["source"] for item in entries])
        self.assertEqual(["plain.json", "PLAIN-2.json", "newsletter.json"],
                         [item["message"] for item in entries])

        changed = json.loads((into / "plain.json").read_text())
        changed["properties"][SUBJECT] = "Checked"
        (into / "plain.json").rename(self.folder / "kept.json")
        after = self.folder / "after"
        after.mkdir()
        for item in entries[1:]:
            (after / item["message"]).write_bytes((into / item["message"]).read_bytes())
        (after / "plain.json").write_text(json.dumps(changed))
        (self.folder / "kept.json").rename(into / "plain.json")
        batch = ("pack", "--manifest", into / "manifest.json", "--after", after, "--out", out)
        self.assertEqual(0, run(CONVERTER, *batch).returncode)
        self.assertEqual(sample("invoice"), (out / "PLAIN-2.eml").read_bytes())

        pair = (SAMPLES / "plain.eml", out / "plain.eml")
        for options, code in (((), 1), (("--expect", "header Subject"), 0),
                              (("--allow", "header *"), 0),
                              (("--allow", "header *", "--expect", "text 1"), 1)):
            self.assertEqual(code, run(COMPARE, *pair, *options).returncode, options)
        self.assertIn("header Subject: ", run(COMPARE, *pair).stdout)
        self.assertEqual(0, run(COMPARE, pair[0], pair[0]).returncode)

        (after / "plain.json").write_text("{")
        failed = run(CONVERTER, *batch)
        self.assertEqual(1, failed.returncode)
        self.assertNotIn("Traceback", failed.stderr)

    def test_a_person_sees_both_mails_side_by_side(self):
        changed = self.folder / "changed.eml"
        changed.write_bytes(sample("eicar_attachment").replace(b"Subject: ", b"Subject: [INFECTED] "))
        shown = run(CONVERTER, "show", SAMPLES / "eicar_attachment.eml", changed)
        self.assertEqual(0, shown.returncode)
        for line in ("Subject: Scanner test, string in an attachment +[|] Subject: .INFECTED. Sc",
                     "\\[harmless.txt, 22 bytes\\] +[|] .harmless.txt", "  Nothing to see here. +[|]"):
            self.assertRegex(shown.stdout, line)
        page = self.folder / "page.eml"
        page.write_bytes(b"Content-Type: text/html\r\n\r\n<style>p{}</style><p>One<p>Two<br>")
        self.assertRegex(run(CONVERTER, "show", page, page).stdout, r"\nOne +[|] One\nTwo +[|] Two")
        self.assertEqual(2, run(CONVERTER, "show", page).returncode)
        self.assertEqual(1, run(CONVERTER, "show", page, self.folder / "none.eml").returncode)

    def test_the_comparison_sees_what_the_parts_do_not_show(self):
        data = sample("attachments")
        for change, expected in (
                (lambda raw: raw.replace(b"1.0\r\n", b"1.0\n"), ["line-ends"]),
                (lambda raw: raw.replace(b"From: Paul", b"From:  Paul"), ["bytes"]),
                (lambda raw: raw.replace(b"; filename=sample", b";\r\n filename=sample"),
                 ["header content-disposition 1.3"]),
                (lambda raw: raw.replace(b"image/png", b"image/gif"), ["type 1.3"]),
                (lambda raw: raw + b"more", ["epilogue 1"])):
            self.assertEqual(expected, [what for what, _ in
                                        compare_mail.compare(data, change(data))])

    def test_what_is_not_there_is_told(self):
        result = run(CONVERTER, "unpack", "--into", self.folder, self.folder / "none.eml")
        self.assertEqual(1, result.returncode)
        self.assertIn("none.eml", result.stderr)
        self.assertEqual(2, run(COMPARE, self.folder / "none.eml", "x").returncode)
