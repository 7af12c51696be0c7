# Draws one group of series: gnuplot -e "plot_file='...'" growth-....data growth.gp
set terminal svg size 720,440 font "DejaVu Sans,13" background rgb "white"
set output plot_file
set logscale xy
set key top left autotitle columnhead
set grid
set rmargin 5
set xlabel size_name
set ylabel value_name
plot for [column = 2:last_column] $data using 1:column with linespoints \
    linewidth 2 pointtype 7 pointsize 0.6
