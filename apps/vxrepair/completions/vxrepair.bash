# Completion of vxrepair for bash.
_vxrepair() {
  local word=${COMP_WORDS[COMP_CWORD]}
  if [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W '--dry-run --json --quiet --version --help -h' -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}
complete -o filenames -F _vxrepair vxrepair
