#!/usr/bin/env python3
"""Lists and fills the translations of a Qt Linguist .ts file, for translating
without Qt Linguist.

  python3 tools/ts-fill.py todo resources/translations/lang_ru_RU.ts > todo.tsv
      one line per unfinished or empty message: context, source text and the
      translation, separated by tabs (line breaks as \\n, tabs as \\t,
      backslashes as \\\\); the translation is empty, except for a source
      with no Latin letter (a form's Russian text, "%1"), which keeps its source
  python3 tools/ts-fill.py fill resources/translations/lang_ru_RU.ts todo.tsv
      puts each line's third column in as the finished translation; a line
      whose context and source are not in the file, or whose translation is
      empty, is reported and the file is left untouched

Texts that the program writes into a file or passes to another program (the
lines of a network configuration, say) keep their English source as their
translation. Refresh the .ts from the sources first (cmake --build build --target
kx4_lupdate) and run it again afterwards: lupdate writes the file back in its
own layout.
"""
import re
import sys
from xml.sax.saxutils import escape, unescape

ENTITIES = {"&quot;": '"', "&apos;": "'"}
MESSAGE = re.compile(r"(<message(?: [^>]*)?>)(.*?)(</message>)", re.S)
CONTEXT = re.compile(r"<context>\s*<name>(.*?)</name>(.*?)</context>", re.S)
TRANSLATION = re.compile(r'<translation(?: type="(\w+)")?(?:/>|>(.*?)</translation>)', re.S)


def field(text):
    return text.replace("\\", "\\\\").replace("\n", "\\n").replace("\t", "\\t")


def unfield(text):
    return re.sub(r"\\(.)", lambda m: {"n": "\n", "t": "\t"}.get(m.group(1), m.group(1)), text)


def messages(ts):
    """(context, source, span of the translation element, type, translation) of each message."""
    for c in CONTEXT.finditer(ts):
        context = unescape(c.group(1), ENTITIES)
        for m in MESSAGE.finditer(ts, c.start(2), c.end(2)):
            source = re.search(r"<source>(.*?)</source>", m.group(2), re.S)
            t = TRANSLATION.search(ts, m.start(2), m.end(2))
            if source and t:
                yield (context, unescape(source.group(1), ENTITIES), t.span(), t.group(1),
                       unescape(t.group(2) or "", ENTITIES))


def todo(path):
    with open(path, encoding="utf-8") as f:
        ts = f.read()
    for context, source, _, kind, text in messages(ts):
        if kind in ("unfinished", None) and (kind == "unfinished" or not text):
            same = source if not re.search("[A-Za-z]", re.sub("%L?[0-9]+", "", source)) else ""
            print(f"{field(context)}\t{field(source)}\t{field(same)}")


def fill(path, table):
    with open(path, encoding="utf-8") as f:
        ts = f.read()
    wanted, errors = {}, []
    with open(table, encoding="utf-8") as f:
        for n, line in enumerate(f, 1):
            line = line.rstrip("\n")
            if not line.strip():
                continue
            parts = line.split("\t")
            if len(parts) != 3 or not parts[2]:
                errors.append(f"{table}:{n}: needs context, source and translation: {line}")
                continue
            wanted[(unfield(parts[0]), unfield(parts[1]))] = unfield(parts[2])
    edits = []
    for context, source, span, kind, _ in messages(ts):
        text = wanted.pop((context, source), None)
        if text is not None:
            edits.append((span, "<translation>" + escape(text, {'"': "&quot;", "'": "&apos;"}) + "</translation>"))
    errors += [f"not in {path}: [{c}] {field(s)}" for c, s in wanted]
    if errors:
        print("\n".join(errors), file=sys.stderr)
        return 1
    for (start, end), element in sorted(edits, reverse=True):
        ts = ts[:start] + element + ts[end:]
    with open(path, "w", encoding="utf-8") as f:
        f.write(ts)
    print(f"{len(edits)} translation(s) filled in {path}")
    return 0


if __name__ == "__main__":
    if len(sys.argv) == 3 and sys.argv[1] == "todo":
        sys.exit(todo(sys.argv[2]))
    if len(sys.argv) == 4 and sys.argv[1] == "fill":
        sys.exit(fill(sys.argv[2], sys.argv[3]))
    print(__doc__, file=sys.stderr)
    sys.exit(2)
