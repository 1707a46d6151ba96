#!/bin/sh
# windows_deps.sh: builds what the Windows build links from Debian's source packages, once, into build/windows-deps:
# oneTBB for the program, GMP and MPFR for the tests. Needs the cross compiler, dpkg-dev, m4, cmake and ninja. Ends
# with 77 when the source packages are not available.
set -eu
unavailable() {
    echo "$1" >&2
    exit 77
}
root=$(cd "$(dirname "$0")/.." && pwd)
prefix=$root/build/windows-deps
triple=x86_64-w64-mingw32
[ ! -f "$prefix/.complete" ] || exit 0

# Source packages come from the mirror that the machine's binary packages come from, of the same release.
keyring=/usr/share/keyrings/debian-archive-keyring.gpg
release=$(. /etc/os-release 2>/dev/null && [ "${ID:-}" = debian ] && echo "${VERSION_CODENAME:-}") || release=
uri=
for list in /etc/apt/sources.list.d/debian.sources /etc/apt/sources.list; do
    [ -z "$uri" ] && [ -f "$list" ] || continue
    uri=$(awk '/^URIs:/ { print $2; exit }
        $1 == "deb" { sub(/\[[^]]*\]/, ""); print $2; exit }' "$list")
done
[ -n "$release" ] || unavailable "This is not a release of Debian with a code name (/etc/os-release)."
[ -n "$uri" ] || unavailable "No mirror of Debian is named in /etc/apt (debian.sources, sources.list)."
[ -f "$keyring" ] || unavailable "The keys of Debian's archive are missing ($keyring)."

rm -rf "$prefix"
mkdir -p "$prefix/include" "$prefix/lib" "$prefix/work/lists/partial"
cd "$prefix/work"

echo "deb-src [signed-by=$keyring] $uri $release main" >src.list
apt_sources() {
    apt-get -o "Dir::Etc::sourcelist=$PWD/src.list" -o Dir::Etc::sourceparts=- -o "Dir::State::lists=$PWD/lists" "$@"
}
apt_sources update -qq && apt_sources source -qq onetbb gmp mpfr4 ||
    unavailable "The source packages onetbb, gmp and mpfr4 could not be fetched."
jobs=$(nproc)

# Beside the others, whose configuration uses one processor.
{
    cmake -S onetbb-* -B tbb -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
        -DCMAKE_BUILD_TYPE=Release -DTBB_TEST=OFF -DTBB_STRICT=OFF -DTBBMALLOC_BUILD=OFF -DTBB_ENABLE_IPO=OFF \
        -DBUILD_SHARED_LIBS=OFF -DCMAKE_INSTALL_PREFIX="$prefix" &&
        cmake --build tbb && cmake --install tbb
} &
tbb=$!

# Oracles of tests: compiled fast rather than fast. The package lacks the manual that its Makefile asks for.
gmp=$(echo gmp-*+dfsg*)
mkdir -p "$gmp/doc" gmp
touch "$gmp/doc/Makefile.in" "$gmp/doc/version.texi"
(cd gmp && CC=$triple-gcc-posix AR=$triple-gcc-ar-posix CC_FOR_BUILD=gcc CFLAGS=-O1 ABI=64 \
    "../$gmp/configure" --host=$triple --disable-shared --enable-static -q &&
    make -s -j"$jobs" SUBDIRS="mpn mpz mpq mpf printf scanf rand" all &&
    cp gmp.h "../$gmp/gmpxx.h" "$prefix/include" && cp .libs/libgmp.a "$prefix/lib")

mkdir mpfr
(cd mpfr && CC=$triple-gcc-posix AR=$triple-gcc-ar-posix CFLAGS=-O1 \
    ../mpfr4-*/configure --host=$triple --disable-shared --enable-static --prefix="$prefix" --with-gmp="$prefix" -q &&
    make -s -j"$jobs" -C src && make -s -C src install)

wait $tbb
rm -rf "$prefix/work"
touch "$prefix/.complete"
