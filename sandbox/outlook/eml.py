#!/usr/bin/env python3
"""Turns .eml files into message files (message_format.md) and carries changes back."""

import sys

from eml.commands import main

if __name__ == "__main__":
    sys.exit(main())
