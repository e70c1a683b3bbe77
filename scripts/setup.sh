# shellcheck shell=bash
# What has to be installed, and how it comes here. Sourced by ./dev, which has root, die and quietly.

deps=${root:?}/.deps
fmt_suite=trixie # the Debian release that the copy of fmt 10 is taken from

# What shows that a package is there: a command, or a header.
probe() { # probe PACKAGE
  case $1 in
    g++) if [ -n "${CXX:-}" ]; then echo "${CXX%% *}"; else echo g++; fi ;;
    ninja-build) echo ninja ;;
    abigail-tools) echo abidw ;;
    dpkg-dev) echo dpkg-shlibdeps ;;
    xz-utils) echo xz ;;
    libboost-dev) echo boost/version.hpp ;;
    nlohmann-json3-dev) echo nlohmann/json.hpp ;;
    libcli11-dev) echo CLI/CLI.hpp ;;
    libgtest-dev) echo gtest/gtest.h ;;
    libbenchmark-dev) echo benchmark/benchmark.h ;;
    libprotobuf-dev) echo google/protobuf/message.h ;;
    protobuf-compiler) echo protoc ;;
    libflatbuffers-dev) echo flatbuffers/flatbuffers.h ;;
    flatbuffers-compiler) echo flatc ;;
    libabsl-dev) echo absl/base/config.h ;;
    libhiredis-dev) echo hiredis/hiredis.h ;;
    redis-tools) echo redis-check-rdb ;;
    libmnl-dev) echo libmnl/libmnl.h ;;
    iproute2) echo ip ;;
    *) echo "$1" ;;
  esac
}

has() { # has PACKAGE
  local what
  what=$(probe "$1")
  case $what in
    *.h | *.hpp) [ -e "/usr/include/$what" ] || [ -e "/usr/local/include/$what" ] ;;
    *) command -v "$what" >/dev/null ;;
  esac
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

need() { # need PACKAGE...
  local package missing=()
  for package in "$@"; do
    has "$package" || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  local by_hand="install them and try again: ${missing[*]}"
  command -v apt-get >/dev/null || die "packages are missing and there is no apt-get; $by_hand"
  [ "$(id -u)" -eq 0 ] || command -v sudo >/dev/null ||
    die "packages are missing, this is not root and there is no sudo; $by_hand"
  echo "installing ${missing[*]}"
  # A foreign source that is out of order must not stand in the way.
  (quietly "apt-get update" as_root apt-get update) ||
    echo "going on with the package lists that there are" >&2
  quietly "apt-get install" as_root env DEBIAN_FRONTEND=noninteractive apt-get install \
    --yes --no-install-recommends -o DPkg::Lock::Timeout=300 "${missing[@]}"
}

fmt_is_recent() { # fmt_is_recent INCLUDE-DIRECTORY
  local version
  version=$(sed -n 's/^#define FMT_VERSION \([0-9]*\).*/\1/p' \
    "$1/fmt/base.h" "$1/fmt/core.h" 2>/dev/null | head -n 1)
  [ "${version:-0}" -ge 100000 ]
}

has_fmt() {
  [ -n "${fmt_DIR:-}${fmt_ROOT:-}" ] || fmt_is_recent /usr/local/include ||
    fmt_is_recent /usr/include || fmt_is_recent "$deps/fmt/usr/include"
}

# apt's own sources of this Debian release, pointed at the release that has fmt 10: one file each
# in DIRECTORY. Mirror, keys and options stay.
write_fmt_sources() { # write_fmt_sources DIRECTORY
  local codename file count=0
  codename=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release 2>/dev/null || true)
  for file in /etc/apt/sources.list.d/debian.sources /etc/apt/sources.list \
    /etc/apt/sources.list.d/*.sources /etc/apt/sources.list.d/*.list; do
    [ -r "$file" ] || continue
    count=$((count + 1))
    case $file in
      *.sources)
        awk -v from="$codename" -v to="$fmt_suite" -v out="$1/$count" '
          function flush() {
            if (text != "" && deb && suite && component && enabled)
              print "Types: deb\nSuites: " to "\nComponents: main\nTargets: Packages\n" text \
                > (out "-" ++n ".sources")
            text = ""; deb = suite = component = 0; enabled = 1; keep = 1
          }
          BEGIN { n = 0; text = ""; flush() }
          /^[ \t]*$/ { flush(); next }
          /^#/ { next }
          /^[ \t]/ { if (keep) text = text $0 "\n"; next }
          {
            field = tolower($1); keep = 0
            for (i = 2; i <= NF; ++i) {
              if (field == "types:" && $i == "deb") deb = 1
              if (field == "suites:" && $i == from) suite = 1
              if (field == "components:" && $i == "main") component = 1
              if (field == "enabled:" && $i ~ /^(no|false|off|0)$/) enabled = 0
            }
            if (field !~ /^(types|suites|components|enabled|targets):$/) {
              keep = 1; text = text $0 "\n"
            }
          }
          END { flush() }' "$file"
        ;;
      *)
        awk -v from="$codename" -v to="$fmt_suite" -v out="$1/$count" '
          $1 == "deb" {
            options = "target=Packages"; line = $0
            sub(/^[ \t]*deb[ \t]+/, "", line); sub(/#.*/, "", line)
            if (match(line, /^\[[^]]*\]/)) {
              options = options " " substr(line, 2, RLENGTH - 2)
              line = substr(line, RLENGTH + 1)
            }
            count = split(line, word, " ")
            for (i = 3; i <= count; ++i)
              if (word[2] == from && word[i] == "main")
                print "deb [" options "] " word[1] " " to " main" > (out "-" ++n ".list")
          }' "$file"
        ;;
    esac
  done
}

