#!/usr/bin/env python3
"""Times vrender on small timelines against the ffmpeg command line, melt and ges-launch-1.0, in turn.

    scripts/benchmark_timeline.py CACHE [--vrender PATH] [--runs N] [--only PATTERN] [--output FILE] [--verify DIR]

CACHE is a folder for the clips, which are made by ffmpeg when they are not there; the documents are written beside
them. Every row renders one timeline to BGRA frames and throws them away. All programs run by turns (A B C A B C ...) on
the same processors. A time is the slope between a long and a short run, so that the start of the processes is not in
it, but for the rows first-frame, which time just that; the floor is the best of the peers. A peer that is not
installed is left out, and the table says so.

ges-launch-1.0 turns a picture within its own frame, and its dissolve runs on after the last frame: see the pictures.

--verify DIR writes the frame in the middle of each timeline by each program to DIR instead of timing, so that one can
see that they draw the same.
"""
import argparse
import fnmatch
import json
import math
import os
import shutil
import subprocess
import sys
from pathlib import Path

from benchmark_media import BITEXACT, CHART, MIB, NOISY, QUIET, REPOSITORY, TAGS, Media, Run, median, x264

WIDTH, HEIGHT, RATE = 1920, 1080, 25
TITLE = ("color=c=black:s=1920x1080:r=25:d=0.04,format=rgba,geq=r='40+180*X/W':g='60+120*Y/H':b='220-160*X/W':"
         "a='255*clip((Y-760)/60\\,0\\,1)*clip((1000-Y)/60\\,0\\,1)*clip((X-160)/120\\,0\\,1)*"
         "clip((1760-X)/120\\,0\\,1)'")


class TimelineMedia(Media):
    def chart_clip(self):
        return self.encoded("timeline_chart.mp4", CHART.format(size="1920x1080", seconds=10), 50)

    def noisy_clip(self):
        return self.encoded("timeline_noisy.mp4", NOISY, 50)

    def raw_of(self, name, clip, *graph):
        return self.make(name, ["-i", clip, "-t", "4", *graph, "-c:v", "rawvideo", "-pix_fmt", "yuv420p", *TAGS,
                                *BITEXACT])

    def raw_chart(self):
        return self.raw_of("timeline_chart.avi", self.chart_clip())

    def raw_noisy(self):
        return self.raw_of("timeline_noisy.avi", self.noisy_clip())

    def raw_mirrored(self):
        return self.raw_of("timeline_mirrored.avi", self.noisy_clip(), "-vf", "hflip,negate")

    def title(self):
        return self.make("timeline_title.png", ["-f", "lavfi", "-i", TITLE, "-frames:v", "1", *BITEXACT])


# --- documents

def time(frames):
    return {"OTIO_SCHEMA": "RationalTime.1", "value": frames, "rate": RATE}


def span(start, duration):
    return {"OTIO_SCHEMA": "TimeRange.1", "start_time": time(start), "duration": time(duration)}


def clip(path, start, duration, **ours):
    item = {"OTIO_SCHEMA": "Clip.2", "name": Path(path).stem, "source_range": span(start, duration),
            "media_references": {"DEFAULT_MEDIA": {"OTIO_SCHEMA": "ExternalReference.1", "target_url": path}},
            "active_media_reference_key": "DEFAULT_MEDIA", "metadata": {}}
    if ours:
        item["metadata"]["vrender"] = {"version": 1, **ours}
    return item


def dissolve(before, after):
    return {"OTIO_SCHEMA": "Transition.1", "transition_type": "SMPTE_Dissolve", "in_offset": time(before),
            "out_offset": time(after)}


def document(*tracks, width=WIDTH, height=HEIGHT):
    canvas = {"width": width, "height": height, "par": [1, 1], "rate": [RATE, 1], "field": "progressive"}
    stack = {"OTIO_SCHEMA": "Stack.1", "name": "tracks", "children": [
        {"OTIO_SCHEMA": "Track.1", "name": f"V{number}", "kind": "Video", "children": children}
        for number, children in enumerate(tracks, 1)]}
    return {"OTIO_SCHEMA": "Timeline.1", "name": "benchmark", "tracks": stack,
            "metadata": {"vrender": {"version": 1, "canvas": canvas}}}


