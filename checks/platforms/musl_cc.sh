#!/bin/sh
# musl-gcc as CPython's configure wants it: Debian's gcc calls its target x86_64-linux-gnu.
case $* in
    --print-multiarch) echo x86_64-linux-musl ;;
    *) exec musl-gcc "$@" ;;
esac
