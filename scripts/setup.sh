#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need, only those that are missing.
# `scripts/setup.sh bench` also installs the benchmarks' comparison peers.
set -euo pipefail

packages=(cmake ninja-build g++ clang libclang-rt-14-dev libgtest-dev libgmock-dev libbenchmark-dev
          libomxil-bellagio-dev gdb valgrind python3 clang-tidy clang-format)
# libav_codec builds on FFmpeg's libraries (found with pkg-config); its tests make their streams with
# the ffmpeg program (below) and its libx264, libx265 and libvpx encoders.
packages+=(pkg-config libavcodec-dev libavformat-dev libavutil-dev libswscale-dev)
# The real clients the LP64 build's tests run against the core, and what their pipelines need:
# x264enc (ugly) makes the H.264 streams, h264parse (bad) splits them, avdec_h264 (libav) is the
# software decoder the decode pipeline is timed beside.
packages+=(gstreamer1.0-tools gstreamer1.0-omx-generic gstreamer1.0-plugins-base gstreamer1.0-plugins-good
           gstreamer1.0-plugins-ugly gstreamer1.0-plugins-bad gstreamer1.0-libav ffmpeg)
for group in "$@"; do
  case "$group" in
    bench) packages+=(libomxil-bellagio0 libomxil-bellagio0-components-base time libgstreamer1.0-dev) ;;
    *) echo "setup: unknown package group '$group'" >&2; exit 2 ;;
  esac
done

missing=()
for pkg in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$pkg")
  fi
done

if ((${#missing[@]})); then
  echo "setup: installing ${missing[*]}"
  sudo_cmd=()
  if [[ $(id -u) -ne 0 ]]; then sudo_cmd=(sudo); fi
  "${sudo_cmd[@]}" apt-get update
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y "${missing[@]}"
fi
