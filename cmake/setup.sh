# Shared by the launchers: installs what is missing on Debian and Ubuntu and builds a preset. Sourced by POSIX sh.
# All messages go to standard error, so that the program's own output stays clean.

say() { printf '%s\n' "$*" >&2; }

# install_packages name...: installs those that are not installed yet.
install_packages() {
    missing=
    for package in "$@"; do
        dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0
    install="apt-get install -y --no-install-recommends$missing"
    if ! command -v apt-get >/dev/null 2>&1; then
        say "Missing packages:$missing. Install them with your system's package manager and start again."
        return 1
    fi
    if [ "$(id -u)" -eq 0 ]; then
        as_root=
    elif command -v sudo >/dev/null 2>&1 && { sudo -n true 2>/dev/null || [ -t 0 ]; }; then
        as_root=sudo
    else
        say "Some packages are missing. Install them with this command and start again:"
        say "    apt-get update && $install"
        say "(as root)"
        return 1
    fi
    say "Installing$missing ..."
    if ! { $as_root apt-get update -qq && DEBIAN_FRONTEND=noninteractive $as_root $install -qq; } >"$log" 2>&1; then
        cat "$log" >&2
        say "The packages could not be installed. The command was:"
        say "    apt-get update && $install"
        return 1
    fi
}

# Commands count as installed wherever they come from.
install_build_tools() {
    wanted=
    command -v g++ >/dev/null 2>&1 || wanted="$wanted g++"
    command -v cmake >/dev/null 2>&1 || wanted="$wanted cmake"
    command -v ninja >/dev/null 2>&1 || wanted="$wanted ninja-build"
    # shellcheck disable=SC2086
    [ -z "$wanted" ] || install_packages $wanted
}

# The program builds without this library, less the "tbb" framework.
install_libraries() {
    install_packages libtbb-dev || say "Going on without libtbb-dev: the framework \"tbb\" is left out."
}

# build_preset preset [cmake options] -- [targets]: configures and builds with all cores; output only on failure.
build_preset() {
    preset=$1
    shift
    options=
    while [ $# -gt 0 ] && [ "$1" != "--" ]; do
        options="$options $1"
        shift
    done
    [ $# -eq 0 ] || shift
    # shellcheck disable=SC2086
    if ! { (cd "$root" && cmake --preset "$preset" $options) && ninja -C "$root/build/$preset" "$@"; } >"$log" 2>&1; then
        tail -n 60 "$log" >&2
        say "The build failed. The whole output is in $log"
        return 1
    fi
}
