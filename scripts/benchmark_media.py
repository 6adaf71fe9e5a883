#!/usr/bin/env python3
"""Times vrender against the ffmpeg command line on the same clips, in turn; some rows against melt.

    scripts/benchmark_media.py CACHE [--vrender PATH] [--runs N] [--only PATTERN] [--output FILE] [--verify]

CACHE is a folder for the clips (about 2.1 GB), which are made by ffmpeg when they are not there. Each row runs both
programs alternately (A B A B ...) on the same processors, and gives medians and the median of the ratios pair by
pair. Figures are of whole processes, from wait4. Where a row says "a frame", the time is the slope between a long
and a short run, so that the start of the process is not in it. "Times its time" is vrender's time divided by
ffmpeg's: below 1 vrender is faster. --verify counts the frames of both and compares pictures instead of timing.
Rows against melt are left out where it is not installed.
Nothing else should run on the machine meanwhile.
"""
import argparse
import fnmatch
import os
import random
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parent.parent
QUIET = ["ffmpeg", "-hide_banner", "-v", "error", "-nostdin"]
BITEXACT = ["-bitexact", "-map_metadata", "-1", "-fflags", "+bitexact", "-flags:v", "+bitexact"]
TAGS = ["-color_primaries", "bt709", "-color_trc", "bt709", "-colorspace", "bt709", "-color_range", "tv"]
CHART = "testsrc2=s={size}:r=25:d={seconds}"
NOISY = ("mandelbrot=s=640x360:r=25:maxiter=400:end_scale=0.01:end_pts=250,trim=end_frame=250,"
         "scale=1920x1080:flags=bicubic+bitexact,noise=alls=6:allf=t:all_seed=7")
MIB = 1 << 20


