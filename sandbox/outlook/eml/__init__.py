"""The converter between .eml files and the message files of the stand-in store.

mime finds the parts of a mail as byte ranges, text knows charsets and encodings, headers edits one
header block, contents decides which part is a body and which an attachment; unpack and pack are
the two directions, commands the command line.
"""