# --- the peers' ways of saying it

def ffmpeg(inputs, graph, frames, processors, raw, final="format=bgra"):
    words = [*QUIET, "-y", "-filter_threads", str(processors), "-filter_complex_threads", str(processors)]
    for each in inputs:
        words += ["-threads", str(processors), *(each if isinstance(each, list) else ["-i", each])]
    words += ["-filter_complex", f"{graph},{final}[out]", "-map", "[out]", "-fps_mode", "passthrough", "-frames:v",
              str(frames)]
    return words + (["-f", "rawvideo", raw] if raw else ["-f", "null", "-"])


class Melt:
    """A document of melt. One frame in flight, as more make it seek in long groups; one slice a processor."""

    def __init__(self, folder, processors):
        self.folder, self.processors, self.body, self.tracks, self.transitions = folder, processors, "", [], []

    def producer(self, name, path):
        service = "qimage" if path.endswith(".png") else "avformat"
        self.body += (f'<producer id="{name}" in="0" out="999"><property name="resource">{path}</property>'
                      f'<property name="mlt_service">{service}</property><property name="audio_index">-1</property>'
                      f'<property name="threads">{self.processors}</property></producer>')
        return name

    def track(self, *entries):
        name = f"t{len(self.tracks)}"
        self.body += f'<playlist id="{name}">' + "".join(
            f'<entry producer="{producer}" in="{start}" out="{end - 1}"/>'
            for producer, start, end in entries) + "</playlist>"
        self.tracks.append(name)

    def transition(self, service, lower, upper, frames, **properties):
        properties = {"mlt_service": service, "a_track": lower, "b_track": upper, **properties}
        self.transitions.append(f'<transition in="0" out="{frames - 1}">' + "".join(
            f'<property name="{key}">{value}</property>' for key, value in properties.items()) + "</transition>")

    def words(self, name, frames, raw, width=WIDTH, height=HEIGHT):
        text = (f'<?xml version="1.0"?><mlt root="/"><profile width="{width}" height="{height}" progressive="1" '
                'sample_aspect_num="1" sample_aspect_den="1" display_aspect_num="16" display_aspect_den="9" '
                f'frame_rate_num="{RATE}" frame_rate_den="1" colorspace="709"/>{self.body}'
                f'<tractor id="main" in="0" out="{frames - 1}">' +
                "".join(f'<track producer="{track}"/>' for track in self.tracks) + "".join(self.transitions) +
                "</tractor></mlt>")
        path = self.folder / f"{name}-{frames}-{self.processors}.mlt"
        path.write_text(text)
        sink = ([f"avformat:{raw}", "f=rawvideo", "vcodec=rawvideo", "pix_fmt=bgra", "an=1"] if raw else
                ["null", "terminate_on_pause=1", "mlt_image_format=rgba"])
        # qimage wants a display to be named, and draws on none.
        return ["env", "QT_QPA_PLATFORM=offscreen", "DISPLAY=:0", f"MLT_SLICES_COUNT={self.processors}", "melt",
                "-silent", str(path), "-consumer", *sink, "real_time=-1", "audio_off=1", "rescale=bilinear"]


def ges(arguments, raw, width=WIDTH, height=HEIGHT):
    sink = f"filesink location={raw} sync=false" if raw else "fakesink sync=false"
    return ["ges-launch-1.0", *arguments, "--track-types", "video", "--video-caps",
            f"video/x-raw,format=BGRA,width={width},height={height},framerate={RATE}/1", "--videosink", sink]


def seconds(frames):
    return f"{frames / RATE:.3f}"


def scattered(count):
    """Pairs of which of two clips, and a frame of it."""
    state, places = 12345, []
    for _ in range(count):
        state = (1103515245 * state + 12345) % 2**31
        places.append(((state >> 8) % 2, (state >> 10) % 245))
    return places


