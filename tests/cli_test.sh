#!/bin/bash
# Runs the velajpeg command on pictures made here. Usage: cli_test.sh path/to/velajpeg
# Needs djpeg to decode and perl to make and compare pictures.
set -u
tool=$(realpath "$1")
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cd "$tmp" || exit 1
mkdir out
failed=0

check() { # NAME COMMAND...: the command must succeed
    local name=$1
    shift
    if "$@" >log 2>&1; then
        echo "ok   $name"
    else
        echo "FAIL $name: $*"
        sed 's/^/     /' log
        failed=1
    fi
}

encode() { "$tool" --quiet "$@"; }
decode() { djpeg -strict -pnm "$@"; }
# ARGS...: must encode to the same bytes as $reference holds
sameBytes() { encode "$@" -o same.jpg && cmp same.jpg "$reference"; }

# CODE ARGS...: must exit with CODE and one line on standard error, without trace in the target's folder
refused() {
    local code=$1 got=0
    shift
    echo old >out/x.jpg
    "$tool" "$@" 2>err >stdout || got=$?
    [[ $got == "$code" && $(wc -l <err) == 1 && $(ls -A out) == x.jpg && $(<out/x.jpg) == old &&
        ! -s stdout ]] && return
    echo "exit $got, standard error:"
    cat err
    ls -A out
    return 1
}
# As refused, with standard input from FILE: FILE CODE ARGS...
refusedFrom() { refused "${@:2}" < <(cat "$1"); }

