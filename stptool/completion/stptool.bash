# Completion of stptool for bash: the tool says itself what could come next.
_stptool() {
  local line=${COMP_LINE:0:COMP_POINT} prefix='' rest candidate
  local -a words
  read -ra words <<<"$line"
  case $line in *[[:space:]]) words+=('') ;; esac
  local current=${words[-1]}
  # To bash a word also ends at = and at a colon; it keeps what stands before.
  case $COMP_WORDBREAKS/$current in *=*/--*=*) prefix=${current%%=*}= ;; esac
  rest=${current#"$prefix"}
  case $COMP_WORDBREAKS in *:*) prefix+=${rest%"${rest##*:}"} ;; esac
  COMPREPLY=()
  while IFS= read -r candidate; do
    if [ "$candidate" = :file ]; then
      compopt -o filenames 2>/dev/null
      while IFS= read -r candidate; do
        COMPREPLY+=("$candidate")
      done < <(compgen -f -- "$rest")
      continue
    fi
    candidate=${candidate%%$'\t'*}
    case $candidate in */) compopt -o nospace 2>/dev/null ;; esac
    COMPREPLY+=("${candidate#"$prefix"}")
  done < <("${words[0]}" complete "${words[@]:1}" 2>/dev/null)
}
complete -F _stptool stptool
