#!/usr/bin/env bash
# Checks what is installed from a build folder: check.sh BUILD
set -uo pipefail
build=$(realpath "$1")
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
passed=0
failed=0

# check TEXT COMMAND...
check() {
    local text=$1
    shift
    if "$@" >"$work/log" 2>&1; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "FAIL: $text"
        cat "$work/log"
    fi
}

with_cmake() {
    cmake -S "$here" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$stage" \
        && cmake --build "$work/consumer" && "$work/consumer/consumer"
}

with_pkg_config() {
    export PKG_CONFIG_PATH=$(dirname "$(find "$stage" -name micrologix.pc)")
    g++ -std=c++17 -fPIC -DPLUGIN="\"$(pkg-config --variable=plugin micrologix)\"" "$here/consumer.cpp" \
        $(pkg-config --cflags --libs micrologix) -o "$work/by-pkg-config" && "$work/by-pkg-config"
}

reads() {
    "$stage/bin/df1" read N7:0 | grep -Eq '^N7:0 +500 '
}

# The settings' defaults, which panels in the field compare with.
verifies() {
    "$stage/bin/df1" info --json | grep -Fq 'version=4.8.6\ndebug=false\nbuildkey=arm linux g++-4 no-pkg-config'
}

stage=$work/stage
check "installing" cmake --install "$build" --prefix "$stage"
check "a program built through find_package" with_cmake
check "a program built through pkg-config" with_pkg_config
check "the installed df1 reads" reads
check "the installed plugin carries the default verification text" verifies
check "packing" env -C "$build" cpack -B "$work/packages"
if command -v lintian >/dev/null; then
    check "lintian" lintian --allow-root --fail-on error "$work"/packages/*.deb
fi
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
