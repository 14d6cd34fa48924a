#!/bin/sh
# Installs what Meson has built and packages it. Usage: package.sh BEX VERSION, with Meson's variables
set -eu
stage=$MESON_BUILD_ROOT/stage
rm -rf "$stage"
meson install -C "$MESON_BUILD_ROOT" --destdir "$stage" --quiet
exec "$1" build "$stage" "$MESON_BUILD_ROOT" --name clock --version "$2" --arch all --description "Ticks" \
    --maintainer "Ann Lee <ann@example.org>"
