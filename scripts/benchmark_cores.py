#!/usr/bin/env python3
"""Times vrender with two threads on two cores against one thread on one, and against two programs of one thread each.

    scripts/benchmark_cores.py CACHE [--vrender PATH] [--runs N] [--only PATTERN]

CACHE is the folder of clips of benchmark_media.py and benchmark_timeline.py. Everything is rendered to BGRA frames that
are thrown away. The three ways run by turns; a figure is the median of the turns, with the least and the greatest. A
time is the difference between a run of all frames and one of the first 20, so that starting is not in it.

Two programs of one thread, each bound to a core of its own, share nothing but the machine: its memory, its caches and
its clock. What they make together, in frames a second, is what two cores give a program that loses nothing by its
threads, and the processor time they take beyond two runs by one is what the cores cost each other.

A machine with other work to do tells little. Under Linux `chrt -r 5` before the command keeps the other work off the
cores, where the system allows it.
"""
import argparse
import fnmatch
import json
import os
import subprocess
import sys
import time
from pathlib import Path

from benchmark_media import REPOSITORY, median
from benchmark_timeline import CrossDissolve, FourLayers, PictureInPicture, TimelineMedia

LOOPS = 12
SHORT = ["--range", "0:20"]


class Clip:
    def __init__(self, name, clip, *options):
        self.name, self.clip, self.options = name, clip, options

    def words(self):
        return [self.clip(), *self.options]


class LongTimeline:
    """A timeline several times over, each time of files of another name, so that nothing is rendered twice."""

    def __init__(self, row):
        self.name, self.row = row.name, row

    def words(self):
        document = self.row.document(self.row.frames)
        for track in document["tracks"]["children"]:
            items = track["children"]
            track["children"] = [self.renamed(item, loop) for loop in range(LOOPS) for item in items]
        path = self.row.folder / f"{self.name}-loops.otio"
        path.write_text(json.dumps(document))
        return [str(path)]

    def renamed(self, item, loop):
        if "media_references" not in item:
            return item
        media = item["media_references"]["DEFAULT_MEDIA"]
        source = Path(media["target_url"])
        link = self.row.folder / f"loop{loop}-{source.name}"
        if not link.exists():
            os.link(source, link)
        return {**item, "media_references": {"DEFAULT_MEDIA": {**media, "target_url": str(link)}}}


class Programs:
    """The same program once on each of the sets of processors: seconds until all have ended, processor seconds."""

    def __init__(self, words, *processors):
        start = time.monotonic()
        children = [subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                     preexec_fn=lambda some=some: os.sched_setaffinity(0, some))
                    for some in processors]
        self.cpu = 0
        for child in children:
            _, status, usage = os.wait4(child.pid, 0)
            child.returncode = os.waitstatus_to_exitcode(status)
            self.cpu += usage.ru_utime + usage.ru_stime
        self.wall = time.monotonic() - start
        if any(child.returncode != 0 for child in children):
            raise RuntimeError(f"{' '.join(words)} failed")


def text(values):
    values = list(values)
    return f"{median(values):.2f} ({min(values):.2f} to {max(values):.2f})"


class Way:
    """Seconds of the frames after the first ones."""

    def __init__(self, words, *processors):
        whole, short = Programs(words, *processors), Programs(words + SHORT, *processors)
        self.wall, self.cpu = whole.wall - short.wall, whole.cpu - short.cpu


def time_row(row, vrender, runs):
    render = [vrender, "render", *row.words(), "null:", "--pix-fmt", "bgra", "--threads"]
    ways = ((render + ["1"], {0}), (render + ["2"], {0, 1}), (render + ["1"], {0}, {1}))
    turns = [[Way(*way) for way in ways] for _ in range(runs + 1)][1:]  # the first one warms caches
    return (row.name, text(one.wall / two.wall for one, two, _ in turns),
            text(2 * one.wall / both.wall for one, _, both in turns),
            text(two.cpu / one.cpu for one, two, _ in turns),
            text(both.cpu / 2 / one.cpu for one, _, both in turns))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("cache")
    parser.add_argument("--vrender", default=str(REPOSITORY / "build/release/bin/vrender"))
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--only", default="*", help="names of rows, with * and ?, separated by commas")
    options = parser.parse_args()
    if not os.access(options.vrender, os.X_OK):
        print(f"no program at {options.vrender}", file=sys.stderr)
        return 66
    media = TimelineMedia(options.cache)
    rows = [Clip("H.264", media.noisy), Clip("halve", media.raw_2160, "--size", "1920x1080"),
            Clip("scale", media.raw, "--size", "1280x720"),
            Clip("blend", media.raw, "--speed", "0.5", "--blend"),
            *(LongTimeline(row(media)) for row in (PictureInPicture, FourLayers, CrossDissolve))]
    print("| What | two threads: frames a second | two programs | two threads: processor time | two programs |")
    print("|---|---|---|---|---|")
    for row in rows:
        if any(fnmatch.fnmatch(row.name, pattern) for pattern in options.only.split(",")):
            print("| " + " | ".join(time_row(row, options.vrender, options.runs)) + " |", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
