# Draws build/soak.txt, a line a minute, as docs/pictures/soak.svg.
set terminal svg size 760,620 font "DejaVu Sans,11" background rgb "white"
set output "docs/pictures/soak.svg"
set multiplot layout 3,1
set grid
set xrange [0:]
set yrange [0:*]
set key off
set lmargin 12
set title "Memory (MiB)"
plot "build/soak.txt" using 1:2 with lines linewidth 2
set title "Descriptors, threads"
set key center right
plot "build/soak.txt" using 1:4 with lines linewidth 2 title "descriptors", \
     "" using 1:3 with lines linewidth 2 title "threads"
set key off
set title "Longest stall in a minute (ms)"
set xlabel "minutes"
plot "build/soak.txt" using 1:7 with lines linewidth 2
unset multiplot
