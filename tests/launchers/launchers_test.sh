#!/bin/sh
# The launchers on machines that are played: a checkout of stubs, and a PATH that holds nothing but the usual small tools
# and stubs of the packaging and build tools, which obey and fill files of the machine's folder.
#   launchers_test.sh <source folder>
set -u
source=$(readlink -f "$1")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
unset CI DEBIAN_FRONTEND LC_ALL NINJA_STATUS
failures=0

fail() {
    echo "FAILED ($case): $*"
    failures=$((failures + 1))
}
# has file text: the file holds that text.
has() { grep -qF -- "$2" "$1" || { fail "\"$2\" is not in what was said:"; sed 's/^/    /' "$1"; }; }
lacks() { ! grep -qF -- "$2" "$1" || { fail "\"$2\" is in what was said:"; sed 's/^/    /' "$1"; }; }
is() { [ "$1" = "$2" ] || fail "\"$1\" where \"$2\" is right"; }

stub() {
    {
        echo '#!/bin/sh'
        cat
    } >"$machine/bin/$1"
    chmod +x "$machine/bin/$1"
}
have() { echo "$1" >>"$machine/installed"; }
build_tools() { stub g++ </dev/null && cp "$scratch/cmake" "$scratch/ninja" "$machine/bin"; }
everything() {
    build_tools
    for package in libtbb-dev libgtest-dev libbenchmark-dev libgmp-dev libmpfr-dev; do have "$package"; done
}

# CMake finds oneTBB where its package is installed; Ninja makes what it is asked for.
cat >"$scratch/cmake" <<'END'
#!/bin/sh
echo "cmake $*" >>"$MACHINE/calls"
mkdir -p build/release
rm -f build/release/without_tbb
grep -qx libtbb-dev "$MACHINE/installed" || touch build/release/without_tbb
END
cat >"$scratch/ninja" <<'END'
#!/bin/sh
echo "ninja $*" >>"$MACHINE/calls"
echo "[1/1] Re-running CMake..."
for n in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20; do
    echo "[$n/20] Building CXX object"
    [ $n -ne 7 ] || echo "[note] a line of the compiler's"
    if [ $n = 9 ] && [ -e "$MACHINE/broken" ]; then
        echo "x.cpp:1: error: what the compiler says"
        exit 1
    fi
done
mkdir -p "$2/bench"
printf '#!/bin/sh\necho "program: $*"\n' >"$2/kalvor"
printf '#!/bin/sh\necho "benchmark: $*"\n' >"$2/bench/bench_program"
chmod +x "$2/kalvor" "$2/bench/bench_program"
END
chmod +x "$scratch/cmake" "$scratch/ninja"

# machine name: a new checkout and a machine of root's without any package.
machine() {
    case=$1
    machine=$scratch/$(printf '%s' "$1" | tr ' ' -)
    export MACHINE="$machine"
    root=$machine/checkout
    mkdir -p "$machine/bin" "$root/src" "$root/bench/program" "$root/bench/arith/fft" "$root/cmake"
    cp "$source/kalvor" "$source/run-tests" "$source/run-bench" "$root"
    cp "$source/cmake/setup.sh" "$root/cmake"
    touch "$root/src/a.cpp" "$root/CMakeLists.txt" "$root/CMakePresets.json" "$root/bench/program/pi_bench.cpp" \
        "$root/bench/arith/fft/fft_bench.cpp" "$machine/installed" "$machine/calls" "$machine/locked"
    echo 0 >"$machine/uid"
    for tool in sh env cat cp cut grep sed awk sort find mkdir touch rm readlink dirname tail head tr ls chmod stat nproc wc; do
        ln -s "$(command -v $tool)" "$machine/bin/$tool"
    done
    stub id <<'END'
case $1 in -u) cat "$MACHINE/uid" ;; *) echo somebody ;; esac
END
    stub dpkg-query <<'END'
for package; do :; done
! grep -qx "$package" "$MACHINE/installed" || printf installed
END
    # A machine is locked for as many calls as the file "locked" has lines.
    stub apt-get <<'END'
echo "apt-get $*" >>"$MACHINE/calls"
[ "$(cat "$MACHINE/uid")" = 0 ] || [ -n "${STUB_SUDO:-}" ] || { echo "E: Are you root?"; exit 100; }
[ "$LC_ALL $DEBIAN_FRONTEND" = "C noninteractive" ] || { echo "E: asks questions"; exit 100; }
[ ! -e "$MACHINE/offline" ] || { echo "E: no such host"; exit 100; }
if [ -s "$MACHINE/locked" ]; then
    sed -i 1d "$MACHINE/locked"
    echo "E: Could not get lock /var/lib/apt/lists/lock. It is held by process 1234 (apt-get)"
    exit 100
