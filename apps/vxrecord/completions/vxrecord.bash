# Completion of vxrecord for bash.
_vxrecord() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} line
  COMPREPLY=()
  # "=" is a word of its own here: in "--name=val" the option stands one further back.
  if [[ $word == = ]]; then
    word=''
  elif [[ $before == = ]]; then
    before=${COMP_WORDS[COMP_CWORD-2]}
  fi
  if [[ ${COMP_WORDS[1]} == verify && $COMP_CWORD -gt 1 ]]; then
    if [[ $word == -* ]]; then
      mapfile -t COMPREPLY < <(compgen -W '--json --svg' -- "$word")
    else
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
    return
  fi
  case $before in
    --storage-path) mapfile -t COMPREPLY < <(compgen -d -- "$word"); return ;;
    --filename) return ;;
    --index) return ;;
    --file-name-prefix) return ;;
    --folder-limit) return ;;
    --encoder) mapfile -t COMPREPLY < <(compgen -W "$("${COMP_WORDS[0]}" --list-encoders 2>/dev/null | cut -d ' ' -f 1)" -- "$word"); return ;;
    --pixel-format) mapfile -t COMPREPLY < <(compgen -W 'y420 BGRA ARGB RGBA ABGR RGB BGR 2vuy yuvs gray' -- "$word"); return ;;
    --duration) return ;;
    --pause-at) return ;;
    --pause-for) return ;;
  esac
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W '--storage-path --filename --index --file-name-prefix --folder-limit --audio --rotate --encoder --pixel-format --duration --pause-at --pause-for --realtime --json --quiet -q --verbose -v --list-encoders --list-displays --version --help -h' -- "$word")
    return
  fi
  mapfile -t COMPREPLY < <(compgen -f -- "$word")
  # A colon splits words too; what stands before it is there already.
  if [[ $before == : && ${COMP_WORDS[COMP_CWORD-2]} == x11 || $word == : && $before == x11 ]]; then
    word=${word#:}
    COMPREPLY=()
    while read -r line _; do
      line=${line#x11:}
      [[ $line == "$word"* ]] && COMPREPLY+=("$line")
    done < <("${COMP_WORDS[0]}" --list-displays 2>/dev/null)
  elif [[ -n $word && x11: == "$word"* ]]; then
    COMPREPLY+=('x11:')
    compopt -o nospace 2>/dev/null
  elif [[ -n $word && test: == "$word"* ]]; then
    COMPREPLY+=('test:')
    compopt -o nospace 2>/dev/null
  elif [[ -n $word && verify == "$word"* && $COMP_CWORD == 1 ]]; then
    COMPREPLY+=('verify')
  fi
}
complete -o filenames -F _vxrecord vxrecord
