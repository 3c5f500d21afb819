#!/usr/bin/env bash
# Installs the library and builds programs against it from outside: run.sh SOURCE WORK SHARED CC CXX SOUND MD5
set -eu
source=$1 work=$2 shared=$3 sound=$6 md5=$7
export CC=$4 CXX=$5
rm -rf "$work"
mkdir -p "$work"
cmake -S "$source" -B "$work/build" -DBUILD_SHARED_LIBS="$shared" -DZKHAL_TOOLS=OFF -DZKHAL_TESTS=OFF -DZKHAL_SOUND="$sound" -DZKHAL_MD5="$md5" \
  -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$work/prefix" -DCMAKE_INSTALL_LIBDIR=lib >"$work/log" 2>&1 &&
  cmake --build "$work/build" --parallel 2 >>"$work/log" 2>&1 &&
  cmake --install "$work/build" >>"$work/log" 2>&1 || { cat "$work/log"; exit 1; }

# With the CMake package.
cmake -S "$source/tests/consumers" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$work/prefix" >"$work/log" 2>&1 &&
  cmake --build "$work/consumer" >>"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
for program in c_consumer cxx_consumer; do
  [ "$("$work/consumer/$program")" = "01 01 2C FE D4" ] || { echo "$program prints something else"; exit 1; }
done

expected="table: 3 2 robots
own: id poke 4 timeout
report: ''"
[ "$("$work/consumer/host")" = "$expected" ] || { echo "host prints something else"; exit 1; }

expected="26 bytes, Virtual Pel, 7 characteristics
FINE
10.00 cm"
[ "$("$work/consumer/simulator")" = "$expected" ] || { echo "simulator prints something else"; exit 1; }

if [ -x "$work/consumer/session" ]; then
  [ "$("$work/consumer/session")" = "NAME: Virtual Quill
it drives" ] || { echo "session prints something else"; exit 1; }
fi

# With pkg-config.
export PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig"
# shellcheck disable=SC2046  # lists of options
"$CC" "$source/tests/consumers/consumer.c" -o "$work/by_pkg_config" $(pkg-config --cflags --libs zkhal)
[ "$(LD_LIBRARY_PATH=$work/prefix/lib "$work/by_pkg_config")" = "01 01 2C FE D4" ]
# shellcheck disable=SC2046
"$CC" "$source/tests/consumers/simulator.c" -o "$work/simulator" $(pkg-config --cflags --libs zkhal-simulator)
[ "$(LD_LIBRARY_PATH=$work/prefix/lib "$work/simulator")" = "$expected" ]
# shellcheck disable=SC2046
"$CC" "$source/examples/host.c" -o "$work/example_host" $(pkg-config --cflags --libs zkhal)
LD_LIBRARY_PATH=$work/prefix/lib "$work/example_host" >"$work/example"
for line in '"DUMP SND VER.EP1" is answered: "3.12.7"' '"JUMP" has failed: timeout (4)' \
            '"HELLO" is answered: "HELLO CLASS 4B"' '0 commands are left'; do
  grep -qF "$line" "$work/example" || { echo "the example does not print: $line"; exit 1; }
done

# The shared library exports the interface and nothing else.
if [ "$shared" = ON ]; then
  interface=$work/interface.txt
  grep -vE "$([ "$sound" = ON ] && echo '^$' || echo 'Sound|aflib')" "$source/tests/consumers/interface.txt" |
    grep -vE "$([ "$md5" = ON ] && echo '^$' || echo 'MD5')" >"$interface"
  nm -D --defined-only -C "$work/prefix/lib/libZKHAL.so" | cut -d' ' -f3- | sed 's/(.*//' | sort -u >"$work/exported"
  if grep -vE -f "$interface" "$work/exported"; then
    echo "exported, but no part of the interface"
    exit 1
  fi
  while read -r pattern; do
    grep -qE "$pattern" "$work/exported" || { echo "not exported: $pattern"; exit 1; }
  done <"$interface"

  # What an installed header declares can be linked.
  if command -v python3 >"$work/log"; then
    nm -C --defined-only "$work"/prefix/lib/libZKHAL?*.a | sed -n 's/(.*//; s/^[0-9a-f]* [A-Z] //p' \
      >"$work/static_functions"
    sed 's/\[abi:cxx11\]//g' "$work/exported" "$work/static_functions" | sort -u >"$work/linkable"
    "$source/tests/consumers/declared" "$work/prefix/include" |
      grep -vE "$([ "$sound" = ON ] && echo '^$' || echo 'Sound|aflib')" | sort >"$work/declared"
    if [ ! -s "$work/declared" ] || comm -23 "$work/declared" "$work/linkable" | grep .; then
      echo "declared in an installed header, but not exported"
      exit 1
    fi
  fi
fi
echo "consumers build and run"
