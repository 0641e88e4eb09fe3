#!/bin/bash
# Usage: scripts/bench.sh [--arm] [--scaling] [--stages] [--small] [--kernels] [--easy] [--batch] [--peers] [--python]
#                         [--gstreamer] [PICTURES] [-- OPTIONS]
# Builds the benchmark, installing first what that needs and this machine lacks, and compares Vela
# JPEG with TurboJPEG on PICTURES (PNG, PPM or PGM), or on a generated one where there are none.
#   --arm      also counts the instructions that both execute per pixel on emulated ARMv7 and AArch64, and the cycles
#              of the coder's loop
#   --scaling  also measures time and memory from 0.3 to 256 megapixels
#   --stages   also measures where the time goes, with every instruction set
#   --small    also compares the middles of the pictures, 16 x 16 to 640 x 480
#   --kernels  also measures every kernel of every instruction set
#   --easy     the easy layer alone: its conversions beside the core, its threads beside one
#   --batch    the command on 200 files beside cjpeg in a loop, mogrify and ffmpeg: files per second
#   --peers    the encoder beside FFmpeg's mjpeg, and the GStreamer element beside jpegenc
#   --python   the Python package beside Pillow and OpenCV: milliseconds per picture
#   --gstreamer  the GStreamer element beside jpegenc: milliseconds per frame
#   OPTIONS    go to velajpeg_bench: --quick, --isa avx2, --qualities 75,90, ... (--help lists them)
# Tables, JSON and a chart are written to build/bench/results.
set -euo pipefail
source "$(dirname "$0")/common.sh"

arm='' scaling='' stages='' small='' kernels='' easy='' batch='' mjpeg='' python='' gstreamer='' pictures=() options=()
while (($#)); do
    case $1 in
        --arm) arm=yes ;;
        --scaling) scaling=yes ;;
        --stages) stages=stages ;;
        --small) small=small ;;
        --kernels) kernels=yes ;;
        --easy) easy=yes ;;
        --batch) batch=yes ;;
        --peers) mjpeg=yes gstreamer=yes ;;
        --python) python=yes ;;
        --gstreamer) gstreamer=yes ;;
        --)
            options=("${@:2}")
            break
            ;;
        -*) die "usage: scripts/bench.sh [--arm] [--scaling] [--stages] [--small] [--kernels] [--easy] [--batch]"\
            "[--peers] [--python] [--gstreamer] [PICTURES] [-- OPTIONS]" ;;
        *)
            [[ -r $1 && ! -d $1 ]] || die "cannot read $1"
            pictures+=("$(realpath "$1")")
            ;;
    esac
    shift
done

build=$root/build/bench
results=$build/results
mkdir -p "$results"

build_for_host() {
    require_packages "${build_packages[@]}" libturbojpeg0-dev libbenchmark-dev nlohmann-json3-dev
    [[ -z $python ]] || require_packages python3-dev pybind11-dev python3-numpy python3-pil python3-opencv
    [[ -z $mjpeg ]] || require_packages pkg-config libavcodec-dev
    [[ -z $gstreamer ]] || require_packages pkg-config libgstreamer-plugins-base1.0-dev \
        gstreamer1.0-plugins-base gstreamer1.0-plugins-good
    say "building in $build"
    (cd "$root" && cmake --preset bench && cmake --build --preset bench) >&2
}

