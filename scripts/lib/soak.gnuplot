# Draws what the lives of scripts/soak held over their exchanges; `lives` and `curves` are set by it.
set terminal svg size 900,560 font "sans-serif,12" background "white"
set multiplot layout 2,2
set key outside top center horizontal samplen 1
set xlabel "exchanges of a life, in thousands"
set yrange [0:*]
set border 3
set tics nomirror
set style data lines

set title "Memory, MB resident"
plot for [n=0:lives-1] curves index n using 1:2 linecolor "#1f77b4" title (n ? "" : "service"), \
     for [n=0:lives-1] curves index n using 1:3 linecolor "#ff7f0e" title (n ? "" : "agent")
set title "Descriptors"
plot for [n=0:lives-1] curves index n using 1:4 linecolor "#1f77b4" title (n ? "" : "service"), \
     for [n=0:lives-1] curves index n using 1:5 linecolor "#ff7f0e" title (n ? "" : "agent")
set title "Threads"
plot for [n=0:lives-1] curves index n using 1:6 linecolor "#1f77b4" title (n ? "" : "service"), \
     for [n=0:lives-1] curves index n using 1:7 linecolor "#ff7f0e" title (n ? "" : "agent")
set title "Logs, MB written"
plot for [n=0:lives-1] curves index n using 1:8 linecolor "#1f77b4" title (n ? "" : "service"), \
     for [n=0:lives-1] curves index n using 1:9 linecolor "#ff7f0e" title (n ? "" : "agent")