class Row:
    """One timeline, as each program is told it. Aims are times the frames a second of a peer."""

    name = ""
    frames, short = 100, 20
    size = (WIDTH, HEIGHT)
    aims = {}

    def __init__(self, media):
        self.media, self.folder = media, media.folder

    def document(self, frames):
        raise NotImplementedError

    def ours(self, vrender, frames, processors, output="null:"):
        path = self.folder / f"{self.name}-{frames}.otio"
        path.write_text(json.dumps(self.document(frames)))
        return [vrender, "render", str(path), output, "--threads", str(processors), "--pix-fmt", "bgra",
                *(["--overwrite"] if output != "null:" else [])]

    # name: words of a run, by number of frames, processors and file for raw frames.
    def peers(self):
        raise NotImplementedError

    def melt(self, processors):
        return Melt(self.folder, processors)


class PictureInPicture(Row):
    name = "pip"
    aims = {"ffmpeg": 3, "ffmpeg-rgb": 3, "melt": 7, "ges": 4.5}

    def document(self, frames):
        return document([clip(self.media.raw_chart(), 0, frames)],
                        [clip(self.media.raw_noisy(), 0, frames, opacity=0.7,
                              transform={"position": [0.5, 0.5], "anchor": [0.5, 0.5], "scale": [0.5, 0.5],
                                         "rotation": 15})])

    def peers(self):
        lower, upper = self.media.raw_chart(), self.media.raw_noisy()
        turn = "rotate=15*PI/180:c=black@0:ow=rotw(15*PI/180):oh=roth(15*PI/180)"
        middle = "overlay=(W-w)/2:(H-h)/2"

        def melt(n, k, raw):
            it = self.melt(k)
            it.track((it.producer("a", lower), 0, n))
            it.track((it.producer("b", upper), 0, n))
            it.transition("qtblend", 0, 1, n, rect="480 270 960 540 0.7", rotation=15, rotate_center=1)
            return it.words(self.name, n, raw)

        return {
            "ffmpeg": lambda n, k, raw: ffmpeg(
                [lower, upper], f"[1:v]scale=960:540:flags=bilinear,format=yuva420p,lut=a=val*0.7,{turn}[p];"
                f"[0:v][p]{middle}",
                n, k, raw),
            "ffmpeg-rgb": lambda n, k, raw: ffmpeg(
                [lower, upper], f"[1:v]scale=960:540:flags=bilinear,format=rgba,lut=a=val*0.7,{turn}[p];"
                f"[0:v]format=rgba[b];[b][p]{middle}:format=rgb", n, k, raw),
            "melt": melt,
            "ges": lambda n, k, raw: ges(
                ["+clip", upper, f"duration={seconds(n)}", "layer=0", "set-alpha", "0.7", "set-width", "960",
                 "set-height", "540", "set-posx", "480", "set-posy", "270", "+effect",
                 f"videoconvert ! rotate angle={math.radians(15):.7f}", "+clip", lower, f"duration={seconds(n)}",
                 "layer=1"], raw)}


class FourLayers(Row):
    name = "layers"
    aims = {"ffmpeg": 4, "ffmpeg-rgb": 8, "melt": 4.5, "ges": 6.5}

    def document(self, frames):
        return document([clip(self.media.raw_chart(), 0, frames)],
                        [clip(self.media.raw_noisy(), 0, frames, opacity=0.6)],
                        [clip(self.media.raw_mirrored(), 0, frames, opacity=0.4)],
                        [clip(self.media.title(), 0, frames)])

    def peers(self):
        clips = [self.media.raw_chart(), self.media.raw_noisy(), self.media.raw_mirrored()]
        title = self.media.title()
        inputs = [*clips, ["-loop", "1", "-framerate", str(RATE), "-i", title]]

        def melt(n, k, raw):
            it = self.melt(k)
            for number, path in enumerate([*clips, title]):
                it.track((it.producer(f"p{number}", path), 0, n))
            it.transition("qtblend", 0, 1, n, rect="0 0 1920 1080 0.6")
            it.transition("qtblend", 0, 2, n, rect="0 0 1920 1080 0.4")
            it.transition("qtblend", 0, 3, n)
            return it.words(self.name, n, raw)

        def layered(n):
            for number, (path, alpha) in enumerate(zip([title, *reversed(clips)], (None, "0.4", "0.6", None))):
                yield from ["+clip", path, f"duration={seconds(n)}", f"layer={number}"]
                if alpha:
                    yield from ["set-alpha", alpha]

        return {
            "ffmpeg": lambda n, k, raw: ffmpeg(
                inputs, "[3:v]format=yuva420p[l3];[0:v][1:v]blend=all_mode=normal:all_opacity=0.4[c1];"
                "[c1][2:v]blend=all_mode=normal:all_opacity=0.6[c2];[c2][l3]overlay", n, k, raw),
            "ffmpeg-rgb": lambda n, k, raw: ffmpeg(
                inputs, "[0:v]format=rgba[l0];[1:v]format=rgba,lut=a=val*0.6[l1];[2:v]format=rgba,lut=a=val*0.4[l2];"
                "[3:v]format=rgba[l3];[l0][l1]overlay=format=rgb[c1];[c1][l2]overlay=format=rgb[c2];"
                "[c2][l3]overlay=format=rgb", n, k, raw),
            "melt": melt,
            "ges": lambda n, k, raw: ges(list(layered(n)), raw)}


