#!/usr/bin/env bash
# Links a small module against the library and runs it, where node is there to do so: run.sh BUILD
set -eu
cd "$(dirname "$0")"
build=$(cd ../.. && cd "$1" && pwd)
clang++-19 --target=wasm32-wasi -stdlib=libc++ -fcxx-exceptions -fexceptions -fignore-exceptions -std=c++17 -Os \
  -I../../include -I"$build/include" program.cpp "$build/libZKHALSimulator.a" "$build/libZKHAL.a" -o "$build/program.wasm"
if llvm-nm-19 "$build/libZKHAL.a" "$build/libZKHALSimulator.a" 2>/dev/null | grep -E ' U .*(ostream|stringbuf|from_chars|to_chars.*d)'; then
  echo "the library uses stream code, which would be half of a module"
  exit 1
fi
if ! command -v node >/dev/null; then
  echo "the module is built; without node it is not run"
  exit 0
fi
node --no-warnings run.mjs "$build/program.wasm" | diff expected.txt - || { echo "the module prints something else"; exit 1; }
echo "the module runs, $(wc -c <"$build/program.wasm") bytes"
