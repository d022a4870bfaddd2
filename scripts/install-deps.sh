#!/usr/bin/env bash
# Installs every Debian package that building, testing, benchmarking and running Wavelocker need.
# Idempotent: packages already present are skipped without touching the network.
set -euo pipefail

PACKAGES=(
  # build
  cmake ninja-build g++ pkg-config ccache make
  qt6-base-dev qt6-base-dev-tools libgl-dev
  libgtest-dev libgmock-dev
  # audio files
  libsndfile1-dev libavformat-dev libavcodec-dev libavutil-dev libswresample-dev
  # audio engine, MIDI and plugins
  libjack-jackd2-dev jackd2 libasound2-dev libfluidsynth-dev timgm6mb-soundfont libsmf-dev liblilv-dev libsuil-dev lv2-dev
  # plugins the tests host, and reference hosts they compare with
  mda-lv2 swh-lv2 x42-plugins lilv-utils lv2file
  # property lists, zip, web service, service registration, QR codes of its address
  libplist-dev zlib1g-dev libminizip-dev libcpp-httplib-dev libssl-dev libavahi-client-dev libqrencode-dev
  # Dropbox: the sign-in kept in the desktop's secret store; the tests start their own store
  qtkeychain-qt6-dev libsecret-1-0 gnome-keyring
  # bulk HTTP transfers (Dropbox uploads and downloads)
  libcurl4-openssl-dev
  # tools the tests and benchmarks compare against or drive
  time bc sox libsox-fmt-all ffmpeg zip unzip p7zip-full libarchive-tools nginx-light zbar-tools
  chromium curl wrk xvfb xauth dbus python3
  # desktop integration: the entry, MIME and AppStream databases and their checks
  desktop-file-utils appstream xdg-utils shared-mime-info
  # the file and folder icons where the desktop has no icon theme of its own
  adwaita-icon-theme
)

missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
# The browser tests need node and npm; the machine image may already carry its own build of them.
if ! command -v node >/dev/null || ! command -v npm >/dev/null; then
  missing+=(nodejs npm)
fi
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -q
  $SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"
fi

# npm packages of the browser tests, exactly as locked; reinstalled only when the lock changed.
HERE=$(cd "$(dirname "$0")/.." && pwd)
for dir in "$HERE"/tests/*/browser; do
  [ -f "$dir/package-lock.json" ] || continue
  if [ ! -f "$dir/node_modules/.package-lock.json" ] || [ "$dir/package-lock.json" -nt "$dir/node_modules/.package-lock.json" ]; then
    (cd "$dir" && npm ci --no-audit --no-fund --loglevel=error)
  fi
done
