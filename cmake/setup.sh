# Sourced by ./run and ./test: installs what is missing, configures and builds.
# Everything it says goes to standard error; standard output is the caller's.

build_packages="g++ cmake ninja-build qtbase5-dev libqt5serialport5-dev libcli11-dev libpcap0.8-dev libqt5sql5-sqlite"
bench_packages="libbenchmark-dev zlib1g-dev pkg-config libmodbus-dev libqt5serialbus5-dev valgrind strace"
arm_packages="g++-arm-linux-gnueabihf qemu-user-static mmdebstrap"
package_packages="make dpkg-dev file lintian pkg-config"
qt6_packages="qt6-base-dev qt6-5compat-dev qt6-serialport-dev libqt6sql6-sqlite"
analysis_packages="clang-tidy cppcheck"
valgrind_packages="valgrind"
coverage_packages="gcovr"
fuzz_packages="clang libclang-rt-14-dev python3"
mutation_packages="python3 git"
# Without them the tests that need them are skipped.
test_packages="socat tshark man-db zsh"

say() {
    printf '%s\n' "$*" >&2
}

# run_quietly TEXT COMMAND...: shows the command's output only when it fails.
run_quietly() {
    local text=$1 log
    shift
    log=$(mktemp)
    say "$text ..."
    if ! "$@" >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        say "failed: $*"
        return 1
    fi
    rm -f "$log"
}

install_missing() {
    local missing=() package root=()
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' \
            || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            say "missing packages, and neither root nor sudo to install them; install: ${missing[*]}"
            return 1
        fi
        root=(sudo)
    fi
    run_quietly "Updating the package lists" "${root[@]}" apt-get update
    run_quietly "Installing ${missing[*]}" \
        "${root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y --no-install-recommends "${missing[@]}"
}

# build_preset PRESET [TARGET...]: configures once, then builds what changed.
build_preset() {
    local preset=$1
    shift
    if [ ! -f "build/$preset/build.ninja" ]; then
        run_quietly "Configuring ($preset)" cmake --preset "$preset"
    fi
    run_quietly "Building ($preset)" cmake --build --preset "$preset" ${1:+--target "$@"}
}
