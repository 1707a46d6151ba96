# Shared by the launchers: installs what is missing on Debian and Ubuntu and builds a preset. Sourced by POSIX sh, with
# $root and $log set. All messages go to standard error, so that the program's own output stays clean.

# What ./run-tests and ./run-bench need beyond the program.
test_packages="libgtest-dev libbenchmark-dev libgmp-dev libmpfr-dev"

say() { printf '%s\n' "$*" >&2; }

package_installed() {
    dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null | grep -qx installed
}

# The packages of build tools that are missing. A command counts as installed wherever it comes from.
missing_build_tools() {
    command -v g++ >/dev/null 2>&1 || echo g++
    command -v cmake >/dev/null 2>&1 || echo cmake
    command -v ninja >/dev/null 2>&1 || echo ninja-build
}

# Whether this user can build here; says so if not.
may_build_here() {
    if mkdir -p "$root/build" 2>/dev/null && touch "$log" 2>/dev/null; then
        [ -e "$1" ] || return 0
        [ ! -w "$1" ] || return 0
    fi
    say "Kalvor has to be built in $root/build, but $(id -un) cannot write there."
    say "Start it once as $(stat -c %U "$root"), who owns the folder, or clone it into a folder of your own."
    return 1
}

# apt argument...: apt-get as root. While another program holds a package lock, tries again for up to a minute. Its
# output is in $log.
apt() {
    waited=0
    until $as_root env LC_ALL=C DEBIAN_FRONTEND=noninteractive apt-get -qq "$@" </dev/null >"$log" 2>&1; do
        grep -q "Could not get lock" "$log" || return 1
        if [ $waited -ge 60 ]; then
            say "Another program has held the package lock for a minute. Start again when it is done."
            return 1
        fi
        [ $waited -gt 0 ] || say "Another program holds the package lock; waiting up to a minute ..."
        sleep 3
        waited=$((waited + 3))
    done
}

# install_packages name...: installs those that are not installed yet.
install_packages() {
    missing=
    for package in "$@"; do
        package_installed "$package" || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0
    if ! command -v apt-get >/dev/null 2>&1; then
        say "These packages of Debian are missing; install their counterparts and start again:$missing"
        return 1
    fi
    by_hand="apt-get update && apt-get install -y --no-install-recommends$missing"
    if [ "$(id -u)" -eq 0 ]; then
        as_root=
    elif command -v sudo >/dev/null 2>&1 && { sudo -n true 2>/dev/null || [ -t 0 ]; }; then
        as_root=sudo
    else
        say "Some packages are missing. Run this command as root, then start again:"
        say "    $by_hand"
        return 1
    fi
    say "Installing$missing ..."
    # shellcheck disable=SC2086
    if ! { apt update && apt install -y --no-install-recommends $missing; }; then
        cat "$log" >&2
        say "The packages could not be installed. Run this command as root, then start again:"
        say "    $by_hand"
        return 1
    fi
}

# What the program needs. Whoever has to install something is asked once: the command covers the tests too. The program
# builds without oneTBB, less the "tbb" framework.
install_for_program() {
    tools=$(missing_build_tools)
    [ -n "$tools" ] || ! package_installed libtbb-dev || return 0
    # shellcheck disable=SC2086
    install_packages $tools libtbb-dev $test_packages && return 0
    [ -z "$tools" ] || return 1
    say "Going on without libtbb-dev: the framework \"tbb\" is left out."
}

install_for_tests() {
    # shellcheck disable=SC2046,SC2086
    install_packages $(missing_build_tools) libtbb-dev $test_packages
}

# show_counter title: reads ninja's output, appends it to $log and shows the counter: behind the title on a terminal,
# where the line is redrawn in place, otherwise as a line for every tenth of the work.
show_counter() {
    tenths=0
    while IFS= read -r line; do
        printf '%s\n' "$line" >>"$log"
        count=${line#"["}
        count=${count%%"]"*}
        finished=${count%%/*}
        steps=${count#*/}
        case $line in
        "[$finished/$steps] "*) ;;
        *) continue ;;
        esac
        case $finished$steps in
        *[!0-9]*) continue ;;
        esac
        # When a list of files has changed, ninja first counts the steps that configure the build again.
        [ "$steps" -gt 2 ] || continue
        if [ -t 2 ]; then
            printf '\r%s %s of %s  ' "$1" "$finished" "$steps" >&2
        elif [ $((finished * 10 / steps)) -gt $tenths ]; then
            tenths=$((finished * 10 / steps))
            say "$1 $finished of $steps"
        fi
    done
}

# build_preset title preset [cmake options] -- [targets]: configures and builds with all cores. The compiler's output
# is shown after a failure only.
build_preset() {
    title=$1
    preset=$2
    shift 2
    options=
    while [ $# -gt 0 ] && [ "$1" != "--" ]; do
        options="$options $1"
        shift
    done
    [ $# -eq 0 ] || shift
    if [ -t 2 ]; then printf '%s' "$title" >&2; else say "$title"; fi
    result=1
    # shellcheck disable=SC2086
    if (cd "$root" && cmake --preset "$preset" $options) >"$log" 2>&1; then
        # The exit code takes the third channel past the pipe.
        result=$({
            {
                NINJA_STATUS='[%f/%t] ' ninja -C "$root/build/$preset" "$@" 2>&1
                echo $? >&3
            } | show_counter "$title"
        } 3>&1)
    fi
    [ ! -t 2 ] || printf '\n' >&2
    [ "$result" -ne 0 ] || return 0
    tail -n 60 "$log" >&2
    say "The build failed. The whole output is in $log"
    return 1
}