def x264(group):
    return ["-c:v", "libx264", "-preset", "veryfast", "-crf", "20", "-g", str(group), "-keyint_min", str(group // 2),
            "-sc_threshold", "0", "-bf", "2", "-threads", "2", "-pix_fmt", "yuv420p"]


class Media:
    """The clips, made on first use."""

    def __init__(self, folder):
        self.folder = Path(folder)
        self.folder.mkdir(parents=True, exist_ok=True)

    def make(self, name, arguments):
        target = self.folder / name
        if not target.exists():
            print(f"making {name}", file=sys.stderr)
            partial = self.folder / ("part." + name)
            subprocess.run([*QUIET, "-y", *arguments, str(partial)], check=True)
            partial.rename(target)
        return str(target)

    def encoded(self, name, source, group):
        return self.make(name, ["-f", "lavfi", "-i", source, *x264(group), *TAGS, *BITEXACT])

    def chart(self):
        return self.encoded("chart_1080.mp4", CHART.format(size="1920x1080", seconds=10), 50)

    def noisy(self):
        return self.encoded("noisy_1080.mp4", NOISY, 50)

    def long_group(self):
        return self.encoded("long_group_1080.mp4", NOISY, 250)

    def minute(self):
        """Six times the same ten seconds, without encoding them again."""
        return self.make("minute_1080.mp4", ["-stream_loop", "5", "-i", self.noisy(), "-c", "copy", *BITEXACT])

    def chart_2160(self):
        return self.encoded("chart_2160.mp4", CHART.format(size="3840x2160", seconds=6), 50)

    def raw(self):
        return self.make("raw_1080.avi", ["-i", self.noisy(), "-t", "8", "-c:v", "rawvideo", "-pix_fmt", "yuv420p",
                                          *BITEXACT])

    def raw_2160(self):
        return self.make("raw_2160.avi", ["-f", "lavfi", "-i", CHART.format(size="3840x2160", seconds=4),
                                          "-c:v", "rawvideo", "-pix_fmt", "yuv420p", *TAGS, *BITEXACT])

    def fields(self):
        """Two frames of the noisy clip to one of two fields, the upper one first."""
        return self.make("fields_1080.mkv", ["-i", self.noisy(), "-vf", "tinterlace=interleave_top,setfield=tff",
                                             "-c:v", "rawvideo", "-pix_fmt", "yuv420p", "-field_order", "tt",
                                             *BITEXACT])

    def telecined(self):
        """Film frames of the noisy clip as 2:3 pulldown has them, the upper field first."""
        return self.make("telecined_1080.mkv", ["-i", self.noisy(), "-vf", "setpts=N*1001/24000/TB,fps=24000/1001,"
                                                "telecine=first_field=top:pattern=23,setfield=tff", "-t", "6.6",
                                                "-c:v", "rawvideo", "-pix_fmt", "yuv420p", "-field_order", "tt",
                                                *BITEXACT])


class Melt:
    """A document of one clip in 1080p25, and the command that plays it: one frame in flight, without dropping any."""

    def __init__(self, folder, name, clip, frames, speed=1):
        self.path, self.frames = Path(folder) / f"{name}.mlt", frames
        def properties(**values):
            return "".join(f'<property name="{key}">{value}</property>' for key, value in values.items())

        last = frames - 1
        source = properties(mlt_service="avformat", resource=clip, audio_index=-1, threads=1, length=frames + 10)
        if speed == 1:
            content = f'<producer id="c" in="0" out="{last}">{source}</producer>'
        else:
            remap = properties(mlt_service="timeremap", map=f"0=0;{frames}={frames * speed / 25}", image_mode="blend")
            content = f'<chain id="c" out="{last}">{source}<link>{remap}</link></chain>'
        self.path.write_text(
            '<?xml version="1.0"?><mlt root="/"><profile width="1920" height="1080" progressive="1" '
            'sample_aspect_num="1" sample_aspect_den="1" display_aspect_num="16" display_aspect_den="9" '
            f'frame_rate_num="25" frame_rate_den="1" colorspace="709"/>{content}'
            f'<playlist id="t"><entry producer="c" in="0" out="{last}"/></playlist>'
            f'<tractor id="main" in="0" out="{last}"><track producer="t"/></tractor></mlt>')

    def words(self, raw=None):
        """Into the file raw as BGRA, or into nothing."""
        sink = ([f"avformat:{raw}", "f=rawvideo", "vcodec=rawvideo", "pix_fmt=bgra", "an=1"] if raw else
                ["null", "terminate_on_pause=1", "mlt_image_format=rgba"])
        return ["env", "QT_QPA_PLATFORM=offscreen", "MLT_SLICES_COUNT=1", "melt", "-silent", str(self.path), "-consumer",
                *sink, "real_time=-1", "audio_off=1", "rescale=bilinear"]


class Run:
    """One process: wall and processor seconds, peak resident bytes, page faults that needed no disk."""

    def __init__(self, words, processors):
        start = time.monotonic()
        with tempfile.TemporaryFile() as errors:
            child = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=errors,
                                     preexec_fn=lambda: os.sched_setaffinity(0, set(range(processors))))
            _, status, usage = os.wait4(child.pid, 0)
            self.wall = time.monotonic() - start
            child.returncode = os.waitstatus_to_exitcode(status)
            if child.returncode != 0:
                errors.seek(0)
                raise RuntimeError(f"{' '.join(words)} ended with {child.returncode}: {errors.read().decode()}")
        self.user, self.system = usage.ru_utime, usage.ru_stime
        self.cpu = self.user + self.system
        self.peak = usage.ru_maxrss * 1024
        self.faults = usage.ru_minflt


def median(values):
    return statistics.median(list(values))


