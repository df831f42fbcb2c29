#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Lists every English text passed to L10n::text / L10n::format in src/.

Usage: scripts/extract-texts.py            one text per line (as JSON strings)
       scripts/extract-texts.py --check TS exits 1 and names the texts TS lacks
"""
import json
import pathlib
import re
import sys
import xml.etree.ElementTree as ET

ROOT = pathlib.Path(__file__).resolve().parent.parent
CALL = re.compile(r'L10n::(?:text|format)\(\s*((?:"(?:[^"\\]|\\.)*"\s*)+)')
LITERAL = re.compile(r'"((?:[^"\\]|\\.)*)"')


def texts():
    found = []
    for path in sorted((ROOT / "src").rglob("*.cpp")) + sorted((ROOT / "src").rglob("*.h")):
        source = path.read_text(encoding="utf-8")
        for call in CALL.finditer(source):
            text = "".join(LITERAL.findall(call.group(1)))
            text = bytes(text, "utf-8").decode("unicode_escape").encode("latin-1").decode("utf-8")
            if text not in found:
                found.append(text)
    return found


def translated(ts_path):
    tree = ET.parse(ts_path)
    done = set()
    for message in tree.iter("message"):
        translation = message.find("translation")
        if translation is not None and translation.text and translation.get("type") != "unfinished":
            done.add(message.find("source").text)
    return done


if __name__ == "__main__":
    if len(sys.argv) == 3 and sys.argv[1] == "--check":
        missing = [t for t in texts() if t not in translated(sys.argv[2])]
        for text in missing:
            print("untranslated:", json.dumps(text, ensure_ascii=False))
        sys.exit(1 if missing else 0)
    for text in texts():
        print(json.dumps(text, ensure_ascii=False))
