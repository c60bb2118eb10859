# Completion of vxrepair for fish.
complete -c vxrepair -l dry-run -d 'say what would be recovered, and change nothing'
complete -c vxrepair -l json -d 'print one JSON object for each file'
complete -c vxrepair -l quiet -d 'say nothing but errors'
complete -c vxrepair -l version -d 'print the version'
complete -c vxrepair -l help -s h -d 'print this help'