class Bench:
    def __init__(self, vrender, media, runs):
        self.vrender, self.media, self.runs = vrender, media, runs
        self.rows = []

    # The two programs, on one clip, into nothing.
    def ours(self, clip, threads, *more, frames=None):
        part = ["--range", f"0:{frames}"] if frames else []
        return [self.vrender, "render", clip, "null:", "--threads", str(threads), "--pix-fmt", "bgra", *part, *more]

    def peer(self, clip, threads, graph="format=bgra", frames=None, source=()):
        part = ["-frames:v", str(frames)] if frames else []
        return [*QUIET, "-threads", str(threads), "-filter_threads", str(threads), *source, "-i", clip, "-an", "-vf", graph,
                "-fps_mode", "passthrough", *part, "-f", "null", "-"]

    def row(self, name, ours, peer, ratio, aim):
        self.rows.append((name, ours, peer, ratio, aim))
        print(" | ".join(self.rows[-1]), file=sys.stderr)

    def in_turn(self, processors, *commands):
        """runs times each of the commands by turns, after one warm-up; a list of runs for each."""
        for words in commands:
            Run(words, processors)
        results = [[] for _ in commands]
        for _ in range(self.runs):
            for words, result in zip(commands, results):
                result.append(Run(words, processors))
        return results

    def whole(self, name, clip, frames, processors, aim, options=(), graph="format=bgra", source=(), peer=None):
        """Frames a second of the whole process, against ffmpeg or the words of another peer."""
        ours, peer = self.in_turn(processors, self.ours(clip, processors, *options),
                                  peer or self.peer(clip, processors, graph, source=source))

        def text(runs):
            return (f"{frames / median(r.wall for r in runs):.1f} fps, CPU {median(r.user for r in runs):.2f} + "
                    f"{median(r.system for r in runs):.2f} s, {median(r.peak for r in runs) / MIB:.0f} MiB")

        speed = median(p.wall / o.wall for o, p in zip(ours, peer))
        cpu = median(o.cpu / p.cpu for o, p in zip(ours, peer))
        self.row(f"{name}, {processors} core{'s' * (processors > 1)}", text(ours), text(peer),
                 f"{100 * speed:.0f} % of its speed, {cpu:.2f} of its CPU", aim)

    def against_melt(self):
        """What melt plays as well: name, our options, its document, the aim."""
        media = self.media
        for name, clip, frames, speed, options, aim in (
                ("1080p at twice the speed, blended", media.raw(), 100, 2, ("--speed", "2", "--blend"), 1000),
                ("1080p at half the speed, blended", media.raw(), 400, 0.5, ("--speed", "0.5", "--blend"), 500),
                ("2160p to 1080p BGRA", media.raw_2160(), 100, 1, ("--size", "1920x1080"), 2000)):
            document = Melt(media.folder, f"conform-{frames}-{speed}", clip, frames, speed)
            yield name, clip, options, document, f"at least {aim} %"

    def slope(self, name, clip, short, long, processors, aim, options=(), graph="format=bgra"):
        """Milliseconds a frame, the start of the process left out."""
        a, b, c, d = self.in_turn(processors, self.ours(clip, processors, *options, frames=long),
                                  self.ours(clip, processors, *options, frames=short),
                                  self.peer(clip, processors, graph, frames=long),
                                  self.peer(clip, processors, graph, frames=short))
        def slopes(longs, shorts, figure):
            return [1000 * (figure(x) - figure(y)) / (long - short) for x, y in zip(longs, shorts)]

        def text(wall, cpu):
            return f"{median(wall):.2f} ms a frame ({min(wall):.2f} to {max(wall):.2f}), CPU {median(cpu):.2f} ms"

        ours, peer = slopes(a, b, lambda run: run.wall), slopes(c, d, lambda run: run.wall)
        our_cpu, peer_cpu = slopes(a, b, lambda run: run.cpu), slopes(c, d, lambda run: run.cpu)
        # The ratio of the medians: a ratio of two differences would be noisier than either.
        self.row(f"{name}, {processors} core{'s' * (processors > 1)}", text(ours, our_cpu), text(peer, peer_cpu),
                 f"{median(ours) / median(peer):.2f} times its time, "
                 f"{median(our_cpu) / median(peer_cpu):.2f} of its CPU",
                 aim)

    def h264(self):
        for name, clip in (("chart", self.media.chart()), ("noisy", self.media.noisy())):
            for processors in (1, 2):
                self.whole(f"1080p H.264 ({name}) to BGRA", clip, 250, processors, "at least 95 %")
            pairs = [(Run(self.ours(clip, 1), 1), Run(self.ours(clip, 2), 2)) for _ in range(self.runs)]
            gain = median(one.wall / two.wall for one, two in pairs)
            self.row(f"the same ({name}), 2 cores against 1, by turns", f"{gain:.2f} times as fast", "", "",
                     "never slower")

    def raw(self):
        for processors in (1, 2):
            self.slope("raw 4:2:0 1080p to BGRA", self.media.raw(), 20, 200, processors, "at most 1.3")

    def scale(self):
        clip = self.media.raw_2160()
        # medium is bilinear, as the filter of zscale; high, the usual one, is bicubic.
        for quality, graph, aim in (("medium", "zscale=1920:1080:filter=bilinear,format=bgra", "at most 1.5 (zscale)"),
                                    ("medium", "scale=1920:1080:flags=area,format=bgra", "at most 1 (area)"),
                                    ("high", "scale=1920:1080:flags=area,format=bgra", "at most 1 (area)")):
            self.slope(f"2160p to 1080p BGRA, {quality} quality, against {graph.partition('=')[0]}", clip, 40, 100, 1,
                       aim, ("--size", "1920x1080", "--quality", quality), graph)

    def thumbnails(self):
        clip, dice = self.media.long_group(), random.Random(20011)
        frames = [dice.randrange(250) for _ in range(40)]
        with tempfile.TemporaryDirectory() as folder:
            def ours(frame):
                return [self.vrender, "frame", clip, f"{folder}/ours.png", "--time", str(frame), "--size", "320x180",
                        "--threads", "1", "--overwrite"]

            def peer(frame):
                return [*QUIET, "-y", "-threads", "1", "-ss", f"{frame / 25:.3f}", "-i", clip, "-frames:v", "1",
                        "-vf", "scale=320:180:flags=bilinear", f"{folder}/peer.png"]

            pairs = [(Run(ours(frame), 1), Run(peer(frame), 1)) for frame in frames]
            many = [Run([self.vrender, "thumbnails", clip, f"{folder}/many{i}", "--count", "40", "--size", "320x180",
                         "--threads", "1", "--disk-cache", "off"], 1) for i in range(self.runs)]
        self.row("40 random thumbnails of a 250-frame group, a process each, 1 core",
                 f"{1000 * median(o.wall for o, _ in pairs):.0f} ms each",
                 f"{1000 * median(p.wall for _, p in pairs):.0f} ms each (-ss)",
                 f"{median(o.wall / p.wall for o, p in pairs):.2f} times its time", "at most 1")
        self.row("40 thumbnails of the same file by one process, 1 core",
                 f"{1000 * median(r.wall for r in many) / 40:.0f} ms each", "as above",
                 f"{median(r.wall for r in many) / sum(p.wall for _, p in pairs):.2f} times its time", "at most 1")

    def conform(self):
        """Fields, time and film on one core, frames of the output; then two cores against one."""
        media = self.media
        bwdif = "bwdif=mode=send_frame:deint=all,format=bgra"
        for quality, aim in (("medium", "at least 170 %"), ("high", "at least 100 %")):
            options = ("--deinterlace", "--quality", quality)
            self.whole(f"1080i to progressive BGRA, {quality} quality, against bwdif", media.fields(), 125, 1, aim,
                       options, bwdif)
            # Raw video in Matroska is read through once when it is opened.
            self.slope(f"the same, {quality} quality, opened already", media.fields(), 25, 125, 1,
                       "at most " + {"medium": "0.59", "high": "1"}[quality], options, bwdif)
        self.whole("1080p at twice the speed, blended, against tmix", media.raw(), 100, 1, "at least 300 %",
                   ("--speed", "2", "--blend"), "tmix=frames=2,framestep=2,format=bgra")
        # The rate that the peer fills up is that of its input, as a filter of time stamps alone would change nothing.
        self.whole("1080p at half the speed, blended, against framerate", media.raw(), 400, 1, "at least 67 %",
                   ("--speed", "0.5", "--blend"), "framerate=fps=25,format=bgra", ("-r", "12.5"))
        self.whole("telecined 1080i to film, against fieldmatch and decimate", media.telecined(), 160, 1,
                   "at least 100 %", ("--remove-pulldown", "auto"), "fieldmatch,decimate,format=bgra")
        for graph, aim in (("scale=1920:1080:flags=area", "at least 135 %"), ("zscale=1920:1080", "at least 67 %")):
            self.whole(f"2160p to 1080p BGRA, against {graph.partition('=')[0]}", media.raw_2160(), 100, 1, aim,
                       ("--size", "1920x1080"), f"{graph},format=bgra")
        if shutil.which("melt"):
            for name, clip, options, document, aim in self.against_melt():
                self.whole(f"{name}, against melt", clip, document.frames, 1, aim, options, peer=document.words())
        for name, clip, options in (("2160p to 1080p", media.raw_2160(), ("--size", "1920x1080")),
                                    ("1080p at twice the speed, blended", media.raw(), ("--speed", "2", "--blend"))):
            pairs = [(Run(self.ours(clip, 1, *options), 1), Run(self.ours(clip, 2, *options), 2))
                     for _ in range(self.runs)]
            self.row(f"{name}, 2 cores against 1, by turns",
                     f"{median(one.wall / two.wall for one, two in pairs):.2f} times as fast", "", "", "at least 1.6")

    def memory(self):
        """With as many threads as cores, fewer and many more, on two cores."""
        clips = (("1080p H.264, 10 s", self.media.noisy()), ("1080p H.264, 60 s", self.media.minute()),
                 ("1080p raw, 8 s", self.media.raw()), ("2160p H.264, 6 s", self.media.chart_2160()),
                 ("2160p raw, 4 s", self.media.raw_2160()))
        for limit in (300, 1000):
            for name, clip in clips:
                for command in ("render", "thumbnails", "frame"):
                    peaks = [self.peak(command, clip, threads, limit) for threads in (1, 2, 8)]
                    self.row(f"peak memory, --memory {limit}M, {command}, {name}, 1, 2 and 8 threads",
                             ", ".join(f"{peak / MIB:.0f}" for peak in peaks) + " MiB", "", "",
                             f"at most {limit + 100} MiB")

    def peak(self, command, clip, threads, limit):
        bounds = ["--threads", str(threads), "--memory", f"{limit}M"]
        with tempfile.TemporaryDirectory() as folder:
            words = {"render": [self.vrender, "render", clip, "null:", "--pix-fmt", "bgra", *bounds],
                     "thumbnails": [self.vrender, "thumbnails", clip, folder, "--count", "40", "--overwrite",
                                    "--disk-cache", "off", *bounds],
                     "frame": [self.vrender, "frame", clip, f"{folder}/frame.png", "--time", "80",
                               "--overwrite", *bounds]}[command]
            return max(Run(words, 2).peak for _ in range(min(self.runs, 3)))

    def diskcache(self):
        """Frames kept by an earlier process against decoding them, on one core."""
        clip, dice = self.media.long_group(), random.Random(20011)
        with tempfile.TemporaryDirectory() as folder:
            def frame(number, cache, size):
                return [self.vrender, "frame", clip, "null:", "--time", str(number), "--threads", "1",
                        "--disk-cache", cache, *size]

            def overview(command, target, cache):
                return [self.vrender, command, clip, f"{folder}/{target}", "--count", "40", "--threads", "1",
                        "--overwrite", "--disk-cache", cache]

            kept = f"{folder}/kept"
            for name, size in (("320x180", ["--size", "320x180"]), ("1920x1080", [])):
                pairs = []
                for number in [dice.randrange(250) for _ in range(4 * self.runs)]:
                    Run(frame(number, kept, size), 1)
                    pairs.append((Run(frame(number, kept, size), 1), Run(frame(number, "off", size), 1)))
                self.row(f"random frame of a 250-frame group at {name}, kept and decoded, a process each",
                         f"{1000 * median(k.wall for k, _ in pairs):.0f} and "
                         f"{1000 * median(d.wall for _, d in pairs):.0f} ms", "",
                         f"{median(d.wall / k.wall for k, d in pairs):.1f} times as fast", "at least 5")
            for command, target in (("thumbnails", "stills"), ("contact-sheet", "sheet.png")):
                Run(overview(command, target, "off"), 1)
                runs = [(Run(overview(command, target, "off"), 1), Run(overview(command, target, f"{folder}/{i}"), 1),
                         Run(overview(command, target, f"{folder}/{i}"), 1)) for i in range(self.runs)]
                for file in Path(folder).glob("[0-9]*"):
                    shutil.rmtree(file)
                self.row(f"{command} of 40 frames, without, with a cold and with a hot cache",
                         ", ".join(f"{1000 * median(r[i].wall for r in runs):.0f}" for i in range(3)) + " ms", "",
                         f"cold {median(c.wall / w.wall for w, c, _ in runs):.3f} times the time, "
                         f"CPU {median(c.cpu / w.cpu for w, c, _ in runs):.3f}; hot "
                         f"{median(w.wall / h.wall for w, _, h in runs):.1f} times as fast", "cold at most 1.05")

    def faults(self):
        for name, clip, long in (("H.264", self.media.minute(), 400), ("raw", self.media.raw(), 200)):
            for processors in (1, 2):
                short = long // 4
                a, b, c, d = self.in_turn(processors, self.ours(clip, processors, frames=long),
                                          self.ours(clip, processors, frames=short),
                                          self.peer(clip, processors, frames=long),
                                          self.peer(clip, processors, frames=short))

                # Medians first: on two cores a run has now a few pictures more in flight at its busiest, now a
                # few less, each of them a thousand pages that are fetched once and have to do with no frame.
                def slope(longs, shorts):
                    return (median(r.faults for r in longs) - median(r.faults for r in shorts)) / (long - short)

                self.row(f"page faults a frame, steady, {name}, {processors} core{'s' * (processors > 1)}",
                         f"{slope(a, b):.1f}", f"{slope(c, d):.1f}", "", "near zero (an 8 MB frame has 2025 pages)")

    GROUPS = ("h264", "raw", "scale", "conform", "thumbnails", "diskcache", "memory", "faults")

    def table(self):
        lines = ["| What | vrender | Peer | vrender against the peer | Aim |", "|---|---|---|---|---|"]
        return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in self.rows]) + "\n"


