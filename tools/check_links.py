#!/usr/bin/python3
"""Follows the relative links of Markdown files.

    check_links.py FILE...

Exit code 0 means that each leads to a file or folder that exists, and its #anchor to a heading of
that file. Those that do not are named, one a line.
"""
import os
import re
import sys
from urllib.parse import unquote, urlsplit

FENCED = re.compile(r"^ *(```|~~~).*?^ *\1[^\n]*$", re.DOTALL | re.MULTILINE)
CODE = re.compile(r"`[^`\n]*`")
LINK = re.compile(r"\]\(\s*<?([^)>\s]+)|^ *\[[^\]]+\]:\s*<?([^>\s]+)", re.MULTILINE)
HEADING = re.compile(r"^#{1,6} +(.*?)[ #]*$", re.MULTILINE)


def text_of(path):
    with open(path, encoding="utf-8") as file:
        return FENCED.sub("", file.read())


def anchor(heading):
    words = re.sub(r"\]\([^)]*\)", "", heading).lower()
    return re.sub(r"[^\w -]", "", words).replace(" ", "-")


def is_dead(source, link):
    to = urlsplit(link)
    if to.scheme or to.netloc:
        return False
    path = os.path.join(os.path.dirname(source), unquote(to.path)) if to.path else source
    if not to.fragment:
        return not os.path.exists(path)
    return not os.path.isfile(path) or \
        unquote(to.fragment) not in map(anchor, HEADING.findall(text_of(path)))


dead = [f"{source}: {link} leads nowhere" for source in sys.argv[1:]
        for link in map("".join, LINK.findall(CODE.sub("", text_of(source))))
        if is_dead(source, link)]
sys.exit("\n".join(dead) or None)
