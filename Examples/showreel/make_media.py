#!/usr/bin/env python3
"""Makes the media of the showreel: make_media.py [DIR]

Small clips of several sizes, rates and field orders, by the ffmpeg command line, and two titles with alpha. DIR is
the folder "media" beside this script unless it is given. What is there already is left as it is. Exits with 1 if
something can't be made.
"""
import os
import struct
import subprocess
import sys
import zlib

# Same files on every run.
EXACT = ["-threads", "1", "-fflags", "+bitexact", "-flags:v", "+bitexact"]
H264 = ["-c:v", "libx264", "-preset", "veryfast", "-crf", "20", "-pix_fmt", "yuv420p",
        "-colorspace", "bt709", "-color_primaries", "bt709", "-color_trc", "bt709", "-color_range", "tv"]
BACKGROUND = ("gradients=size=1280x720:rate=25:nb_colors=4:c0=0x0d2b45:c1=0x1f6f8b:c2=0x99a8b2:c3=0x203c56"
              ":x0=200:y0=100:x1=1100:y1=640:seed=3:speed=0.02:duration=8")
# A ball that swings before a green wall.
BALL = "hypot(X-160-96*sin(2*PI*T/2),Y-92-34*cos(2*PI*T/1)) - 44"
ACTOR = ("color=c=black:size=320x180:rate=25:duration=4,format=gbrp,geq="
         "r='if(lt({ball},0),235-1.6*abs({ball}+44),24)':"
         "g='if(lt({ball},0),120-1.2*abs({ball}+44),196)':"
         "b='if(lt({ball},0),60+2.4*abs({ball}+44),40)',scale=640:360:flags=bicubic").format(ball="(" + BALL + ")")

CLIPS = {
    "waves.mp4": [BACKGROUND, *H264],
    # Each picture shows its number.
    "numbers.mp4": ["testsrc2=size=640x360:rate=30000/1001:duration=9", *H264, "-g", "60"],
    "fractal.mp4": ["mandelbrot=size=480x360:rate=24000/1001:start_scale=0.8:end_scale=0.02:end_pts=150"
                    ":start_x=-0.743643887:start_y=-0.131825904", "-frames:v", "144", *H264],
    # 50 moments a second, two of them in each frame, in pixels that aren't square.
    "tape.mpg": ["testsrc2=size=720x576:rate=50:duration=4,hue=h=120:s=0.7,setsar=16/11,tinterlace=interleave_top"
                 ",fieldorder=tff",
                 "-c:v", "mpeg2video", "-flags:v", "+ildct+ilme+bitexact", "-top", "1", "-b:v", "6M", "-g", "12"],
    "actor.mp4": [ACTOR, *H264],
}

# Five columns of seven dots for each letter.
LETTERS = {
    "A": (14, 17, 17, 31, 17, 17, 17), "D": (30, 17, 17, 17, 17, 17, 30), "E": (31, 16, 16, 30, 16, 16, 31),
    "F": (31, 16, 16, 30, 16, 16, 16), "H": (17, 17, 17, 31, 17, 17, 17), "I": (14, 4, 4, 4, 4, 4, 14),
    "L": (16, 16, 16, 16, 16, 16, 31), "M": (17, 27, 21, 21, 17, 17, 17), "N": (17, 25, 21, 19, 17, 17, 17),
    "O": (14, 17, 17, 17, 17, 17, 14), "R": (30, 17, 17, 30, 20, 18, 17), "S": (15, 16, 16, 14, 1, 1, 30),
    "T": (31, 4, 4, 4, 4, 4, 4), "W": (17, 17, 17, 21, 21, 27, 17), " ": (0,) * 7,
}
TITLES = {"title.png": ("SHOWREEL", 16, (255, 214, 102)), "end.png": ("THE END", 16, (255, 255, 255))}


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def write_png(path, width, height, rows):
    packed = zlib.compress(b"".join(b"\0" + bytes(row) for row in rows), 9)
    with open(path, "wb") as file:
        file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0)) +
                   chunk(b"IDAT", packed) + chunk(b"IEND", b""))


def dots(text):
    """The dots of a text, line by line."""
    return ["".join(f"{LETTERS[letter][line]:05b}0" for letter in text) for line in range(7)]


def make_title(path, text, dot, color):
    """Letters of round dots, soft at their edges, above a shadow."""
    width, height = 1280, 720
    lines = dots(text)
    left = (width - (len(lines[0]) - 1) * dot) // 2
    top = (height - 7 * dot) // 2

    def cover(x, y):
        column, line = (x - left) // dot, (y - top) // dot
        if not (0 <= line < 7 and 0 <= column < len(lines[0])) or lines[line][column] == "0":
            return 0.0
        across, down = x - left - column * dot - dot / 2 + 0.5, y - top - line * dot - dot / 2 + 0.5
        return max(0.0, min(1.0, dot * 0.56 - (across * across + down * down) ** 0.5))

    rows = []
    for y in range(height):
        row = bytearray(4 * width)
        if top <= y < top + 8 * dot:
            for x in range(left, left + (len(lines[0]) + 1) * dot):
                letter, shadow = cover(x, y), 0.6 * cover(x - dot // 3, y - dot // 3)
                alpha = letter + shadow * (1 - letter)
                if alpha > 0:
                    share = letter / alpha
                    row[4 * x:4 * x + 4] = bytes([*(round(part * share) for part in color), round(255 * alpha)])
        rows.append(row)
    write_png(path, width, height, rows)


def make_clip(path, source, *arguments):
    part = path + ".part"
    container = {".mp4": "mp4", ".mpg": "mpeg"}[os.path.splitext(path)[1]]
    command = ["ffmpeg", "-nostdin", "-hide_banner", "-loglevel", "error", "-y", "-f", "lavfi", "-i", source]
    exact = EXACT if "-flags:v" not in arguments else EXACT[:-2]
    subprocess.run([*command, *exact, *arguments, "-f", container, part], check=True)
    os.replace(part, path)


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), "media")
    os.makedirs(folder, exist_ok=True)
    try:
        for name, arguments in CLIPS.items():
            if not os.path.exists(os.path.join(folder, name)):
                make_clip(os.path.join(folder, name), *arguments)
        for name, title in TITLES.items():
            if not os.path.exists(os.path.join(folder, name)):
                make_title(os.path.join(folder, name), *title)
    except (OSError, subprocess.CalledProcessError) as error:
        sys.exit(f"make_media.py: {error}")


if __name__ == "__main__":
    main()
