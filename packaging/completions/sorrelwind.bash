# bash completion for sorrelwind

_sorrelwind() {
  local cur prev words cword command='' i
  _init_completion || return

  for ((i = 1; i < cword; i++)); do
    case ${words[i]} in
      --config-dir | --clipboard | --server | --name) ((i++)) ;;
      -*) ;;
      *)
        command=${words[i]}
        break
        ;;
    esac
  done
  case $prev in
    --config-dir)
      _filedir -d
      return
      ;;
    --clipboard)
      COMPREPLY=($(compgen -W 'x11 wayland' -- "$cur"))
      return
      ;;
    --server | --name) return ;;
  esac

  local options='--help --config-dir --headless --clipboard' commands=''
  case $command in
    '')
      options+=' --version'
      commands='create join pair passphrase status devices remove rename send receive pause resume leave quit'
      ;;
    create) options+=' --server --host --name --passphrase-stdin' ;;
    join) options+=' --server --name --passphrase-stdin' ;;
    receive) options+=' --follow --null' ;;
    pair | status | devices) options+=' --json' ;;
  esac
  if [[ $cur == -* ]]; then
    COMPREPLY=($(compgen -W "$options" -- "$cur"))
  else
    COMPREPLY=($(compgen -W "$commands" -- "$cur"))
  fi
} && complete -F _sorrelwind sorrelwind
