#!/bin/sh
# windows_deps.sh: builds what the Windows build links from Debian's source packages, once, into build/windows-deps:
# oneTBB for the program, GMP and MPFR for the tests. Needs the cross compiler, dpkg-dev, m4, cmake and ninja. Ends
# with 77 when the source packages cannot be had.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
prefix=$root/build/windows-deps
triple=x86_64-w64-mingw32
[ ! -f "$prefix/.complete" ] || exit 0
rm -rf "$prefix"
mkdir -p "$prefix/include" "$prefix/lib" "$prefix/work/lists/partial"
cd "$prefix/work"

# Source packages come from the mirror that the machine's binary packages come from.
uri=$(awk '/^URIs:/ { print $2; exit }' /etc/apt/sources.list.d/debian.sources 2>/dev/null) ||
    uri=$(awk '$1 == "deb" { print $(NF > 3 && $2 ~ /^\[/ ? 3 : 2); exit }' /etc/apt/sources.list)
echo "deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $uri bookworm main" >src.list
apt_sources() {
    apt-get -o "Dir::Etc::sourcelist=$PWD/src.list" -o Dir::Etc::sourceparts=- -o "Dir::State::lists=$PWD/lists" "$@"
}
if ! { apt_sources update -qq && apt_sources source -qq onetbb gmp mpfr4; }; then
    echo "The source packages onetbb, gmp and mpfr4 could not be fetched." >&2
    exit 77
fi
jobs=$(nproc)

cmake -S onetbb-* -B tbb -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
    -DCMAKE_BUILD_TYPE=Release -DTBB_TEST=OFF -DTBB_STRICT=OFF -DTBBMALLOC_BUILD=OFF -DTBB_ENABLE_IPO=OFF \
    -DBUILD_SHARED_LIBS=OFF -DCMAKE_INSTALL_PREFIX="$prefix"
cmake --build tbb
cmake --install tbb

# The package lacks the manual that its Makefile asks for.
gmp=$(echo gmp-*+dfsg*)
mkdir -p "$gmp/doc" gmp
touch "$gmp/doc/Makefile.in" "$gmp/doc/version.texi"
(cd gmp && CC=$triple-gcc-posix AR=$triple-gcc-ar-posix CC_FOR_BUILD=gcc ABI=64 \
    "../$gmp/configure" --host=$triple --disable-shared --enable-static -q &&
    make -s -j"$jobs" SUBDIRS="mpn mpz mpq mpf printf scanf rand" all &&
    cp gmp.h "../$gmp/gmpxx.h" "$prefix/include" && cp .libs/libgmp.a "$prefix/lib")

mkdir mpfr
(cd mpfr && CC=$triple-gcc-posix AR=$triple-gcc-ar-posix \
    ../mpfr4-*/configure --host=$triple --disable-shared --enable-static --prefix="$prefix" --with-gmp="$prefix" -q &&
    make -s -j"$jobs" -C src && make -s -C src install)

rm -rf "$prefix/work"
touch "$prefix/.complete"
