#!/bin/sh
# wine_run.sh program.exe [argument]...: runs a Windows program under Wine, without a display, and returns its exit code.
: "${WINEPREFIX:=${XDG_CACHE_HOME:-$HOME/.cache}/kalvor-wine}"
mkdir -p "$(dirname "$WINEPREFIX")"
export WINEPREFIX WINEARCH=win64 WINEDEBUG="${WINEDEBUG:--all}" LC_ALL=C.UTF-8
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe,winedbg.exe=d"
unset DISPLAY WAYLAND_DISPLAY
wine=/usr/lib/wine
exec 9>"$WINEPREFIX.lock"
flock 9
# Runs what stays behind: it must hold neither the caller's pipes, which would keep a test open until it ends, nor
# the caller's locks.
stay() {
    "$@" </dev/null >/dev/null 2>&1 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-
}
[ -f "$WINEPREFIX/system.reg" ] || stay "$wine/wine64" wineboot -i
# The server and Wine's services start here: a query of the machine starts them all. "wineserver -p" returns 0 when
# it has started a server.
if stay "$wine/wineserver64" -p120; then
    stay "$wine/wine64" wmic baseboard get product
fi
exec 9>&-
exec "$wine/wine64" "$@"
