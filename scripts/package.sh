#!/bin/bash
# Usage: scripts/package.sh [--check] [--cross ARCHITECTURE]..
# Builds the Debian packages of the files here into build/packages, without those of debugging symbols,
# installing first what that needs, and has lintian look at them.
#   --check  also installs them in a bare Debian made by debootstrap, runs debian/tests there and removes
#            them again; says so and leaves it out where this machine does not allow it (it needs root)
#   --cross  (root) instead for another architecture, such as armhf or arm64, into a folder of its name there: in a
#            Debian made by debootstrap, where the command is then run under emulation
set -euo pipefail
source "$(dirname "$0")/common.sh"
cd "$root"

check='' crosses=()
while (($#)); do
    case $1 in
        --check) check=yes ;;
        --cross)
            crosses+=("${2:?an architecture, such as armhf}")
            shift
            ;;
        *) die "usage: scripts/package.sh [--check] [--cross ARCHITECTURE].." ;;
    esac
    shift
done

version=$(sed -nE '1s/.*\((.*)\).*/\1/p' debian/changelog)
project_version=$(sed -nE 's/^project\(velajpeg VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
[[ $version == "$project_version" ]] || die "debian/changelog has version $version, CMakeLists.txt $project_version"
packages=(libvelajpeg1 libvelajpeg-easy1 libvelajpeg-dev velajpeg python3-velajpeg gstreamer1.0-velajpeg)
results=$root/build/packages
work=$root/build/package
mkdir -p "$results"
options=noautodbgsym
tree=$work/velajpeg-$version

# DIRECTORY COMMAND..: in that Debian, with nothing of ours but what it needs to reach its packages.
inside() {
    local folder=$1 variable pass=()
    shift
    for variable in http_proxy https_proxy no_proxy; do
        [[ ! -v $variable ]] || pass+=("$variable=${!variable}")
    done
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
        "${pass[@]}" chroot "$folder" "$@"
}

# A bare Debian of this release in $bare, made once; 1 and a line where the machine does not allow it.
make_bare() {
    bare=$work/bare
    [[ ! -e $bare/.whole ]] || return 0
    ((EUID == 0)) || { say "not root: no bare Debian to try the packages in" && return 1; }
    rm -rf --one-file-system "$bare"
    # shellcheck source=/dev/null
    if ! debootstrap --variant=minbase "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$bare" \
        ${VELA_DEBIAN_MIRROR:+"$VELA_DEBIAN_MIRROR"} >"$work/debootstrap.log" 2>&1; then
        say "debootstrap does not work here ($work/debootstrap.log): no bare Debian to try the packages in"
        return 1
    fi
    apt-config dump | grep -E '^Acquire::https?::Proxy' >"$bare/etc/apt/apt.conf.d/90proxy" || true
    inside "$bare" apt-get -qq update
    touch "$bare/.whole"
}

# NAME: a copy of it to work in.
fresh_bare() {
    make_bare || return 1
    fresh=$work/$1
    rm -rf --one-file-system "$fresh"
    cp -a "$bare" "$fresh"
}

# FILE..: no errors, no warnings.
look_over() {
    lintian --allow-root --fail-on error,warning "$@"
}

build_here() {
    require_packages build-essential debhelper dh-python lintian cmake ninja-build libcli11-dev libpng-dev \
        nlohmann-json3-dev pkg-config pybind11-dev libpython3-dev libgstreamer-plugins-base1.0-dev python3
    copy_tree "$tree"
    say "building the packages"
    (cd "$tree" && DEB_BUILD_OPTIONS=$options dpkg-buildpackage -us -uc -b) >"$work/build.log" 2>&1 ||
        { tail -40 "$work/build.log" && die "the build failed ($work/build.log)"; }
    rm -f "$results"/*_*
    mv "$work"/*_"$version"_* "$results"
    look_over "$results"/*.changes
}

# The packages as a user has them, tried by debian/tests, and taken away again.
check_packages() {
    local name depends tests=$tree/debian/tests left
    require_packages debootstrap
    fresh_bare check || return 0
    mkdir "$fresh/packages"
    cp "$results"/*.deb "$tree/debian/tests"/* "$fresh/packages"
    # Those of the tests, without our own; then ours.
    depends=$(sed -nE 's/^Depends: //p' "$tests/control" | tr -d ',' | xargs -n1 | grep -v velajpeg | sort -u)
    say "installing the packages in a bare Debian"
    # shellcheck disable=SC2086 # words
    inside "$fresh" apt-get -qq install -y --no-install-recommends $depends >"$work/check.log" 2>&1 ||
        die "what the tests need could not be installed ($work/check.log)"
    inside "$fresh" sh -c 'apt-get -qq install -y --no-install-recommends /packages/*.deb' >>"$work/check.log" 2>&1 ||
        die "the packages could not be installed ($work/check.log)"
    while read -r name; do
        inside "$fresh" sh -c "AUTOPKGTEST_TMP=\$(mktemp -d) /packages/$name" </dev/null ||
            die "debian/tests/$name failed"
        echo "debian/tests/$name passed"
    done < <(sed -nE 's/^Tests: //p' "$tests/control")
    inside "$fresh" apt-get -qq purge -y "${packages[@]}" >>"$work/check.log" 2>&1
    left=$(cd "$fresh" && find etc usr var -name '*vela*' ! -path 'var/log/*' ! -path 'var/cache/*')
    [[ -z $left ]] || die "purged packages left $left"
    echo "installed, tried, purged"
    rm -rf --one-file-system "$fresh"
}

# ARCHITECTURE
build_cross() {
    local architecture=$1 triplet emulator
    ((EUID == 0)) || die "--cross needs root"
    require_packages debootstrap lintian
    fresh_bare "cross-$architecture" || die "--cross needs a bare Debian to build in"
    copy_tree "$tree"
    case $architecture in
        armhf) emulator=qemu-arm ;;
        arm64) emulator=qemu-aarch64 ;;
        *) emulator=qemu-$architecture ;;
    esac
    say "$architecture: installing what the build needs"
    cp -a "$tree" "$fresh/velajpeg"
    inside "$fresh" sh -ec "dpkg --add-architecture $architecture && apt-get -qq update
        apt-get -qq install -y --no-install-recommends build-essential crossbuild-essential-$architecture qemu-user
        cd /velajpeg && apt-get -qq build-dep -y -a $architecture ." >"$work/cross.log" 2>&1 ||
        { tail -20 "$work/cross.log" && die "what the build needs could not be installed ($work/cross.log)"; }
    say "$architecture: building"
    inside "$fresh" sh -ec "cd /velajpeg
        DEB_BUILD_OPTIONS=$options dpkg-buildpackage -a $architecture -us -uc -b" >>"$work/cross.log" 2>&1 ||
        { tail -40 "$work/cross.log" && die "the build failed ($work/cross.log)"; }
    rm -rf "${results:?}/$architecture"
    mkdir -p "$results/$architecture"
    cp "$fresh"/*_"$version"_"$architecture".* "$results/$architecture"
    look_over "$results/$architecture"/*.changes
    say "$architecture: running the command"
    inside "$fresh" sh -ec "apt-get -qq install -y --no-install-recommends /velajpeg_*.deb >/dev/null 2>&1
        $emulator /usr/bin/velajpeg --demo --size 720x400 -q 85 --quiet -o /demo.jpg"
    cmp "$fresh/demo.jpg" docs/demo.jpg
    triplet=$(dpkg-architecture -f -a"$architecture" -q DEB_HOST_MULTIARCH 2>/dev/null)
    dpkg -c "$results/$architecture"/python3-velajpeg_*.deb | grep "$triplet.so" >/dev/null ||
        die "the Python package's extension is not named for $triplet"
    rm -rf --one-file-system "$fresh"
}

mkdir -p "$work"
if ((${#crosses[@]})); then
    for architecture in "${crosses[@]}"; do
        build_cross "$architecture"
    done
else
    build_here
    [[ -z $check ]] || check_packages
fi
say "the packages are in ${results#"$PWD"/}"
(cd "$results" && find . -name '*.deb' -printf '%P\n' | sort)
