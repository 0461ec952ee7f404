#!/usr/bin/env python3
"""Writes the large sample, a mail with a plain body and an attachment of about 1 MiB in all.

    sandbox/mail/make_large.py OUT.eml [BYTES]

The same size always gives the same bytes.
"""

import base64
import sys
from pathlib import Path

HEADERS = """Received: from mail.example.com (mail.example.com [192.0.2.188])
\tby mx.example.org with ESMTPS id 5A2E77C1
\tfor <tom.berg@example.org>; Fri, 22 Mar 2024 17:31:30 +0100
Date: Fri, 22 Mar 2024 17:31:22 +0100
From: Nora Lindqvist <nora.lindqvist@example.com>
To: Tom Berg <tom.berg@example.org>
Subject: Readings of all meters, complete
Message-ID: <20240322.173122.9@mail.example.com>
MIME-Version: 1.0
Content-Type: multipart/mixed; boundary="readings-2024"

--readings-2024
Content-Type: text/plain; charset=us-ascii

Tom,

all readings are below, and once more as a table in the attachment.

"""

BETWEEN = """
--readings-2024
Content-Type: text/csv; charset=us-ascii; name=readings.csv
Content-Transfer-Encoding: base64
Content-Disposition: attachment; filename=readings.csv

"""


def readings(size, form):
    lines, length, number = [], 0, 0
    while length < size:
        lines.append(form.format(number, number % 24, number * 7919 % 100003))
        length += len(lines[-1])
        number += 1
    return "".join(lines)


def large_mail(size):
    body = readings(size // 2, "Meter {0:06}, {1:02}:00 h: {2:6} kWh\r\n")
    table = readings(size * 3 // 8, "{0:06};{1:02}:00;{2}\r\n").encode()
    start, between = (text.replace("\n", "\r\n") for text in (HEADERS, BETWEEN))
    encoded = base64.encodebytes(table).replace(b"\n", b"\r\n")
    return (start + body + between).encode() + encoded + b"--readings-2024--\r\n"


if __name__ == "__main__":
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    Path(sys.argv[1]).write_bytes(large_mail(int(sys.argv[2]) if len(sys.argv) == 3 else 1 << 20))