class Verify:
    """That both programs do the work that is compared: as many frames, and the same pictures."""

    def __init__(self, bench):
        self.bench, self.failed = bench, False

    def say(self, what, isRight, detail):
        self.failed = self.failed or not isRight
        print(f"{'ok  ' if isRight else 'FAIL'} {what}: {detail}")

    @staticmethod
    def lines(words):
        return subprocess.run(words, check=True, stdout=subprocess.PIPE, text=True).stdout.splitlines()

    def count(self, clip):
        ours = [line for line in self.lines(self.bench.ours(clip, 2, "--checksum")) if line.startswith("frame ")]
        words = [*QUIET, "-i", clip, "-an", "-vf", "format=bgra", "-fps_mode", "passthrough", "-f", "framemd5", "-"]
        peer = [line for line in self.lines(words) if not line.startswith("#")]
        self.say(f"frames of {Path(clip).name}", len(ours) == len(peer) > 0, f"vrender {len(ours)}, ffmpeg {len(peer)}")
        different = len(set(line.split()[-1] for line in ours))
        self.say("  their pictures", different > len(ours) * 9 // 10, f"{different} different ones")

    def picture(self, clip, frame, size=None):
        """A PNG of vrender and the frame by ffmpeg through zscale, both as RGB bytes."""
        # In one step: scaled in 4:2:0 first, chroma would lose half of what a full-size target can show.
        scale = f"w={size.partition('x')[0]}:h={size.partition('x')[2]}:" if size else ""
        with tempfile.TemporaryDirectory() as folder:
            path = f"{folder}/frame.png"
            more = ["--size", size, "--quality", "medium"] if size else []
            subprocess.run([self.bench.vrender, "frame", clip, path, "--time", str(frame), *more], check=True)

            def rgb(words, graph):
                words = [*QUIET, *words, "-vf", graph, "-pix_fmt", "rgb24", "-f", "rawvideo", "-frames:v", "1", "-"]
                return subprocess.run(words, check=True, stdout=subprocess.PIPE).stdout

            ours = rgb(["-i", path], "null")
            matrix = "matrixin=709:rangein=limited:matrix=gbr:range=full"
            peer = rgb(["-i", clip],
                       f"select=eq(n\\,{frame}),zscale={scale}{matrix}:filter=bilinear:dither=none,format=gbrp")
        differences = [abs(a - b) for a, b in zip(ours, peer)]
        allowed = 2 if size else 1
        self.say(f"picture {frame} of {Path(clip).name} {size or ''}",
                 len(ours) == len(peer) and max(differences) <= allowed,
                 f"{len(ours) // 3} and {len(peer) // 3} pixels, largest difference {max(differences)}, mean "
                 f"{sum(differences) / len(differences):.4f}")

    def same_as_melt(self):
        """A frame in the middle is that of melt, which interpolates chroma less, and no other one nearby is."""
        for name, clip, options, document, _ in self.bench.against_melt():
            # At half the speed melt repeats each frame instead of dissolving: every second one is a picture of both.
            frame = document.frames // 4 * 2
            with tempfile.TemporaryDirectory() as folder:
                ours, melt = f"{folder}/ours.raw", f"{folder}/melt.raw"
                subprocess.run([self.bench.vrender, "render", clip, ours, "--pix-fmt", "bgra", "--range",
                                f"{frame}:{frame + 1}", *options], check=True, stdout=subprocess.DEVNULL)
                subprocess.run(document.words(melt), check=True, stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                count = os.path.getsize(melt) // os.path.getsize(ours)
                psnr = [self.psnr(ours, melt, frame + offset) for offset in (-2, 0, 2)]
            self.say(f"{name}, frame {frame} as by melt",
                     count == document.frames and psnr[1] > 30 and psnr[1] > max(psnr[0], psnr[2]) + 6,
                     f"{count} frames, PSNR {psnr[1]:.1f} dB; frames before and after {psnr[0]:.1f}, {psnr[2]:.1f} dB")

    @staticmethod
    def psnr(one, many, number):
        """Of the only frame of one file against frame number of the other, both BGRA."""
        raw = ["-f", "rawvideo", "-pix_fmt", "bgra", "-s", "1920x1080"]
        words = ["ffmpeg", "-hide_banner", "-nostdin", *raw, "-i", one, "-skip_initial_bytes", str(number * 1920 * 1080 * 4),
                 *raw, "-i", many, "-frames:v", "1", "-lavfi", "[0:v]format=bgr0[a];[1:v]format=bgr0[b];[a][b]psnr",
                 "-f", "null", "-"]
        text = subprocess.run(words, check=True, stderr=subprocess.PIPE, text=True).stderr
        return float(text.rpartition("average:")[2].split()[0])

    def all(self):
        media = self.bench.media
        for clip in (media.chart(), media.noisy(), media.long_group(), media.raw()):
            self.count(clip)
        self.picture(media.noisy(), 137)
        self.picture(media.long_group(), 201)
        self.picture(media.raw(), 42)
        self.picture(media.raw_2160(), 7, "1920x1080")
        if shutil.which("melt"):
            self.same_as_melt()
        return 1 if self.failed else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("cache")
    parser.add_argument("--vrender", default=str(REPOSITORY / "build/release/bin/vrender"))
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--only", default="*", help="rows: " + " ".join(Bench.GROUPS))
    parser.add_argument("--output", help="the table goes there too")
    parser.add_argument("--verify", action="store_true")
    options = parser.parse_args()
    if not os.access(options.vrender, os.X_OK):
        print(f"no program at {options.vrender}", file=sys.stderr)
        return 66
    bench = Bench(options.vrender, Media(options.cache), options.runs)
    if options.verify:
        return Verify(bench).all()
    for group in Bench.GROUPS:
        if any(fnmatch.fnmatch(group, pattern) for pattern in options.only.split(",")):
            getattr(bench, group)()
    print(bench.table(), end="")
    if options.output:
        Path(options.output).write_text(bench.table())
    return 0


if __name__ == "__main__":
    sys.exit(main())
