#!/bin/sh
# Runs `make test` with each compiler and prints one line for each, followed by the end of the log if
# the run failed. Fails if any run fails, or if a required compiler is not installed; an optional one
# is skipped. For each missing compiler it prints the command that installs it.
#
# Usage: compilers.sh required|optional COMPILER...
# "+libc++" after a compiler's name selects clang's own C++ library.

set -u
logs=build/compilers
mkdir -p "$logs"
need=$1
shift
failed=0
for name in "$@"; do
    compiler=${name%+libc++}
    packages=$(echo "$compiler" | sed 's/clang++/clang/')
    if [ "$compiler" != "$name" ]; then
        packages="$packages libc++-${compiler#clang++-}-dev"
        compiler="$compiler -stdlib=libc++"
    fi
    if ! echo '#include <vector>' | $compiler -x c++ -fsyntax-only - 2>/dev/null; then
        echo "$name: not installed: apt-get install $packages"
        [ "$need" = optional ] || failed=1
        continue
    fi
    result=passed
    began=$(date +%s)
    make test CXX="$compiler" > "$logs/$name.log" 2>&1 || { result=FAILED && failed=1; }
    echo "$name: $result in $(($(date +%s) - began)) s, see $logs/$name.log"
    [ "$result" = passed ] || tail -n 40 "$logs/$name.log"
done
exit "$failed"
