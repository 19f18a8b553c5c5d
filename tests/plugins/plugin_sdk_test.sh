#!/bin/sh
# A plug-in author's road: install Tivaro, build the example plug-in outside the source tree against
# the installed package, drop the bundle into the user's plug-ins folder, and find it with the
# installed `tivaro plugins`, beside the plug-ins installed with Tivaro. On the way it checks that
# exactly the public headers are installed and that each of them compiles on its own.
set -eu
build_dir=$1
example=$2
framework=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null

# Installed: every header of the framework but the private *_p.h ones, and the export header.
include_dir="$work/prefix/include/tivaro"
(cd "$framework" && find . -name '*.h' ! -name '*_p.h' && echo ./tivaro_export.h) | sort >"$work/expected"
(cd "$include_dir" && find . -type f) | sort >"$work/installed"
if ! diff -u "$work/expected" "$work/installed"; then
    echo "the installed headers are not exactly the public ones" >&2
    exit 1
fi

# Each public header compiles alone against the installed tree: one that needs a private header,
# or leans on another being included first, fails here.
mkdir -p "$work/headers"
{
    echo 'cmake_minimum_required(VERSION 3.25)'
    echo 'project(HeadersAlone LANGUAGES CXX)'
    echo 'set(CMAKE_CXX_STANDARD 20)'
    echo 'find_package(Tivaro REQUIRED)'
    echo 'add_library(headers_alone OBJECT)'
    echo 'target_link_libraries(headers_alone PRIVATE Tivaro::tivaro)'
} >"$work/headers/CMakeLists.txt"
while read -r header; do
    header=${header#./}
    unit=$(echo "$header" | tr '/.' '__').cpp
    echo "#include <$header>" >"$work/headers/$unit"
    echo "target_sources(headers_alone PRIVATE $unit)" >>"$work/headers/CMakeLists.txt"
done <"$work/installed"
cmake -S "$work/headers" -B "$work/headers/build" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/headers/build" >/dev/null
cmake -S "$example" -B "$work/example" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/example" >/dev/null

export XDG_DATA_HOME="$work/data" XDG_CONFIG_HOME="$work/config" HOME="$work"
mkdir -p "$XDG_DATA_HOME/Tivaro/PlugIns"
cp -R "$work/example/PlugIns/Hello World.tvr" "$XDG_DATA_HOME/Tivaro/PlugIns/"
listing=$("$work/prefix/bin/tivaro" plugins --json)
echo "$listing"
echo "$listing" | grep -q '"name": "Hello World"'
echo "$listing" | grep -q '"version": "1.0.0"'
echo "$listing" | grep -q '"hasSettings": true'
echo "$listing" | grep -q '"name": "Text Files"'
