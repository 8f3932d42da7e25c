#!/usr/bin/env python3
"""Prints a page of docs/ as the reference takes it: reference_page.py PAGE, run in the project's directory.

Headings get the anchors that links on the page name (those of the web view of the sources), led by the page's name since
anchors of the reference are those of all pages; links to what is no page of the reference become plain text.
"""

import os
import re
import sys

PAGES = ("README.md", "docs/cookbook.md", "docs/library.md", "docs/engine.md", "docs/format.md", "docs/guarantees.md",
         "docs/architecture.md")


def name_of(path):
    return os.path.basename(path).removesuffix(".md").lower()


def anchor_of(page, heading):
    words = re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
    return f"{name_of(page)}-{words}"


def linked(page, match):
    text, path, anchor = match.groups()
    target = os.path.normpath(os.path.join(os.path.dirname(page), path))
    if path and target not in PAGES:
        # Pictures and addresses stay, and so does what leads nowhere: the reference then complains of it.
        return text if os.path.exists(target) and not target.endswith(".svg") else match.group(0)
    if anchor:
        return f"[{text}](#{name_of(path or page)}-{anchor})"
    return match.group(0)


def lines_of(page, lines):
    in_fence = False
    for line in lines:
        if line.startswith("```"):
            # The words behind the language are for those who take the snippets.
            in_fence, line = not in_fence, line.split(" ")[0]
        elif not in_fence and re.match(r"##+ ", line):
            line = f"{line} {{#{anchor_of(page, line.lstrip('# '))}}}"
        elif not in_fence:
            line = re.sub(r"\[([^\]]*)\]\(([^)#]*)(?:#([^)]*))?\)", lambda match: linked(page, match), line)
        yield line


def main():
    page = os.path.relpath(sys.argv[1])
    with open(page, encoding="utf-8") as file:
        print("\n".join(lines_of(page, file.read().split("\n"))), end="")


main()
