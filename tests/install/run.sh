#!/usr/bin/env bash
# run.sh STEP STAGE SOURCE BUILD CMAKE CXX: installs BUILD into STAGE, or builds and runs one user of
# what is installed there.
set -euo pipefail
step=$1 stage=$2 source=$3 build=$4 cmake=$5 cxx=$6
here=$source/tests/install
prefix=$stage/prefix
tool() { "$prefix/bin/stptool" --library "$stage/module/libRack.so" "$@"; }

fail() {
  echo "$*" >&2
  exit 1
}

expect() { # expect WANTED FOUND
  [ "$1" = "$2" ] || fail "expected: $1"$'\n'"found:    $2"
}

configure_and_build() { # configure_and_build PROJECT NAME
  rm -rf "${stage:?}/$2"
  # Asks for an older language than the libraries do.
  "$cmake" -G Ninja -S "$1" -B "$stage/$2" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_STANDARD=17 \
    -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="-O0 -Wall -Wextra -Werror"
  "$cmake" --build "$stage/$2" --parallel 1
}

# Each link of a document leads to something that is installed with it.
check_links() { # check_links FOLDER
  local found=0 file target
  while IFS=: read -r file target; do
    found=$((found + 1))
    [ -z "${target%%#*}" ] || [ -e "${file%/*}/${target%%#*}" ] || fail "$file links to $target"
  done < <(grep -rEo --include='*.md' '\]\([^() ]+\)' "$1" | sed -E '/:\/\//d; s/\]\((.*)\)$/\1/')
  [ "$found" -gt 100 ] || fail "only $found links in $1"
}

program_output="/here/status: forwarding, 4096"

case $step in
  stage)
    rm -rf "$stage"
    "$cmake" --install "$build" --prefix "$prefix.first"
    mv "$prefix.first" "$prefix" # nothing depends on where it was put at first
    leaks=$(grep -rIlF -e "$source" -e "$prefix.first" "$prefix" || true)
    [ -z "$leaks" ] || fail "names of folders of this build in $leaks"
    for library in "$prefix"/lib*/lib*.so; do
      soname=$(readelf -d "$library" | sed -n 's/.*SONAME.*\[\(.*\)\].*/\1/p')
      if [ ! -e "${library%/*}/$soname" ] || [ "$soname" = "${library##*/}" ]; then
        fail "$library has the SONAME '$soname', which is not installed beside it"
      fi
    done
    for program in "$prefix"/bin/*; do
      "$program" --help >"$stage/help" || fail "$program does not run where it was installed"
    done
    check_links "$prefix"/share/doc/Stp
    ;;
  preset)
    # What is installed by hand is made by another preset than these tests are.
    (cd "$source" && "$cmake" --preset package -B "$stage/package" -DCMAKE_CXX_COMPILER="$cxx")
    link=$(ninja -C "$stage/package" -t commands bin/stptool | tail -n 1)
    [[ $link == *-rpath,*ORIGIN* ]] || fail "an installed stptool would not find its libraries: $link"
    ;;
  packages)
    rm -rf "$stage/packages"
    "${cmake%/*}/cpack" --config "$build/CPackConfig.cmake" -B "$stage/packages" \
      -D CPACK_DEBIAN_DEBUGINFO_PACKAGE=OFF
    for package in "$stage"/packages/*.deb; do
      dpkg-deb -x "$package" "$stage/packages/root"
    done
    paths=$(find "$stage/packages/root/usr" -type f \( -path '*/bin/*' -o -name '*.so.*' \) \
      -exec readelf -d {} + | grep RUNPATH || true)
    [ -z "$paths" ] || fail "what is packaged looks for libraries by itself: $paths"
    check_links "$stage"/packages/root/usr/share/doc/Stp
    ;;
  cmake)
    configure_and_build "$here/program" program
    expect "$program_output" "$("$stage/program/program")"
    expect "has served $stage/socket" "$("$stage/program/agent" "$stage/socket")"
    [ ! -e "$stage/socket" ] || fail "the agent has left its socket"
    ;;
  pkg_config)
    flags=$(PKG_CONFIG_PATH=$(echo "$prefix"/lib*/pkgconfig) pkg-config --cflags --libs stp)
    # shellcheck disable=SC2086 # these are words
    "$cxx" -std=c++20 -O0 -Wall -Wextra -Werror "$here/program/main.cpp" $flags \
      -Wl,-rpath,"$(echo "$prefix"/lib*)" -o "$stage/by_pkg_config"
    expect "$program_output" "$("$stage/by_pkg_config")"
    ;;
  module)
    rm -rf "$stage/module-source"
    cp -r "$here/module" "$stage/module-source"
    configure_and_build "$stage/module-source" module
    [[ $(tool types Rack::Shelf) == *bridge*Stp::BridgeId* ]] ||
      fail "stptool does not show the type Rack::Shelf"
    [[ $(tool types) == *Rack::Shelf*Stp::Status* || $(tool types) == *Stp::Status*Rack::Shelf* ]] ||
      fail "stptool does not list both modules"

    # A changed description is compiled again with what includes it; a comment compiles nothing.
    rebuilt() {
      "$cmake" --build "$stage/module" --parallel 1 | sed -n 's,.*/\([A-Z][a-z]*\)\.cpp\.o$,\1,p' |
        sort | tr '\n' ' '
    }
    model=$stage/module-source/model
    sed -i 's/258 attr height : u8 = 1 /258 attr height : u16 = 2 /' "$model/Rack.tdl"
    expect "Rack Room " "$(rebuilt)"
    sed -i 's,^// .*,// Another comment.,' "$model/Rack.tdl"
    expect "" "$(rebuilt)"
    ;;
esac
