# bash completion for sorrelwind-hub

_sorrelwind_hub() {
  local cur prev words cword split
  _init_completion -n : || return

  case $prev in
    --data | --web)
      _filedir -d
      return
      ;;
    --tls-cert | --tls-key)
      _filedir
      return
      ;;
    --listen | --trusted-proxy | --idle | --item-ttl | --max-* | --publish-* | --claim-* | --new-*)
      return
      ;;
  esac

  if [[ " ${words[*]:1:cword-1} " == *' doctor '* ]]; then
    COMPREPLY=($(compgen -W '--help --idle' -- "$cur"))
  elif [[ " ${words[*]:1:cword-1} " =~ ' '(backup|restore)' ' ]]; then
    if [[ $cur == -* ]]; then
      COMPREPLY=($(compgen -W '--help --data' -- "$cur"))
    else
      _filedir
    fi
  elif [[ $cur == -* ]]; then
    COMPREPLY=($(compgen -W '--help --version --listen --data --tls-cert --tls-key --web
      --trusted-proxy --check --max-payload --max-devices --publish-rate --publish-burst --claim-failures
      --new-groups --item-ttl --max-connections --max-memory' -- "$cur"))
  elif ((cword == 1)); then
    COMPREPLY=($(compgen -W 'doctor backup restore' -- "$cur"))
  fi
} && complete -F _sorrelwind_hub sorrelwind-hub
