#!/usr/bin/env python3
"""Makes the clips that the media tests read: make_test_media.py DIR

Each clip is small, made by the ffmpeg command line from moving synthetic pictures, and skipped when it is there
already. A clip whose encoder this ffmpeg doesn't have is left out and named. Exits with 1 if a clip can't be made.
"""
import os
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

SOURCE = "testsrc2=size={size}:rate={rate}:duration={duration},noise=alls=12:allf=t:all_seed=7"
def bitexact(arguments):
    """What makes the same file each time; a clip with codec flags of its own names this one among them."""
    return ["-fflags", "+bitexact", *([] if "-flags" in arguments else ["-flags:v", "+bitexact"])]


X264 = ["-c:v", "libx264", "-preset", "veryfast", "-threads", "2"]
X265 = ["-c:v", "libx265", "-preset", "ultrafast", "-x265-params", "log-level=none:pools=2:keyint=24:min-keyint=24"]


def source(size="160x96", rate="25", frames=60, extra=""):
    number, _, divisor = rate.partition("/")
    seconds = frames * float(divisor or 1) / float(number)
    text = SOURCE.format(size=size, rate=rate, duration=f"{seconds:.6f}") + (("," + extra) if extra else "")
    return ["-f", "lavfi", "-i", text, "-frames:v", str(frames)]


CLIPS = {}
NEEDS = {}


def clip(name, *arguments, needs=None):
    CLIPS[name] = [argument for part in arguments for argument in (part if isinstance(part, list) else [part])]
    if needs:
        NEEDS[name] = needs


ALPHA = "format=rgba,geq=r='r(X,Y)':g='g(X,Y)':b='b(X,Y)':a='mod(X*3+Y*2+N*5,256)'"
RATE_NTSC = "30000/1001"

clip("h264_b.mp4", source(frames=100), X264, "-g", "40", "-bf", "3", "-pix_fmt", "yuv420p",
     "-colorspace", "bt709", "-color_primaries", "bt709", "-color_trc", "bt709", "-color_range", "tv")
clip("h264_open.ts", source(frames=90), X264, "-g", "20", "-bf", "3", "-x264-params", "open-gop=1:keyint=20",
     "-pix_fmt", "yuv420p")
clip("h264_ntsc.mkv", source(rate=RATE_NTSC, frames=70), X264, "-g", "30", "-pix_fmt", "yuv420p")
clip("h264_paff_like.mp4", source(frames=60), X264, "-g", "24", "-flags", "+ilme+ildct+bitexact", "-x264-params", "tff=1",
     "-pix_fmt", "yuv420p")
clip("h264_444.mp4", source(frames=40), X264, "-pix_fmt", "yuv444p")
clip("h264_10.mkv", source(frames=40), X264, "-pix_fmt", "yuv420p10le")
clip("h264_long.mp4", source(frames=260), X264, "-g", "250", "-keyint_min", "250", "-sc_threshold", "0",
     "-pix_fmt", "yuv420p")
clip("h264_pyramid.mp4", source(frames=120), "-c:v", "libx264", "-preset", "medium", "-threads", "2", "-refs", "5",
     "-bf", "3", "-b_strategy", "0", "-b-pyramid", "normal", "-g", "250", "-sc_threshold", "0", "-pix_fmt", "yuv420p")
clip("h264_refresh.mp4", source(frames=80), X264, "-x264-params", "intra-refresh=1:keyint=30", "-pix_fmt", "yuv420p")
clip("h264_fragmented.mp4", source(frames=60), X264, "-g", "20", "-pix_fmt", "yuv420p",
     "-movflags", "frag_keyframe+empty_moov")
clip("h264_raw.h264", source(frames=60), X264, "-g", "20", "-pix_fmt", "yuv420p", "-f", "h264")
clip("hevc.mkv", source(frames=60), X265, "-pix_fmt", "yuv420p")
clip("hevc_10.mp4", source(frames=60), X265, "-pix_fmt", "yuv420p10le", "-tag:v", "hvc1")
clip("hevc_open.ts", source(frames=72), X265, "-x265-params", "log-level=none:pools=2:keyint=24:open-gop=1",
     "-pix_fmt", "yuv420p")
MPEG2I = ["-c:v", "mpeg2video", "-flags", "+ilme+ildct+bitexact", "-top", "1", "-bf", "2", "-g", "12", "-b:v", "2M",
          "-pix_fmt", "yuv420p"]
