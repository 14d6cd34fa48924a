#!/bin/bash
# A first session with bex, commands and their output as the README shows them. Works in the current directory, where
# `site` is; bex is found by PATH.
set -euo pipefail
export SOURCE_DATE_EPOCH=1767225600

run() {
    echo "\$ $1"
    eval "$1"
}

run "bex build site --prefix var/www --name site --version 1.0 --arch all \\
      --maintainer 'Ann Lee <ann@example.org>' --description 'A small web site'"
run "bex list site_1.0_all.bex 'var/www/*.html'"
run "bex verify site_1.0_all.bex && echo sound"
run "bex extract site_1.0_all.bex unpacked"
run "dpkg-deb --field site_1.0_all.bex Version"
