#!/bin/bash
# Runs the velajpeg command on pictures made here. Usage: command_test.sh path/to/velajpeg
# Needs djpeg, netpbm, perl, exiftool and ImageMagick's identify.
# shellcheck disable=SC2012,SC2015,SC2016,SC2034,SC2086 # $how holds several arguments; code in '' runs later
set -u
export LC_ALL=C
tool=$(realpath "$1")
source_tree=$(cd "$(dirname "$0")/../.." && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cd "$tmp" || exit 1
mkdir out folder
passed=0 failed=0

check() { # COMMAND...: must succeed
    if "$@" >log 2>&1; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "FAIL $*" "(${size-} ${format-})"
        tail -5 log | sed 's/^/     /'
    fi
}
encode() { "$tool" --quiet "$@"; }
decode() { djpeg -strict -pnm "$@"; }
same() { encode "$@" -o same.jpg && cmp same.jpg reference.jpg; }
piped() { same "${@:2}" - < <(cat "$1"); } # FILE ARGS...
isLike() { [[ $(pnmpsnr -rgb -target1=33 -target2=33 -target3=33 <(decode "$1") "$2") == match ]]; }
# CODE ARGS...: must end with CODE and one line on standard error, and leave the target (out/x.jpg,
# where ARGS name none) and its folder as they were
refused() {
    local code=$1 got=0
    shift
    [[ " $* " == *" -o "* || " $* " == *" --out-dir "* ]] || set -- "$@" -o out/x.jpg
    echo old >out/x.jpg
    "$tool" "$@" 2>err >stdout || got=$?
    echo "exit $got, in the folder: $(ls -A out), standard error: $(cat err)"
    [[ $got == "$code" && $(wc -l <err) == 1 && $(ls -A out) == x.jpg && $(<out/x.jpg) == old && ! -s stdout ]]
}
says() { # CODE WORDS ARGS...: refused, and the line has WORDS
    refused "$1" "${@:3}" && grep -qF -- "$2" err
}
refusedIn() { # SHELL-CODE: must end with exit code 1 and one line on standard error
    local got=0
    (eval "$1") 2>err || got=$?
    [[ $got == 1 && $(wc -l <err) == 1 ]]
}
# FORMAT STEP: the PPM on standard input as a raw frame; YCbCr formats take its red, green and blue
# for Y, Cb and Cr. A STEP of 0 is tight, else the padding is 0xEE.
cat >frame.pl <<'PERL'
my ($format, $step) = @ARGV;
local $/;
my ($w, $h, $data) = <STDIN> =~ /^P6\s(\d+)\s(\d+)\s255\s(.*)/s or die "not a PPM\n";
my @pixels = unpack '(a3)*', $data;
my $word = sub { my ($green, $r, $g, $b) = @_; pack 'v', $r >> 3 << 5 + $green | $g >> 8 - $green << 5 | $b >> 3 };
my $pick = sub { my @i = @_; sub { join '', map { $_ < 0 ? "\x77" : substr $_[0], $_, 1 } @i } };
my %packed = (
    rgb24 => $pick->(0, 1, 2), bgr24 => $pick->(2, 1, 0), rgb0 => $pick->(0, 1, 2, -1), bgr0 => $pick->(2, 1, 0, -1),
    '0rgb' => $pick->(-1, 0, 1, 2), '0bgr' => $pick->(-1, 2, 1, 0), gray => $pick->(0),
    rgb565le => sub { $word->(6, unpack 'C3', $_[0]) }, rgb555le => sub { $word->(5, unpack 'C3', $_[0]) },
    ppm565 => sub { pack 'C3', map { my ($v, $n) = @$_; my $f = $v >> 8 - $n; $f << 8 - $n | $f >> 2 * $n - 8 }
        map { [(unpack 'C3', $_[0])[$_], $_ == 1 ? 6 : 5] } 0 .. 2 },
    ppm555 => sub { pack 'C3', map { my $f = $_ >> 3; $f << 3 | $f >> 2 } unpack 'C3', $_[0] },
);
my ($across, $down) = $format =~ /444/ ? (1, 1) : $format =~ /422|16|61/ ? (2, 1) : (2, 2);
sub rows { my ($a, $d, $make) = @_; # every a-th column of every d-th row
    map { my $y = $_ * $d; join '', map { $make->($pixels[$y * $w + $_ * $a]) } 0 .. ($w + $a - 1) / $a - 1 } 0 .. ($h + $d - 1) / $d - 1 }
my @planes;
if ($packed{$format}) { @planes = [rows(1, 1, $packed{$format})] }
elsif ($format =~ /^(yuyv|yvyu|uyvy|vyuy)/) {
    my @order = split //, $1;
    @planes = [map { my $y = $_; join '', map { my $x = 2 * $_; my ($l, $r) = ($pixels[$y * $w + $x], $pixels[$y * $w + ($x + 1 < $w ? $x + 1 : $x)]);
        my $n = 0; join '', map { $_ eq 'y' ? substr($n++ ? $r : $l, 0, 1) : substr $l, $_ eq 'u' ? 1 : 2, 1 } @order } 0 .. ($w + 1) / 2 - 1 } 0 .. $h - 1];
} elsif ($format =~ /^nv/) {
    @planes = ([rows(1, 1, $pick->(0))], [rows($across, $down, $format =~ /21|61/ ? $pick->(2, 1) : $pick->(1, 2))]);
} else {
    my @chroma = $format eq 'yv12' ? (2, 1) : (1, 2);
    @planes = ([rows(1, 1, $pick->(0))], map { [rows($across, $down, $pick->($_))] } @chroma);
}
for my $i (0 .. $#planes) {
    my @rows = @{$planes[$i]};
    my $own = $i && @planes == 3 ? int((abs($step) + $across - 1) / $across) : abs($step);
    $_ .= "\xEE" x ($own - length) for @rows;
    print $step < 0 ? reverse @rows : @rows;
}
PERL
frame() { perl frame.pl "$@"; }
ppm() { cat <(echo "P6 ${size/x/ } 255") -; }

# ---- the demo picture, colours, structure
# Fault: channels swapped, an option that does not reach the stream.

encode --demo -o demo.jpg && decode demo.jpg >demo.ppm
check grep -qaP '[\xF0-\xFF]{2}[\0-\x10]' <(pamcut 60 60 1 1 demo.ppm) # the yellow bar
check cmp <(encode --demo --progressive -o - | decode) demo.ppm
check cmp <(encode --demo --size 720x400 -q 85 -o -) "$source_tree/docs/demo.jpg" # as README.md shows it
check cmp <(encode --demo -r 7B -o - | decode) demo.ppm
check grep -qaP '\xFF\xDD\x00\x04\x00\x07' <(encode --demo -r 7B -o -)
check grep -qaP '\xFF\xDD\x00\x04\x00\x50' <(encode --demo -r 2 -o -)
check grep -qaP '\xFF\xC2\x00\x11' <(encode --demo --progressive -o -)
check cmp <(encode --demo -r 1 -o -) <(encode --demo --threads 3 -o -)
check cmp <(encode --demo -q 9 -q 60 -o -) <(encode --demo -q 60 -o -)
encode demo.ppm -q 100 -s 444 -o near.jpg
check isLike near.jpg demo.ppm
for format in yuv444p yuv422p yuv420p nv12 nv21 nv16 yuyv422; do
    ppmmake rgb:51/5a/f0 16 16 | frame $format 0 | encode --raw $format --size 16x16 - -q 100 -o red.jpg
    check isLike red.jpg <(ppmmake rgb:ee/0e/0e 16 16)
done
for matrix in 601:51/5a/f0 709:3f/66/f0; do # red of limited range
    ppmmake rgb:${matrix#*:} 16 16 | frame nv12 0 |
        encode --raw nv12 --size 16x16 --range limited --matrix ${matrix%:*} - -q 100 -o red.jpg
    check isLike red.jpg <(ppmmake rgb:ff/00/00 16 16)
done

# ---- the same pixels give the same bytes, whatever holds them
# Fault: a file format, a name or a step that is read otherwise than it was written.

for size in 37x29 32x16 1x17; do
    width=${size%x*} height=${size#*x} even=$(((${size%x*} + 1) / 2 * 2))
    encode --demo --size $size -q 90 -o seed.jpg
    decode seed.jpg >true.ppm
    for how in "-s 444" "-s 422 -r 2" "-p" "-q 97"; do
        for format in rgb24:RGB24:3 bgr24:bgr888:3 rgb0:RGBx32:4 bgr0:BGRX:4 0rgb:argb:4 0bgr:abgr:4 rgb565le:RGBP:2 rgb555le:rgb555:2 gray:GREY:1; do
            IFS=: read -r format alias bytes <<<"$format"
            [[ $alias != BGRX ]] || alias=XR24
            case $format in
                rgb5?5le) frame "ppm${format:3:3}" 0 <true.ppm | ppm >reference.pnm ;;
                gray) cat <(echo "P5 ${size/x/ } 255") <(frame gray 0 <true.ppm) >reference.pnm ;;
                *) cp true.ppm reference.pnm ;;
            esac
            encode $how reference.pnm -o reference.jpg
            check piped reference.pnm $how
            for step in "" $((bytes * width + 5)) -$((bytes * width + 2)); do
                frame $format ${step:-0} <true.ppm >raw
                check same $how --raw $format --size $size ${step:+--step=$step} raw
            done
            check piped raw $how --raw $alias --size $size ${step:+--step=$step}
        done
    done
    for group in "yuv420p yv12 nv12 nv21 i420" "yuv422p nv16 nv61 yuyv422 yvyu422 uyvy422 vyuy422" "yuv444p i444"; do
        first=${group%% *}
        frame $first 0 <true.ppm | encode -q 97 --raw $first --size $size - -o reference.jpg
        check cmp <(decode -grayscale reference.jpg) <(frame gray 0 <true.ppm | cat <(echo "P5 ${size/x/ } 255") - |
            encode -q 97 - -o - | decode)
        for format in $group; do
            for step in 0 $((even * 2 + 6)); do
                frame ${format/#i4/yuv4} $step <true.ppm >raw
                [[ $format != i420 ]] || frame yuv420p $step <true.ppm >raw
                [[ $format != i444 ]] || frame yuv444p $step <true.ppm >raw
                ((step)) && how=--step=$step || how=
                check same -q 97 --raw $format --size $size $how raw
            done
        done
        name=${first#yuv} name=C${name%p}
        { printf 'YUV4MPEG2 W%d H%d F25:1 Ip %s XCOLORRANGE=FULL\nFRAME I1\n' $width $height ${name/C420/C420jpeg} &&
            frame $first 0 <true.ppm; } >clip.y4m
        check same -q 97 clip.y4m
        sed 's/ XCOLORRANGE=FULL//' clip.y4m >limited.y4m
        check same -q 97 --range full limited.y4m
        frame $first 0 <true.ppm | encode -q 97 --raw $first --size $size --range limited - -o reference.jpg
        check same -q 97 limited.y4m
    done

    # Files of other programs. 16-bit samples are rounded; the values of netpbm's own rounding are the same.
    encode true.ppm -o reference.jpg
    { printf 'P6#a comment\n# 9 9\r%s\t\v#x\n %s #\n255 ' ${size/x/ } && tail -c $((3 * width * height)) true.ppm; } >comment
    pnmtopng -force true.ppm >rgb.png
    pnmtopng -force -interlace true.ppm >interlaced.png
    pamdepth 65535 true.ppm >deep.ppm
    pnmtopng -force deep.ppm >deep.png
    pnmtoplainpnm true.ppm >plain
    pamtopam <true.ppm >pam
    pamstack -quiet true.ppm <(pgmmake 1 ${size/x/ }) -tupletype=RGB_ALPHA >opaque.pam
    for file in comment rgb.png interlaced.png deep.ppm deep.png plain pam opaque.pam; do
        check same $file
        check piped $file
    done
    pamdepth 31 true.ppm >coarse.ppm
    encode <(pamdepth 255 coarse.ppm) -o reference.jpg
    check same coarse.ppm
    ppmtopgm true.ppm | tee gray.pgm | pamthreshold -simple -threshold=0.5 | pamtopnm >bits.pbm
    encode gray.pgm -o reference.jpg
    pnmtopng -force gray.pgm >file1 && pnmtoplainpnm gray.pgm >file2 && pamtopam <gray.pgm >file3
    for file in file?; do
        check same $file
    done
    pamdepth -quiet 255 bits.pbm | pamtopnm >bits.pgm
    encode bits.pgm -o reference.jpg
    pnmtoplainpnm bits.pbm >file1 && pnmtopng -force bits.pbm >file2
    for file in bits.pbm file1 file2; do
        check same $file
    done
done
size='' format=''
for colour in white:fff black:000 "#ff8000:f80"; do # half transparent red
    encode --demo --size 9x9 -o seed.jpg
    pnmtopng -force -alpha=<(pgmmake 0 9 9) <(ppmmake red 9 9) >clear.png
    encode <(ppmmake "$(sed 's/^#ff8000$/rgb:ff\/80\/00/' <<<"${colour%:*}")" 9 9) -o reference.jpg
    check same clear.png --background "${colour%:*}"
done
pnmtopng -force -alpha=<(pgmmake 0.5 9 9) <(ppmmake red 9 9) >half.png
encode <(ppmmake rgb:ff/7f/7f 9 9) -o reference.jpg
check same half.png
printf 'P7\nWIDTH 1\nHEIGHT 1\nDEPTH 2\nMAXVAL 255\nTUPLTYPE GRAYSCALE_ALPHA\nENDHDR\n\12\145' >dark.pam
check test "$(encode dark.pam --background black -q 100 -o - | decode | tail -c 1 | od -An -tu1)" -eq 4 # 3.96

# ---- sequences
# Fault: pictures that are lost or run together, a single file that silently takes one of many.

for n in 1 2 3; do
    encode --demo --size 4${n}x30 -o - | decode >part$n.ppm
    encode part$n.ppm -o part$n.jpg
done
cat part?.ppm >parts.ppm
check encode parts.ppm -o 'out/f%02d.jpg'
for n in 1 2 3; do
    check cmp out/f0$n.jpg part$n.jpg
done
check test "$(ls out | wc -l)" = 3
rm out/*
check encode - --mjpeg -o out/all.mjpeg <parts.ppm
check cmp out/all.mjpeg <(cat part?.jpg)
check cmp <(encode part1.ppm part2.ppm part3.ppm --mjpeg -o -) out/all.mjpeg
rm out/*
{ printf 'YUV4MPEG2 W4 H4 C420\n' && for n in 1 2; do printf 'FRAME\n%024d' $n; done; } >two.y4m
check says 1 "more than one picture" two.y4m
check says 1 "more than one picture" parts.ppm
check says 1 "more than one picture" --raw gray --size 8x8 <(printf '%0128d' 0)
check refused 1 <(cat part1.ppm <(echo rubbish))
rm out/*

# ---- many files
# Fault: one broken file that stops the others or goes unnoticed, names that collide, half a file left.

mkdir -p many/below
cp part1.ppm many/a.ppm && cp part2.ppm many/below/b.ppm && pnmtopng -force part3.ppm >many/below/c.png
head -c 500 part1.ppm >many/broken.ppm && echo text >many/notes.txt
got=0
"$tool" many --recursive -j 3 --out-dir out 2>err || got=$?
check test "$got $(cd out && find . -type f | sort | tr '\n' ' ')" = "1 ./a.jpg ./below/b.jpg ./below/c.jpg "
check grep -qx "velajpeg: cannot read many/broken.ppm: truncated, it ends within the picture" err
check grep -q "^3 pictures encoded, 1 failed, 0 skipped" err
check cmp out/below/c.jpg part3.jpg
echo mine >out/a.jpg
check encode many/a.ppm many/below/b.ppm -o out/ --no-clobber
check test "$(<out/a.jpg)" = mine
check cmp out/b.jpg part2.jpg
check grep -q '"bytes":[0-9]*,.*"width":41' <("$tool" part1.ppm --json -o out/j.jpg)
check test "$(encode part1.ppm part2.ppm --json --out-dir out | wc -l)" = 2
rm -r out/*
got=0
"$tool" part1.ppm many/broken.ppm nowhere.ppm part2.ppm -o 'out/f%02d.jpg' 2>err || got=$?
check test "$got $(wc -l <err) $(ls out | tr '\n' ' ')" = "1 3 f01.jpg f02.jpg "
check cmp out/f02.jpg part2.jpg
rm out/*
cp part1.ppm ./-p && cp part1.ppm 'many/%d.ppm' && echo mine >out/all.mjpeg
check encode -o out/dash.jpg -- -p
check cmp out/dash.jpg part1.jpg
check encode part1.ppm --mjpeg --no-clobber -o out/all.mjpeg
check test "$(<out/all.mjpeg)" = mine
echo mine >out/n02.jpg
check encode parts.ppm --no-clobber -o 'out/n%02d.jpg'
check test "$(<out/n02.jpg)" = mine
check cmp out/n03.jpg part3.jpg
check encode 'many/%d.ppm' --out-dir 'out/%d' # no counter there
check cmp out/%d/%d.jpg part1.jpg
check grep -q '^{"error":"cannot read many/broken.ppm: .*","input":"many/broken.ppm"}$' \
    <("$tool" many/broken.ppm --json -o out/x.jpg 2>err)
terminal=$(script -qec true /dev/null </dev/null >/dev/null 2>&1 && echo there || true) # not in every chroot
[[ $terminal ]] || echo "no pseudo-terminals here: what happens on one is not checked"
for words in ${terminal:+"" NO_COLOR=1}; do # a progress bar on a terminal, and only there
    env $words script -qec "'$tool' part1.ppm part2.ppm part3.ppm --out-dir out" bar >log </dev/null
    check grep -qaE '#+\.*\].* [123]/3, [0-9.]+ MB/s, [0-9]+ s left' bar
    check test "$(grep -cF $'\033[32m' bar)" = $((${#words} == 0))
done
check grep -qE '^3 pictures encoded, 0 failed' <("$tool" part1.ppm part2.ppm part3.ppm --out-dir out 2>&1 >log)
check test "$("$tool" part1.ppm part2.ppm part3.ppm --out-dir out 2>&1 | wc -l)" = 1
rm -r out/*

# ---- metadata, read by others
# Fault: a segment in the wrong place, a profile cut, an option that does not reach the file.

pnmtopng -force -size "11811 11811 1" part1.ppm >dense.png
check test "$(encode dense.png -o - | exiftool -s3 -XResolution -ResolutionUnit - | tr '\n' ' ')" = "300 inches "
check test "$(encode dense.png --orientation 3 -o - | exiftool -s3 -n -IFD0:XResolution -Orientation - | tr '\n' ' ')" = "300 3 "
check test "$(encode dense.png --strip -o - | exiftool -s3 -ResolutionUnit -)" = None
encode part1.ppm --orientation 6 --comment "ein grünes Blatt" --density 72x144 -o meta.jpg
check test "$(exiftool -s3 -n -Orientation -Comment -JFIF:YResolution meta.jpg | tr '\n' ' ')" = "6 ein grünes Blatt 144 "
check test "$(exiftool -s3 -n -IFD0:XResolution -IFD0:YResolution -IFD0:ResolutionUnit meta.jpg | tr '\n' ' ')" = "72 144 2 "
check test -z "$(exiftool -validate -warning -a -s3 meta.jpg | grep -v '^0 0 0$\|^OK$')"
check test "$(identify -format '%[EXIF:Orientation] %c' meta.jpg)" = "6 ein grünes Blatt"
perl -e 'my $n = 150000; print pack("N", $n), "lcms", pack("N", 0x02100000), "mntrRGB XYZ ", "\0" x 12, "acsp", "\0" x 40 , "\0" x ($n - 80)' >profile.icc
encode part1.ppm --icc profile.icc -o icc.jpg
check cmp profile.icc <(exiftool -q -q -b -icc_profile icc.jpg)
exiftool -b -Exif meta.jpg >block.exif
check cmp <(encode part1.ppm --exif block.exif -o - | exiftool -b -Exif -) block.exif
check cmp <(decode meta.jpg) <(decode part1.jpg)
encode demo.ppm --target-size 20k -o small.jpg
check test "$(stat -c %s small.jpg)" -le 20000
for size in 22 25 41; do # a k of 1024 bytes would leave room for a better quality
    "$tool" --quiet demo.ppm --target-size "${size}k" -o small.jpg
    check test "$(stat -c %s small.jpg)" -le $((1000 * size))
done
encode demo.ppm --target-size 20k -o small.jpg
check cmp small.jpg <(encode demo.ppm -q "$("$tool" demo.ppm --target-size 20k --json -o out/s.jpg | sed 's/.*"quality":\([0-9]*\).*/\1/')" -o -)
rm out/*

# ---- input cut short, files and streams that cannot be read or written, wrong usage
# Fault: half an output left, success reported for it, a message that is missing, not one line, or not what a
# person needs.

truncations() { # FILE ARGS...: every beginning of FILE, from a file and from a pipe
    local n
    for ((n = 0; n < $(wc -c <"$1"); n++)); do
        head -c "$n" "$1" >begin
        refused 1 "${@:2}" begin && refused 1 "${@:2}" - < <(cat begin) || { echo "at $n bytes" && return 1; }
    done
}
printf 'P6 3 2 255\nabcdefghijklmnopqr' >small.ppm
printf 'P5 3 2 999\nabacadaeafag' >small.pgm
printf 'P7\nWIDTH 2\nHEIGHT 1\nDEPTH 2\nMAXVAL 255\nTUPLTYPE GRAYSCALE_ALPHA\nENDHDR\nabcd' >small.pam
pnmtopng small.ppm >small.png
encode small.ppm -o reference.jpg
check same small.png # with a palette
head -c 24 small.ppm >raw && head -c 50 two.y4m >one.y4m
for how in small.ppm small.pgm small.pam small.png one.y4m "raw --raw yuv444p --size 4x2" "raw --raw bgr24 --size 4x2"; do
    check truncations $how --mjpeg
done
{ head -c -16 small.png && printf 'XXXX' && tail -c 12 small.png; } >checksum.png
{ head -c 33 small.png && printf '\160\0\0\0eXIfabcd'; } >chunk.png # 1.8 GB of Exif
ln small.ppm hard && ln -s small.ppm link && ln -s nowhere dangling && : >empty
printf '\211PNG\r\n\032\n\0\0\0\rIHDR\0\0\377\377\0\0\377\377\10\2\0\0\0' >huge.png
perl -e 'print pack("N", unpack("%32C*", ""))' >>huge.png
while IFS='|' read -r code words line; do
    eval "check says $code \"\$words\" $line"
done <<'END'
1|cannot open nowhere.ppm: No such file|nowhere.ppm
1|empty: empty|empty
1|it is a folder|folder
1|it is a JPEG already|reference.jpg
1|it is a TIFF file|<(printf 'II*\0abcdefgh')
1|it is a BMP file|<(printf 'BMabcdefgh')
1|it is a GIF file|<(printf 'GIF89aabcdefgh')
1|it is a WebP file|<(printf 'RIFFabcdWEBPVP8 ')
1|it is a HEIF file|<(printf '\0\0\0\30ftypheicabcd')
1|not PNG, PNM, PAM or Y4M; raw frames need --raw|<(echo hello)
1|damaged, libpng|checksum.png
1|too large|chunk.png
1|damaged, a number is missing|<(echo P5 1 x 255 a)
1|its maxval is 70000, not 1 to 65535|<(echo P5 1 1 70000 a)
1|width and height must be 1 to 65535|<(echo P5 4294967297 1 255 a)
1|width and height must be 1 to 65535|<(echo P5 0 1 255 a)
1|pixels, above --max-pixels 268435456|<(echo P5 60000 60000 255 a)
1|pixels, above --max-pixels 5|small.ppm --max-pixels 5
1|a sample of 9 above its maxval 7|<(printf 'P2 1 1 7 9')
1|truncated, it ends within its samples|<(echo P3 1 1 255 1 2)
1|PAM of depth 1 to 4|<(printf 'P7\nWIDTH 1\nHEIGHT 1\nDEPTH 5\nMAXVAL 1\nENDHDR\n')
1|Y4M of the kind C420p10|<(printf 'YUV4MPEG2 W4 H4 C420p10\nFRAME\n')
1|a Y4M header with 'Wx'|<(printf 'YUV4MPEG2 Wx H4\n')
1|truncated, frame 1 has 18 of 81 bytes|--raw gray --size 9x9 <(printf '%018d' 0)
1|the folder nofolder/ does not exist|small.ppm -o nofolder/x.jpg
1|it is a folder; --out-dir takes one|small.ppm -o folder
1|No space left|small.ppm -o /dev/full
1|it is the input file|small.ppm -o small.ppm --force-name
1|it is the input file|small.ppm -o link
1|it is the input file|- -o hard <small.ppm
1|it is a link that leads nowhere|small.ppm -o dangling
1|no quality gives a file of 100 bytes|small.ppm --target-size 100
1|cannot open nothing.icc|small.ppm --icc nothing.icc
1|exif begins with 50 36 20 33, not as a TIFF|small.ppm --exif small.ppm
1|comment is longer than 65533 bytes|small.ppm --comment "$(printf '%070000d' 0)"
1|cannot write out/small.jpg of both|small.ppm small.pgm --out-dir out
2|INPUT or --demo is required|
2|--output or --out-dir is required|small.ppm --out-dir ''
2|several inputs require --out-dir, --mjpeg or a counter|small.ppm small.pgm
2|there is no option --qualitty; did you mean --quality?|--qualitty 5
2|there is no option --frobnicate (see|--frobnicate
2|there is no option --ou; did you mean --output?|--ou x.jpg
2|there is no option --prgressive; did you mean --progressive?|--prgressive
2|there is no option -Z|small.ppm -Z
2|--quality: '101' is not a number from 0 to 100|small.ppm -q 101
2|--quality: '7x' is not a number|small.ppm -q 7x
2|--quality: '' is not a number|small.ppm -q ''
2|--quality: '4294967371'|small.ppm -q 4294967371
2|--subsampling: '411' is not 444, 422 or 420|small.ppm -s 411
2|--restart: '65536'|small.ppm -r 65536
2|--restart: 'x'|small.ppm -r xB
2|--raw: 'rgb' is not one of gray, rgb24|raw --raw rgb --size 8x8
2|rgb565le: give that name|raw --raw bgr565 --size 8x8
2|rgb555le: give that name|raw --raw BGR555 --size 8x8
2|--raw requires --size|--raw gray raw
2|--size: '5x5x5' is not WIDTHxHEIGHT|raw --raw gray --size 5x5x5
2|--size: a number is missing in '640x'|raw --raw gray --size 640x
2|--density: a number is missing in 'x72'|small.ppm --density x72
2|--size: '65536' is not a number|raw --raw gray --size 5x65536
2|--size requires --raw or --demo|--size 8x8 small.ppm
2|--step requires --raw|--step 8 small.ppm
2|is less than a row's 9 bytes|raw --raw gray --size 9x9 --step 8
2|2 steps given, but the format has 1 plane|raw --raw gray --size 9x9 --step 9,9
2|cannot be stored bottom-up|raw --raw nv12 --size 8x8 --step=-8,-8
2|--subsampling: yuv444p brings its own|--raw yuv444p --size 4x2 -s 420 raw
2|--range: 'wide' is not full or limited|small.ppm --range wide
2|--matrix: '2020' is not 601 or 709|small.ppm --matrix 2020
2|--background: 'pink' is not #rrggbb|small.ppm --background pink
2|--density: '1x2x3' is not N or NxM|small.ppm --density 1x2x3
2|--orientation: '9'|small.ppm --orientation 9
2|--exif and --orientation exclude each other|small.ppm --exif raw --orientation 1
2|--target-size: '5G'|small.ppm --target-size 5G
2|--demo takes no INPUT|--demo small.ppm
2|--demo excludes --raw|--demo --raw gray --size 9x9
2|x.png would be a JPEG under the name of another format|small.ppm -o x.png
2|--output and --out-dir exclude each other|small.ppm -o x.jpg --out-dir out
2|--mjpeg requires --output|small.ppm --mjpeg --out-dir out
2|--mjpeg writes one file, but --output has a counter|small.ppm --mjpeg -o out/%d.jpg
2|--recursive requires --out-dir|small.ppm --recursive
2|--jobs requires --out-dir|small.ppm -j 2
2|--quiet and --verbose exclude each other|small.ppm --quiet -v
2|--output: FILE is missing|small.ppm -o
2|--size: WxH is missing|-o x.jpg --raw gray raw --size
2|--size: WxH is missing|--size= -- --demo=x
2|there is no option --frobnicate|small.ppm --frobnicate -o
2|there is no option -Z|-Z small.ppm -o
2|there is no option --qual; did you mean --quality?|small.ppm --qual 5
2|there is no option -progressive; did you mean --progressive?|small.ppm -progressive
2|there is no option -output; did you mean --output?|small.ppm -output x.jpg
2|--progressive takes no value|small.ppm --progressive=no
2|INPUT: the name is empty|''
2|several inputs require|-o x.jpg -- small.ppm -p
1|cannot open -9: No such file|-o out/x.jpg -- -9
1|small.ppm/ is not a folder|small.ppm -o small.ppm/x.jpg
1|there are no pictures in folder|folder --recursive --out-dir out
END
cp small.ppm ./-q.ppm
check encode -o dash.jpg -- -q.ppm
check cmp hard <(printf 'P6 3 2 255\nabcdefghijklmnopqr')
check refusedIn '"$tool" --demo -o - >/dev/full'
check refusedIn '"$tool" --demo -o - >&-'
check refusedIn '"$tool" --demo --size 2000x2000 -q 100 -o - | head -c 1 >stdout; exit ${PIPESTATUS[0]}'
if [[ $terminal ]]; then
    check refusedIn 'script -qec "$tool --demo -o -" /dev/null </dev/null >&2'
    check grep -q terminal err
fi
grep -qa '\.gcda' "$tool" || # its counters of lines would be such a file
    check refusedIn 'ulimit -f 4 && "$tool" --demo -o out/large.jpg'
check test "$(ls -A out)" = x.jpg

# ---- what a run leaves when it ends
# Fault: a temporary file left after a signal, a mode that is not kept, a link replaced.

rm out/*
(umask 027 && encode --demo -o out/mode.jpg)
check test "$(stat -c %a out/mode.jpg)" = 640
chmod 604 out/mode.jpg
ln -s mode.jpg out/link.jpg
check encode small.ppm --sync -o out/link.jpg
check cmp out/mode.jpg <(encode small.ppm -o -)
check test "$(stat -c %a out/mode.jpg)" = 604
check test -L out/link.jpg
if ((UID == 0)); then
    chown 1234:4321 out/mode.jpg && chmod 4711 out/mode.jpg
    check encode small.ppm -o out/mode.jpg
    check test "$(stat -c '%u %g %a' out/mode.jpg)" = "1234 4321 4711"
fi
mkfifo fifo
exec 9<>fifo
for signal in INT TERM HUP QUIT USR1 VTALRM PROF IO PWR RTMIN RTMAX; do
    rm -f out/*
    printf 'P5 9 9 255\nabc' >&9
    # Through perl, because the shell has background commands ignore SIGINT.
    perl -e '$SIG{$_} = "DEFAULT" for qw(INT QUIT HUP); exec @ARGV' "$tool" fifo -o out/x.jpg &
    for ((i = 0; i < 100; i++)); do
        [[ -n $(ls -A out) ]] && break
        sleep 0.05
    done
    check test -n "$(ls -A out)" # the temporary file
    kill -$signal $!
    wait $! 2>log
    check test -z "$(ls -A out)"
done
exec 9>&-
mkdir crowd # small pictures, so that files are made and renamed all the time
encode --demo --size 64x48 -o - | decode >crowd/1.ppm
perl -e 'link "crowd/1.ppm", "crowd/$_.ppm" for 2..4000'
encode crowd/1.ppm -o reference.jpg
for pause in 0{0..9}{2,7}; do
    rm -rf whole
    "$tool" crowd --recursive --out-dir whole -j 8 2>log &
    sleep "0.$pause"
    kill -TERM $!
    wait $! 2>log
    check test -z "$(find whole -name '.*' 2>log)"
    check test "$(cat reference.jpg whole/*.jpg 2>log | wc -c)" = $(($(find whole -name '*.jpg' 2>log | wc -l) * $(wc -c <reference.jpg) + $(wc -c <reference.jpg)))
done
"$tool" --demo -o out/x.jpg 2>err
check grep -qE "^out/x\.jpg: 640x480, .*baseline 4:2:0, $(stat -c %s out/x.jpg) bytes, [0-9.]+ bits per pixel, [0-9.]+ ms$" err
check test "$(wc -l <err) $(encode --demo -o out/x.jpg 2>&1)" = "1 "
check grep -qxE 'velajpeg [0-9]+\.[0-9]+\.[0-9]+, library jpegenc_.*_REV[0-9]+_.*' <("$tool" --version)

# ---- help, man page, completions
# Fault: an option that is missing in one of them, a page that is not the table's.

check grep -q -- --subsampling <("$tool" --help)
check test -z "$("$tool" --help | awk 'length > 80')"
check cmp "$source_tree/cli/velajpeg.1" <("$tool" --man)
for shell in bash zsh fish; do
    check cmp "$source_tree/cli/completions/velajpeg.$shell" <("$tool" --completion $shell)
done
source "$source_tree/cli/completions/velajpeg.bash"
COMP_WORDS=(velajpeg --raw nv) COMP_CWORD=2
_velajpeg 2>log
check test "${COMPREPLY[*]}" = "nv12 nv21 nv16 nv61"
COMP_WORDS=(velajpeg --raw "")
_velajpeg 2>log
"$tool" --raw none raw -o x.jpg 2>err
check test "$(sed 's/.* one of //; s/ (see .*//; s/,//g' err)" = "${COMPREPLY[*]}" # all of them
echo "$passed passed, $failed failed"
((failed == 0))
