# Draws the curves that vornixctl noise has written.
# gnuplot -c noise_plot.gnuplot CURVES.csv PICTURE.svg UNIT

set terminal svg size 900,600 font "sans-serif,14" background "white"
set output ARG2
set datafile separator ","
set datafile commentschars "#"
set logscale xy
set format xy "10^{%L}"
set grid xtics ytics mxtics mytics linecolor "gray80"
set xlabel "averaging time (s)"
set ylabel sprintf("Allan deviation (%s)", ARG3)
set key top right
plot for [column=2:4] ARG1 using 1:column with linespoints pointtype 7 pointsize 0.3 title columnheader(column)
