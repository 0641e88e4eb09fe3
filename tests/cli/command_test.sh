#!/bin/bash
# Runs the velajpeg command on pictures made here. Usage: command_test.sh path/to/velajpeg
# Needs djpeg to decode, netpbm and perl to make pictures.
# shellcheck disable=SC2015,SC2016,SC2086 # $how holds several arguments; code in '' runs later
set -u
export LC_ALL=C
tool=$(realpath "$1")
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
        sed 's/^/     /' log
    fi
}
encode() { "$tool" --quiet "$@"; }
decode() { djpeg -strict -pnm "$@"; }
same() { encode "$@" -o same.jpg && cmp same.jpg reference.jpg; }
piped() { same "${@:2}" - < <(cat "$1"); } # FILE ARGS...
isLike() { [[ $(pnmpsnr -rgb -target1=35 -target2=35 -target3=35 <(decode "$1") "$2") == match ]]; }
# CODE ARGS...: must end with CODE and one line on standard error, and leave the target (out/x.jpg,
# where ARGS name none) and its folder as they were
refused() {
    local code=$1 got=0
    shift
    [[ " $* " == *" -o "* ]] || set -- "$@" -o out/x.jpg
    echo old >out/x.jpg
    "$tool" "$@" 2>err >stdout || got=$?
    echo "exit $got, in the folder: $(ls -A out), standard error: $(cat err)"
    [[ $got == "$code" && $(wc -l <err) == 1 && $(ls -A out) == x.jpg && $(<out/x.jpg) == old && ! -s stdout ]]
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
my ($across, $down) = $format =~ /422/ ? (2, 1) : $format =~ /420|nv/ ? (2, 2) : (1, 1);
my $word = sub { my ($green, $r, $g, $b) = @_; pack 'v', $r >> 3 << 5 + $green | $g >> 8 - $green << 5 | $b >> 3 };
my $sample = sub { my $i = $_[0]; sub { substr $_[0], $i, 1 } };
my %planes = (
    bgr888 => [sub { scalar reverse $_[0] }],
    bgr555 => [sub { $word->(5, unpack 'C3', $_[0]) }],
    bgr565 => [sub { $word->(6, unpack 'C3', $_[0]) }],
    rgb555 => [sub { $_[0] & "\xF8\xF8\xF8" }], # what is left of 24 bits
    rgb565 => [sub { $_[0] & "\xF8\xFC\xF8" }],
    gray8 => [$sample->(0)],
    nv12 => [$sample->(0), sub { substr $_[0], 1 }],
    nv21 => [$sample->(0), sub { scalar reverse substr $_[0], 1 }],
);
my @planes = @{$planes{$format} // [map { $sample->($_) } 0 .. 2]};
for my $i (0 .. $#planes) {
    my ($a, $d) = $i ? ($across, $down) : (1, 1);
    my @rows = map { my $row = $_ * $d * $w;
        join '', map { $planes[$i]->($pixels[$row + $_ * $a]) } 0 .. ($w + $a - 1) / $a - 1 } 0 .. ($h + $d - 1) / $d - 1;
    $_ .= "\xEE" x (abs($step) / (@planes == 3 ? $a : 1) - length) for @rows;
    print $step < 0 ? reverse @rows : @rows;
}
PERL
frame() { perl frame.pl "$@"; }

# ---- the demo picture, colours, structure
# Fault: channels swapped, an option that does not reach the stream.

encode --demo -o demo.jpg && decode demo.jpg >demo.ppm
check grep -qaP '[\xF0-\xFF]{2}[\0-\x10]' <(pamcut 60 60 1 1 demo.ppm) # the yellow bar
check cmp <(encode --demo --progressive -o - | decode) demo.ppm
check cmp <(encode --demo -r 7 -o - | decode) demo.ppm
check grep -qaP '\xFF\xDD\x00\x04\x00\x07' <(encode --demo -r 7 -o -)
check grep -qaP '\xFF\xC2\x00\x11' <(encode --demo --progressive -o -)
encode demo.ppm -q 100 -s 444 -o near.jpg
check isLike near.jpg demo.ppm
for format in yuv444p yuv422p yuv420p nv12 nv21; do
    ppmmake rgb:51/5a/f0 16 16 | frame $format 0 | encode --raw $format --size 16x16 - -q 100 -o red.jpg
    check isLike red.jpg <(ppmmake rgb:ee/0e/0e 16 16)
done

# ---- the same pixels give the same bytes, whatever holds them, whole or in slices
# Fault: a file format, step or slice that is read otherwise than it was written.

isPicture() { # SIZE LUMA-SAMPLING: reference.jpg
    decode reference.jpg >decoded && [[ $(head -c 15 decoded | tr '\n' ' ') == P[56]" ${1/x/ } 255"* ]] &&
        djpeg -verbose -verbose reference.jpg 2>&1 >decoded | grep "Component 1: $2"
}
for size in 37x29 32x16 1x17; do
    width=${size%x*} even=$(((${size%x*} + 1) / 2 * 2))
    encode --demo --size $size -q 90 -o seed.jpg
    decode seed.jpg >bgr888.pnm
    cat <(echo "P6 ${size/x/ } 255") <(frame rgb555 0 <bgr888.pnm) >bgr555.pnm
    cat <(echo "P6 ${size/x/ } 255") <(frame rgb565 0 <bgr888.pnm) >bgr565.pnm
    cat <(echo "P5 ${size/x/ } 255") <(frame gray8 0 <bgr888.pnm) >gray8.pnm
    for how in "1hx1v -s 444" "2hx1v -s 422 -r 2" "2hx2v -p" "2hx2v -q 97"; do
        for format in bgr888:3 bgr555:2 bgr565:2 gray8:1; do
            bytes=$((${format#*:} * width)) format=${format%:*}
            encode ${how#* } $format.pnm -o reference.jpg
            check isPicture $size "$([[ $format == gray8 ]] && echo 1hx1v || echo ${how%% *})"
            check same ${how#* } --slice $format.pnm
            check piped $format.pnm ${how#* } --slice
            for step in "" $((bytes + 5)) -$((bytes + 2)); do
                frame $format ${step:-0} <bgr888.pnm >raw
                check same ${how#* } --raw $format --size $size ${step:+--step $step} raw
                check same ${how#* } --raw $format --size $size ${step:+--step $step} raw --slice
            done
        done
    done
    decode reference.jpg >gray.pnm
    for how in "-q 97" "-q 97 -p"; do
        for format in yuv444p yuv422p yuv420p nv12 nv21; do
            frame $format 0 <bgr888.pnm | encode $how --raw $format --size $size - -o reference.jpg
            check cmp <(decode -grayscale reference.jpg) gray.pnm
            for step in $even $((even + 6)); do
                frame $format $step <bgr888.pnm >raw
                check same $how --raw $format --size $size --step $step raw
                check same $how --raw $format --size $size --step $step raw --slice
            done
        done
    done
    encode bgr888.pnm -o reference.jpg
    { printf 'P6#a comment\n# 9 9\r%s\t\v#x\n %s #\n255 ' ${size/x/ } && tail -c $((3 * width * ${size#*x})) bgr888.pnm; } >comment
    cat bgr888.pnm gray8.pnm >trailing
    pnmtopng -force bgr888.pnm >rgb
    pnmtopng -force -interlace bgr888.pnm >interlaced
    pamdepth 65535 bgr888.pnm | pnmtopng -force >deep
    for file in comment trailing rgb interlaced deep; do
        check same $file
        check piped $file
    done
    encode gray8.pnm -o reference.jpg
    check same <(pnmtopng -force gray8.pnm)
done
size='' format=''
encode <(ppmmake white 9 9) -o reference.jpg
check same <(ppmmake black 9 9 | pnmtopng -alpha=<(pgmmake 0 9 9)) # transparent
for how in "" -p; do
    encode --demo -q 97 $how -o reference.jpg
    for bytes in 768 769 1000 4096 1048576; do
        check same --demo -q 97 $how --buffer $bytes
    done
    check cmp <(encode --demo -q 97 $how -o -) reference.jpg
done

# ---- input cut short, files and streams that cannot be read or written, wrong usage
# Fault: half an output left, success reported for it, a message that is missing or not one line.

truncations() { # FILE ARGS...: every beginning of FILE, from a file and from a pipe
    local n
    for ((n = 0; n < $(wc -c <"$1"); n++)); do
        head -c "$n" "$1" >begin
        refused 1 "${@:2}" begin && refused 1 "${@:2}" - < <(cat begin) || { echo "at $n bytes" && return 1; }
    done
}
printf 'P6 3 2 255\nabcdefghijklmnopqr' >small.ppm
printf 'P5 3 2 255\nabcdef' >small.pgm
pnmtopng small.ppm >small.png
encode small.ppm -o reference.jpg
check same small.png # with a palette
head -c 24 small.ppm >raw
for how in small.ppm small.pgm "small.ppm --slice" "small.pgm --slice" small.png \
    "raw --raw yuv444p --size 4x2" "raw --raw bgr888 --size 4x2 --slice"; do
    check truncations $how
done
{ head -c -16 small.png && printf 'XXXX' && tail -c 12 small.png; } >checksum.png
ln small.ppm hard && ln -s small.ppm link
for line in checksum.png "--raw bgr888 --size 3x2 "{raw,"- < <(cat raw)","--slice raw","--slice - < <(cat raw)"} \
    "--raw yuv444p --size 4x2 --slice - < <(cat raw)" "--raw bgr888 --size 4x2 --slice --step -12 - < <(cat raw)" \
    "<(echo P"{"3 1 1 255 1 2 3","5 1 x 255 a","5 1 1 65535 a","5 1 1 255a a","5 4294967297 1 255 a"}")" \
    "<(echo hello)" nowhere.ppm folder "\$'a\nb.ppm'" "--demo --buffer 767" "--demo -p --buffer 40" \
    "small.ppm -o "{nowhere/x.jpg,folder,/dev/full,small.ppm,link} "- -o hard <small.ppm"; do
    eval "check refused 1 $line"
done
for line in "" "small.ppm small.pgm" "small.ppm -o" "--demo small.ppm" "--slice small.png" \
    "--demo "{--unknown,--slice,"-q 5 -q 6","-s 411","-r 65536","--buffer 0","--raw gray8 --size 9x9"} \
    "--demo -q "{-1,101,"''",7x,4294967371} "--step 8 small.ppm" "--size 8x8 small.ppm" "--raw gray8 raw" \
    "raw --raw gray8 --size "{5x65536,5x5x5,"9x9 --step 8","9x9 --step 9,9"} "raw --raw rgb --size 8x8" \
    "raw --raw yuv4"{"20p --size 9x9 --slice","20p --size 9x9 --step 9,4","22p --size 8x8 -s 420"} \
    "raw --raw nv12 --size 8x8 --step -8,-8"; do
    eval "check refused 2 $line"
done
check cmp hard <(printf 'P6 3 2 255\nabcdefghijklmnopqr')
check refusedIn '"$tool" --demo -o - >/dev/full'
check refusedIn '"$tool" --demo -o - >&-'
check refusedIn '"$tool" --demo --size 2000x2000 -q 100 -o - | head -c 1 >stdout; exit ${PIPESTATUS[0]}'
check refusedIn 'script -qec "$tool --demo -o -" /dev/null </dev/null >&2' # a terminal
check grep -q terminal err

# ---- what a run leaves when it ends
# Fault: a temporary file left after a signal, permissions other than the umask says, a link replaced.

rm out/*
(umask 027 && encode --demo -o out/mode.jpg)
check test "$(stat -c %a out/mode.jpg)" = 640
ln -s mode.jpg out/link.jpg
check encode small.ppm -o out/link.jpg
check cmp out/mode.jpg <(encode small.ppm -o -)
check test -L out/link.jpg
mkfifo fifo
exec 9<>fifo
for signal in INT TERM HUP; do
    rm -f out/*
    # Through perl, because the shell has background commands ignore SIGINT.
    perl -e '$SIG{INT} = "DEFAULT"; exec @ARGV' "$tool" --raw gray8 --size 9x9 fifo -o out/x.jpg &
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
"$tool" --demo -o out/x.jpg 2>err
check grep -qE "^out/x\.jpg: 640x480, .*baseline 4:2:0, $(stat -c %s out/x.jpg) bytes, [0-9.]+ bits per pixel, [0-9.]+ ms$" err
check test "$(wc -l <err) $(encode --demo -o out/x.jpg 2>&1)" = "1 "
check grep -qxE 'velajpeg [0-9]+\.[0-9]+\.[0-9]+, library jpegenc_.*_REV[0-9]+_.*' <("$tool" --version)
check grep -q -- --subsampling <("$tool" --help)
echo "$passed passed, $failed failed"
((failed == 0))
