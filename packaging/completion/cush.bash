# Completion of cush for bash.
_cush() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}
  case $before in
    --name) mapfile -t COMPREPLY < <(compgen -W "$(_chassis_running)" -- "$word"); return ;;
    -c) return ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "-c --json --keep-going --name --help --version" -- "$word")
}

# The names of the chassis that have a run folder.
_chassis_running() {
  local base=${CHASSIS_RUN_DIR:-${XDG_RUNTIME_DIR:-/tmp}/chassis-$(id -u)}
  [ -d "$base" ] && (cd "$base" && printf '%s\n' */) 2>/dev/null | sed -n 's,/$,,p'
}

complete -F _cush cush