clip("mpeg2_interlaced.mpg", source(size="176x144", frames=60), MPEG2I, "-f", "vob")
clip("mpeg2_interlaced.ts", source(size="176x144", frames=60), MPEG2I)
clip("mpeg2_interlaced.mkv", source(size="176x144", frames=60), MPEG2I)
clip("mpeg2_422.mxf", source(size="720x576", frames=20), "-c:v", "mpeg2video", "-g", "12", "-b:v", "8M",
     "-pix_fmt", "yuv422p")
clip("mpeg2_raw.m2v", source(size="176x144", frames=60), "-c:v", "mpeg2video", "-bf", "2", "-g", "12", "-b:v", "1M",
     "-pix_fmt", "yuv420p")
clip("mpeg1.mpg", source(size="176x144", frames=60), "-c:v", "mpeg1video", "-bf", "2", "-b:v", "1M",
     "-pix_fmt", "yuv420p")
clip("mpeg4_b.avi", source(frames=60), "-c:v", "mpeg4", "-bf", "2", "-g", "20", "-q:v", "3", "-pix_fmt", "yuv420p")
clip("prores.mov", source(frames=20), "-c:v", "prores_ks", "-profile:v", "2", "-pix_fmt", "yuv422p10le")
clip("prores_4444.mov", source(frames=12, extra=ALPHA), "-c:v", "prores_ks", "-profile:v", "4",
     "-pix_fmt", "yuva444p10le")
clip("dnxhr.mov", source(size="256x144", frames=20), "-c:v", "dnxhd", "-profile:v", "dnxhr_hq",
     "-pix_fmt", "yuv422p")
clip("mjpeg.mov", source(frames=30), "-c:v", "mjpeg", "-q:v", "3", "-pix_fmt", "yuvj422p")
clip("mjpeg.avi", source(frames=30), "-c:v", "mjpeg", "-q:v", "3", "-pix_fmt", "yuvj420p")
clip("vp8.webm", source(frames=50), "-c:v", "libvpx", "-deadline", "realtime", "-cpu-used", "8", "-g", "20",
     "-auto-alt-ref", "1", "-lag-in-frames", "10", "-b:v", "500k", "-pix_fmt", "yuv420p", needs="libvpx")
clip("vp9.webm", source(frames=50), "-c:v", "libvpx-vp9", "-deadline", "good", "-cpu-used", "8", "-g", "20",
     "-auto-alt-ref", "1", "-lag-in-frames", "12", "-b:v", "500k", "-pix_fmt", "yuv420p", needs="libvpx-vp9")
clip("vp9_alpha.webm", source(frames=20, extra=ALPHA), "-c:v", "libvpx-vp9", "-deadline", "realtime",
     "-cpu-used", "8", "-auto-alt-ref", "0", "-pix_fmt", "yuva420p", needs="libvpx-vp9")
clip("av1.mp4", source(frames=30), "-c:v", "libsvtav1", "-preset", "12", "-g", "15", "-pix_fmt", "yuv420p",
     needs="libsvtav1")
clip("ffv1.mkv", source(frames=30), "-c:v", "ffv1", "-level", "3", "-g", "1", "-pix_fmt", "yuv422p")
clip("ffv1_alpha.mkv", source(frames=12, extra=ALPHA), "-c:v", "ffv1", "-level", "3", "-pix_fmt", "yuva444p10le")
clip("ffv1_444_10.mkv", source(frames=12), "-c:v", "ffv1", "-level", "3", "-pix_fmt", "yuv444p10le")
clip("ffv1_gray16.mkv", source(frames=12), "-c:v", "ffv1", "-level", "3", "-pix_fmt", "gray16le")
clip("raw_i420.avi", source(frames=20), "-c:v", "rawvideo", "-pix_fmt", "yuv420p")
clip("raw_uyvy.avi", source(frames=20), "-c:v", "rawvideo", "-pix_fmt", "uyvy422", "-vtag", "UYVY")
clip("v210.mov", source(frames=20), "-c:v", "v210", "-pix_fmt", "yuv422p10le")
clip("qtrle_alpha.mov", source(frames=20, extra=ALPHA), "-c:v", "qtrle", "-pix_fmt", "argb")
clip("utvideo.avi", source(frames=20), "-c:v", "utvideo", "-pix_fmt", "yuv422p")
clip("huffyuv.avi", source(frames=20), "-c:v", "huffyuv", "-pix_fmt", "yuv422p")
clip("png.mov", source(frames=12), "-c:v", "png", "-pix_fmt", "rgb24")
clip("animation.gif", source(frames=20, rate="10"), "-pix_fmt", "rgb8")
clip("vfr.mkv", source(frames=90, extra="select='not(mod(n\\,3)*mod(n\\,7))'"), "-fps_mode", "vfr", X264, "-g", "15",
     "-pix_fmt", "yuv420p")
