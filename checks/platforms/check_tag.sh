#!/bin/sh
# Fails unless auditwheel has given the wheel this tag, and names the symbols that are too new.
#
# Usage: check_tag.sh TAG WHEEL
set -eu
tag=$1 wheel=$2
case $wheel in *"$tag"*) exit 0 ;; esac
echo "$(basename "$wheel") is not $tag" >&2
floor=$(echo "$tag" | sed -n 's/^manylinux_2_\([0-9]*\)_.*/\1/p')
[ -n "$floor" ] || exit 1
unpacked=$(mktemp -d)
trap 'rm -rf "$unpacked"' EXIT
.venv/bin/python -m zipfile -e "$wheel" "$unpacked"
find "$unpacked" -name '*.so' -exec readelf --dyn-syms --wide {} + |
    grep -o '[^ ]*@GLIBC_2[.][0-9.]*' |
    awk -F '@GLIBC_2[.]' -v floor="$floor" '$2 + 0 > floor { print "too new: " $0 }' >&2
exit 1