# Downloads and unpacks fmt 10 with one source file; neither apt's lists nor its settings change,
# and no root is needed.
unpack_fmt() { # unpack_fmt SOURCE-FILE WORK-DIRECTORY
  local work=$2 package
  rm -rf "$work/parts" "$work/lists" "$work/download" "$work/root"
  mkdir -p "$work"/{parts,lists/partial,cache/archives/partial,state,download,root}
  cp "$1" "$work/parts/"
  : >"$work/status"
  cat >"$work/apt.conf" <<CONF
#clear APT::Update::Pre-Invoke;
#clear APT::Update::Post-Invoke;
#clear APT::Update::Post-Invoke-Success;
#clear APT::Architectures;
APT::Architectures { "$(dpkg --print-architecture)"; };
APT::Sandbox::User "$(id -un)";
Acquire::Languages "none";
Acquire::Retries "2";
Dir::Etc::sourcelist "/dev/null";
Dir::Etc::sourceparts "$work/parts";
Dir::Etc::preferences "/dev/null";
Dir::Etc::preferencesparts "/dev/null";
Dir::State "$work/state";
Dir::State::status "$work/status";
Dir::State::lists "$work/lists";
Dir::Cache "$work/cache";
CONF
  apt-get -c "$work/apt.conf" update --error-on=any || return 1
  (cd "$work/download" && apt-get -c "$work/apt.conf" download libfmt-dev libfmt10) || return 1
  for package in "$work"/download/*.deb; do
    dpkg-deb -x "$package" "$work/root" || return 1
  done
  fmt_is_recent "$work/root/usr/include"
}

fetch_fmt() {
  local work=$deps/fmt-work log=$deps/fmt.log source
  rm -rf "$work"
  mkdir -p "$work/sources"
  : >"$log"
  write_fmt_sources "$work/sources"
  for source in "$work"/sources/*; do
    [ -e "$source" ] || continue
    if unpack_fmt "$source" "$work" >>"$log" 2>&1; then
      rm -rf "$deps/fmt"
      mv "$work/root" "$deps/fmt"
      rm -rf "$work"
      return 0
    fi
  done
  grep -E '^[EW]: ' "$log" >&2 || true
  rm -rf "$work"
  return 1
}

need_fmt() {
  has_fmt && return 0
  mkdir -p "$deps"
  exec 9>"$deps/lock"
  flock 9 # another ./dev may be fetching it
  if ! has_fmt; then
    local advice="install fmt 10 or later yourself, and set fmt_ROOT to where it is if that is not \
a system folder"
    command -v apt-get >/dev/null || die "fmt 10 is missing and there is no apt-get; $advice"
    local offered
    offered=$(apt-cache policy libfmt-dev 2>/dev/null | sed -n 's/^ *Candidate: //p')
    if dpkg --compare-versions "${offered:-0}" ge 10; then
      quietly "apt-get install libfmt-dev" as_root env DEBIAN_FRONTEND=noninteractive apt-get \
        install --yes --no-install-recommends -o DPkg::Lock::Timeout=300 libfmt-dev
    else
      echo "fetching fmt 10"
      fetch_fmt || die "fmt 10 cannot be fetched from the mirror that apt uses (.deps/fmt.log has \
the details); check the network, or $advice"
    fi
  fi
  exec 9>&-
}

need_for_build() {
  need g++ cmake ninja-build libboost-dev nlohmann-json3-dev libcli11-dev libmnl-dev "$@"
  need_fmt
}

clang_format() {
  command -v clang-format-14 || command -v clang-format
}
