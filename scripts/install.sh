#!/usr/bin/env bash
# Installs Wavelocker from a build into a prefix, or removes it again, and refreshes the
# desktop's databases so that file managers and xdg-open offer it at once.
#   scripts/install.sh install|uninstall BUILD_DIR PREFIX
set -euo pipefail

action=${1:?install or uninstall}
build=${2:?build directory}
prefix=${3:?prefix}

refresh() {
  local share="$prefix/share"
  # Each tool is optional on a system: without it the entry still works after the next login.
  if command -v update-desktop-database >/dev/null && [ -d "$share/applications" ]; then
    update-desktop-database -q "$share/applications"
  fi
  if command -v update-mime-database >/dev/null && [ -d "$share/mime/packages" ]; then
    update-mime-database "$share/mime"
  fi
  if [ -d "$share/icons/hicolor" ]; then
    touch "$share/icons/hicolor"
    if command -v gtk-update-icon-cache >/dev/null && [ -f "$share/icons/hicolor/index.theme" ]; then
      gtk-update-icon-cache -q -t -f "$share/icons/hicolor" || true
    fi
  fi
}

case "$action" in
  install)
    cmake --install "$build" --prefix "$prefix"
    refresh
    ;;
  uninstall)
    # What an install into this prefix would write, found by installing into a scratch root:
    # the install rules stay the one list of files.
    stage=$(mktemp -d)
    trap 'rm -rf "$stage"' EXIT
    DESTDIR="$stage" cmake --install "$build" --prefix "$prefix" >/dev/null
    (cd "$stage" && find . -type f -o -type l) | while IFS= read -r file; do
      target="/${file#./}"
      if [ -e "$target" ] || [ -L "$target" ]; then
        rm -f "$target"
        echo "-- Removed: $target"
      fi
    done
    rmdir "$prefix/lib/wavelocker" 2>/dev/null || true
    # The MIME database keeps the types of the other packages in the prefix.
    if [ -d "$prefix/share/mime/packages" ] && [ -z "$(ls -A "$prefix/share/mime/packages")" ]; then
      find "$prefix/share/mime" -mindepth 1 -maxdepth 1 ! -name packages -exec rm -rf {} +
    fi
    refresh
    ;;
  *)
    echo "usage: $0 install|uninstall BUILD_DIR PREFIX" >&2
    exit 2
    ;;
esac
