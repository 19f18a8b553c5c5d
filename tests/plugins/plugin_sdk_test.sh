#!/bin/sh
# A plug-in author's road: install Tivaro, build the example plug-in outside the source tree against
# the installed package, drop the bundle into the user's plug-ins folder, and find it with the
# installed `tivaro plugins`, beside the plug-ins installed with Tivaro.
set -eu
build_dir=$1
example=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/prefix" >/dev/null
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
