# bash completion for install-cpputil: commands, their options, and files or folders as the
# option before the cursor expects.
_install_cpputil() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  local commands="parse check compare locale sandbox log demo" command="" word options
  local valued="--trace --rules --log --to --file --dir --examples --root --steps --step-ms"
  local operands=0 value=""
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ -n $value ]]; then
      value=""
    elif [[ " $valued " == *" $word "* ]]; then
      value=1
    elif [[ -n $command && $word != -* ]]; then
      operands=$((operands + 1))
    elif [[ -z $command && " $commands " == *" $word "* ]]; then
      command=$word
    fi
  done
  COMPREPLY=()
  case $prev in
    --trace | --steps | --step-ms) return ;;
    --rules | --log | --to | --file)
      mapfile -t COMPREPLY < <(compgen -f -- "$cur")
      # "--file -" copies standard input.
      if [[ $prev == --file && -z $cur ]]; then COMPREPLY+=(-); fi
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
    sandbox) options="--root -q --quiet" ;;
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
  elif [[ $command == compare && $operands -eq 1 ]]; then # A, then OP or B
    mapfile -t COMPREPLY < <(compgen -W "lt le eq ne ge gt" -- "$cur")
  fi
}
complete -o filenames -F _install_cpputil install-cpputil
