#!/usr/bin/env bash
# run.sh SOURCE WORK: runs every command that `./dev help` names, with the arguments that it shows,
# where compilers and all other tools do nothing and succeed: what is left is what ./dev does itself.
set -euo pipefail
source=$1 work=$2

fail() {
  echo "$*" >&2
  exit 1
}

# ---- a tree in which nothing takes time

rm -rf "$work"
mkdir -p "$work"/{tools,scripts,bench,examples,docs,Stp,platform}
cp "$source/dev" "$work"
cp "$source/scripts/setup.sh" "$work/scripts"
for fuzzer in "$source"/fuzz/corpus/*; do
  mkdir -p "$work/fuzz/corpus/${fuzzer##*/}"
done
echo "int x;" >"$work/platform/x.h"
cd "$work"

program() { # program FILE...: does nothing; the text that comes in is what it does beside
  local file text
  text=$(cat)
  for file in "$@"; do
    printf '#!/usr/bin/env bash\n%s\n' "$text" >"$file"
    chmod +x "$file"
  done
}
program tools/{g++,clang++,clang,ninja,ctest,clang-tidy,cppcheck,doxygen,valgrind,abidw,apt-get} \
  tools/{apt-cache,sudo,dpkg-shlibdeps,file,xz,pkg-config,protoc,flatc,redis-check-rdb} \
  scripts/{abi,build-cost,layers,memcheck,test-share}.sh bench/counts.sh examples/demo.sh <<<""
# shellcheck disable=SC2016 # the program expands them
program tools/clang-format{,-14} <<<'[ "${*: -1}" = -i ] || cat "${*: -1}"'
program tools/cpack <<<'mkdir -p build/packages'
# What is built is another program that does nothing.
program tools/cmake <<'CMAKE'
[ "$1" = --preset ] || exit 0
mkdir -p "build/$2/bin"
for name in tdc golden stptool soak stp_bench stp_counts $(ls fuzz/corpus | sed 's/^/fuzz_/'); do
  cp tools/ctest "build/$2/bin/$name"
done
CMAKE
export PATH="$work/tools:$PATH" fmt_DIR=here GIT_CEILING_DIRECTORIES=${work%/*}

# ---- the commands

ran=" "
run() { # run COMMAND [ARGUMENT]...
  ran+="$1 "
  ./dev "$@" >"$work/said" 2>&1 </dev/null || fail "./dev $* failed:"$'\n'"$(cat "$work/said")"
}
run help
run setup
run demo
run build
run build debug asan
run test
run test debug -- -R nothing
run package
run check
run check --tidy --abi
run tidy
run tidy platform/x.h
run memcheck
for command in counts corpus abi; do
  run $command
  run $command accept all
done
run bench
run bench --list
run bench build
run fuzz
run fuzz 1 json_load
run soak
run soak 2 5
run golden
run docs
run lock
run format
run format --check
run clean
run clean --all

for name in $(./dev help | sed -nE 's/^  ([a-z]+)( .*|$)/\1/p' | sort -u); do
  [[ $ran == *" $name "* ]] || fail "./dev $name stands in no test"
  [[ " help tidy bench " == *" $name "* ]] && continue # take whatever comes
  status=0
  ./dev "$name" --wrong >"$work/said" 2>&1 || status=$?
  [ $status -eq 2 ] || fail "./dev $name --wrong ended with $status: $(cat "$work/said")"
done
