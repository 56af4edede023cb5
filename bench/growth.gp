# Draws nodes.csv and grid.csv of sf_growth_bench: gnuplot -e "folder='FOLDER'; into='docs'" bench/growth.gp
set terminal svg size 720,480 font 'sans-serif,13' background 'white'
set datafile separator ','
set logscale xy
set grid
set key top left
set style data linespoints
set ylabel 'milliseconds'

set output into.'/performance_nodes.svg'
set title 'Unions of spheres: compiling, and rendering 128 x 128 x 128 values'
set xlabel 'nodes'
plot folder.'/nodes.csv' skip 1 using 1:2 title 'compile' lw 2, '' skip 1 using 1:3 title 'render' lw 2

set output into.'/performance_grid.svg'
set title 'Render on a cube of points'
set xlabel 'points along an axis'
plot folder.'/grid.csv' skip 1 using 1:2 title 'sphere' lw 2, '' skip 1 using 1:3 title 'gyroid shell' lw 2, \
  '' skip 1 using 1:4 title '1,000 solids' lw 2
