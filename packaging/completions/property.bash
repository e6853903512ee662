# SPDX-License-Identifier: MIT
# Completion of the property command in bash. The command itself knows what may come next.

_property() {
  local line=${COMP_LINE:0:COMP_POINT} current candidate
  local -a words
  read -ra words <<<"$line"
  [[ $line != *[[:space:]] ]] || words+=("")
  current=${words[-1]}
  COMPREPLY=()
  while IFS= read -r candidate; do
    # Bash has taken "NAME=" for a word of its own where "=" divides words.
    if [[ $current == *=* && $COMP_WORDBREAKS == *=* ]]; then
      candidate=${candidate#*=}
    fi
    COMPREPLY+=("$candidate")
  done < <("${words[0]}" complete -- "${words[@]:1}" 2>/dev/null)
  if [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *= ]]; then
    compopt -o nospace 2>/dev/null
  fi
}

complete -o default -F _property property
