# Completion of chassis for bash.
_chassis_subcommands="run exec status event trace capture"

# The words that may follow an event's words.
_chassis_event() {
  case $1 in
    "") echo "line-card link vlan cbl channel vlan-delete feature save daemon wait-ready fault trace" ;;
    line-card) echo "online offline" ;;
    link | vlan) echo "up down" ;;
    cbl) echo "block forward" ;;
    channel) echo "add remove" ;;
    feature) echo "on off" ;;
    daemon) echo "restart" ;;
    trace) echo "packet control error" ;;
  esac
}

_chassis_options() {
  case $1 in
    run) echo "--name --daemon --fault --help" ;;
    exec | capture) echo "--name --help" ;;
    status | event) echo "--json --name --help" ;;
    trace) echo "--follow --category --since-start --json --name --help" ;;
    *) echo "--help --version" ;;
  esac
}

# The names of the chassis that have a run folder.
_chassis_running() {
  local base=${CHASSIS_RUN_DIR:-${XDG_RUNTIME_DIR:-/tmp}/chassis-$(id -u)}
  [ -d "$base" ] && (cd "$base" && printf '%s\n' */) 2>/dev/null | sed -n 's,/$,,p'
}

_chassis() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} subcommand=${COMP_WORDS[1]} offered=""
  case $before in
    --name) mapfile -t COMPREPLY < <(compgen -W "$(_chassis_running)" -- "$word"); return ;;
    --daemon) mapfile -t COMPREPLY < <(compgen -f -- "$word"); return ;;
    --category) mapfile -t COMPREPLY < <(compgen -W "packet control error" -- "$word"); return ;;
  esac
  if ((COMP_CWORD == 1)); then
    offered="$_chassis_subcommands $(_chassis_options)"
  elif [[ $word == -* ]]; then
    offered=$(_chassis_options "$subcommand")
  else
    case $subcommand in
      run) mapfile -t COMPREPLY < <(compgen -f -X '!*.yaml' -- "$word"); return ;;
      exec) ((COMP_CWORD == 2)) && offered="amm switch blade1 blade2 blade3 blade4" ;;
      capture) ((COMP_CWORD == 2)) && offered="amm inb0 mgmt0 mgmt1 blade1 blade2 blade3 blade4" ;;
      event)
        ((COMP_CWORD == 2)) && offered=$(_chassis_event "")
        ((COMP_CWORD == 3)) && offered=$(_chassis_event "$before")
        ;;
    esac
  fi
  mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$word")
}

complete -F _chassis chassis
