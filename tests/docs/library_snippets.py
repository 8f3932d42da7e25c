#!/usr/bin/env python3
"""Writes the snippets of docs/library.md as one C++ source: library_snippets.py PAGE OUTPUT

A fence "cpp helpers" stands before all snippets, "cpp setup" runs before the first snippet of every question. Every
other "cpp" fence is a snippet, and the "text" fence behind it is what it prints. A snippet with a main() is a program
of its own.
"""

import sys

LANGUAGES = ("cpp", "cpp helpers", "cpp setup", "text")


class Block:
    def __init__(self, language, question, line):
        self.language = language
        self.question = question
        self.line = line  # of its first line of code, from 1
        self.code = []


def blocks_of(lines):
    blocks, question, block = [], "", None
    for number, line in enumerate(lines, 1):
        if block is not None:
            if line.startswith("```"):
                block = None
            else:
                block.code.append(line)
        elif line.startswith("```"):
            block = Block(line[3:], question, number + 1)
            blocks.append(block)
        elif line.startswith("## "):
            question = line[3:]
    return blocks


def refuse(page, block, reason):
    sys.exit(f"{page}:{block.line - 1}: {reason}")


def check(page, blocks):
    for block, following in zip(blocks, blocks[1:] + [None]):
        if block.language not in LANGUAGES:
            refuse(page, block, f"a fence of '{block.language}'; known are {', '.join(LANGUAGES)}")
        is_answered = following is not None and following.language == "text" and following.question == block.question
        if block.language == "cpp" and not is_answered:
            refuse(page, block, "a snippet without the text that it prints")


def quoted(text):
    escaped = text.replace("\\", "\\\\").replace('"', '\\"').replace("\n", "\\n")
    return f'"{escaped}"'


class Source:
    """What is written: includes first, everything else at the line that it has in the page."""

    def __init__(self, page):
        self.page = page
        self.includes = []
        self.body = []

    def add(self, block, before, after):
        self.body += before + [f'#line {block.line} "{self.page}"']
        for line in block.code:
            if line.startswith("#include"):
                self.includes.append(line)
            self.body.append("" if line.startswith("#include") else line)
        self.body += after

    def add_snippet(self, name, block):
        if any(line.startswith("int main()") for line in block.code):
            self.add(block, [f"namespace {name}Program", "{"],
                     ["}", f"void {name}()", "{", f"    if ({name}Program::main() != 0)",
                      '        std::cout << "(failed)\\n";', "}"])
        else:
            self.add(block, [f"void {name}()", "{"], ["}"])


def source_of(page, blocks):
    source = Source(page)
    table, setup = [], "nullptr"
    for number, block in enumerate(blocks):
        name = f"snippet{block.line}"
        if block.language == "cpp helpers":
            source.add(block, [], [])
        elif block.language == "cpp setup":
            source.add_snippet(name, block)
            setup = name
        elif block.language == "cpp":
            source.add_snippet(name, block)
            output = "".join(line + "\n" for line in blocks[number + 1].code)
            table.append(f"        {{{quoted(block.question)}, {block.line}, {name}, {quoted(output)}}},")
    return "\n".join(
        ['#include "LibrarySnippets.h"', "#include <iostream>"] + list(dict.fromkeys(source.includes))
        + ["namespace", "{"] + source.body + ["}", "namespace Kiv::Testing", "{"]
        + ["std::vector<LibrarySnippet> librarySnippets()", "{", "    return {"] + table + ["    };", "}"]
        + ["LibrarySnippet::Run setupOfEveryQuestion()", "{", f"    return {setup};", "}", "}", ""])


def main():
    page, output = sys.argv[1:]
    with open(page, encoding="utf-8") as file:
        blocks = blocks_of(file.read().split("\n"))
    name = "docs/library.md"
    check(name, blocks)
    with open(output, "w", encoding="utf-8") as file:
        file.write(source_of(name, blocks))


main()
