# Shared by what builds for Windows and runs it under Wine. Sourced by POSIX sh after setup.sh.

# Installs the cross compiler, Wine and what the libraries are built with, and builds the libraries. Exits with 77
# when that cannot be done here; the tests of other systems do not depend on it.
prepare_windows() {
    if ! install_packages g++-mingw-w64-x86-64-posix wine64 dpkg-dev m4 googletest; then
        say "The Windows tests are SKIPPED: their packages cannot be installed here."
        exit 77
    fi
    say "Building the libraries for Windows ..."
    "$root/cmake/windows_deps.sh" >"$log" 2>&1
    result=$?
    [ $result -ne 0 ] || return 0
    tail -n 40 "$log" >&2
    if [ $result -eq 77 ]; then
        say "The Windows tests are SKIPPED: the libraries' sources cannot be fetched here."
        exit 77
    fi
    say "The libraries for Windows could not be built. The whole output is in $log"
    exit 1
}

# Ends Wine's server and services, which would otherwise stay for two minutes.
stop_wine() {
    WINEPREFIX=${WINEPREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/kalvor-wine} /usr/lib/wine/wineserver64 -k 2>/dev/null
    return 0
}
