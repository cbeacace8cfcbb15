# Draws the cost per entry against the size of the tree, one line per command, as SVG:
#   gnuplot -c bench/plot.gp DATA OUT.svg
# DATA holds a block per command, two empty lines apart: its name in quotes, then a line per tree
# with the entries and the cost per entry relative to the first command on the first tree.
data = ARG1
set datafile columnheaders
stats data using 1:2 nooutput
set terminal svg size 860,480 font 'sans-serif,12' background '#ffffff'
set output ARG2
set title 'Cost per entry by entries in the tree; floor on the smallest tree = 1' left
set logscale x
set logscale y 2
set xrange [*:*] noextend
set format x '%.0f'
set grid ytics lc rgb '#dddddd'
set border 3
set tics nomirror
# The names stand in the order in which the lines end. After eight colours they come again, dashed.
set key outside right center Left reverse samplen 2
plot for [block = 0:STATS_blocks - 1] data index block using 1:2 with linespoints \
  lt block % 8 + 1 dt block / 8 + 1 lw 2 pt 7 ps 0.4 title columnheader(1)
