#!/usr/bin/env python3
"""Writes mails in which an engine finds something: one for each place where it may lie, and one for
each of Debian's test files for clamd.

    sandbox/mail/make_finds.py --kinds DIR
    sandbox/mail/make_finds.py --test-files DIR

Needs the packages of 'scripts/install-tools clamd'. What is to be found is the EICAR test string, which
is put together here, and those files.
"""

import sys
from email.message import EmailMessage
from email.mime.application import MIMEApplication
from email.mime.multipart import MIMEMultipart
from email.mime.text import MIMEText
from email.policy import SMTP
from importlib.machinery import SourceFileLoader
from importlib.util import module_from_spec, spec_from_loader
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def load_clamd_run():
    loader = SourceFileLoader("clamd_run", str(ROOT / "scripts/clamd-run"))
    module = module_from_spec(spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


sys.dont_write_bytecode = True
clamd_run = load_clamd_run()


def address(mail, subject):
    mail["Received"] = ("from mail.example.com (mail.example.com [192.0.2.188]) by mx.example.org "
                        "with ESMTPS id 5A2E77C2; Mon, 25 Mar 2024 08:02:11 +0100")
    mail["Date"] = "Mon, 25 Mar 2024 08:02:07 +0100"
    mail["From"] = "Nora Lindqvist <nora.lindqvist@example.com>"
    mail["To"] = "Tom Berg <tom.berg@example.org>"
    mail["Subject"] = subject
    return mail


def mail_with(subject, text, *attachments):
    """`attachments`: (name, MIME type, content)."""
    mail = address(EmailMessage(policy=SMTP), subject)
    mail.set_content(text + "\n\nNora\n", cte="quoted-printable")
    for name, kind, content in attachments:
        main, sub = kind.split("/")
        mail.add_attachment(content, maintype=main, subtype=sub, filename=name)
    return mail.as_bytes()


def test_file(name):
    return (clamd_run.TEST_FILES / name).read_bytes()


def kinds():
    """Mails by name."""
    eicar = clamd_run.eicar()
    harmless = "list.txt", "text/plain", b"Nothing to see here.\r\n"
    yield "find_in_text", mail_with(
        "The line you asked for", f"Tom,\n\nit is this one:\n\n{eicar.decode()}")
    html = address(EmailMessage(policy=SMTP), "The line, in colour")
    html.set_content(f"<html><body><p>Tom, <b>this</b> one:</p><p>{eicar.decode()}</p></body></html>",
                     subtype="html", cte="base64")
    yield "find_in_html", html.as_bytes()
    yield "find_in_archive", mail_with(
        "The photographs", "Tom, they are all in the archive.", harmless,
        ("photographs.zip", "application/zip", test_file("clam.zip")))
    yield "find_in_document", mail_with(
        "Minutes of Friday", "Tom, please add what I forgot.",
        ("minutes.doc", "application/msword", test_file("clam.ole.doc")))
    yield "find_in_mail_file", mail_with(
        "A complaint", "Tom, this came yesterday.",
        ("complaint.eml", "application/octet-stream", test_file("clam.mail")))
    inner = EmailMessage(policy=SMTP)
    address(inner, "The photographs")
    inner.set_content("All of them.\n")
    inner.add_attachment(test_file("clam.zip"), maintype="application", subtype="zip",
                         filename="photographs.zip")
    outer = address(EmailMessage(policy=SMTP), "Fwd: The photographs")
    outer.set_content("Tom, for you.\n")
    outer.add_attachment(inner)
    yield "find_in_attached_mail", outer.as_bytes()
    yield "find_in_ole_object", mail_with(
        "Offer with a calculation", "Tom, double click the sheet.",
        ("Sheet", "application/x-oleobject", eicar))
    # Nobody looks at the signature.
    signed = address(MIMEMultipart("signed", protocol="application/pkcs7-signature",
                                   micalg="sha-256", policy=SMTP), "Signed: the archive")
    content = MIMEMultipart(policy=SMTP)
    content.attach(MIMEText("Tom, signed as you wished.\n", policy=SMTP))
    archive = MIMEApplication(test_file("clam.zip"), "zip", name="archive.zip", policy=SMTP)
    archive["Content-Disposition"] = 'attachment; filename="archive.zip"'
    content.attach(archive)
    signed.attach(content)
    signed.attach(MIMEApplication(b"\0" * 64, "pkcs7-signature", name="smime.p7s", policy=SMTP))
    yield "find_in_signed_mail", signed.as_bytes()
    yield "test_files", mail_with(
        "All of the test files", "Tom, one of each kind.",
        *((path.name, "application/octet-stream", path.read_bytes()) for path in all_test_files()))


def all_test_files():
    return sorted(clamd_run.TEST_FILES.iterdir())


def test_files():
    for path in all_test_files():
        yield path.name.replace(".", "_"), mail_with(f"Of the test files: {path.name}", "One of them.",
                                   (path.name, "application/octet-stream", path.read_bytes()))


def write(mails, folder):
    """Gives the paths."""
    folder = Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    paths = []
    for name, content in mails:
        paths.append(folder / f"{name}.eml")
        paths[-1].write_bytes(content)
    return paths


if __name__ == "__main__":
    if len(sys.argv) != 3 or sys.argv[1] not in ("--kinds", "--test-files"):
        sys.exit(__doc__)
    write(kinds() if sys.argv[1] == "--kinds" else test_files(), sys.argv[2])