clip("vfr.mp4", source(frames=90, extra="select='not(mod(n\\,3)*mod(n\\,7))'"), "-fps_mode", "vfr", X264, "-g", "15",
     "-pix_fmt", "yuv420p")
clip("negative.mkv", source(frames=50), X264, "-g", "20", "-pix_fmt", "yuv420p", "-output_ts_offset", "-0.4",
     "-avoid_negative_ts", "disabled")
clip("anamorphic.mp4", source(size="144x96", frames=20), "-vf", "setsar=16/11", X264, "-pix_fmt", "yuv420p")
clip("timecode.mov", source(rate=RATE_NTSC, frames=30), X264, "-pix_fmt", "yuv420p", "-timecode", "00:59:58;20")
clip("hdr_pq.mkv", source(frames=8), X265, "-pix_fmt", "yuv420p10le", "-colorspace", "bt2020nc",
     "-color_primaries", "bt2020", "-color_trc", "smpte2084")
clip("negative.mp4", source(frames=50), X264, "-g", "20", "-pix_fmt", "yuv420p", "-output_ts_offset", "-0.4",
     "-avoid_negative_ts", "disabled")
clip("audio_only.m4a", "-f", "lavfi", "-i", "sine=duration=1", "-c:a", "aac")
clip("two_videos.mkv", source(frames=20)[:4], "-f", "lavfi", "-i", "color=red:size=96x64:rate=25:duration=0.8",
     "-map", "0:v", "-map", "1:v", X264, "-pix_fmt", "yuv420p", "-disposition:v:0", "0", "-disposition:v:1", "default")
clip("png_%05d.png", source(frames=6), "-start_number", "1", "-pix_fmt", "rgb24")
clip("exr_%05d.exr", source(frames=4), "-start_number", "1", "-pix_fmt", "gbrpf32le")


