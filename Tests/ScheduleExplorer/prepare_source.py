#!/usr/bin/env python3
"""Writes the explored copy of a source of the library: the same text with points where threads meet.

usage: prepare_source.py SOURCE COPY [BUG]

BUG is a file that changes the copy, so that the explorer has something to find. Its first line is
'file: NAME', then come hunks that begin with a line '@@': lines with ' ' must be there, lines with '-' go,
lines with '+' come. The old lines of a hunk must be in the source exactly once, one after the other.
"""

import re
import sys
from pathlib import Path

REPLACED = [
    (
        "std::atomic<std::int32_t> sReferences",
        "ScheduleExplorer::Atomic<std::int32_t, ScheduleExplorer::AtomicUse::kReferenceCount> sReferences",
    ),
    ("std::atomic<", "ScheduleExplorer::Atomic<"),
    ("std::mutex", "ScheduleExplorer::Mutex"),
    ("boost::shared_mutex", "ScheduleExplorer::Mutex"),
    ("VF::SharedVideoFrameCache::", "ScheduleExplorer::FrameCache::"),
]

# Ways in which threads meet for which there is no copy with points. Whoever uses one adds it first.
UNKNOWN = re.compile(
    r"\b(std::(condition_variable|thread|jthread|shared_mutex|recursive_mutex|timed_mutex|atomic_flag|atomic_ref"
    r"|call_once|counting_semaphore|latch|barrier|future|promise|async)"
    r"|boost::(mutex|thread|condition_variable|recursive_mutex|atomic)\b(?!/)"
    r"|thread_local)\b"
)

# Read by sources that aren't explored too, so it must be the same for all.
LEFT_ALONE = {"RenderObserver.h"}


def fail(text):
    sys.exit(f"prepare_source: {text}")


def read_hunks(path):
    lines = path.read_text().splitlines()
    name = lines[0].removeprefix("file: ")
    hunks = []
    for line in lines[1:]:
        if line == "@@":
            hunks.append(([], []))
        elif line[:1] in (" ", "-", "+") and hunks:
            old, new = hunks[-1]
            if line[0] != "+":
                old.append(line[1:])
            if line[0] != "-":
                new.append(line[1:])
        else:
            fail(f"{path.name}: can't read the line '{line}'")
    return name, hunks


def apply_bug(text, path):
    _, hunks = read_hunks(path)
    for old, new in hunks:
        before = "\n".join(old) + "\n"
        count = ("\n" + text).count("\n" + before)
        if count != 1:
            fail(
                f"the seeded bug {path.name} doesn't fit its source any more: these lines are there {count} times"
                f" and not once:\n{before}Rewrite it for the source as it is now, so that the bug stays the same."
            )
        text = ("\n" + text).replace("\n" + before, "\n" + "\n".join(new) + "\n")[1:]
    return text


def main():
    source, copy = Path(sys.argv[1]), Path(sys.argv[2])
    text = source.read_text()
    if len(sys.argv) > 3:
        text = apply_bug(text, Path(sys.argv[3]))
    if source.name not in LEFT_ALONE:
        for old, new in REPLACED:
            text = text.replace(old, new)
        unknown = UNKNOWN.search("\n".join(line for line in text.splitlines() if not line.startswith("#include")))
        if unknown:
            fail(f"{source.name} uses {unknown.group(0)}, for which the explorer has no points")
    copy.parent.mkdir(parents=True, exist_ok=True)
    copy.write_text(text)


main()
