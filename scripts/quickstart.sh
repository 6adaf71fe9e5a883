#!/bin/bash
# From a fresh system to pictures: installs what is needed, builds, makes the media of the showreel, and renders it and
# a contact sheet of it into out/.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_packages.sh
mkdir -p build out

cmake --preset release > build/configure.log || { cat build/configure.log; exit 1; }
cmake --build --preset release --target vrender

showreel=Examples/showreel/showreel.otio
python3 Examples/showreel/make_media.py

vrender=build/release/bin/vrender
$vrender info "$showreel"
$vrender render "$showreel" out/showreel.mp4 --overwrite
$vrender contact-sheet "$showreel" out/contact-sheet.png --size 160x90 --columns 6 --count 30 --overwrite

echo
echo "Made from $PWD/$showreel:"
echo "  $PWD/out/showreel.mp4        a movie"
echo "  $PWD/out/contact-sheet.png   a contact sheet"
