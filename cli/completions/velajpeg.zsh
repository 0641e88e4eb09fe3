#compdef velajpeg
# Made of the table of options by velajpeg --completion zsh.
_arguments -s \
    '-o[JPEG file to write; - is standard output; DIR/ is --out-dir DIR; with %d, as in frame-%05d.jpg, one file for each picture of the input, counted from 1]:FILE:_files' \
    '--output[JPEG file to write; - is standard output; DIR/ is --out-dir DIR; with %d, as in frame-%05d.jpg, one file for each picture of the input, counted from 1]:FILE:_files' \
    '--out-dir[Write NAME.jpg for each input NAME.* into this folder]:DIR:_files -/' \
    '--mjpeg[Write all pictures into one stream of JPEGs]' \
    '--no-clobber[Leave files that exist as they are, and go on]' \
    '--force-name[Write a JPEG even under another format'\''s name, such as x.png]' \
    '--sync[Wait until each file is on the disk before it gets its name]' \
    '-q[Higher is better and larger \[75\]]:0..100:' \
    '--quality[Higher is better and larger \[75\]]:0..100:' \
    '-s[Chroma resolution; YCbCr input brings its own \[420\]]:444|422|420:(444 422 420)' \
    '--subsampling[Chroma resolution; YCbCr input brings its own \[420\]]:444|422|420:(444 422 420)' \
    '-p[Progressive instead of baseline\: smaller, slower]' \
    '--progressive[Progressive instead of baseline\: smaller, slower]' \
    '-r[MCU rows per restart interval, or with B MCUs; 0 for no restart markers \[0\]]:N\[B\]:' \
    '--restart[MCU rows per restart interval, or with B MCUs; 0 for no restart markers \[0\]]:N\[B\]:' \
    '--target-size[The best quality up to --quality whose file has at most so many bytes; k and M for thousands and millions]:BYTES:' \
    '--threads[Threads for each picture, 0 for all cores; cuts it at restart intervals, of one MCU row unless given \[1\]]:N:' \
    '--raw[INPUT holds raw frames, of --size, one after another; formats below]:FORMAT:(gray rgb24 bgr24 rgb0 bgr0 0rgb 0bgr rgb565le rgb555le yuv420p yv12 yuv422p yuv444p nv12 nv21 nv16 nv61 yuyv422 yvyu422 uyvy422 vyuy422)' \
    '--size[Pixels of a raw frame or the demo picture]:WxH:' \
    '--step[Bytes from row to row of each raw plane; negative where the bottom row comes first]:N\[,N\[,N\]\]:' \
    '--range[Of raw and Y4M samples \[raw\: full; Y4M\: as its tag says, else limited\]]:full|limited:(full limited)' \
    '--matrix[Of raw and Y4M samples \[601\]]:601|709:(601 709)' \
    '--background[Behind transparent pixels\: #rrggbb, white, black or gray \[white\]]:COLOUR:' \
    '--max-pixels[Refuse pictures of more pixels \[268435456\]]:N:' \
    '--demo[Encode a generated test picture instead of INPUT]' \
    '--recursive[Take the pictures of folders, and of the folders in them, by the names of their files]' \
    '-j[Files at a time, with --out-dir; 0 for as many as there are cores \[1\]]:N:' \
    '--jobs[Files at a time, with --out-dir; 0 for as many as there are cores \[1\]]:N:' \
    '--strip[Leave out what a PNG brings\: colour profile, Exif, density]' \
    '--exif[Exif block\: a TIFF structure, with or without "Exif" before it]:FILE:_files' \
    '--icc[ICC colour profile]:FILE:_files' \
    '--comment[Comment, in UTF-8]:TEXT:' \
    '--density[Pixels per inch]:N\[xM\]:' \
    '--orientation[How to turn the picture for showing it, as Exif counts; in place of the Exif block that a PNG brings]:1..8:' \
    '--json[One object of facts per picture, on standard output, or on standard error where the JPEG goes there]' \
    '-v[A line for each picture, of many as well]' \
    '--verbose[A line for each picture, of many as well]' \
    '--quiet[No lines but errors]' \
    '-h[Print this help]' \
    '--help[Print this help]' \
    '--version[Print the version]' \
    '*:input:_files'