cat >pictures.pl <<'PERL'
use strict;
binmode STDOUT;
sub load { # of a binary PNM: width, height, channels, samples
    open my $file, '<:raw', $_[0] or die "$_[0]: $!";
    local $/;
    my $data = <$file>;
    $data =~ /^P([56])\s+(\d+)\s+(\d+)\s+255\s/g or die "$_[0]: not a PNM";
    return ($2, $3, $1 == 6 ? 3 : 1, substr $data, pos $data);
}
sub rows { my ($data, $bytes) = @_; return unpack "(a$bytes)*", $data; }
sub crc {
    my $crc = 0xFFFFFFFF;
    for my $byte (unpack 'C*', $_[0]) {
        $crc ^= $byte;
        $crc = $crc & 1 ? 0xEDB88320 ^ $crc >> 1 : $crc >> 1 for 1 .. 8;
    }
    return $crc ^ 0xFFFFFFFF;
}
sub chunk { return pack('N', length $_[1]) . "$_[0]$_[1]" . pack('N', crc("$_[0]$_[1]")); }
my %make = (
    # FORMAT STEP FILE: the pixels of a PNM as a raw frame; its padding is 0xEE
    raw => sub {
        my ($format, $step, $file) = @_;
        my ($width, $height, $channels, $data) = load($file);
        my @rows = rows($data, $width * $channels);
        for (@rows) {
            $_ = join '', map { scalar reverse } unpack '(a3)*', $_ if $format eq 'bgr888';
            if ($format =~ /bgr5(.)5/) {
                my $green = $1;
                my @rgb = unpack 'C*', $_;
                my $row = '';
                while (my ($r, $g, $b) = splice @rgb, 0, 3) {
                    $row .= pack 'v', ($r >> 3) << 5 + $green | $g >> 8 - $green << 5 | $b >> 3;
                }
                $_ = $row;
            }
            $_ .= "\xEE" x (abs($step) - length);
        }
        print $step < 0 ? reverse @rows : @rows;
    },
    # FILE [ALPHA]: the pixels of a PNM as PNG, with an alpha channel if one is given
    png => sub {
        my ($file, $alpha) = @_;
        my ($width, $height, $channels, $data) = load($file);
        my $lines = join '', map {
            my $row = $_;
            $row = join '', map { $_ . chr $alpha } unpack '(a3)*', $row if defined $alpha;
            "\0$row"
        } rows($data, $width * $channels);
        my $zlib = "\x78\x01";
        my @blocks = unpack '(a65535)*', $lines;
        $zlib .= pack('Cvv', $_ == $#blocks, length $blocks[$_], ~length($blocks[$_]) & 0xFFFF)
            . $blocks[$_] for 0 .. $#blocks;
        my ($low, $high) = (1, 0);
        $high = ($high + ($low = ($low + $_) % 65521)) % 65521 for unpack 'C*', $lines;
        my $type = defined $alpha ? 6 : $channels == 3 ? 2 : 0;
        print "\x89PNG\r\n\x1A\n", chunk(IHDR => pack 'NNCCCCC', $width, $height, 8, $type, 0, 0, 0),
            chunk(IDAT => $zlib . pack 'nn', $high, $low), chunk(IEND => '');
    },
    # FORMAT WIDTH HEIGHT [STEP]: smooth luma and chroma planes; the padding is 0xEE
    ycc => sub {
        my ($format, $width, $height, $step) = @_;
        my ($across, $down) = $format =~ /444/ ? (1, 1) : $format =~ /422/ ? (2, 1) : (2, 2);
        my $plane = sub {
            my ($w, $h, $step, @samples) = @_;
            for my $y (0 .. $h - 1) {
                my $row = join '', map { my $x = $_; map { chr $_->($x, $y) } @samples } 0 .. $w - 1;
                print $row, "\xEE" x ($step - length $row);
            }
        };
        my ($w, $h) = (int(($width + $across - 1) / $across), int(($height + $down - 1) / $down));
        my $cb = sub { 60 + 2 * $_[0] + 3 * $_[1] & 255 };
        my $cr = sub { 200 - 3 * $_[0] - $_[1] & 255 };
        $plane->($width, $height, $step // 0, sub { 5 * $_[0] + 3 * $_[1] & 255 });
        if ($format =~ /nv/) {
            return $plane->($w, $h, $step // 0, $format eq 'nv12' ? ($cb, $cr) : ($cr, $cb));
        }
        $plane->($w, $h, int(($step // 0) / $across), $_) for $cb, $cr;
    },
    # FILE RED GREEN BLUE: the PPM with each channel cut to so many bits
    cut => sub {
        my ($file, @bits) = @_;
        my ($width, $height, undef, $data) = load($file);
        my $i = 0;
        print "P6\n$width $height\n255\n", pack 'C*',
            map { $_ & 256 - (1 << 8 - $bits[$i++ % 3]) } unpack 'C*', $data;
    },
    # FILE FILE LIMIT: fails unless sizes agree and samples differ by LIMIT at most in the mean
    near => sub {
        my ($one, $other, $limit) = @_;
        my ($w1, $h1, $c1, @a) = load($one);
        my ($w2, $h2, $c2, @b) = load($other);
        die "sizes differ\n" if "$w1 $h1 $c1" ne "$w2 $h2 $c2" || length $a[0] != length $b[0];
        my ($sum, $count) = (0, $w1 * $h1 * $c1);
        @a = unpack 'C*', $a[0];
        @b = unpack 'C*', $b[0];
        $sum += abs($a[$_] - $b[$_]) for 0 .. $count - 1;
        die 'mean difference ', $sum / $count, "\n" if $sum > $limit * $count;
    },
    # FILE: the colours of the bars in the demo picture
    bars => sub {
        my ($width, undef, undef, $data) = load($_[0]);
        print join ' ', map {
            join '', map { $_ > 127 ? 1 : 0 } unpack 'C3', substr $data, 3 * (60 * $width + 20 + 40 * $_), 3
        } 0 .. 7;
    },
);
my $what = shift @ARGV;
$make{$what}->(@ARGV);
PERL
make() { perl pictures.pl "$@"; }

# ---- the demo picture, through other people's decoder

demoDecodes() { # SIZE SAMPLING ARGS...
    encode --demo --size "$1" "${@:3}" -o demo.jpg && decode demo.jpg >demo.ppm || return
    [[ $(head -c 15 demo.ppm | tr '\n' ' ') == "P6 ${1/x/ } 255"* ]] &&
        djpeg -verbose -verbose demo.jpg 2>&1 >/dev/null | grep "Component 1: $2"
}
for size in 640x480 33x17 1x1; do
    check "demo $size" demoDecodes $size 2hx2v
    check "demo $size 422 restart" demoDecodes $size 2hx1v -s 422 -r 3
    check "demo $size 444 coarsest" demoDecodes $size 1hx1v -s 444 --quality 0
done
encode --demo -o bars.jpg
decode bars.jpg >bars.ppm
check "demo bars" [ "$(make bars bars.ppm)" = "111 110 011 010 101 100 001 000" ]
encode --demo -r 7 -o restart.jpg
check "restart keeps the pixels" cmp <(decode restart.jpg) bars.ppm
check "restart writes markers" env LC_ALL=C grep -qaP '\xFF\xDD\x00\x04\x00\x07' restart.jpg
progressiveDecodes() {
    encode --demo -p -o progressive.jpg 2>err && { decode progressive.jpg | cmp - bars.ppm; return; }
    grep -q 'no progressive encoding' err
}
check "progressive" progressiveDecodes

# ---- the same pixels from every container and layout give the same bytes

for size in 37x29 48x32 1x1; do
    width=${size%x*}
    encode --demo --size $size -q 90 -o seed.jpg
    decode seed.jpg >c.ppm
    decode -grayscale seed.jpg >g.pgm
    for step in $((3 * width)) -$((3 * width)) $((3 * width + 5)) -$((3 * width + 2)); do
        make raw bgr888 "$step" c.ppm >"bgr888$step"
    done
    for step in "$width" $((width + 7)) -$((width + 7)); do
        make raw gray8 "$step" g.pgm >"gray8$step"
    done
    { printf 'P6#a comment\n# 9 9\r%s\t\v#x\n %s #\n255 ' ${size/x/ }; tail -c $((3 * width * ${size#*x})) c.ppm; } >comment.ppm
    cat c.ppm g.pgm >trailing.ppm
    cp c.ppm unnamed
    make png c.ppm >c.png
    make png c.ppm 255 >opaque.png
    make png g.pgm >g.png

    for sampling in 444 422 420; do
        encode -q 83 -s $sampling c.ppm -o reference.jpg
        reference=reference.jpg
        for file in comment.ppm trailing.ppm unnamed c.png opaque.png; do
            check "$file $size $sampling" sameBytes -q 83 -s $sampling $file
        done
        check "PNG from a pipe $size" sameBytes -q 83 -s $sampling - < <(cat c.png)
        check "PPM from a pipe, slice $size" sameBytes -q 83 -s $sampling --slice - < <(cat c.ppm)
        check "PPM slice $size" sameBytes -q 83 -s $sampling --slice c.ppm
        for step in $((3 * width)) -$((3 * width)) $((3 * width + 5)) -$((3 * width + 2)); do
            for slice in "" --slice; do
                check "bgr888 $size $sampling step $step $slice" sameBytes -q 83 -s $sampling \
                    $slice --raw bgr888 --size $size --step "$step" "bgr888$step"
            done
        done
        check "bgr888 tight $size" sameBytes -q 83 -s $sampling --raw bgr888 --size $size bgr888$((3 * width))
    done
    encode -q 100 -s 444 c.ppm -o near.jpg
    decode near.jpg >near.ppm
    check "colours $size" make near c.ppm near.ppm 2

    encode g.pgm -o gray.jpg
    reference=gray.jpg
    check "gray PNG $size" sameBytes g.png
    check "PGM slice $size" sameBytes --slice g.pgm
    for step in "$width" $((width + 7)) -$((width + 7)); do
        for slice in "" --slice; do
            check "gray8 $size step $step $slice" sameBytes $slice --raw gray8 --size $size \
                --step "$step" "gray8$step"
        done
    done
    check "gray has one component" grep -q '^P5' <(decode gray.jpg)

    for bits in "bgr555 5 5 5" "bgr565 5 6 5"; do
        format=${bits%% *}
        make cut c.ppm ${bits#* } >cut.ppm
        for step in $((2 * width)) -$((2 * width + 2)); do
            make raw "$format" "$step" c.ppm >packed
            for sampling in 444 420; do
                encode -s $sampling cut.ppm -o cut.jpg
                reference=cut.jpg
                for slice in "" --slice; do
                    check "$format $size $sampling step $step $slice" sameBytes -s $sampling $slice \
                        --raw "$format" --size $size --step "$step" packed
                done
            done
        done
    done
done
printf 'P6 9 9 255 ' >dark.ppm
head -c 243 /dev/zero >>dark.ppm
make png dark.ppm 0 >clear.png
encode clear.png -o clear.jpg
check "transparent PNG is white" [ "$(decode clear.jpg | tail -c 243 | tr -d '\377' | wc -c)" = 0 ]

# ---- YCbCr frames: luma as gray would have it, equal layouts, steps, slices

for size in 37x29 48x32 16x17 1x1; do
    width=${size%x*}
    even=$(((width + 1) / 2 * 2))
    for format in yuv444p yuv422p yuv420p nv12 nv21; do
        raw=(--raw $format --size $size)
        make ycc $format ${size/x/ } >tight
        make ycc $format ${size/x/ } $((even + 6)) >padded
        make ycc $format ${size/x/ } $even >even
        encode "${raw[@]}" tight -o $format.jpg
        reference=$format.jpg
        check "$format $size padded" sameBytes "${raw[@]}" --step $((even + 6)) padded
        check "$format $size padded slice" sameBytes "${raw[@]}" --step $((even + 6)) padded --slice
        check "$format $size even slice" sameBytes "${raw[@]}" --step $even even --slice
        encode --raw gray8 --size $size - -o luma.jpg < <(head -c $((width * ${size#*x})) tight)
        check "$format $size luma" cmp <(decode -grayscale $format.jpg) <(decode luma.jpg)
    done
    check "nv12 is yuv420p $size" cmp nv12.jpg yuv420p.jpg
    check "nv21 is yuv420p $size" cmp nv21.jpg yuv420p.jpg
done
{ head -c 64 /dev/zero | tr '\0' '\121'; head -c 64 /dev/zero | tr '\0' '\132'; head -c 64 /dev/zero | tr '\0' '\360'; } >red
encode --raw yuv444p --size 8x8 red -o red.jpg
check "chroma planes are Cb, Cr" [ "$(decode red.jpg | tail -c 3 | od -An -tu1 | awk '{print ($1 > 200 && $2 < 40 && $3 < 40)}')" = 1 ]

# ---- buffers and streams

encode --demo -q 97 -o whole.jpg
reference=whole.jpg
for bytes in 768 769 1000 4096 1048576; do
    check "buffer of $bytes bytes" sameBytes --demo -q 97 --buffer $bytes
done
check "buffer too small" refused 1 --demo --buffer 40 -o out/x.jpg
check "standard output" cmp <(encode --demo -q 97 -o -) whole.jpg
check "device as output" encode --demo -o /dev/null
check "device stays a device" [ -c /dev/null ]

# ---- truncated and wrong input

printf 'P6 3 2 255\nabcdefghijklmnopqr' >small.ppm
printf 'P5 3 2 255\nabcdef' >small.pgm
make png small.ppm >small.png
truncations() { # FILE ARGS...: every beginning of FILE, from a file and from a pipe
    local n
    for ((n = 0; n < $(wc -c <"$1"); n++)); do
        head -c "$n" "$1" >"cut.${1##*.}"
        refused 1 "${@:2}" "cut.${1##*.}" -o out/x.jpg &&
            refusedFrom "cut.${1##*.}" 1 "${@:2}" - -o out/x.jpg || { echo "at $n bytes"; return 1; }
    done
}
for file in small.ppm small.pgm small.png; do
    check "truncated $file" truncations $file
done
check "truncated small.ppm, slice" truncations small.ppm --slice
check "truncated small.pgm, slice" truncations small.pgm --slice
head -c 24 /dev/urandom >raw.yuv
check "truncated raw" truncations raw.yuv --raw yuv444p --size 4x2
check "truncated raw, slice" truncations raw.yuv --raw bgr888 --size 4x2 --slice
head -c 60 /dev/zero >long
for slice in "" --slice; do
    check "raw too long $slice" refused 1 $slice --raw bgr888 --size 4x2 long -o out/x.jpg
    check "raw too long, pipe $slice" refusedFrom long 1 $slice --raw bgr888 --size 4x2 - -o out/x.jpg
done
check "slices of planes from a pipe" refusedFrom raw.yuv 1 --slice --raw yuv444p --size 4x2 - -o out/x.jpg
check "bottom-up slices from a pipe" refusedFrom raw.yuv 1 --slice --raw bgr888 --size 4x2 --step -12 - -o out/x.jpg
check "slices of planes from a redirected file" encode --slice --raw yuv444p --size 4x2 - -o same.jpg <raw.yuv
for text in 'P3 1 1 255 1 2 3' 'P6 0 1 255 abc' 'P6 65536 1 255 abc' 'P6 1 99999999999 255 abc' \
    'P5 1 1 65535 ab' 'P5 1 1 15 a' 'P5 1 x 255 a' 'P5 -1 1 255 a' 'P5 1 1 255a' 'hello'; do
    check "not a picture: $text" refusedFrom <(echo "$text") 1 - -o out/x.jpg
done
{ head -c 60 small.png; printf 'XXXX'; tail -c +65 small.png; } >broken.png
check "PNG with a wrong checksum" refused 1 broken.png -o out/x.jpg

# ---- files that cannot be read or written

check "no such input" refused 1 nowhere.ppm -o out/x.jpg
check "input is a folder" refused 1 out -o out/x.jpg
check "no such folder" refused 1 --demo -o nowhere/x.jpg
check "target is a folder" refused 1 --demo -o out
check "name with a line break" refused 1 $'a\nb.ppm' -o out/x.jpg
check "full device" refused 1 --demo -o /dev/full
check "full standard output" bash -c '! "$1" --quiet --demo -o - >/dev/full 2>err && [[ $(wc -l <err) == 1 ]]' - "$tool"
check "closed standard output" bash -c '! "$1" --quiet --demo -o - >&- 2>err && [[ $(wc -l <err) == 1 ]]' - "$tool"
check "closed pipe" bash -c '"$1" --demo --size 2000x2000 -q 100 -o - 2>err | head -c 1 >/dev/null
    [[ ${PIPESTATUS[0]} == 1 && $(wc -l <err) == 1 ]]' - "$tool"
check "terminal" bash -c '! script -qec "$1 --demo -o -" /dev/null </dev/null >out.txt && grep -q terminal out.txt && ! grep -qa JFIF out.txt' - "$tool"
mkdir same
cp c.ppm same/a.ppm
ln -s a.ppm same/link
ln same/a.ppm same/hard
for name in a.ppm link hard; do
    check "same file as $name" refused 1 same/a.ppm -o same/$name
    check "same file from standard input as $name" refused 1 - -o same/$name <same/a.ppm
done
check "same file is kept" cmp c.ppm same/a.ppm

# ---- what a finished and an interrupted run leave behind

(umask 027 && encode --demo -o out/mode.jpg)
check "mode follows umask" [ "$(stat -c %a out/mode.jpg)" = 640 ]
ln -sf mode.jpg out/link.jpg
encode --demo --size 8x8 -o out/link.jpg
check "link still links" [ -L out/link.jpg ]
check "link's file is written" cmp out/mode.jpg <(encode --demo --size 8x8 -o -)
rm out/*
mkfifo fifo
exec 9<>fifo
for signal in INT TERM HUP; do
    rm -f out/*
    # Through perl, because the shell has background commands ignore SIGINT.
    perl -e '$SIG{INT} = "DEFAULT"; exec @ARGV' "$tool" --raw gray8 --size 9x9 fifo -o out/x.jpg 2>err &
    for ((i = 0; i < 100; i++)); do
        [[ -n $(ls -A out) ]] && break
        sleep 0.05
    done
    check "temporary file while running" [ -n "$(ls -A out)" ]
    kill -$signal $!
    wait $! 2>log
    check "SIG$signal leaves nothing" [ -z "$(ls -A out)" ]
done
exec 9>&-

"$tool" --demo -o summary.jpg 2>err
check "summary" grep -qE "^summary\.jpg: 640x480, .*baseline 4:2:0, $(stat -c %s summary.jpg) bytes, [0-9.]+ bits per pixel, [0-9.]+ ms$" err
check "summary is one line" [ "$(wc -l <err)" = 1 ]
check "quiet" [ -z "$(encode --demo -o summary.jpg 2>&1)" ]
check "version" grep -qx '.*jpegenc_.*_REV[0-9]*_.*' <("$tool" --version)
check "help" grep -q -- --subsampling <("$tool" --help)

# ---- usage

usage() { check "usage: $*" refused 2 "$@" -o out/x.jpg; }
for value in -1 101 "" 7x 1e1 0x10 ' 5' 4294967371; do
    usage --demo -q "$value"
done
for value in -1 65536; do usage --demo -r $value; done
for value in 0 1073741825; do usage --demo --buffer $value; done
for value in 0x5 5x65536 5 5x5x5 x 5x; do usage --raw gray8 --size $value small.pgm; done
for value in 8 -8 16777217 9,9 9, 0; do usage --raw gray8 --size 9x9 --step $value small.pgm; done
usage --raw yuv420p --size 9x9 --step 9,4 small.pgm
usage --raw nv12 --size 8x8 --step -8 small.pgm
usage --raw yuv420p --size 9x9 --slice small.pgm
usage --raw yuv420p --size 8x8 --step 8,5,5 --slice small.pgm
usage --raw nv12 --size 9x8 --slice small.pgm
usage --raw yuv422p --size 8x8 -s 420 small.pgm
usage --raw rgb --size 8x8 small.pgm
usage --raw gray8 small.pgm
usage --size 8x8 small.pgm
usage --step 8 small.pgm
usage --demo -s 411
usage --demo --raw gray8 --size 9x9
usage --demo --slice
usage --demo small.ppm
usage --slice small.png
usage --demo --unknown
usage --demo -q 5 -q 6
usage
usage small.ppm small.pgm
check "usage: no output" refused 2 small.ppm
exit $failed
