# . close-inherited.sh, in bash: closes every descriptor above 2 that this process inherited.
#
# A server inherits the descriptors that are open when it starts. A process that reads such a pipe to its end (CTest, or a command
# that ninja's output is piped into) would wait for the server to end. Only bash can close a descriptor with a number above 9.
for descriptor in /proc/$$/fd/*; do
  # Bash reads the running script through a separate descriptor, which the programs that it starts do not inherit.
  if [ "$descriptor" -ef "$0" ]; then continue; fi
  descriptor=${descriptor##*/}
  if [ "$descriptor" -gt 2 ]; then exec {descriptor}>&-; fi
done
unset descriptor
