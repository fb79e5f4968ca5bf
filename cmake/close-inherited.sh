# . close-inherited.sh, in bash: closes every descriptor above 2 that this process got from whoever started it.
#
# A server inherits what is open when it is started. Whoever reads such a pipe to its end (CTest, or a command that ninja's
# output is piped into) would wait for the server to end. Only bash can close a descriptor by a number above 9.
for descriptor in /proc/$$/fd/*; do
  # Bash reads the running script through a descriptor of its own, which programs that it starts do not inherit.
  if [ "$descriptor" -ef "$0" ]; then continue; fi
  descriptor=${descriptor##*/}
  if [ "$descriptor" -gt 2 ]; then exec {descriptor}>&-; fi
done
unset descriptor
