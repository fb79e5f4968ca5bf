# . wine-addresses.sh: starts the calling script again, without random addresses for it and the programs that it starts.
#
# Wine needs the page 0x7ffe0000 of each process. Linux puts the heap of a process at a random place in a gigabyte that contains
# this page. Where they meet, the process ends with 1 and without a word: about once in 8,000 starts. In a container that forbids
# fixed addresses, or hides whether they are fixed, they stay random.
{ read -r personality </proc/self/personality; } 2>/dev/null || personality=40000
if [ $((0x$personality & 0x40000)) = 0 ] && setarch -R true 2>/dev/null; then exec setarch -R "$0" "$@"; fi
unset personality
