# bash completion for install-cpputil: commands, their options, and files or folders as the
# option before the cursor expects.
_install_cpputil() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  local commands="parse check compare locale sandbox log demo" command="" word options
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ " $commands " == *" $word "* ]]; then
      command=$word
      break
    fi
  done
  COMPREPLY=()
  case $prev in
    --trace | --steps | --step-ms) return ;;
    --rules | --log | --to | --file)
      mapfile -t COMPREPLY < <(compgen -f -- "$cur")
      return
      ;;
    --dir | --examples | --root)
      mapfile -t COMPREPLY < <(compgen -d -- "$cur")
      return
      ;;
  esac
  case $command in
    parse) options="--json" ;;
    check) options="--rules --log" ;;
    sandbox) options="--root" ;;
    log) options="--to --file" ;;
    demo) options="--dir --examples --steps --step-ms" ;;
    "") options="--version" ;;
    *) options="" ;;
  esac
  if [[ $cur == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options --trace --help" -- "$cur")
  elif [[ -z $command ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$cur")
  elif [[ " parse check log " == *" $command "* ]]; then
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
  fi
}
complete -o filenames -F _install_cpputil install-cpputil
