#!/usr/bin/env bash
# ./run bench      sets up, builds, measures everything that docs/performance.md shows and
#                  prints it as tables, each figure beside its aim
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. cmake/setup.sh

bin=build/bench/bin
results=build/bench/results
figures=$results/figures.txt
requests="read10 readbit writebit write10"

# per_request COUNTER FEW MANY COMMAND...: what one of the many costs beyond the few, so
# that the program's start does not count. COUNTER is a function that runs the command
# with a number behind it and prints a count.
per_request() {
    local counter=$1 few=$2 many=$3
    shift 3
    awk -v a="$("$counter" "$@" "$few")" -v b="$("$counter" "$@" "$many")" \
        -v n=$((many - few)) 'BEGIN { print (b - a) / n }'
}

callgrind_instructions() {
    valgrind --tool=callgrind --callgrind-out-file=/dev/null "$@" 2>&1 | sed -n 's/.*Collected : //p'
}

# Run by single steps and unchained, the emulator logs a line for every instruction.
emulated_instructions() {
    qemu-arm-static -L "$arm_root" -singlestep -d nochain,exec -D /dev/stdout "$@" | grep -c '^Trace'
}

system_calls() {
    strace -c -o "$results/calls" "$@"
    awk '$NF == "total" { print $(NF - 1) == "total" ? $(NF - 2) : $4 }' "$results/calls"
}

# Waits that end without a byte read.
empty_wakeups() {
    strace -e trace=poll,ppoll,read -o "$results/wakeups" "$@"
    awk '/poll\(/ && !/tv_nsec=0}, NULL/ { ++waits } /^read\(/ && / = [1-9]/ { ++reads }
         END { print waits - reads }' "$results/wakeups"
}

# medians PROGRAM SECONDS: of each of its benchmarks the name with dots, the processor
# time in ns and the last counter.
medians() {
    "$bin/$1" --benchmark_repetitions=9 --benchmark_min_time="$2" \
        --benchmark_enable_random_interleaving=true --benchmark_format=csv 2>/dev/null |
        awk -F, '$1 ~ /_median"$/ { gsub(/"|_median/, "", $1); gsub("/", ".", $1); print $1, $4, $NF }'
}

# median_of_starts PROGRAM: of each figure that the program prints the median of five
# starts; how fast two processes hand bytes to each other depends on where they are put.
median_of_starts() {
    local start
    for start in 1 2 3 4 5; do
        "$bin/$1"
    done | LC_ALL=C sort -k 1,1 -k 2,2g | awk 'NR % 5 == 3'
}

measure_memory() {
    say "Measuring the driver in memory ..."
    medians bench_memory 0.1 |
        awk '{ printf "memory.%s.us %g\nmemory.%s.allocations %g\n", $1, $2 / 1000, $1, $3 }'
    local request
    for request in $requests; do
        echo "memory.$request.instructions" \
            "$(per_request callgrind_instructions 200 1200 "$bin/bench_repeat" "$request")"
    done
}

measure_arm() {
    arm_root=${XDG_CACHE_HOME:-$HOME/.cache}/micrologix/armhf
    if [ ! -d "$arm_root" ] || ! command -v qemu-arm-static >/dev/null ||
        ! command -v arm-linux-gnueabihf-g++ >/dev/null; then
        say "Without ARM: './test arm' installs what it takes."
        return
    fi
    run_quietly "Unpacking ARM libraries" packaging/arm-sysroot "$arm_root"
    MLX_ARM_SYSROOT=$arm_root build_preset bench-arm bench_repeat
    say "Counting ARM instructions ..."
    echo "arm.read10.instructions" \
        "$(per_request emulated_instructions 10 110 build/bench-arm/bin/bench_repeat read10)"
}

measure_line() {
    say "Comparing on a pseudo-terminal ..."
    median_of_starts bench_line
    local who
    for who in df1 libmodbus qtmodbus; do
        echo "line.$who.calls $(per_request system_calls 100 600 "$bin/bench_line" "$who")"
    done
    echo "line.df1.empty_wakeups $(per_request empty_wakeups 100 600 "$bin/bench_line" df1)"
}

measure_pace() {
    say "Measuring against paced lines ..."
    "$bin/bench_pace"
}

measure_scale() {
    say "Measuring many links and long tag lists ..."
    local links
    for links in 1 8 64 256; do
        "$bin/bench_scale" "$links"
    done
    "$bin/bench_scan"
}

measure_start() {
    say "Measuring the start ..."
    "$bin/bench_start"
    strip -o "$results/stripped.so" build/bench/lib/libmicrologix.so
    awk -v bytes="$(stat -c %s "$results/stripped.so")" 'BEGIN { print "start.plugin_kib", bytes / 1024 }'
}

# Checks of blocks are named after the block's size.
measure_toolkit() {
    say "Measuring the toolkit's checks and packers ..."
    medians bench_toolkit 0.03 | awk '{
        sub(/^block[.]/, "", $1)
        print "toolkit." $1 ".ns", $2
        if (match($1, /[0-9]+$/))
            print "toolkit." $1 ".mib", substr($1, RSTART) / $2 * 1e9 / 2 ^ 20 }'
}

machine() {
    printf '%s, %s processors, ' "$(sed -n 's/^model name.*: //p' /proc/cpuinfo | head -1)" "$(nproc)"
    printf 'Linux %s, ' "$(uname -r)"
    printf 'load average at the start %s\n' "$(cut -d ' ' -f 1 /proc/loadavg)"
}

install_missing $build_packages $bench_packages
build_preset bench benches
mkdir -p "$results"
machine >"$results/machine.txt"
for part in memory arm line pace scale start toolkit; do
    "measure_$part"
done >"$figures"
{
    cat "$results/machine.txt"
    awk -f bench/report.awk "$figures" bench/aims.txt
} | tee "$results/report.md"
