#!/usr/bin/env bash
# Builds libmpdec, a peer of the Numeric benchmarks, from Debian's source package (Debian 12 has no
# libmpdec-dev). Everything stays under DIR, which lies in a build tree; nothing of it is committed.
#
#   bench/build-mpdec.sh DIR      ->  DIR/prefix/include/mpdecimal.h, DIR/prefix/lib/libmpdec.a
#
# The source comes from trixie through a private apt source list, so the system's lists stay as they are.
set -euo pipefail
dir=$(mkdir -p "$1" && cd "$1" && pwd)
prefix="$dir/prefix"
[ -f "$prefix/lib/libmpdec.a" ] && [ -f "$prefix/include/mpdecimal.h" ] && exit 0

cd "$dir"
mkdir -p apt/lists/partial apt/cache/archives/partial src
echo "deb-src http://deb.debian.org/debian trixie main" >apt/sources.list
apt=(-o "Dir::Etc::SourceList=$dir/apt/sources.list" -o "Dir::Etc::SourceParts=/dev/null"
     -o "Dir::State::Lists=$dir/apt/lists" -o "Dir::Cache=$dir/apt/cache")
apt-get "${apt[@]}" update -qq
(cd src && apt-get "${apt[@]}" source -qq mpdecimal)
source_dir=$(find "$dir/src" -maxdepth 1 -mindepth 1 -type d -name 'mpdecimal-*' | head -n 1)
[ -n "$source_dir" ] || { echo "build-mpdec: no mpdecimal source unpacked" >&2; exit 1; }

cd "$source_dir"
./configure --prefix="$prefix" --disable-cxx --disable-shared >/dev/null
make -j2 -C libmpdec libmpdec.a >/dev/null
mkdir -p "$prefix/lib" "$prefix/include"
cp libmpdec/libmpdec.a "$prefix/lib/"
cp libmpdec/mpdecimal.h "$prefix/include/"
echo "build-mpdec: $prefix/lib/libmpdec.a"