fi
case " $* " in *" install "*) ;; *) exit 0 ;; esac
for word; do
    case $word in -* | install) continue ;; esac
    echo "$word" >>"$MACHINE/installed"
    case $word in
    g++ | cmake) tool=$word ;;
    ninja-build) tool=ninja ;;
    *) continue ;;
    esac
    cp "$MACHINE/../$tool" "$MACHINE/bin/$tool" 2>/dev/null || cp "$MACHINE/../cmake" "$MACHINE/bin/$tool"
done
END
    stub sleep <<'END'
echo "sleep $1" >>"$MACHINE/calls"
END
}
sudo_stub() {
    stub sudo <<'END'
[ "$1" != -n ] || exit 0
echo "sudo $*" >>"$MACHINE/calls"
STUB_SUDO=1 exec "$@"
END
}
# start command...: in a folder of the caller's; sets $code, fills "out" and "err".
start() {
    (cd / && PATH=$machine/bin "$@") >"$machine/out" 2>"$machine/err" </dev/null
    code=$?
}
calls() { grep -c -- "$1" "$machine/calls"; }
packages="g++ cmake ninja-build libtbb-dev libgtest-dev libbenchmark-dev libgmp-dev libmpfr-dev"
by_hand="    apt-get update && apt-get install -y --no-install-recommends $packages"

machine "root installs, builds and runs"
start "$root/kalvor" custom pi "two words"
is $code 0
is "$(cat "$machine/out")" "program: custom pi two words"
has "$machine/err" "Installing $packages ..."
is "$(calls 'apt-get -qq install -y --no-install-recommends '"$packages")" 1
has "$machine/err" "Building Kalvor ..."
# Not on a terminal: a line for every tenth.
is "$(grep -c 'Building Kalvor ... [0-9]* of 20' "$machine/err")" 10
has "$machine/err" "Building Kalvor ... 2 of 20"
lacks "$machine/err" "1 of 1"
# Nothing to do any more: not a word, not a tool.
: >"$machine/calls"
start "$root/kalvor" again
is "$(cat "$machine/out" "$machine/err" "$machine/calls")" "program: again"
# A newer source is built.
touch -d "+1 minute" "$root/src/a.cpp"
start "$root/kalvor" newer
is "$(calls ninja)" 1
is "$(calls apt-get)" 0

machine "a user with sudo"
echo 1000 >"$machine/uid"
sudo_stub
start "$root/kalvor" about
is $code 0
is "$(cat "$machine/out")" "program: about"
is "$(calls '^sudo ')" 2

machine "a user without sudo is told the one command"
echo 1000 >"$machine/uid"
start "$root/kalvor" about
is $code 1
is "$(cat "$machine/out")" ""
has "$machine/err" "Run this command as root, then start again:"
has "$machine/err" "$by_hand"
start "$root/run-tests"
is $code 1
has "$machine/err" "$by_hand"
start "$root/run-bench"
is $code 1
has "$machine/err" "$by_hand"
is "$(calls apt-get)" 0

machine "without the library and without root"
echo 1000 >"$machine/uid"
build_tools
start "$root/kalvor" about
is $code 0
is "$(cat "$machine/out")" "program: about"
has "$machine/err" "Going on without libtbb-dev"
[ -e "$root/build/release/without_tbb" ] || fail "no mark of the missing library"
: >"$machine/calls"
start "$root/kalvor" about
is "$(cat "$machine/err" "$machine/calls")" ""
# Once it is installed, the next start configures and builds again, and says nothing after that.
have libtbb-dev
start "$root/kalvor" about
is $code 0
is "$(calls cmake)" 1
is "$(calls ninja)" 1
: >"$machine/calls"
start "$root/kalvor" about
is "$(cat "$machine/err" "$machine/calls")" ""

machine "a lock that is held for a while"
for line in 1 2 3 4; do echo $line >>"$machine/locked"; done
start "$root/kalvor" about
is $code 0
is "$(cat "$machine/out")" "program: about"
is "$(grep -c 'Another program holds the package lock; waiting up to a minute ...' "$machine/err")" 1
is "$(calls sleep)" 4

machine "a lock that is held for good"
seq 1000 >"$machine/locked"
start "$root/kalvor" about
is $code 1
has "$machine/err" "Another program has held the package lock for a minute. Start again when it is done."
has "$machine/err" "$by_hand"
is "$(sed -n 's/^sleep //p' "$machine/calls" | awk '{ s += $1 } END { print s }')" 60

machine "no network"
touch "$machine/offline"
start "$root/kalvor" about
is $code 1
has "$machine/err" "E: no such host"
has "$machine/err" "The packages could not be installed."
has "$machine/err" "$by_hand"
is "$(calls sleep)" 0

machine "another system"
rm "$machine/bin/apt-get" "$machine/bin/dpkg-query"
start "$root/kalvor" about
is $code 1
has "$machine/err" "install their counterparts and start again: $packages"