class Bits:
    """Writes the syntax elements of H.264."""

    def __init__(self):
        self.text = ""

    def u(self, count, value):
        self.text += f"{value:0{count}b}"
        return self

    def ue(self, *values):
        for value in values:
            code = f"{value + 1:b}"
            self.text += "0" * (len(code) - 1) + code
        return self

    def align(self, data=b""):
        self.text += "0" * (-len(self.text) % 8) + "".join(f"{byte:08b}" for byte in data)
        return self

    def unit(self, reference, kind):
        bits = self.text + "1"
        bits += "0" * (-len(bits) % 8)
        unit = bytearray([reference << 5 | kind])
        zeros = 0
        for byte in int(bits, 2).to_bytes(len(bits) // 8, "big"):
            if zeros >= 2 and byte <= 3:
                unit.append(3)
                zeros = 0
            unit.append(byte)
            zeros = zeros + 1 if byte == 0 else 0
        return b"\0\0\0\1" + bytes(unit)


def field_pairs(frames=30, group=10, side=64):
    """H.264 whose fields are pictures, each in a packet of its own, which no encoder of FFmpeg makes: samples as they
    are, in intra pictures of which only each tenth is a random access point."""
    across = side // 16
    down = side // 32
    sequence = Bits().u(8, 77).u(8, 0).u(8, 30).ue(0, 0, 0, 4, 2).u(1, 0).ue(across - 1, down - 1)
    sequence.u(1, 0).u(1, 0).u(1, 1).u(1, 0).u(1, 0)
    picture = Bits().ue(0, 0).u(1, 0).u(1, 0).ue(0, 1, 1).u(1, 0).u(2, 0).ue(0, 0, 0).u(1, 1).u(1, 0).u(1, 0)
    stream = b""
    for frame in range(frames):
        place = frame % group
        for bottom in (0, 1):
            is_idr = place == 0 and not bottom
            if is_idr:
                stream += sequence.unit(3, 7) + picture.unit(3, 8)
            stream += Bits().u(3, 7).unit(0, 9)
            piece = Bits().ue(0, 7, 0).u(4, place % 16).u(1, 1).u(1, bottom)
            if is_idr:
                piece.ue(frame // group % 2)
            piece.u(8, 2 * place + bottom).u(2 if is_idr else 1, 0).ue(0, 1)
            for block in range(across * down):
                left, top = block % across * 16, block // across * 16
                luma = bytes(16 + (3 * (left + x) + 5 * (top + y) + 7 * frame + 90 * bottom) % 200
                             for y in range(16) for x in range(16))
                chroma = bytes(16 + (left + x + 2 * frame + 50 * plane) % 200
                               for plane in (0, 1) for y in range(8) for x in range(8))
                piece.ue(25).align(luma + chroma)
            stream += piece.unit(3, 5 if is_idr else 1)
    return stream


def encoders():
    text = subprocess.run(["ffmpeg", "-hide_banner", "-v", "quiet", "-encoders"], capture_output=True, text=True,
                          check=True).stdout
    return {line.split()[1] for line in text.splitlines() if len(line.split()) > 1}


def run(arguments):
    done = subprocess.run(["ffmpeg", "-hide_banner", "-nostdin", "-v", "error", "-y", *arguments], capture_output=True,
                          text=True)
    return None if done.returncode == 0 else done.stderr.strip()


def make(folder, name):
    """Writes beside the target and renames, so that a clip that is there is whole."""
    target = os.path.join(folder, name)
    marker = target.replace("%05d", "00001")
    if os.path.exists(marker):
        return None
    if "%" in name:
        return run([*CLIPS[name], *bitexact(CLIPS[name]), target])
    partial = os.path.join(folder, "part." + name)
    error = run([*CLIPS[name], *bitexact(CLIPS[name]), partial])
    if error is None:
        os.rename(partial, target)
    return error


def derived(folder):
    """Clips that are cut from others."""
    def path(name):
        return os.path.join(folder, name)

    def remux(name, *arguments):
        if not os.path.exists(path(name)):
            error = run([*arguments, *bitexact(arguments), path("part." + name)])
            if error:
                raise RuntimeError(f"{name}: {error}")
            os.rename(path("part." + name), path(name))

    # Copied from a place between key frames: the file holds pictures before its start, hidden by an edit list.
    remux("edit_list.mp4", "-ss", "1.0", "-i", path("h264_b.mp4"), "-c", "copy")
    # A broadcast joined in the middle of an open group.
    remux("cut_in_group.ts", "-ss", "0.9", "-i", path("h264_open.ts"), "-c", "copy", "-copyinkf")
    remux("rotated.mp4", "-i", path("h264_b.mp4"), "-c", "copy", "-metadata:s:v:0", "rotate=90")
    remux("cover.mp4", "-i", path("h264_b.mp4"), "-i", path("png_00001.png"), "-map", "1", "-map", "0", "-c", "copy",
          "-disposition:v:0", "attached_pic")
    remux("h264_b.avi", "-i", path("h264_b.mp4"), "-c", "copy", "-bsf:v", "h264_mp4toannexb")
    if not os.path.exists(path("size_change.ts")):
        for part, size in (("a", "160x96"), ("b", "128x72")):
            error = run([*source(size=size, frames=20), *X264, "-g", "10", "-pix_fmt", "yuv420p",
                         "-output_ts_offset", "0" if part == "a" else "0.8", path(f"part.{part}.ts")])
            if error:
                raise RuntimeError(error)
        with open(path("part.size_change.ts"), "wb") as joined:
            for part in "ab":
                with open(path(f"part.{part}.ts"), "rb") as piece:
                    joined.write(piece.read())
                os.remove(path(f"part.{part}.ts"))
        os.rename(path("part.size_change.ts"), path("size_change.ts"))
    if not os.path.exists(path("paff.h264")):
        with open(path("part.paff.h264"), "wb") as fields:
            fields.write(field_pairs())
        os.rename(path("part.paff.h264"), path("paff.h264"))
    remux("paff.ts", "-i", path("paff.h264"), "-c", "copy")
    remux("paff.mkv", "-i", path("paff.ts"), "-c", "copy")
    if not os.path.exists(path("spliced.ts")):
        with open(path("part.spliced.ts"), "wb") as joined:
            for _ in range(2):
                with open(path("mpeg2_interlaced.ts"), "rb") as piece:
                    joined.write(piece.read())
        os.rename(path("part.spliced.ts"), path("spliced.ts"))


def main():
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 64
    folder = sys.argv[1]
    os.makedirs(folder, exist_ok=True)
    known = encoders()
    wanted = []
    for name in CLIPS:
        if NEEDS.get(name, "ffv1") in known:
            wanted.append(name)
        else:
            print(f"left out {name}: this ffmpeg has no encoder {NEEDS[name]}")
    failed = False
    with ThreadPoolExecutor(2) as pool:
        for name, error in zip(wanted, pool.map(lambda each: make(folder, each), wanted)):
            if error:
                failed = True
                print(f"{name}: {error}", file=sys.stderr)
    if not failed:
        derived(folder)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