# ARCHITECTURE FOLDER: unpacks Debian's TurboJPEG for it there. The lists of that architecture's
# packages are kept in the folder as well, so that apt's own know nothing of it.
fetch_turbojpeg() {
    local architecture=$1 folder=$2 package
    [[ ! -e $folder/usr/include/turbojpeg.h ]] || return 0
    command -v apt-get >/dev/null || die "--arm needs apt-get"
    mkdir -p "$folder"/{state/lists,cache/archives}/partial
    touch "$folder/status"
    local apt=(apt-get -qq -o "APT::Architecture=$architecture" -o "APT::Architectures=$architecture"
        -o "Dir::State=$folder/state" -o "Dir::State::status=$folder/status"
        -o "Dir::Cache=$folder/cache" -o "APT::Sandbox::User=")
    say "fetching Debian's libturbojpeg0 for $architecture"
    "${apt[@]}" update >&2 || say "some lists could not be had; trying without them"
    (cd "$folder" && "${apt[@]}" download libturbojpeg0 libturbojpeg0-dev >&2)
    for package in "$folder"/*.deb; do
        dpkg -x "$package" "$folder"
    done
}

# NAME TRIPLET PROCESSOR FLAGS TURBOJPEG-FOLDER: both programs whose instructions are counted.
cross_build() {
    local name=$1 triplet=$2 processor=$3 flags=$4 turbo=$5
    say "$name: building"
    cmake -S "$root" -B "$build/$name" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_SYSTEM_NAME=Linux "-DCMAKE_SYSTEM_PROCESSOR=$processor" \
        "-DCMAKE_C_COMPILER=$triplet-gcc" "-DCMAKE_CXX_COMPILER=$triplet-g++" \
        "-DCMAKE_C_FLAGS=$flags" "-DCMAKE_CXX_FLAGS=$flags" \
        -DVELA_BUILD_TESTS=OFF -DVELA_BUILD_COMMAND=OFF -DVELA_BUILD_BENCH=ON \
        "-DTURBOJPEG_LIBRARY=$turbo/usr/lib/$triplet/libturbojpeg.so" \
        "-DTURBOJPEG_INCLUDE_DIR=$turbo/usr/include" >&2
    cmake --build "$build/$name" --target encode_once turbo_encode_once >&2
}

# COMMAND: the instructions that it executes; the emulator is $qemu.
instructions() {
    "${qemu[@]}" -plugin "$build/bench/insn_count.so" "$@" 2>&1 >/dev/null |
        sed -nE 's/^instructions: ([0-9]+)$/\1/p'
}

# PIXELS PROGRAM PICTURE QUALITY MODE [fast]: instructions per pixel, start-up not counted.
per_pixel() {
    local pixels=$1 program=$2 some none
    shift 2
    some=$(instructions "$program" "${@:1:3}" 2 "${@:4}")
    none=$(instructions "$program" "${@:1:3}" 0 "${@:4}")
    [[ $some && $none ]] || die "$program did not run: $*"
    awk "BEGIN { printf \"%.2f\", ($some - $none) / 2 / $pixels }"
}

# NAME PICTURE PIXELS PPM: a row for each mode and quality. JSIMD_FORCENEON: the emulated processor's
# description does not show NEON, and TurboJPEG would do without.
count_picture() {
    local name=$1 picture=$2 pixels=$3 ppm=$4 programs=$build/$1/bench mode quality ours fast exact
    for mode in baseline progressive grey; do
        for quality in 50 75 90 95; do
            ours=$(per_pixel "$pixels" "$programs/encode_once" "$ppm" $quality $mode)
            fast=$(per_pixel "$pixels" "$programs/turbo_encode_once" "$ppm" $quality $mode fast)
            exact=$(per_pixel "$pixels" "$programs/turbo_encode_once" "$ppm" $quality $mode)
            echo "$name $picture $mode $quality $ours $fast $exact"
        done
    done
}

# Rows of NAME PICTURE MODE QUALITY OURS FAST EXACT become a table with ratios and their means.
instruction_table() {
    awk 'BEGIN {
            print "Instructions per pixel, BGR 8-8-8 to 4:2:0, or grey in baseline mode; theirs with the"
            print "fast and the exact transform. Ratio: ours / the lesser of theirs.\n"
            form = "%-8s %-20s %-11s %7s %8s %8s %8s %7s\n"
            printf form, "target", "picture", "mode", "quality", "ours", "fast", "exact", "ratio"
        }
        {
            ratio = $5 / ($6 < $7 ? $6 : $7)
            printf form, $1, $2, $3, $4, $5, $6, $7, sprintf("%.3f", ratio)
            key = $1 " " $3
            if (!(key in rows)) order[++keys] = key
            logs[key] += log(ratio)
            rows[key]++
        }
        END {
            print ""
            for (i = 1; i <= keys; i++)
                printf "%s: geometric mean of the ratios %.3f\n", order[i], exp(logs[order[i]] / rows[order[i]])
        }'
}

instruction_json() {
    awk 'BEGIN { print "[" }
        {
            printf "%s  {\"target\": \"%s\", \"picture\": \"%s\", \"mode\": \"%s\", \"quality\": %s, ", \
                (NR > 1 ? ",\n" : ""), $1, $2, $3, $4
            printf "\"ours\": %s, \"theirs_fast\": %s, \"theirs_accurate\": %s}", $5, $6, $7
        }
        END { print "\n]" }'
}

loop_cycles() {
    echo
    echo "Of a coefficient in the baseline coder's loop, by LLVM's models of processors:"
    "$root/bench/loop_cycles.py" aarch64-linux-gnu-objdump aarch64-linux-gnu "$build/aarch64/libvelajpeg.a" \
        cortex-a53 cortex-a55 cortex-a76
    "$root/bench/loop_cycles.py" arm-linux-gnueabihf-objdump armv7-linux-gnueabihf "$build/armv7/libvelajpeg.a" \
        cortex-a9
}

count_instructions() {
    require_packages qemu-user g++-arm-linux-gnueabihf g++-aarch64-linux-gnu llvm
    fetch_turbojpeg armhf "$build/turbojpeg-armhf"
    fetch_turbojpeg arm64 "$build/turbojpeg-arm64"
    cross_build armv7 arm-linux-gnueabihf armv7 "-march=armv7-a+neon -mfpu=neon" \
        "$build/turbojpeg-armhf"
    cross_build aarch64 aarch64-linux-gnu aarch64 "" "$build/turbojpeg-arm64"

    local list=("${pictures[@]}") picture name ppm width height qemu
    ((${#list[@]})) || list=(generated)
    for picture in "${list[@]}"; do
        name=${picture##*/}
        name=${name%.*}
        ppm=$build/$name.ppm
        if ((${#pictures[@]})); then
            "$build/bench/velajpeg_bench" --ppm "$ppm" "$picture"
        else
            "$build/bench/velajpeg_bench" --ppm "$ppm" --demo 600x400
        fi
        read -r width height < <(sed -n 2p "$ppm")
        say "$name: counting"
        qemu=(qemu-arm -L /usr/arm-linux-gnueabihf -E JSIMD_FORCENEON=1)
        count_picture armv7 "${name// /_}" $((width * height)) "$ppm"
        qemu=(qemu-aarch64 -L /usr/aarch64-linux-gnu)
        count_picture aarch64 "${name// /_}" $((width * height)) "$ppm"
    done >"$results/instructions.rows"
    instruction_table <"$results/instructions.rows" | tee "$results/instructions.txt"
    loop_cycles | tee "$results/cycles.txt"
    instruction_json <"$results/instructions.rows" >"$results/instructions.json"
}

# Files per second: 200 copies of the pictures at their sizes, as PPM, each program as its users run it.
count_files() {
    require_packages libjpeg-turbo-progs imagemagick ffmpeg netpbm
    local folder=$build/batch file n=0 sources=("${pictures[@]}")
    rm -rf "$folder"
    mkdir -p "$folder/in" "$folder/out"
    if ((${#sources[@]} == 0)); then
        "$build/cli/velajpeg" --demo --size 1920x1080 --quiet -o "$folder/demo.jpg"
        djpeg "$folder/demo.jpg" >"$folder/demo.ppm"
        sources=("$folder/demo.ppm")
    fi
    for ((n = 0; n < 200; n++)); do
        file=${sources[n % ${#sources[@]}]}
        case $file in
            *.png) pngtopnm "$file" >"$folder/in/$n.ppm" ;;
            *) cp "$file" "$folder/in/$n.ppm" ;;
        esac
    done
    files_per_second() { # NAME COMMAND...
        local name=$1 start end
        shift
        rm -f "$folder"/out/*
        start=$(date +%s.%N)
        "$@" >/dev/null 2>&1
        end=$(date +%s.%N)
        (($(find "$folder/out" -name '*.jpg' | wc -l) == 200)) || die "$name did not write 200 files"
        awk "BEGIN { printf \"%-28s %8.1f files/s\n\", \"$name\", 200 / ($end - $start) }"
    }
    # shellcheck disable=SC2317 # called by its name
    cjpeg_loop() {
        for file in "$folder"/in/*.ppm; do
            cjpeg -quality 75 "$file" >"$folder/out/$(basename "$file" .ppm).jpg"
        done
    }
    files_per_second "velajpeg" "$build/cli/velajpeg" "$folder"/in/*.ppm --out-dir "$folder/out"
    files_per_second "velajpeg -j 0" "$build/cli/velajpeg" "$folder"/in/*.ppm --out-dir "$folder/out" -j 0
    files_per_second "cjpeg in a loop" cjpeg_loop
    files_per_second "mogrify" mogrify -quality 75 -format jpg -path "$folder/out" "$folder/in/*.ppm"
    files_per_second "ffmpeg" ffmpeg -start_number 0 -i "$folder/in/%d.ppm" -q:v 4 "$folder/out/%d.jpg"
}

build_for_host
if [[ $easy$batch$mjpeg$python$gstreamer ]]; then
    [[ -z $easy ]] ||
        "$build/bench/easy_bench" --json "$results/easy.json" "${pictures[@]}" | tee "$results/easy.txt"
    [[ -z $mjpeg ]] || "$build/bench/mjpeg_bench" "${pictures[@]}" | tee "$results/mjpeg.txt"
    [[ -z $python ]] ||
        PYTHONPATH=$build/python /usr/bin/python3 "$root/bench/python_bench.py" "${pictures[@]}" |
        tee "$results/python.txt"
    [[ -z $gstreamer ]] ||
        GST_PLUGIN_PATH=$build/gstreamer GST_REGISTRY=$build/gstreamer/registry.bin \
            "$build/bench/gstreamer_bench" "${pictures[@]}" | tee "$results/gstreamer.txt"
    [[ -z $batch ]] || count_files | tee "$results/batch.txt"
    say "the results are in $results"
    exit
fi
"$build/bench/velajpeg_bench" "${pictures[@]}" --json "$results/comparison.json" \
    "${options[@]}" | tee "$results/comparison.txt"
! command -v python3 >/dev/null ||
    "$root/bench/chart.py" "$results/comparison.json" >"$results/comparison.svg"
for measure in $stages $small; do
    "$build/bench/velajpeg_bench" "${pictures[@]}" "--$measure" --json "$results/$measure.json" \
        "${options[@]}" | tee "$results/$measure.txt"
done
[[ -z $kernels ]] ||
    "$build/bench/kernels_bench" --benchmark_out="$results/kernels.json" | tee "$results/kernels.txt"
[[ -z $scaling ]] ||
    "$build/bench/velajpeg_bench" --scaling --json "$results/scaling.json" |
    tee "$results/scaling.txt"
[[ -z $arm ]] || count_instructions
say "the results are in $results"