machine "a build that fails"
everything
touch "$machine/broken"
start "$root/kalvor" about
is $code 1
is "$(cat "$machine/out")" ""
has "$machine/err" "x.cpp:1: error: what the compiler says"
has "$machine/err" "The build failed. The whole output is in $root/build/kalvor-build.log"

# Nobody, not even root, makes a folder where a file stands.
machine "a checkout that may not be written"
everything
touch "$root/build"
for launcher in kalvor run-tests run-bench; do
    start "$root/$launcher"
    is $code 1
    is "$(cat "$machine/out")" ""
    has "$machine/err" "Kalvor has to be built in $root/build, but somebody cannot write there."
    has "$machine/err" "or clone it into a folder of your own."
    is "$(wc -l <"$machine/err")" 2
done

machine "tests read nothing and say what was skipped"
everything
stub ctest <<'END'
echo "ctest $*" >>"$MACHINE/calls"
[ ! -e "$MACHINE/failing" ] || exit 8
cat
mkdir -p build/release/Testing/Temporary
cat >build/release/Testing/Temporary/LastTest.log <<'LOG'
x_test.cpp:5: Skipped
lldb is not installed

[  SKIPPED ] CrashDumpTest.ADebuggerReadsIt (0 ms)
[  SKIPPED ] 1 test, listed below:
[  SKIPPED ] CrashDumpTest.ADebuggerReadsIt
x_test.cpp:7: Skipped
no such disk
[  SKIPPED ] Files/Some.Thing/1, where GetParam() = true (12 ms)
LOG
END
(cd / && echo "typed ahead" | PATH=$machine/bin "$root/run-tests" release -L quick) >"$machine/out" 2>"$machine/err"
is $? 0
is "$(cat "$machine/out")" "Skipped: CrashDumpTest.ADebuggerReadsIt (lldb is not installed)
Skipped: Files/Some.Thing/1 (no such disk)"
is "$(calls 'ctest --preset release -j[0-9]* -L quick$')" 1
touch "$machine/failing"
start "$root/run-tests"
is $code 8

machine "benchmarks"
start "$root/run-bench" --benchmark_filter=10m
is $code 0
is "$(cat "$machine/out")" "benchmark: --benchmark_filter=10m"
is "$(calls 'ninja -C .* kalvor bench_program$')" 1
start "$root/run-bench" arith/nothing
is $code 1
has "$machine/err" 'There is no benchmark "arith/nothing". There are:'
has "$machine/err" "    arith/fft"
start "$root/run-bench" bench/arith/fft/
is "$(calls 'ninja -C .* kalvor bench_arith_fft$')" 1

# On a terminal the counter stays on one line.
if command -v script >/dev/null 2>&1; then
    machine "the counter on a terminal"
    everything
    PATH=$machine/bin "$(command -v script)" -qec "$root/kalvor about" /dev/null </dev/null >"$machine/out" 2>&1
    is "$(tr '\r' '\n' <"$machine/out" | grep -c 'Building Kalvor ... [0-9]* of 20')" 20
    is "$(tr -d '\r' <"$machine/out" | wc -l)" 2
    has "$machine/out" "program: about"
fi

# What the first command of the README leaves in the checkout, and in an interrupted run.
if command -v git >/dev/null 2>&1; then
    case="what git ignores"
    git init -q "$scratch/ignoring" 2>/dev/null
    cp "$source/.gitignore" "$scratch/ignoring"
    for file in "Pi - Dec - Chudnovsky.txt" "Pi - Hex - Chudnovsky.txt" "Pi - Dec - Chudnovsky (incomplete).txt" \
        "Pi - 20261123-010401.txt" build/release/kalvor Kalvor-20261123-010401.dmp; do
        git -C "$scratch/ignoring" check-ignore -q "$file" || fail "git does not ignore \"$file\""
    done
    for file in "Digits/Pi - Dec - Chudnovsky.txt" src/a.cpp notes.txt; do
        ! git -C "$scratch/ignoring" check-ignore -q "$file" || fail "git ignores \"$file\""
    done
fi

case="tests that were run again"
mkdir -p "$scratch/again/Testing/Temporary"
cat >"$scratch/again/Testing/Temporary/LastTest.log" <<'EOF'
1/3 Testing: os
[  FAILED  ] FilesTest.Rename (3 ms)
[  FAILED  ] FilesTest.Rename
Test Failed.
1/3 Testing: os
Test Passed.
2/3 Testing: arith/fft
Test Passed.
3/3 Testing: program
Test Failed.
3/3 Testing: program
Test Passed.
EOF
is "$("$source/.ci/repeated" "$scratch/again")" "Repeated: os (2 runs; failed: FilesTest.Rename)
Repeated: program (2 runs; failed: no case named: it crashed, or its time was up)"
is "$("$source/.ci/repeated" "$scratch/nothing")" ""

[ $failures -eq 0 ] && echo "The launchers do what they should."