class CrossDissolve(Row):
    name = "dissolve"
    frames, short = 98, 20
    aims = {"ffmpeg": 6, "melt": 6, "ges": 15}

    def document(self, frames):
        half = frames // 2
        return document([clip(self.media.raw_chart(), 0, half), dissolve(half, half),
                         clip(self.media.raw_noisy(), half, half)])

    def peers(self):
        first, second = self.media.raw_chart(), self.media.raw_noisy()

        def melt(n, k, raw):
            it = self.melt(k)
            it.track((it.producer("a", first), 0, n))
            it.track((it.producer("b", second), 0, n))
            it.transition("luma", 0, 1, n)
            return it.words(self.name, n, raw)

        return {
            "ffmpeg": lambda n, k, raw: ffmpeg(
                [first, second], f"[0:v][1:v]xfade=transition=fade:duration={seconds(n)}:offset=0", n, k, raw),
            "melt": melt,
            "ges": lambda n, k, raw: ges(["+clip", first, f"duration={seconds(n)}", "start=0", "+clip", second,
                                          f"duration={seconds(n)}", f"start={seconds(1)}"], raw)}


class TenCuts(Row):
    name = "cuts"
    aims = {"ffmpeg": 1.0, "melt": 2, "ges": 1.2}

    def pieces(self, frames):
        clips = (self.media.chart_clip(), self.media.noisy_clip())
        return [(clips[n % 2], 23 * n + 7, min(10, frames - 10 * n)) for n in range((frames + 9) // 10)]

    def document(self, frames):
        return document([clip(*piece) for piece in self.pieces(frames)])

    def peers(self):
        def joined(n, k, raw):
            pieces = self.pieces(n)
            inputs = [["-ss", seconds(start), "-i", path] for path, start, _ in pieces]
            graph = "".join(f"[{i}:v]trim=end_frame={length},setpts=PTS-STARTPTS[s{i}];"
                            for i, (_, _, length) in enumerate(pieces))
            graph += "".join(f"[s{i}]" for i in range(len(pieces))) + f"concat=n={len(pieces)}"
            return ffmpeg(inputs, graph, n, k, raw)

        def melt(n, k, raw):
            it = self.melt(k)
            paths = sorted({path for path, _, _ in self.pieces(n)})
            names = {path: it.producer(f"p{i}", path) for i, path in enumerate(paths)}
            it.track(*((names[path], start, start + length) for path, start, length in self.pieces(n)))
            return it.words(self.name, n, raw)

        return {"ffmpeg": joined, "melt": melt, "ges": lambda n, k, raw: ges(
            [word for path, start, length in self.pieces(n)
             for word in ("+clip", path, f"inpoint={seconds(start)}", f"duration={seconds(length)}")], raw)}


class Thumbnails(TenCuts):
    """Frames at scattered places of two long groups, small: a timeline of pieces of one frame."""

    name = "thumbnails"
    frames, short = 40, 1
    size = (160, 90)
    aims = {"ffmpeg": 2, "melt": 4, "ges": 2.7}

    def pieces(self, frames):
        clips = (self.media.chart_clip(), self.media.noisy_clip())
        return [(clips[which], start, 1) for which, start in scattered(frames)]

    def document(self, frames):
        return document([clip(*piece) for piece in self.pieces(frames)], width=160, height=90)

    def peers(self):
        def joined(n, k, raw):
            inputs = [["-ss", seconds(start), "-i", path] for path, start, _ in self.pieces(n)]
            graph = "".join(f"[{i}:v]trim=end_frame=1,scale=160:90:flags=area,setpts=PTS-STARTPTS[s{i}];"
                            for i in range(n))
            graph += "".join(f"[s{i}]" for i in range(n)) + f"concat=n={n}"
            return ffmpeg(inputs, graph, n, k, raw)

        def melt(n, k, raw):
            it = self.melt(k)
            paths = sorted({path for path, _, _ in self.pieces(n)})
            names = {path: it.producer(f"p{i}", path) for i, path in enumerate(paths)}
            it.track(*((names[path], start, start + 1) for path, start, _ in self.pieces(n)))
            return it.words(self.name, n, raw, 160, 90)

        return {"ffmpeg": joined, "melt": melt, "ges": lambda n, k, raw: ges(
            [word for path, start, _ in self.pieces(n)
             for word in ("+clip", path, f"inpoint={seconds(start)}", f"duration={seconds(1)}")], raw, 160, 90)}


class FirstFrame:
    """How long a process takes to the first frame of a document, its start and end included. What is taken off the time
    of a small document is that of `ffmpeg -version`, which loads the same libraries and does nothing."""

    def __init__(self, media, name, clips, aim, takes_off):
        self.media, self.name, self.clips, self.aim, self.takes_off = media, name, clips, aim, takes_off

    def words(self, vrender, processors):
        path = self.media.folder / f"{self.name}.otio"
        sources = (self.media.chart_clip(), self.media.noisy_clip())
        path.write_text(json.dumps(document([clip(sources[n % 2], 7 * n % 240, 10) for n in range(self.clips)])))
        return [vrender, "render", str(path), "null:", "--range", "0:1", "--threads", str(processors),
                "--pix-fmt", "bgra"]

    def time(self, vrender, processors, runs):
        """The line of the table, from pairs of runs."""
        ours, bare = self.words(vrender, processors), ["ffmpeg", "-version"]
        pairs = [(Run(ours, processors), Run(bare, processors)) for _ in range(runs + 1)][1:]
        taken = [1000 * (a.wall - (b.wall if self.takes_off else 0)) for a, b in pairs]
        yield (f"{self.name}, {processors} core{'s' * (processors > 1)}",
               f"{1000 * median(a.wall for a, _ in pairs):.1f} ms, CPU {1000 * median(a.cpu for a, _ in pairs):.1f} ms",
               f"ffmpeg -version {1000 * median(b.wall for _, b in pairs):.1f} ms",
               f"{median(taken):.1f} ms ({min(taken):.1f} to {max(taken):.1f})", f"at most {self.aim} ms")


def first_frames(media):
    return FirstFrame(media, "first-frame", 1, 50, True), FirstFrame(media, "first-frame-10000", 10000, 1000, False)


ROWS = (PictureInPicture, FourLayers, CrossDissolve, TenCuts, Thumbnails)
PROGRAMS = {"ffmpeg": "ffmpeg", "ffmpeg-rgb": "ffmpeg", "melt": "melt", "ges": "ges-launch-1.0"}


def installed(peers):
    return {name: words for name, words in peers.items() if shutil.which(PROGRAMS[name])}


def slopes(long, short, figure, frames):
    return [1000 * (figure(a) - figure(b)) / frames for a, b in zip(long, short)]


def time_row(row, vrender, processors, runs):
    """Lines of the table: one for each peer."""
    commands = {"vrender": lambda n: row.ours(vrender, n, processors)}
    for name, words in installed(row.peers()).items():
        commands[name] = lambda n, words=words: words(n, processors, None)
    taken = {name: ([], []) for name in commands}
    for turn in range(runs + 1):
        for name, words in commands.items():
            pair = Run(words(row.frames), processors), Run(words(row.short), processors)
            if turn > 0:  # the first turn warms caches
                taken[name][0].append(pair[0])
                taken[name][1].append(pair[1])
    spread = row.frames - row.short
    times = {name: median(slopes(long, short, lambda run: run.wall, spread)) for name, (long, short) in taken.items()}
    cpu = {name: median(slopes(long, short, lambda run: run.cpu, spread)) for name, (long, short) in taken.items()}
    peak = median(run.peak for run in taken["vrender"][0]) / MIB
    for name in PROGRAMS:
        if name not in row.aims:
            continue
        what = f"{row.name}, {processors} core{'s' * (processors > 1)}, against {name}"
        if name not in times:
            yield what, "", "not installed", "", ""
            continue
        yield (what, f"{times['vrender']:.2f} ms a frame, CPU {cpu['vrender']:.2f} ms, {peak:.0f} MiB",
               f"{times[name]:.2f} ms a frame, CPU {cpu[name]:.2f} ms",
               f"{times[name] / times['vrender']:.2f} times as fast", f"{row.aims[name]:g}")


def verify(row, vrender, folder):
    """One PNG a program of the frame in the middle; how many frames each made."""
    width, height = row.size
    middle = row.frames // 2
    raw = str(folder / "frames.raw")
    programs = {"vrender": lambda: row.ours(vrender, row.frames, 2, str(folder / "frames.bgra"))}
    for name, words in installed(row.peers()).items():
        programs[name] = lambda words=words: words(row.frames, 2, raw)
    for name, words in programs.items():
        for stale in (raw, str(folder / "frames.bgra")):
            Path(stale).unlink(missing_ok=True)
        command = words()
        if name == "vrender":
            command += ["--format", "rawvideo"]
        done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        made = next((path for path in (raw, str(folder / "frames.bgra")) if os.path.exists(path)), None)
        count = os.path.getsize(made) / (width * height * 4) if made else 0
        print(f"{row.name} {name}: {count:g} frames of {row.frames}" + ("" if done.returncode == 0 else
              f", ended with {done.returncode}: {done.stdout.decode()[-300:]}"))
        if count > middle:
            subprocess.run([*QUIET, "-y", "-f", "rawvideo", "-pix_fmt", "bgra", "-s", f"{width}x{height}", "-i", made,
                            "-vf", f"select=eq(n\\,{middle}),format=rgb24,scale={min(width, 640)}:-2", "-frames:v", "1",
                            str(folder / f"{row.name}-{name}.png")], check=True)
        if made:
            Path(made).unlink()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("cache")
    parser.add_argument("--vrender", default=str(REPOSITORY / "build/release/bin/vrender"))
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--cores", default="1,2")
    parser.add_argument("--only", default="*", help="rows: " +
                        " ".join([row.name for row in ROWS] + ["first-frame", "first-frame-10000"]))
    parser.add_argument("--output", help="the table goes there too")
    parser.add_argument("--verify", help="a folder for pictures, which are made instead of times")
    options = parser.parse_args()
    if not os.access(options.vrender, os.X_OK):
        print(f"no program at {options.vrender}", file=sys.stderr)
        return 66
    media = TimelineMedia(options.cache)
    chosen = [row(media) for row in ROWS if any(fnmatch.fnmatch(row.name, p) for p in options.only.split(","))]
    firsts = [row for row in first_frames(media) if any(fnmatch.fnmatch(row.name, p) for p in options.only.split(","))]
    if options.verify:
        folder = Path(options.verify)
        folder.mkdir(parents=True, exist_ok=True)
        for row in chosen:
            verify(row, options.vrender, folder)
        return 0
    lines = ["| Timeline | vrender | the other | vrender against it | Aim |", "|---|---|---|---|---|"]
    for processors in map(int, options.cores.split(",")):
        rows = [time_row(row, options.vrender, processors, options.runs) for row in chosen]
        rows += [row.time(options.vrender, processors, max(options.runs, 5)) for row in firsts]
        for cells in (cells for row in rows for cells in row):
            lines.append("| " + " | ".join(cells) + " |")
            print(lines[-1], file=sys.stderr)
    print("\n".join(lines))
    if options.output:
        Path(options.output).write_text("\n".join(lines) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
