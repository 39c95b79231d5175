#!/usr/bin/env python3
"""Compares what the application logs with what docs/operations.md says of it.

log_texts.py [--list]

Takes every text of a sentence's kind out of the application's sources and looks for it in the tables of
docs/operations.md, where "..." stands for what is filled in. Prints what one has and the other has not, with
status 1. --list prints the texts of the sources.
"""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
FOLDERS = ("core", "video", "analysis", "settings", "outputs")

# Texts that are no log lines: answers, documents, statuses on the overlay, identities, format words.
OTHERS = {
    "%Y-%m-%d %H:%M:%S", "text/plain", "text/xml", "Log file cleared.", "Invalid action", "Bad Request",
    "Failed to parse URI", "Failed to parse query", "Only GET and POST supported. Method %s not supported",
    "Status: 200 OK", "Status: 400 Bad Request", "Content-Type: text/plain", "Content-Type: text/xml",
    "Unknown status", "Data error", "Locations error", "AOI error", "Findings error", "Events error",
    "EULA has not been accepted (if EULA is not shown, press Ctrl+F5)", "Marker event sent",
    "No connection error", "Unknown default status", "Zerith Markers Alert", "Zerith Markers Data",
    "popen() failed!", "Present", "Missing", "1 second", "1 minute",
    # Names of events and their topics.
    "Zerith Markers", "Zerith MArkers",
    # What the compiler says.
    "a list of detections must grow by moving", "a list of findings must grow by moving",
    "rectangles stand in fixed arrays of shapes", "a footing is counted and compared as an int",
}


def literals(source):
    """The string literals of a source text, adjacent ones joined, with comments left out."""
    token = re.compile(
        r'//[^\n]*|/\*.*?\*/|#include[^\n]*|\'(?:\\.|[^\'\\])+\'|("(?:\\.|[^"\\])*"(?:\s*"(?:\\.|[^"\\])*")*)', re.S)
    for match in token.finditer(source):
        if match.group(1):
            parts = re.findall(r'"((?:\\.|[^"\\])*)"', match.group(1))
            yield "".join(parts).replace('\\"', '"').replace("\\r", "").replace("\\n", "")


def plain(text):
    """A text without the function's name before it and without what joins it to others."""
    text = re.sub(r"^~?\w+: ", "", text)
    return text.strip(" .:,=>()-\"'")


def logged_texts():
    texts = {}
    for folder in FOLDERS:
        for file in sorted((ROOT / folder).glob("*.[ch]*")):
            for text in literals(file.read_text()):
                words = plain(text)
                if words.count(" ") < 1 or len(words) < 8 or words.startswith(("/", "./")):
                    continue
                if any(words == plain(other) for other in OTHERS):
                    continue
                texts.setdefault(words, f"{folder}/{file.name}")
    return texts


def main():
    texts = logged_texts()
    if sys.argv[1:] == ["--list"]:
        print("\n".join(f"{place}\t{text}" for text, place in texts.items()))
        return 0
    document = (ROOT / "docs" / "operations.md").read_text().replace("\\|", "|")
    status = 0
    for text, place in texts.items():
        if text not in document:
            print(f"docs/operations.md says nothing of \"{text}\" ({place})")
            status = 1
    # The other way round: each piece of a line in the tables is in some source.
    sources = "\n".join(
        "".join(literals(file.read_text())) for folder in FOLDERS for file in sorted((ROOT / folder).glob("*.[ch]*")))
    section = document.split("## What the log says")[-1].split("\n## ")[0]
    for cell in re.findall(r"^\| (`.*?) \| ", section, re.M):
        for piece in "...".join(re.findall(r"`([^`]+)`", cell)).split("..."):
            piece = plain(piece)
            if len(piece) >= 8 and piece not in sources:
                print(f"no source logs \"{piece}\", which docs/operations.md tells of")
                status = 1
    return status


if __name__ == "__main__":
    sys.exit(main())
