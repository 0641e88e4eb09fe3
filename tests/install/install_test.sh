#!/bin/bash
# Usage: install_test.sh BUILD
# Installs BUILD into a scratch folder, builds the examples against the installed tree, through find_package
# and through pkg-config, and runs the commands of README.md.
set -euo pipefail
build=$(realpath "$1")
readme=$(realpath "$(dirname "$0")/../../README.md")
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

block() { awk -v start="\`\`\`$1" '$0 == "```" {on = 0} on {print} $0 == start {on = 1}' "$readme"; }
decoded() { # FILE WIDTH HEIGHT: decodes without a warning, and removes it
    djpeg -strict -pnm "$1" >decoded.ppm
    grep -qax "$2 $3" decoded.ppm
    rm "$1"
}

cmake --install "$build" --prefix "$tmp/prefix" >/dev/null
PKG_CONFIG_PATH=$(dirname "$(find "$tmp/prefix" -name velajpeg.pc)")
LD_LIBRARY_PATH=$(dirname "$PKG_CONFIG_PATH")
export PKG_CONFIG_PATH CMAKE_PREFIX_PATH=$tmp/prefix PATH=$tmp/prefix/bin:$PATH
cp -r "$(dirname "$readme")/examples" "$tmp/work"
cd "$tmp/work"
block sh >commands
set -x

# The list of what is installed is whole, and of this version.
perl -MJSON::PP -0777 -ne '
    my $list = decode_json($_);
    my %known = (map { $_->{SPDXID} => $_ } @{$list->{packages}}, $list);
    for my $relation (@{$list->{relationships}}) {
        $known{$_} or die "$_ is not there\n" for @$relation{qw(spdxElementId relatedSpdxElement)};
    }
    $known{"SPDXRef-$_"} or die "$_ is not there\n" for qw(libvelajpeg libvelajpeg-easy velajpeg);
    $_->{versionInfo} or die "$_->{name} has no version\n" for @{$list->{packages}};
    print "velajpeg $known{q(SPDXRef-velajpeg)}{versionInfo}\n";
' "$tmp/prefix/share/doc/velajpeg/velajpeg.spdx.json" >version
velajpeg --version | grep -q "^$(cat version),"

export CFLAGS='-std=c99 -Wall -Wextra -Wpedantic -Werror'
export CXXFLAGS='-std=c++17 -Wall -Wextra -Wpedantic -Werror'
cmake -B build -G Ninja
cmake --build build
(cd build && ./gradient && ./frame)
decoded build/gradient.jpg 200 120
decoded build/frame.jpg 320 240

ppmmake '#4080c0' 90 70 | pnmtopng >photo.png
head -c $((640 * 480 * 3 / 2)) /dev/zero >frame.nv12
bash -euxo pipefail commands
export LD_LIBRARY_PATH
./gradient && ./frame && ./request && ./picture
decoded picture.jpg 640 480
decoded gradient.jpg 200 120
decoded request.jpg 320 240
decoded jpegs/photo.jpg 90 70
decoded photo.jpg 90 70
decoded frame.jpg 320 240
decoded nv12.jpg 640 480
decoded demo.jpg 1920 1080
