#!/bin/bash
# From a fresh system to pictures: installs what is needed, builds, lets FFmpeg encode a clip, and renders a movie
# and a contact sheet of it into out/.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh
mkdir -p build out

cmake --preset release > build/configure.log || { cat build/configure.log; exit 1; }
cmake --build --preset release --target vrender

# Noise keeps each picture different from the one before, as a camera's would be.
clip=out/clip.mp4
ffmpeg -hide_banner -loglevel error -y \
    -f lavfi -i "testsrc2=size=1280x720:rate=25:duration=8,noise=alls=12:allf=t" \
    -c:v libx264 -preset veryfast -crf 20 -pix_fmt yuv420p "$clip"

vrender=build/release/bin/vrender
$vrender info "$clip"
$vrender render "$clip" out/movie.mp4 --size 640x360 --overwrite
$vrender contact-sheet "$clip" out/contact-sheet.png --overwrite

echo
echo "Made from $PWD/$clip:"
echo "  $PWD/out/movie.mp4           a movie of half the size"
echo "  $PWD/out/contact-sheet.png   a contact sheet"
