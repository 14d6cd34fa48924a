#!/bin/sh
# Installs what Meson has built and packages it. Usage: package.sh BEX VERSION, with Meson's variables
set -eu
export STAGE="$MESON_BUILD_ROOT/stage" VERSION="$2"
rm -rf "$STAGE"
meson install -C "$MESON_BUILD_ROOT" --destdir "$STAGE" --quiet
cd "$MESON_SOURCE_ROOT"
exec "$1" build -f package.yaml -o "$MESON_BUILD_ROOT"
