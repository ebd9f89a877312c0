# fish completion for sorrelwind-hub

set -l serve 'not __fish_seen_subcommand_from doctor'
set -l doctor '__fish_seen_subcommand_from doctor'

complete -c sorrelwind-hub -f
complete -c sorrelwind-hub -s h -l help -d 'Show the options'
complete -c sorrelwind-hub -n __fish_use_subcommand -a doctor -d 'Look at a hub from outside'
complete -c sorrelwind-hub -n $doctor -l idle -x -d 'Seconds for which the idle socket is watched'
complete -c sorrelwind-hub -n $serve -l version -d 'Show the version'
complete -c sorrelwind-hub -n $serve -l listen -x -d 'Address and port'
complete -c sorrelwind-hub -n $serve -l data -r -F -d 'Folder of the database'
complete -c sorrelwind-hub -n $serve -l tls-cert -r -F -d 'Certificate chain'
complete -c sorrelwind-hub -n $serve -l tls-key -r -F -d 'Private key'
complete -c sorrelwind-hub -n $serve -l web -r -F -d 'Folder of the web page'
complete -c sorrelwind-hub -n $serve -l trusted-proxy -x -d 'Whose X-Forwarded-For is believed'
complete -c sorrelwind-hub -n $serve -l max-payload -x -d 'Bytes of an item'
complete -c sorrelwind-hub -n $serve -l max-devices -x -d 'Devices of a group'
complete -c sorrelwind-hub -n $serve -l publish-rate -x -d 'Items a second and device'
complete -c sorrelwind-hub -n $serve -l publish-burst -x -d 'Items at once from a device'
complete -c sorrelwind-hub -n $serve -l claim-failures -x -d 'Wrong codes a minute and address'
complete -c sorrelwind-hub -n $serve -l new-groups -x -d 'New groups an hour and address'
complete -c sorrelwind-hub -n $serve -l item-ttl -x -d 'Seconds for which the newest item waits'
