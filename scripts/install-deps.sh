#!/usr/bin/env bash
# Installs the Debian packages that Velmo builds and tests with, when any is missing.
# Runs apt-get directly as root, through sudo otherwise, and stops with a clear message if
# neither is possible.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config
  nlohmann-json3-dev   # project files and JSON-RPC
  libutf8proc-dev      # canonical id equality, lower-cased names
  libfftw3-dev         # the wavetable bank's inverse DFTs
  libgtest-dev
  locales-all          # a German locale, to test that numbers read and print the same under it
  libsndfile1-dev      # tests read rendered WAV files back with an independent reader
  libasio-dev          # the MCP server's sockets (standalone, header-only)
  librtaudio-dev       # the output device: JACK, PulseAudio and ALSA
  libasound2-dev       # MIDI in and out through the ALSA sequencer
  jackd2 libjack-jackd2-dev  # the audio host's tests run a JACK server with the dummy driver
  libebur128-dev       # loudness (LUFS, loudness range, true peak) in the mix report
  clang                # `make fuzz` only: libFuzzer and AddressSanitizer
  libclang-rt-14-dev   # clang's sanitizer and libFuzzer runtimes, which `clang` does not pull in
  desktop-file-utils   # the install test validates the desktop entry
  dpkg-dev file        # `make package`: dpkg-shlibdeps computes the package's dependencies
  qt6-base-dev         # the desktop window (Qt Widgets; QTest for its tests)
  qt6-qpa-plugins      # Qt's X11/Wayland and offscreen platforms
  libxcb1-dev          # asking the X server whether a window can open
  xvfb xauth           # tests run the real window in a virtual X server (xvfb-run)
  fonts-dejavu-core    # a font for the window on machines with none
)
# The interoperability test drives the server with the official MCP SDK from npm. Node may come
# from elsewhere than Debian; install the Debian packages only when no node/npm is on the PATH.
command -v node >/dev/null 2>&1 || packages+=(nodejs)
command -v npm >/dev/null 2>&1 || packages+=(npm)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing missing packages: ${missing[*]}"
if [ "$(id -u)" -eq 0 ]; then
  root=()
elif command -v sudo >/dev/null 2>&1 && sudo -n true 2>/dev/null; then
  root=(sudo)
else
  echo "error: these packages are missing and I cannot install them without root or sudo:" >&2
  echo "  ${missing[*]}" >&2
  echo "Install them with: sudo apt-get install ${missing[*]}" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
# jackd2 asks whether to enable real-time scheduling for the audio group; the tests run it
# without, and the question must not stop an unattended install.
echo "jackd2 jackd/tweak_rt_limits boolean false" | "${root[@]}" debconf-set-selections
"${root[@]}" apt-get update -qq
"${root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
