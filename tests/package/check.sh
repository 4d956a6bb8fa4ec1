#!/usr/bin/env bash
# Checks what is installed from a build folder, and its packages: check.sh BUILD
# What fails goes to standard error; the last line on standard output has the totals.
set -uo pipefail
build=$(realpath "$1")
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
passed=0
failed=0
skipped=0

# check TEXT COMMAND...
check() {
    local text=$1
    shift
    if "$@" >"$work/log" 2>&1; then
        passed=$((passed + 1))
        echo "passed: $text" >&2
    else
        failed=$((failed + 1))
        echo "FAILED: $text" >&2
        cat "$work/log" >&2
    fi
}

# The installed examples: find_package, the plugin where it was installed.
with_cmake() {
    cmake -S "$(find "$stage" -path '*/micrologix/examples' -type d)" -B "$work/examples" \
        -DCMAKE_PREFIX_PATH="$stage" -DCMAKE_BUILD_TYPE=Debug \
        && cmake --build "$work/examples" -j 2 \
        && ctest --test-dir "$work/examples" --output-on-failure --no-tests=error
}

refuses_other_version() {
    mkdir -p "$work/other"
    cat >"$work/other/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(other LANGUAGES CXX)
find_package(micrologix 0.0 REQUIRED)
END
    ! cmake -S "$work/other" -B "$work/other/build" -DCMAKE_PREFIX_PATH="$stage" \
        && grep -q "considered but not accepted" "$work/log"
}

with_pkg_config() {
    export PKG_CONFIG_PATH=$(dirname "$(find "$stage" -name micrologix.pc)")
    g++ -DPLUGIN="\"$(pkg-config --variable=plugin micrologix)\"" "$here/consumer.cpp" \
        $(pkg-config --cflags --libs micrologix) -o "$work/by-pkg-config" && "$work/by-pkg-config"
}

compiles_headers() {
    (cd "$stage/include/micrologix" && find . -name '*.h' -printf '#include "%P"\n') >"$work/all.cpp"
    [ "$(wc -l <"$work/all.cpp")" -gt 30 ] || return
    g++ -fsyntax-only $(pkg-config --cflags micrologix) "$work/all.cpp"
}

# reads FOLDER: what is in FOLDER/bin finds its plugin by itself.
reads() {
    env -u MICROLOGIX_PLUGIN "$1/bin/df1" read N7:0 | grep -Eq '^N7:0 +500 '
}

# The settings' defaults, which panels in the field compare with.
verifies() {
    "$stage/bin/df1" info --json | grep -Fq 'version=4.8.6\ndebug=false\nbuildkey=arm linux g++-4 no-pkg-config'
}

reads_from_tarball() {
    mkdir "$work/tarball" && tar -xzf "$work"/packages/*.tar.gz -C "$work/tarball" --strip-components 1 \
        && reads "$work/tarball"
}

# The tools and the plugin that they need, in Debian's own places.
reads_from_debs() {
    local part
    for part in plugin tools; do
        dpkg-deb -x "$work"/packages/micrologix-df1-${part}_*.deb "$work/debs" || return
    done
    [ -f "$work/debs/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)/micrologix/libmicrologix.so" ] \
        && reads "$work/debs/usr"
}

shows_man_page() {
    local page
    for page in "$here"/../../docs/man/*.1; do
        gzip -dc "$work/debs/usr/share/man/man1/$(basename "$page").gz" | cmp - "$page" || return
    done
}

stage=$work/stage
check "installing" cmake --install "$build" --prefix "$stage"
check "the examples, built through find_package" with_cmake
check "another version is refused" refuses_other_version
check "a program built through pkg-config" with_pkg_config
check "the headers include nothing that is not installed" compiles_headers
check "the installed df1 reads" reads "$stage"
check "the installed plugin carries the default verification text" verifies
check "packing" env -C "$build" cpack -B "$work/packages"
check "df1 from the tarball reads" reads_from_tarball
check "df1 from the .debs reads" reads_from_debs
check "the man pages are there" shows_man_page
if command -v lintian >/dev/null; then
    check "lintian" lintian --allow-root --fail-on error "$work"/packages/*.deb
else
    skipped=1
fi
echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ]
