#!/bin/bash
# Usage: choices_test.sh SOURCE C-COMPILER
# The ways to take the library: shared alone, static alone, both, and as a part of a project. In each
# velajpeg::velajpeg is there, what was asked for is installed, and nothing else.
set -euo pipefail
source=$(realpath "$1") compiler=$2
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cd "$tmp"

passed=0 failed=0
check() {
    if "$@" >log 2>&1; then
        ((++passed))
    else
        ((++failed))
        echo "FAIL $*"
        tail -20 log
    fi
}
cmake_in() { # BUILD ARGUMENT...: configures and builds; the library quickly, rather than to be quick
    local build=$1
    shift
    cmake -B "$build" -G Ninja -DCMAKE_C_COMPILER="$compiler" -DVELA_SIMD=OFF \
        -DCMAKE_CXX_FLAGS_RELEASE=-O0 "$@" &&
        cmake --build "$build"
}
libraries() { # FOLDER: their names, a version as N
    (cd "$1" && find . -name 'libvelajpeg*' -printf '%f\n') |
        sed -E 's/[0-9]+/N/g' | LC_ALL=C sort | tr '\n' ' '
}
are() { [[ $(libraries "$1") == "$2" ]] || { echo "$1 has $(libraries "$1")"; return 1; }; }
has_element() { # PREFIX: one that GStreamer loads, the libraries where they are installed
    GST_REGISTRY=$tmp/registry-$1 GST_PLUGIN_PATH=$(dirname "$(find "$1" -name libgstvelajpeg.so)") \
        gst-inspect-1.0 velajpegenc
}
prints_version() { [[ $("$@") == 1.* ]]; }

mkdir user part
cat >user/main.c <<'END'
#include <stdio.h>
#include <vela/jpegenc.h>
int main(void) {
    char text[sizeof ENC_VERSION_TEXT];
    puts(VELA_VERSION_TEXT);
    return GetLibVersion_JPEGENC(text, sizeof text);
}
END
cat >user/CMakeLists.txt <<'END'
cmake_minimum_required(VERSION 3.25)
project(user LANGUAGES C CXX)
find_package(velajpeg 1.1 REQUIRED)
add_executable(user main.c)
target_link_libraries(user PRIVATE velajpeg::velajpeg)
add_executable(easy easy.c)
target_link_libraries(easy PRIVATE velajpeg::easy)
END
cat >user/easy.c <<'END'
#include <stdio.h>
#include <vela/easy.h>
int main(void) {
    VelaEncoder* encoder = velaEncoderNew();
    VelaImage image = {VELA_FORMAT_GRAY8, 1, 1, {""}};
    const uint8_t* jpeg;
    size_t size;
    puts(VELA_VERSION_TEXT);
    return velaEncodeToMemory(encoder, &image, NULL, &jpeg, &size);
}
END
cat >part/CMakeLists.txt <<END
cmake_minimum_required(VERSION 3.25)
project(part LANGUAGES C CXX)
add_subdirectory("$source" velajpeg)
add_executable(user ../user/main.c)
target_link_libraries(user PRIVATE velajpeg::velajpeg)
install(TARGETS user)
END

shared='X.so X.so.N X.so.N.N.N ' static='X.a '
for choice in "both:$static$shared" "ON:$shared" "OFF:$static"; do
    name=${choice%%:*} expected=${choice#*:} option=()
    [[ $name == both ]] || option=(-DBUILD_SHARED_LIBS="$name")
    check cmake_in "$name" -S "$source" -DVELA_BUILD_COMMAND=OFF -DVELA_BUILD_TESTS=OFF "${option[@]}"
    check grep -qx 'CMAKE_BUILD_TYPE:STRING=Release' "$name/CMakeCache.txt"
    check cmake --install "$name" --prefix "$tmp/prefix-$name"
    check are "prefix-$name" "${expected//X/libvelajpeg-easy}${expected//X/libvelajpeg}"
    if [[ -e $name/gstreamer ]]; then # where Debian's packages for it are
        check has_element "prefix-$name"
    fi
    check cmake_in "user-$name" -S user -DCMAKE_PREFIX_PATH="$tmp/prefix-$name"
    check prints_version "user-$name/user"
    check prints_version "user-$name/easy"

    check cmake_in "part-$name" -S part "${option[@]}"
    check prints_version "part-$name/user"
    check cmake --install "part-$name" --prefix "$tmp/prefix-part-$name"
    check test "$(cd "prefix-part-$name" && find . -type f)" = ./bin/user
done
echo "$passed passed, $failed failed"
((failed == 0))
